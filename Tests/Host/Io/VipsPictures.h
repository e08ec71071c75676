// Pictures made and inspected with libvips alone, without the code under test.
#pragma once

#include <array>
#include <string>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

inline const bool kIsVipsStarted = vips_init("tests") == 0;

/// A picture with `bands` 8-bit bands, the same for the same size.
inline vips::VImage NoisePicture(int width, int height, int bands) {
    FileBytes samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                      static_cast<std::size_t>(bands));
    std::uint32_t state = 12345;
    for (std::uint8_t& sample : samples)
        sample = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
    const vips::VImage picture(
        vips_image_new_from_memory_copy(samples.data(), samples.size(), width, height, bands, VIPS_FORMAT_UCHAR));
    return picture.copy(
        vips::VImage::option()->set("interpretation", bands < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
}

/// A plain colour, or one ink mixture.
inline vips::VImage PlainPicture(int width, int height, const std::vector<double>& color, VipsInterpretation meaning,
                                 VipsBandFormat format) {
    return (vips::VImage::black(width, height) + color)
        .cast(format)
        .copy(vips::VImage::option()->set("interpretation", meaning));
}

/// The samples of a picture as a frame.
inline FramePtr ToFrame(const vips::VImage& picture) {
    std::size_t size = 0;
    auto* memory = static_cast<std::uint8_t*>(picture.write_to_memory(&size));
    const std::vector<int> samples(memory, memory + size);
    g_free(memory);
    const PixFmt pixFmt = picture.bands() == 1 ? PixFmt::Gray8 : picture.bands() == 3 ? PixFmt::Rgb24 : PixFmt::Rgba;
    return MakeFrame(pixFmt, static_cast<std::uint32_t>(picture.width()), static_cast<std::uint32_t>(picture.height()),
                     samples);
}

/// A TIFF file whose directory stands before the samples, as cameras write them; libvips writes it behind. Grey, in
/// strips of 16 rows.
inline FileBytes HeaderFirstTiff(std::uint32_t width, std::uint32_t strips) {
    constexpr std::uint32_t kRows = 16, kLong = 4, kTags = 7, kEntries = 8 + 2, kOffsets = kEntries + 12 * kTags + 4;
    const std::uint32_t counts = kOffsets + 4 * strips, samples = counts + 4 * strips;
    FileBytes bytes = {'I', 'I', 42, 0, 8, 0, 0, 0, kTags, 0};
    const auto append = [&](std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    };
    // Width, height, bits, black is zero, offsets, rows a strip, byte counts.
    const std::array<std::uint32_t, 3> tags[kTags] = {{256, 1, width},      {257, 1, strips * kRows}, {258, 1, 8},
                                                      {262, 1, 1},          {273, strips, kOffsets},  {278, 1, kRows},
                                                      {279, strips, counts}};
    for (const auto& [tag, count, value] : tags) {
        append(tag | kLong << 16);
        append(count);
        append(value);
    }
    append(0);
    for (std::uint32_t i = 0; i < strips; ++i) append(samples + i * kRows * width);
    for (std::uint32_t i = 0; i < strips; ++i) append(kRows * width);
    for (std::uint32_t i = 0; i < strips * kRows * width; ++i) bytes.push_back(static_cast<std::uint8_t>(i * 7 + 1));
    return bytes;
}

inline bool HasField(const vips::VImage& picture, const char* field) {
    return vips_image_get_typeof(picture.get_image(), field) != 0;
}

}  // namespace Orvexa::Test
