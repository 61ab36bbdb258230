# Installs the build into a fresh prefix and checks that every file a desktop
# needs is in its usual place.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}" RESULT_VARIABLE result
                OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(file bin/morvane share/applications/morvane.desktop share/mime/packages/morvane-enz.xml
             share/icons/hicolor/scalable/apps/morvane.svg share/icons/hicolor/scalable/mimetypes/morvane-enz.svg
             share/man/man1/morvane.1)
  if(NOT EXISTS "${PREFIX}/${file}")
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
file(READ "${PREFIX}/share/applications/morvane.desktop" entry)
if(NOT entry MATCHES "Exec=morvane -s%f" OR NOT entry MATCHES "MimeType=application/x-morvane-enz;")
  message(FATAL_ERROR "the desktop entry does not open .enz files with morvane -s%f")
endif()
file(READ "${PREFIX}/share/mime/packages/morvane-enz.xml" mime)
if(NOT mime MATCHES "application/x-morvane-enz" OR NOT mime MATCHES "\\*\\.enz")
  message(FATAL_ERROR "the MIME package does not declare *.enz")
endif()
