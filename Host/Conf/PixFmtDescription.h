// Descriptions of the pixel formats.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Host/Conf/PixFmt.h"

namespace Orvexa {

/// A picture's channels, by the letters used for them in `PixFmtDescription::layout`.
enum class ChannelKind : char {
    Red = 'R',
    Green = 'G',
    Blue = 'B',
    Luma = 'Y',  ///< also the only channel of grey frames
    Cb = 'U',
    Cr = 'V',
    Alpha = 'A',
    Index = 'I',  ///< into the palette, which is plane 1 of an indexed frame
};

/// What a plane contains.
enum class PlaneRole : std::uint8_t { Packed, Luma, Chroma, Alpha, Indices, Palette };

struct PixFmtDescription {
    enum class Kind : std::uint8_t { Planar, SemiPlanar, Packed, Gray, Indexed };
    static constexpr std::uint32_t kFlagAlpha = 1u << 3;
    static constexpr std::uint32_t kFlagPlanar = 1u << 4;
    static constexpr std::size_t kMaxPlanes = 4;

    /// The channels of one pixel in byte order, plane by plane; empty for a plane that does not exist.
    using Layout = std::array<std::string_view, kMaxPlanes>;
    /// Where a channel is stored: its first sample is at byte `offset` of a row, further samples follow every `step`
    /// bytes.
    struct Place {
        std::uint8_t plane, offset, step;
    };

    PixFmt pixFmt;
    const char* name;
    std::uint8_t chromaShiftX;  ///< log2 of the horizontal chroma subsampling
    std::uint8_t chromaShiftY;  ///< log2 of the vertical chroma subsampling
    Layout layout;

    // Derived from the layout.
    Kind kind;
    std::uint32_t flags;
    std::uint8_t planes;           ///< number of planes, alpha or palette included
    std::uint8_t bytesPerPixel;    ///< of plane 0
    std::int8_t red, green, blue;  ///< byte positions of the colours within a pixel; all 0 for grey, -1 if not packed
    std::int8_t alpha;             ///< byte position of alpha within a packed pixel; -1 if there is none

    PixFmtDescription(PixFmt format, const char* formatName, std::uint8_t shiftX, std::uint8_t shiftY,
                      const Layout& channels);

    /// The description of a format, or null if the format is unknown.
    static const PixFmtDescription* Find(PixFmt pixFmt);
    /// As `Find`, but an unknown format throws `EffectException` "Pixel format is not supported!".
    static const PixFmtDescription& Get(PixFmt pixFmt);
    static const std::vector<PixFmtDescription>& GetPixelFormatDescroptionsList();

    bool HasAlpha() const { return (flags & kFlagAlpha) != 0; }
    bool IsPlanar() const { return (flags & kFlagPlanar) != 0; }
    /// The place of a channel; throws `EffectException` if the format lacks it.
    Place GetPlace(ChannelKind channel) const;
    /// The Y'CbCr format without subsampling, with alpha if this format has it.
    PixFmt GetFinestPlanar() const { return HasAlpha() ? PixFmt::Yuva444p : PixFmt::Yuv444p; }
    /// What plane `plane`, which must exist, contains.
    PlaneRole GetRole(std::uint8_t plane) const;
    /// True for chroma planes, which may be subsampled.
    bool IsChroma(std::uint8_t plane) const { return plane < planes && GetRole(plane) == PlaneRole::Chroma; }
    /// Bytes per sample of the plane's own grid: of a packed pixel, a pair of chroma samples or a palette entry, else
    /// 1.
    std::uint8_t GetBytesPerPixel(std::uint8_t plane) const { return static_cast<std::uint8_t>(layout[plane].size()); }
    std::uint8_t GetShiftX(std::uint8_t plane) const { return IsChroma(plane) ? chromaShiftX : std::uint8_t{0}; }
    std::uint8_t GetShiftY(std::uint8_t plane) const { return IsChroma(plane) ? chromaShiftY : std::uint8_t{0}; }
    /// Bytes that `width` pixels of the picture occupy in a row of `plane`, subsampled sizes rounded up; 0 if there is
    /// no such plane.
    int GetPlanWidthSize(int width, std::uint8_t plane) const;
    /// Rows that `height` rows of the picture occupy in `plane`, subsampled sizes rounded up.
    int GetPlaneHeight(int height, std::uint8_t plane) const;
};

}  // namespace Orvexa
