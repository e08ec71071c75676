#include "Cli/Errors.h"

#include <cstdint>
#include <cstdio>

namespace Kalvatri {

namespace {

struct Character {
    std::uint32_t code;
    std::size_t length;  // in bytes; 0 for invalid UTF-8
};

// The Unicode Standard, version 15, table 3-7.
Character DecodeUtf8(std::string_view text) {
    const auto byteAt = [&](std::size_t i) -> std::uint32_t {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const std::uint32_t first = byteAt(0);
    if (first < 0x80) return {first, 1};
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    std::uint32_t code = first & 0xffu >> (length + 1);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xc0) != 0x80) return {0, 0};
        code = code << 6 | (byteAt(i) & 0x3f);
    }
    constexpr std::uint32_t kSmallest[] = {0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    const bool isGood =
        first >= 0xc0 && first < 0xf8 && code >= kSmallest[length - 2] && code <= 0x10ffff && !isSurrogate;
    return {code, isGood ? length : 0};
}

// Control characters, line and paragraph separators, and characters that change the direction of the text that follows.
bool IsControl(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c || code == 0x200e || code == 0x200f ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

std::string Hex(const char* format, std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, format, code);
    return text;
}

// Moves a position back to the beginning of its character.
std::size_t ToBoundary(std::string_view text, std::size_t at) {
    constexpr int kMostFurtherBytes = 3;
    for (int i = 0; i < kMostFurtherBytes && at > 0 && at < text.size() && (text[at] & 0xc0) == 0x80; ++i) --at;
    return at;
}

}  // namespace

std::string ToLine(std::string_view text) {
    // Room for two long paths. The beginning says what was being done, the end usually what is wrong.
    constexpr std::size_t kLongest = 10000, kEnd = 1000, kBeginning = 3000;
    if (text.size() > kLongest) {
        const std::size_t from = ToBoundary(text, kBeginning), to = ToBoundary(text, text.size() - kEnd);
        return ToLine(text.substr(0, from)) + " [... " + std::to_string(to - from) + " bytes ...] " +
               ToLine(text.substr(to));
    }
    std::string line;
    while (!text.empty()) {
        const Character character = DecodeUtf8(text);
        const auto byte = static_cast<unsigned char>(text[0]);
        if (byte == '\n' || byte == '\r') {
            line += ' ';
        } else if (character.length == 0 || (byte < 0x80 && IsControl(byte))) {
            line += Hex("\\x%02x", byte);
        } else if (IsControl(character.code)) {
            line += Hex("\\u%04x", character.code);
        } else {
            line += text.substr(0, character.length);
        }
        text.remove_prefix(character.length == 0 ? 1 : character.length);
    }
    return line;
}

CommandError::CommandError(ExitCode exitCode, const std::string& doing, const std::string& description,
                           std::string origin)
    : exitCode_(exitCode), message_(ToLine(doing + ": " + description)), origin_(std::move(origin)) {}

}  // namespace Kalvatri
