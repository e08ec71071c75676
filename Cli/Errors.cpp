#include "Cli/Errors.h"

#include <algorithm>

namespace Kalvatri {

CommandError::CommandError(ExitCode exitCode, const std::string& doing, const std::string& description, std::string origin)
    : exitCode_(exitCode), message_(doing + ": " + description), origin_(std::move(origin)) {
    std::replace_if(
        message_.begin(), message_.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
}

}  // namespace Kalvatri
