#include "Tests/Support/Logs.h"

namespace Orvexa::Test {

LogCapture::LogCapture(int verbosity) : verbosityBefore_(FLAGS_v) {
    FLAGS_v = verbosity;
    // The sink is enough: no log files, nothing on stderr.
    if (!google::IsGoogleLoggingInitialized()) google::InitGoogleLogging("tests");
    for (int severity = google::GLOG_INFO; severity < google::NUM_SEVERITIES; ++severity)
        google::SetLogDestination(severity, "");
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    google::AddLogSink(this);
}

LogCapture::~LogCapture() {
    google::RemoveLogSink(this);
    FLAGS_v = verbosityBefore_;
}

void LogCapture::send(google::LogSeverity, const char* fullFilename, const char*, int line,
                      const google::LogMessageTime&, const char* message, std::size_t length) {
    lines_.push_back(std::string(fullFilename) + ":" + std::to_string(line) + " " + std::string(message, length));
}

}  // namespace Orvexa::Test
