// XMP packets, of which only what would be wrong of a new picture is changed, in the text as it stands.
#pragma once

#include <cstdint>
#include <string>

namespace Orvexa::Io::Details {

/// Marks the picture as upright and removes preview pictures.
void MakeXmpUpright(std::string& xmp);
/// Brings the picture's size up to date where it is told.
void SetXmpSize(std::string& xmp, std::uint32_t width, std::uint32_t height);
/// Says that the colours are sRGB where the colour space is told.
void SetXmpSrgb(std::string& xmp);

}  // namespace Orvexa::Io::Details
