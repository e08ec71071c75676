// Pictures made and inspected with libvips alone, without the code under test.
#pragma once

#include <string>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

inline const bool kIsVipsStarted = vips_init("tests") == 0;

/// A picture with `bands` 8-bit bands, the same for the same size.
inline vips::VImage NoisePicture(int width, int height, int bands) {
    FileBytes samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(bands));
    std::uint32_t state = 12345;
    for (std::uint8_t& sample : samples) sample = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
    const vips::VImage picture(vips_image_new_from_memory_copy(samples.data(), samples.size(), width, height, bands, VIPS_FORMAT_UCHAR));
    return picture.copy(vips::VImage::option()->set("interpretation", bands < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
}

/// A plain colour, or one ink mixture.
inline vips::VImage PlainPicture(int width, int height, const std::vector<double>& color, VipsInterpretation meaning,
                                 VipsBandFormat format) {
    return (vips::VImage::black(width, height) + color).cast(format).copy(vips::VImage::option()->set("interpretation", meaning));
}

/// The samples of a picture as a frame.
inline FramePtr ToFrame(const vips::VImage& picture) {
    std::size_t size = 0;
    auto* memory = static_cast<std::uint8_t*>(picture.write_to_memory(&size));
    const std::vector<int> samples(memory, memory + size);
    g_free(memory);
    const PixFmt pixFmt = picture.bands() == 1 ? PixFmt::Gray8 : picture.bands() == 3 ? PixFmt::Rgb24 : PixFmt::Rgba;
    return MakeFrame(pixFmt, static_cast<std::uint32_t>(picture.width()), static_cast<std::uint32_t>(picture.height()), samples);
}

inline bool HasField(const vips::VImage& picture, const char* field) { return vips_image_get_typeof(picture.get_image(), field) != 0; }

}  // namespace Orvexa::Test
