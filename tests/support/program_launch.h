#pragma once
// Starting the real program from a test as a batch file would: its settings
// and data places and its home given, the C locale, standard input from
// /dev/null, standard output and error into files.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace morvane::testing {

// The program built beside the test programs: the tests run from
// {build}/tests/app, the program is {build}/morvane.
inline std::filesystem::path builtProgram() {
    std::error_code ec;
    return std::filesystem::read_symlink("/proc/self/exe", ec).parent_path().parent_path().parent_path() / "morvane";
}

// The environment of a started program: the places given, the C locale, and
// PATH and the sanitizers' settings as the test has them.
inline std::vector<std::string> programEnvironment(const std::string& configHome, const std::string& dataHome,
                                                   const std::string& home) {
    std::vector<std::string> environment = {"XDG_CONFIG_HOME=" + configHome, "XDG_DATA_HOME=" + dataHome,
                                            "HOME=" + home, "LC_ALL=C"};
    for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"})
        if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + "=" + value);
    return environment;
}

// Starts `program` with `args` in `workDir`; the child's process number, or
// -1 when it could not be started. Standard output is appended to `outFile`,
// standard error replaces `errFile`.
inline pid_t startProgram(const std::string& program, const std::vector<std::string>& args,
                          std::vector<std::string> environment, const std::string& workDir, const std::string& outFile,
                          const std::string& errFile) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open(outFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        const int err = ::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0 || ::dup2(in, 0) < 0 || ::dup2(out, 1) < 0 || ::dup2(err, 2) < 0 ||
            ::chdir(workDir.c_str()) != 0)
            ::_exit(126);
        ::execve(program.c_str(), argv.data(), envp.data());
        ::_exit(127);
    }
    return child;
}

}  // namespace morvane::testing
