#pragma once

#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

/// A position in a picture: x to the right, y downwards.
template <class T>
struct Point {
    T x{}, y{};
    constexpr bool operator==(const Point&) const = default;
};

/// A line through points, or the outline of an area.
using Contour = std::vector<Point<int>>;

/// Text form of contours: x,y,x,y,... with a semicolon between contours.
template <>
struct TextCodec<std::vector<Contour>> {
    static std::string_view TypeName() { return "list"; }
    static std::string Format(const std::vector<Contour>& contours) {
        std::string text;
        for (const Contour& contour : contours) {
            std::vector<int> numbers;
            for (const Point<int>& point : contour) numbers.insert(numbers.end(), {point.x, point.y});
            text += (text.empty() ? "" : ";") + TextCodec<std::vector<int>>::Format(numbers);
        }
        return text;
    }
    static std::vector<Contour> Parse(std::string_view text) {
        std::vector<Contour> contours;
        for (const std::string_view part : SplitText(text, ';')) {
            const auto numbers = TextCodec<std::vector<int>>::Parse(part);
            if (numbers.empty() || numbers.size() % 2 != 0) ThrowNotA(part, "of the form x,y,x,y,...");
            Contour& contour = contours.emplace_back();
            for (std::size_t i = 0; i < numbers.size(); i += 2) contour.push_back({numbers[i], numbers[i + 1]});
        }
        return contours;
    }
};

}  // namespace Orvexa::Proc
