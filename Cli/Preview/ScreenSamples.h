// Resamples a picture to screen pixels.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Cli/SettingsJson.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

/// The part of a picture shown on a screen, and its scale.
struct ScreenGrid {
    double left, top;             ///< the corner of the first screen pixel, in picture pixels
    double stepX, stepY;          ///< size of a screen pixel, in picture pixels
    std::uint32_t width, height;  ///< in screen pixels
};

/// RGBA, row by row: nearest neighbour, or linear interpolation between pixel centres with `isSmooth`; pixels
/// beyond an edge repeat it. `picture` is cropped to the visible part.
std::vector<std::uint8_t> SampleForScreen(const Orvexa::Proc::FactoryPtr& factory,
                                          const Orvexa::Proc::FramePtr& picture, const ScreenGrid& grid, bool isSmooth);

/// Histograms: 256 counts each of "red", "green", "blue" and "luma".
Json CountLevels(std::span<const std::uint8_t> rgba);

}  // namespace Kalvatri
