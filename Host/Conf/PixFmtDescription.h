// What the host knows about each pixel format.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Conf/PixFmt.h"

namespace Orvexa {

struct PixFmtDescription {
    enum class Kind : std::uint8_t { Planar, SemiPlanar, Packed, Gray, Indexed };
    static constexpr std::uint32_t kFlagAlpha = 1u << 3;
    static constexpr std::uint32_t kFlagPlanar = 1u << 4;

    PixFmt pixFmt;
    const char* name;
    Kind kind;
    std::uint8_t chromaShiftX;  ///< log2 of the horizontal chroma subsampling
    std::uint8_t chromaShiftY;  ///< log2 of the vertical chroma subsampling
    std::uint32_t flags;
    std::uint8_t planes;         ///< number of planes, alpha or palette included
    std::uint8_t bytesPerPixel;  ///< of plane 0
    std::int8_t red;             ///< byte of red within a packed pixel; -1 if not packed
    std::int8_t alpha;           ///< byte of alpha within a packed pixel; -1 if there is none

    /// The description of a format, or null if the format is unknown.
    static const PixFmtDescription* Find(PixFmt pixFmt);
    /// As `Find`, but an unknown format throws `EffectException` "Pixel format is not supported!".
    static const PixFmtDescription& Get(PixFmt pixFmt);
    static const std::vector<PixFmtDescription>& GetPixelFormatDescroptionsList();

    bool HasAlpha() const { return (flags & kFlagAlpha) != 0; }
    bool IsPlanar() const { return (flags & kFlagPlanar) != 0; }
    /// Bytes of green and blue within a packed pixel. Green is always between red and blue.
    int GetGreen() const { return alpha == 0 ? 2 : 1; }
    int GetBlue() const { return 2 * GetGreen() - red; }
    /// True for planes 1 and 2 of the Y'CbCr formats, which may be subsampled.
    bool IsChroma(std::uint8_t plane) const {
        return (plane == 1 || plane == 2) && (kind == Kind::Planar || kind == Kind::SemiPlanar);
    }
    std::uint8_t GetShiftX(std::uint8_t plane) const { return IsChroma(plane) ? chromaShiftX : std::uint8_t{0}; }
    std::uint8_t GetShiftY(std::uint8_t plane) const { return IsChroma(plane) ? chromaShiftY : std::uint8_t{0}; }
    /// Bytes that `width` pixels of the picture occupy in a row of `plane`, subsampled sizes rounded up; 0 if there is
    /// no such plane.
    int GetPlanWidthSize(int width, std::uint8_t plane) const;
    /// Rows that `height` rows of the picture occupy in `plane`, subsampled sizes rounded up.
    int GetPlaneHeight(int height, std::uint8_t plane) const;
};

}  // namespace Orvexa
