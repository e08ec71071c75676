#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class ShapeMaskShape : std::int32_t { Ellipse = 0, Circle = 1, Rectangle = 2, Square = 3 };
enum class ShapeMaskThresholdMode : std::int32_t {
    Absolute = 0,  ///< the threshold is the extent of the falloff in units of the shape
    Relative = 1,  ///< divided by the smaller of width and height
    Wide = 2,      ///< always three times the shape
};

/// A shape within a picture and how its mask falls off around it. Extents of ellipse and rectangle are fractions of the
/// picture's width and height, those of circle and square of its shorter side.
class SettingsEffectShapeMask final : public Settings {
public:
    using Point = std::pair<double, double>;
    using Normalizer = std::function<Point(const Point&)>;

    ORVEXA_SETTINGS(SettingsEffectShapeMask, "ShapeMask", Groups::kStylise,
                    "Replaces the picture by a soft grey mask in the shape of an ellipse or a rectangle.")
    ORVEXA_EQUALITY(SettingsEffectShapeMask)
    ORVEXA_FIELD(ShapeMaskShape, Shape, ShapeMaskShape::Ellipse, Named("ellipse=0 circle=1 rectangle=2 square=3"), "",
                 "The shape.")
    ORVEXA_FIELD(double, CenterX, 0.5, Range(-4, 4), "fraction", "Centre of the shape, of the picture's width.")
    ORVEXA_FIELD(double, CenterY, 0.5, Range(-4, 4), "fraction", "Centre of the shape, of the picture's height.")
    ORVEXA_FIELD(double, Width, 0.5, Range(0.0001, 16), "fraction",
                 "Full width of the shape, of the picture's width or shorter side.")
    ORVEXA_FIELD(double, Height, 0.5, Range(0.0001, 16), "fraction",
                 "Full height of the shape, of the picture's height or shorter side.")
    ORVEXA_FIELD(double, Angle, 0.0, Range(-360, 360), "degrees", "Turns the shape counter-clockwise.")
    ORVEXA_FIELD(ShapeMaskThresholdMode, ThresholdMode, ShapeMaskThresholdMode::Absolute,
                 Named("absolute=0 relative=1 wide=2"), "", "How the threshold is meant.")
    ORVEXA_FIELD(double, Threshold, 2.0, Range(0, 64), "shapes", "Where the falloff ends; 1 is the shape's own edge.")
    ORVEXA_FIELD(std::uint8_t, Foreground, 255, Range(0, 255), "", "Mask value inside the shape.")
    ORVEXA_FIELD(std::uint8_t, Background, 0, Range(0, 255), "", "Mask value outside the falloff.")
    ORVEXA_FIELD(double, ForegroundTilt, 0.0, Range(-4096, 4096), "levels", "Slope of the falloff at the shape.")
    ORVEXA_FIELD(double, BackgroundTilt, 0.0, Range(-4096, 4096), "levels", "Slope of the falloff at its end.")
    ORVEXA_FLAG(ForegroundOnly, false, "Fills the mask with the foreground.")
    ORVEXA_FLAG(BackgroundOnly, false, "Fills the mask with the background.")

    /// Maps positions in a picture of `size` (width, height) to coordinates in which the shape is the unit disc or the
    /// square |x|, |y| <= 1.
    Normalizer GetNormalizer(const Point& size) const {
        const bool isOfShorterSide = GetShape() == ShapeMaskShape::Circle || GetShape() == ShapeMaskShape::Square;
        const double shorter = std::min(size.first, size.second);
        const double halfWidth = GetWidth() * (isOfShorterSide ? shorter : size.first) / 2.0;
        const double halfHeight = GetHeight() * (isOfShorterSide ? shorter : size.second) / 2.0;
        const double x0 = GetCenterX() * size.first, y0 = GetCenterY() * size.second;
        const double radians = GetAngle() * std::numbers::pi / 180.0;
        const double cosine = std::cos(radians), sine = std::sin(radians);
        return [=](const Point& position) {
            // Rows count downward, so a rotation that looks counter-clockwise has a negative angle.
            const double dx = position.first - x0, dy = position.second - y0;
            return Point((dx * cosine - dy * sine) / halfWidth, (dx * sine + dy * cosine) / halfHeight);
        };
    }
};

}  // namespace Orvexa::Proc
