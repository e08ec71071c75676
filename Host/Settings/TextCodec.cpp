#include "Host/Settings/TextCodec.h"

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/ColorCodec.h"

namespace Orvexa::Proc {

void ThrowNotA(std::string_view text, std::string_view expected) {
    Throw<SettingsException>("\"" + std::string(text) + "\" is not " + std::string(expected));
}

std::vector<std::string_view> SplitText(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    if (text.empty()) return parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string FormatDouble(double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

namespace {

// Parses a number that must span the whole text.
template <class Number>
std::errc ReadNumber(std::string_view text, Number& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return end == text.data() + text.size() ? error : std::errc::invalid_argument;
}

}  // namespace

double ParseDouble(std::string_view text) {
    double value = 0;
    if (ReadNumber(text, value) != std::errc() || !std::isfinite(value)) ThrowNotA(text, "a number");
    return value;
}

std::int64_t ParseInteger(std::string_view text, std::int64_t min, std::int64_t max, std::string_view expected) {
    std::int64_t value = 0;
    const std::errc error = ReadNumber(text, value);
    if (error == std::errc::invalid_argument) ThrowNotA(text, expected);
    if (error != std::errc() || value < min || value > max)
        ThrowNotA(text, "in the range " + std::to_string(min) + ".." + std::to_string(max));
    return value;
}

void CheckRange(std::string_view text, double min, double max) {
    const std::string range = "in the range " + FormatDouble(min) + ".." + FormatDouble(max);
    double value = 0;
    if (ReadNumber(text, value) != std::errc() || std::isnan(value)) ThrowNotA(text, "a number " + range);
    if (value < min || value > max) ThrowNotA(text, range);
}

bool TextCodec<bool>::Parse(std::string_view text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    ThrowNotA(text, "true or false");
}

std::string TextCodec<Color>::Format(const Color& color) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "#";
    for (int i = 0; i < (color.alpha() == 255 ? 3 : 4); ++i) {
        text += kDigits[color[i] >> 4];
        text += kDigits[color[i] & 15];
    }
    return text;
}

Color TextCodec<Color>::Parse(std::string_view text) {
    std::uint32_t value = 0;
    const bool hasForm = (text.size() == 7 || text.size() == 9) && text[0] == '#';
    const auto [end, error] = std::from_chars(text.data() + (hasForm ? 1 : 0), text.data() + text.size(), value, 16);
    if (!hasForm || error != std::errc() || end != text.data() + text.size())
        ThrowNotA(text, "a color like #RRGGBB or #RRGGBBAA");
    if (text.size() == 7) value = value << 8 | 255;
    return Color(static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                 static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value));
}

}  // namespace Orvexa::Proc
