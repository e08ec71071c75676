// Runs the real program.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Paths.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

struct Outcome {
    int exitCode;  ///< 128 + n when signal n ended it
    std::string out, err;
};

struct ProcessOptions {
    std::string stdinFile = "/dev/null";
    std::string stdoutFile = {};       ///< empty to capture it
    std::vector<int> closed = {};      ///< standard streams that the program is started without
    rlim_t fileSize = RLIM_INFINITY;   ///< bytes that a file may have
    rlim_t openFiles = RLIM_INFINITY;  ///< at a time
};

/// The program while it runs; it is killed with the object.
class KalvatriProcess {
public:
    explicit KalvatriProcess(const std::vector<std::string>& arguments, ProcessOptions options = {})
        : options_(std::move(options)) {
        std::vector<char*> argv{const_cast<char*>(kKalvatri)};
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        child_ = fork();
        if (child_ != 0) return;
        const auto redirect = [](const std::string& file, int flags, int to) {
            return dup2(open(file.c_str(), flags, 0600), to) == to;
        };
        const bool isReady = redirect(options_.stdinFile, O_RDONLY, 0) &&
                             redirect(GetOutFile(), O_WRONLY | O_CREAT | O_TRUNC, 1) &&
                             redirect(folder_.File("err"), O_WRONLY | O_CREAT | O_TRUNC, 2) &&
                             Limit(RLIMIT_FSIZE, options_.fileSize) && Limit(RLIMIT_NOFILE, options_.openFiles);
        for (const int stream : options_.closed) close(stream);
        if (isReady) execv(kKalvatri, argv.data());
        _exit(127);
    }
    KalvatriProcess(const KalvatriProcess&) = delete;
    KalvatriProcess& operator=(const KalvatriProcess&) = delete;
    ~KalvatriProcess() {
        Send(SIGKILL);
        Wait();
    }

    void Send(int signal) {
        if (IsRunning()) kill(child_, signal);
    }

    bool IsRunning() {
        if (!hasEnded_) hasEnded_ = waitpid(child_, &status_, WNOHANG) != 0;
        return !hasEnded_;
    }

    Outcome Wait() {
        if (!hasEnded_) waitpid(child_, &status_, 0);
        hasEnded_ = true;
        const auto text = [](const std::string& file) {
            const FileBytes bytes = ReadFile(file);
            return std::string(bytes.begin(), bytes.end());
        };
        return {WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_),
                options_.stdoutFile.empty() ? text(GetOutFile()) : "", text(folder_.File("err"))};
    }

private:
    static bool Limit(int resource, rlim_t value) {
        const rlimit limit{value, value};
        return value == RLIM_INFINITY || setrlimit(static_cast<__rlimit_resource>(resource), &limit) == 0;
    }
    std::string GetOutFile() const { return options_.stdoutFile.empty() ? folder_.File("out") : options_.stdoutFile; }

    const ProcessOptions options_;
    const TempFolder folder_;
    pid_t child_ = -1;
    int status_ = 0;
    bool hasEnded_ = false;
};

inline Outcome RunKalvatri(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) {
    return KalvatriProcess(arguments, options).Wait();
}

/// A command that is refused, with the exit code and a part of the one line that says why.
struct BadCommand {
    std::vector<std::string> words;
    int exitCode;
    std::string reason;
};
inline void ExpectRefused(const BadCommand& bad) {
    SCOPED_TRACE(testing::PrintToString(bad.words));
    const Outcome outcome = RunKalvatri(bad.words);
    EXPECT_EQ(outcome.exitCode, bad.exitCode);
    EXPECT_THAT(outcome.err, testing::MatchesRegex("kalvatri: [^\n]+\n"));
    EXPECT_THAT(outcome.err, testing::HasSubstr(bad.reason));
    EXPECT_THAT(outcome.out, testing::IsEmpty());
}

}  // namespace Orvexa::Test
