#include "zip_component.h"

#include "growing_zip.h"

namespace morvane {

bool ZipComponent::UnzipGrowingFile(GrowingZip& zip, const std::string& fileMask, const std::string& destDir,
                                    const std::string& options) {
    if (!zip.waitComplete()) return false;
    return UnzipFiles(zip.finalPath(), fileMask, destDir, options);
}

}  // namespace morvane
