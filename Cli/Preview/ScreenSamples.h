// Pixels of a screen from those of a picture.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Cli/SettingsJson.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

/// Which pixels of a picture a screen shows.
struct ScreenGrid {
    double left, top;             ///< the corner of the screen's first pixel, in pixels of the picture
    double stepX, stepY;          ///< size of a screen's pixel, in pixels of the picture
    std::uint32_t width, height;  ///< in pixels of the screen
};

/// RGBA, row by row. Pixels are taken whole unless they are to be smooth, which interpolates between their centers;
/// what lies beyond an edge repeats it. `picture` is cut down to what is seen.
std::vector<std::uint8_t> SampleForScreen(const Orvexa::Proc::FactoryPtr& factory, Orvexa::Proc::FramePtr picture,
                                          const ScreenGrid& grid, bool isSmooth);

/// How many pixels have each level, 256 numbers each of "red", "green", "blue" and "luma".
Json CountLevels(std::span<const std::uint8_t> rgba);

}  // namespace Kalvatri
