#pragma once
// Running a real program from a test: its arguments passed as bytes, its
// standard input from /dev/null, its output collected.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "temp_directory.h"

namespace morvane::testing {

struct ChildResult {
    int status = -1;  // exit status; -1 when the child did not exit normally
    std::string out;
    std::string err;
};

// Runs args[0] (looked up on PATH when it has no "/") in `workDir` (or here).
inline ChildResult runChild(const std::vector<std::string>& args, const std::string& workDir = {}) {
    TempDirectory capture("child-output");
    const std::string outPath = capture.file("out"), errPath = capture.file("err");
    std::vector<char*> argv;
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int in = ::open("/dev/null", O_RDONLY);
        const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0) ::_exit(126);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        if (!workDir.empty() && ::chdir(workDir.c_str()) != 0) ::_exit(126);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ChildResult result;
    if (pid < 0) return result;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    result.out = readFile(outPath);
    result.err = readFile(errPath);
    return result;
}

}  // namespace morvane::testing
