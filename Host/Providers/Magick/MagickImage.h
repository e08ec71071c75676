// Conversion of frames to and from ImageMagick images, within ImageMagick's limits on this machine.
#pragma once

#include <cassert>  // Magick++ relies on it

#include <Magick++.h>

#include <cstdint>

#include "Host/Proc/Plane.h"

namespace Orvexa::Proc::MagickImages {

/// A part of a picture, in pixels.
struct Part {
    std::uint64_t x, y, width, height;
};

/// Initializes ImageMagick for this process: one thread per call, and resource limits as high as its policy.xml allows.
/// Limits from the environment (MAGICK_MEMORY_LIMIT and the like) are raised, too: the host limits picture sizes
/// itself.
void Initialize();

/// The limits of a single image.
struct Limits {
    std::uint64_t width, height;  ///< pixels
    std::uint64_t bytes;          ///< of all images in memory together
};
Limits GetLimits();
/// Bytes per pixel of an image.
inline constexpr std::uint64_t kBytesPerPixel = 4 * sizeof(Magick::Quantum);

/// Throws `EffectException`, stating what would be right, if an image of `width` x `height` pixels exceeds the limits.
void RequireSize(std::uint64_t width, std::uint64_t height);

/// A copy of `part` of a plane of packed pixels whose bytes are described by `map`, such as "RGB"; "P" stands for a
/// byte to ignore. Throws `EffectException` if ImageMagick lacks the resources.
Magick::Image Load(const ConstPlane& plane, const Part& part, const char* map);

/// Writes the image's pixels from column `x` and row `y` on to `part` of the plane; bytes marked "P" are set to 0.
void Store(Magick::Image& image, std::uint64_t x, std::uint64_t y, const Plane& plane, const Part& part,
           const char* map);

/// Runs `work`; an ImageMagick error becomes an `EffectException`.
template <class Work>
void Translated(Work&& work);
[[noreturn]] void ThrowAsEffectException(const Magick::Exception& exception);

template <class Work>
void Translated(Work&& work) {
    try {
        work();
    } catch (const Magick::Exception& exception) {
        ThrowAsEffectException(exception);
    }
}

}  // namespace Orvexa::Proc::MagickImages
