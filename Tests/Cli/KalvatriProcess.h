// Runs the real program.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

struct Outcome {
    int exitCode;  ///< 128 + n when signal n ended it
    std::string out, err;
};

struct ProcessOptions {
    std::string stdinFile = "/dev/null";
    std::string stdoutFile = {};      ///< empty to capture it
    rlim_t fileSize = RLIM_INFINITY;  ///< bytes that a file may have
};

inline Outcome RunKalvatri(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) {
    const TempFolder folder;
    const std::string outFile = options.stdoutFile.empty() ? folder.File("out") : options.stdoutFile, errFile = folder.File("err");
    std::vector<char*> argv{const_cast<char*>(KALVATRI_PROGRAM)};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    const pid_t child = fork();
    if (child == 0) {
        const auto redirect = [](const std::string& file, int flags, int to) { return dup2(open(file.c_str(), flags, 0600), to) == to; };
        bool isReady = redirect(options.stdinFile, O_RDONLY, 0) && redirect(outFile, O_WRONLY | O_CREAT | O_TRUNC, 1) &&
                       redirect(errFile, O_WRONLY | O_CREAT | O_TRUNC, 2);
        if (options.fileSize != RLIM_INFINITY) {
            const rlimit limit{options.fileSize, options.fileSize};
            isReady = setrlimit(RLIMIT_FSIZE, &limit) == 0 && isReady;
        }
        if (isReady) execv(KALVATRI_PROGRAM, argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const auto text = [](const std::string& file) {
        const FileBytes bytes = ReadFile(file);
        return std::string(bytes.begin(), bytes.end());
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), options.stdoutFile.empty() ? text(outFile) : "",
            text(errFile)};
}

}  // namespace Orvexa::Test
