// Exceptions that carry a message, a throw location and a call stack.
#pragma once

#include <boost/assert/source_location.hpp>
#include <boost/exception/all.hpp>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace Orvexa {

namespace Core {

/// Return addresses of the calling thread, innermost first; names are looked up only when printed.
class CallStack {
public:
    CallStack() = default;
    explicit CallStack(std::vector<const void*> frames) : frames_(std::move(frames)) {}
    bool IsEmpty() const { return frames_.empty(); }
    /// One line per frame whose function's name is known.
    std::string ToString() const;

private:
    std::vector<const void*> frames_;
};

CallStack GetCallStack();

using TagDescription = boost::error_info<struct DescriptionTag, std::string>;
using TagCallStack = boost::error_info<struct CallStackTag, CallStack>;

/// Base of the host's exceptions. `what()` is the attached description or, without one, the class's own general text.
class Exception : public virtual std::exception, public virtual boost::exception {
public:
    const char* what() const noexcept override;

protected:
    virtual const char* GeneralText() const noexcept { return "operation failed"; }
};

}  // namespace Core

namespace Proc {

/// Failures that are identified by a code.
enum class TranscodingErrors : int {
    PictureTooSmall = 17,  ///< the picture is not larger than the filter kernel
};
using TagTranscodingErrorCode = boost::error_info<struct TranscodingErrorCodeTag, TranscodingErrors>;

class ProcException : public Core::Exception {
protected:
    const char* GeneralText() const noexcept override { return "processing failed"; }
};
/// An effect could not do what was requested.
class EffectException : public ProcException {
protected:
    const char* GeneralText() const noexcept override { return "the effect failed"; }
};
/// A filter chain or file filter could not do what was requested.
class FilterException : public ProcException {
protected:
    const char* GeneralText() const noexcept override { return "the filter failed"; }
};
/// A settings value given as text is malformed or out of range.
class SettingsException : public ProcException {
protected:
    const char* GeneralText() const noexcept override { return "the settings are not valid"; }
};

}  // namespace Proc

/// Throws `E` with `description` and the call stack, as if from `where`.
template <class E = Proc::EffectException>
[[noreturn]] void ThrowAt(const boost::source_location& where, std::string description) {
    E exception;
    exception << Core::TagDescription(std::move(description)) << Core::TagCallStack(Core::GetCallStack());
    boost::throw_exception(exception, where);
}

/// The same with the caller's location. The built-ins stand in for std::source_location, which clang 14 lacks.
template <class E = Proc::EffectException>
[[noreturn]] void Throw(std::string description, const char* file = __builtin_FILE(), unsigned line = __builtin_LINE(),
                        const char* function = __builtin_FUNCTION()) {
    ThrowAt<E>(boost::source_location(file, line, function), std::move(description));
}

/// A one-line description of the error, for users.
std::string Describe(const std::exception& exception);
/// Throw location and call stack for developers, several lines; empty when the exception carries neither.
std::string DescribeOrigin(const std::exception& exception);

}  // namespace Orvexa
