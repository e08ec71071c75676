#include "Host/Conf/PixFmtDescription.h"

#include "Host/Core/Exception.h"

namespace Orvexa {

namespace {

using Kind = PixFmtDescription::Kind;
constexpr std::uint32_t kAlpha = PixFmtDescription::kFlagAlpha;
constexpr std::uint32_t kPlanar = PixFmtDescription::kFlagPlanar;
constexpr int kPaletteBytes = 256 * 4;

// Ceiling of size / 2^shift, written for a signed size.
constexpr int CeilShift(int size, int shift) { return -((-size) >> shift); }

}  // namespace

const std::vector<PixFmtDescription>& PixFmtDescription::GetPixelFormatDescroptionsList() {
    static const std::vector<PixFmtDescription> list = {
        {PixFmt::Yuv420p, "yuv420p", Kind::Planar, 1, 1, kPlanar, 3, 1, -1, -1},
        {PixFmt::Rgb24, "rgb24", Kind::Packed, 0, 0, 0, 1, 3, 0, -1},
        {PixFmt::Bgr24, "bgr24", Kind::Packed, 0, 0, 0, 1, 3, 2, -1},
        {PixFmt::Yuv422p, "yuv422p", Kind::Planar, 1, 0, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuv444p, "yuv444p", Kind::Planar, 0, 0, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuv410p, "yuv410p", Kind::Planar, 2, 2, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuv411p, "yuv411p", Kind::Planar, 2, 0, kPlanar, 3, 1, -1, -1},
        {PixFmt::Gray8, "gray8", Kind::Gray, 0, 0, 0, 1, 1, -1, -1},
        {PixFmt::Pal8, "pal8", Kind::Indexed, 0, 0, kAlpha, 2, 1, -1, -1},
        {PixFmt::Yuvj420p, "yuvj420p", Kind::Planar, 1, 1, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuvj422p, "yuvj422p", Kind::Planar, 1, 0, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuvj444p, "yuvj444p", Kind::Planar, 0, 0, kPlanar, 3, 1, -1, -1},
        {PixFmt::Nv12, "nv12", Kind::SemiPlanar, 1, 1, kPlanar, 2, 1, -1, -1},
        {PixFmt::Nv21, "nv21", Kind::SemiPlanar, 1, 1, kPlanar, 2, 1, -1, -1},
        {PixFmt::Argb, "argb", Kind::Packed, 0, 0, kAlpha, 1, 4, 1, 0},
        {PixFmt::Rgba, "rgba", Kind::Packed, 0, 0, kAlpha, 1, 4, 0, 3},
        {PixFmt::Abgr, "abgr", Kind::Packed, 0, 0, kAlpha, 1, 4, 3, 0},
        {PixFmt::Bgra, "bgra", Kind::Packed, 0, 0, kAlpha, 1, 4, 2, 3},
        {PixFmt::Yuv440p, "yuv440p", Kind::Planar, 0, 1, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuvj440p, "yuvj440p", Kind::Planar, 0, 1, kPlanar, 3, 1, -1, -1},
        {PixFmt::Yuva420p, "yuva420p", Kind::Planar, 1, 1, kPlanar | kAlpha, 4, 1, -1, -1},
        {PixFmt::Yuva422p, "yuva422p", Kind::Planar, 1, 0, kPlanar | kAlpha, 4, 1, -1, -1},
        {PixFmt::Yuva444p, "yuva444p", Kind::Planar, 0, 0, kPlanar | kAlpha, 4, 1, -1, -1},
        {PixFmt::Argb2, "argb2", Kind::Packed, 0, 0, kAlpha, 1, 4, 1, 0},
        {PixFmt::Rgba2, "rgba2", Kind::Packed, 0, 0, kAlpha, 1, 4, 0, 3},
        {PixFmt::Abgr2, "abgr2", Kind::Packed, 0, 0, kAlpha, 1, 4, 3, 0},
        {PixFmt::Bgra2, "bgra2", Kind::Packed, 0, 0, kAlpha, 1, 4, 2, 3},
        {PixFmt::Yuvj411p, "yuvj411p", Kind::Planar, 2, 0, kPlanar, 3, 1, -1, -1},
    };
    return list;
}

const PixFmtDescription* PixFmtDescription::Find(PixFmt pixFmt) {
    for (const PixFmtDescription& description : GetPixelFormatDescroptionsList()) {
        if (description.pixFmt == pixFmt) return &description;
    }
    return nullptr;
}

const PixFmtDescription& PixFmtDescription::Get(PixFmt pixFmt) {
    const PixFmtDescription* description = Find(pixFmt);
    if (description == nullptr) Throw("Pixel format is not supported!");
    return *description;
}

int PixFmtDescription::GetPlanWidthSize(int width, std::uint8_t plane) const {
    if (plane >= planes) return 0;
    if (kind == Kind::Indexed && plane == 1) return kPaletteBytes;
    if (kind == Kind::SemiPlanar && plane == 1) return 2 * CeilShift(width, chromaShiftX);
    return CeilShift(width, GetShiftX(plane)) * bytesPerPixel;
}

int PixFmtDescription::GetPlaneHeight(int height, std::uint8_t plane) const {
    if (plane >= planes) return 0;
    if (kind == Kind::Indexed && plane == 1) return 1;
    return CeilShift(height, GetShiftY(plane));
}

}  // namespace Orvexa
