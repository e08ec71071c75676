#pragma once

#include <optional>

#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

/// A length along one side of a picture, in pixels or as a percentage of the side; or none, which leaves it open.
class Length {
public:
    constexpr Length() = default;
    static constexpr Length Pixels(double pixels) { return {pixels, false}; }
    static constexpr Length Percent(double percent) { return {percent, true}; }
    constexpr bool operator==(const Length&) const = default;

    constexpr bool IsOpen() const { return !value_; }
    constexpr bool IsPercent() const { return isPercent_; }
    /// In pixels of a side of `side` pixels, or in percent of it; 0 if open.
    constexpr double GetValue() const { return value_.value_or(0.0); }
    constexpr double In(std::uint32_t side) const { return isPercent_ ? GetValue() * side / 100.0 : GetValue(); }

private:
    constexpr Length(double value, bool isPercent) : value_(value), isPercent_(isPercent) {}

    std::optional<double> value_;
    bool isPercent_ = false;
};

/// Text form: 120, 12.5% or, for an open length, rest.
template <>
struct TextCodec<Length> {
    static constexpr std::string_view kOpen = "rest";

    static std::string_view TypeName() { return "length"; }
    static std::string Format(const Length& length) {
        if (length.IsOpen()) return std::string(kOpen);
        return FormatDouble(length.GetValue()) + (length.IsPercent() ? "%" : "");
    }
    static Length Parse(std::string_view text) {
        if (text == kOpen) return {};
        const bool isPercent = text.ends_with('%');
        const std::string_view number = text.substr(0, text.size() - (isPercent ? 1 : 0));
        double value = -1.0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
        if (error != std::errc() || end != number.data() + number.size() || !(value >= 0.0) || !std::isfinite(value))
            ThrowNotA(text, "a length like 120, 12.5% or rest");
        return isPercent ? Length::Percent(value) : Length::Pixels(value);
    }
};

}  // namespace Orvexa::Proc
