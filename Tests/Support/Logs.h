// Captured log lines.
#pragma once

#include <glog/logging.h>

#include <string>
#include <vector>

namespace Orvexa::Test {

/// While it lives, sets the log verbosity and keeps every logged line as "file:line text".
class LogCapture : private google::LogSink {
public:
    explicit LogCapture(int verbosity);
    ~LogCapture() override;
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<std::string>& GetLines() const { return lines_; }

private:
    void send(google::LogSeverity severity, const char* fullFilename, const char* baseFilename, int line,
              const google::LogMessageTime& time, const char* message, std::size_t length) override;

    int verbosityBefore_;
    std::vector<std::string> lines_;
};

}  // namespace Orvexa::Test
