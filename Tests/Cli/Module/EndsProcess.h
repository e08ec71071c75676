// What the effect EndsProcess acts upon.
#pragma once

#include <cstdint>

namespace Orvexa::Test {

/// Red and blue of pictures that end the process; green is the number of the signal that does, or one of the two below.
inline constexpr std::uint8_t kEndingRed = 201, kEndingBlue = 77;
inline constexpr std::uint8_t kForEver = 0;  ///< the effect never returns
inline constexpr std::uint8_t kExits = 200;  ///< the process exits, with this code
/// An environment variable: a folder in which the process is writing a picture, named after green, when the effect
/// acts.
inline constexpr char kWritingFolderVariable[] = "ENDS_PROCESS_WRITING_INTO";

}  // namespace Orvexa::Test
