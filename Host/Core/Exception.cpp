#include "Host/Core/Exception.h"

#include <boost/stacktrace.hpp>
#include <sstream>
#include <typeinfo>

namespace Orvexa {

namespace Core {

CallStack GetCallStack() {
    constexpr std::size_t kInnermostSkipped = 1, kMaxDepth = 64;
    const boost::stacktrace::stacktrace trace(kInnermostSkipped, kMaxDepth);
    std::vector<const void*> frames;
    frames.reserve(trace.size());
    for (const auto& frame : trace) frames.push_back(frame.address());
    return CallStack(std::move(frames));
}

std::string CallStack::ToString() const {
    std::ostringstream text;
    for (std::size_t i = 0; i < frames_.size(); ++i) {
        // Functions that a library does not export have no name in a release build, and an address alone is of no use.
        const std::string name = boost::stacktrace::frame(frames_[i]).name();
        if (!name.empty()) text << "  #" << i << ' ' << name << '\n';
    }
    return text.str();
}

const char* Exception::what() const noexcept {
    const std::string* description = boost::get_error_info<TagDescription>(*this);
    return description ? description->c_str() : GeneralText();
}

}  // namespace Core

namespace {

const char* TextOf(Proc::TranscodingErrors error) {
    switch (error) {
        case Proc::TranscodingErrors::PictureTooSmall:
            return "The picture is too small for the blur kernel; use a smaller size";
    }
    return "unknown transcoding error";
}

}  // namespace

std::string Describe(const std::exception& exception) {
    const auto* details = dynamic_cast<const boost::exception*>(&exception);
    if (details != nullptr) {
        if (const auto* description = boost::get_error_info<Core::TagDescription>(*details)) return *description;
        if (const auto* code = boost::get_error_info<Proc::TagTranscodingErrorCode>(*details)) return TextOf(*code);
    }
    if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr) return "not enough memory";
    return exception.what();
}

std::string DescribeOrigin(const std::exception& exception) {
    const auto* details = dynamic_cast<const boost::exception*>(&exception);
    if (details == nullptr) return {};
    std::ostringstream text;
    const auto* file = boost::get_error_info<boost::throw_file>(*details);
    const auto* line = boost::get_error_info<boost::throw_line>(*details);
    const auto* function = boost::get_error_info<boost::throw_function>(*details);
    if (file != nullptr && line != nullptr) text << "  thrown at " << *file << ':' << *line;
    if (function != nullptr) text << " in " << *function;
    if (text.tellp() > 0) text << '\n';
    if (const auto* stack = boost::get_error_info<Core::TagCallStack>(*details)) text << stack->ToString();
    return text.str();
}

}  // namespace Orvexa
