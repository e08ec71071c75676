// How failures of a command propagate to main(): what was being done, what went wrong, and the exit code.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "Host/Core/Exception.h"

namespace Kalvatri {

enum class ExitCode : int { Done = 0, Failed = 1, WrongUsage = 2 };

inline constexpr char kReadingCommandLine[] = "reading the command line";

/// Makes text from any source safe for one line of a terminal: control characters, bidirectional overrides and bytes
/// that are not UTF-8 become escapes such as `\x1b` or `\u202e`, and of a very long text only the beginning and the end
/// remain.
std::string ToLine(std::string_view text);

/// A failure with its final message.
class CommandError : public std::exception {
public:
    CommandError(ExitCode exitCode, const std::string& doing, const std::string& description, std::string origin = {});
    const char* what() const noexcept override { return message_.c_str(); }  ///< one line, by `ToLine`
    ExitCode GetExitCode() const { return exitCode_; }
    const std::string& GetOrigin() const { return origin_; }  ///< for developers, several lines, may be empty

private:
    ExitCode exitCode_;
    std::string message_;
    std::string origin_;
};

/// Runs `call`; converts an exception to a `CommandError` that says what was being done.
template <class Call>
decltype(auto) WithContext(const std::string& doing, ExitCode exitCode, Call&& call) {
    try {
        return std::forward<Call>(call)();
    } catch (const CommandError&) {
        throw;
    } catch (const std::exception& exception) {
        throw CommandError(exitCode, doing, Orvexa::Describe(exception), Orvexa::DescribeOrigin(exception));
    }
}

template <class Call>
decltype(auto) WithContext(const std::string& doing, Call&& call) {
    return WithContext(doing, ExitCode::Failed, std::forward<Call>(call));
}

[[noreturn]] inline void ThrowUsage(const std::string& doing, const std::string& description) {
    throw CommandError(ExitCode::WrongUsage, doing, description);
}

}  // namespace Kalvatri
