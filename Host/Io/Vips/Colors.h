// What colour profiles do to colours, and the way from them to sRGB.
#pragma once

#include <vips/vips8>

namespace Orvexa::Io::Details {

bool HasProfile(const vips::VImage& image);

/// The colours as sRGB has them in 8 bits, without the profile that told what they were; grey pictures stay grey.
/// Throws `vips::VError` where the profile cannot be used.
vips::VImage ConvertToSrgb(const vips::VImage& image);

enum class ProfileKind {
    Srgb,    ///< no colour is another one in sRGB
    Linear,  ///< levels are proportional to light, which leaves next to none for shadows in 8 bits
    Other
};
/// Of the profile that `image`, which is grey or RGB, has. Throws `vips::VError` where it cannot be used.
ProfileKind FindProfileKind(const vips::VImage& image);
/// Whether `image` has a profile by which its levels are proportional to light. One that cannot be used does not count.
bool IsLinear(const vips::VImage& image);

}  // namespace Orvexa::Io::Details
