#include "Host/Conf/PixFmtDescription.h"

#include "Host/Core/Exception.h"

namespace Orvexa {

namespace {

using Kind = PixFmtDescription::Kind;
constexpr int kPaletteEntries = 256;
constexpr PixFmtDescription::Layout kYuv = {"Y", "U", "V"}, kYuva = {"Y", "U", "V", "A"};

// Ceiling of size / 2^shift, for signed sizes.
constexpr int CeilShift(int size, int shift) { return -((-size) >> shift); }

constexpr char Letter(ChannelKind channel) { return static_cast<char>(channel); }

constexpr Kind KindOf(const PixFmtDescription::Layout& layout) {
    if (layout[0].front() == Letter(ChannelKind::Index)) return Kind::Indexed;
    if (layout[0].size() > 1) return Kind::Packed;
    if (layout[1].empty()) return Kind::Gray;
    return layout[1].size() > 1 ? Kind::SemiPlanar : Kind::Planar;
}

constexpr std::int8_t ByteOf(std::string_view pixel, ChannelKind channel) {
    const std::size_t byte = pixel.find(Letter(channel));
    return static_cast<std::int8_t>(byte == std::string_view::npos ? -1 : static_cast<int>(byte));
}

}  // namespace

PixFmtDescription::PixFmtDescription(PixFmt format, const char* formatName, std::uint8_t shiftX, std::uint8_t shiftY,
                                     const Layout& channels)
    : pixFmt(format),
      name(formatName),
      chromaShiftX(shiftX),
      chromaShiftY(shiftY),
      layout(channels),
      kind(KindOf(channels)),
      flags(kind == Kind::Planar || kind == Kind::SemiPlanar ? kFlagPlanar : 0),
      planes(0),
      bytesPerPixel(static_cast<std::uint8_t>(channels[0].size())),
      red(kind == Kind::Gray ? std::int8_t{0} : ByteOf(channels[0], ChannelKind::Red)),
      green(kind == Kind::Gray ? std::int8_t{0} : ByteOf(channels[0], ChannelKind::Green)),
      blue(kind == Kind::Gray ? std::int8_t{0} : ByteOf(channels[0], ChannelKind::Blue)),
      alpha(ByteOf(channels[0], ChannelKind::Alpha)) {
    for (const std::string_view plane : channels) {
        if (!plane.empty()) ++planes;
        if (ByteOf(plane, ChannelKind::Alpha) >= 0) flags |= kFlagAlpha;
    }
}

const std::vector<PixFmtDescription>& PixFmtDescription::GetPixelFormatDescroptionsList() {
    static const std::vector<PixFmtDescription> list = {
        {PixFmt::Yuv420p, "yuv420p", 1, 1, kYuv},    {PixFmt::Rgb24, "rgb24", 0, 0, {"RGB"}},
        {PixFmt::Bgr24, "bgr24", 0, 0, {"BGR"}},     {PixFmt::Yuv422p, "yuv422p", 1, 0, kYuv},
        {PixFmt::Yuv444p, "yuv444p", 0, 0, kYuv},    {PixFmt::Yuv410p, "yuv410p", 2, 2, kYuv},
        {PixFmt::Yuv411p, "yuv411p", 2, 0, kYuv},    {PixFmt::Gray8, "gray8", 0, 0, {"Y"}},
        {PixFmt::Pal8, "pal8", 0, 0, {"I", "RGBA"}}, {PixFmt::Yuvj420p, "yuvj420p", 1, 1, kYuv},
        {PixFmt::Yuvj422p, "yuvj422p", 1, 0, kYuv},  {PixFmt::Yuvj444p, "yuvj444p", 0, 0, kYuv},
        {PixFmt::Nv12, "nv12", 1, 1, {"Y", "UV"}},   {PixFmt::Nv21, "nv21", 1, 1, {"Y", "VU"}},
        {PixFmt::Argb, "argb", 0, 0, {"ARGB"}},      {PixFmt::Rgba, "rgba", 0, 0, {"RGBA"}},
        {PixFmt::Abgr, "abgr", 0, 0, {"ABGR"}},      {PixFmt::Bgra, "bgra", 0, 0, {"BGRA"}},
        {PixFmt::Yuv440p, "yuv440p", 0, 1, kYuv},    {PixFmt::Yuvj440p, "yuvj440p", 0, 1, kYuv},
        {PixFmt::Yuva420p, "yuva420p", 1, 1, kYuva}, {PixFmt::Yuva422p, "yuva422p", 1, 0, kYuva},
        {PixFmt::Yuva444p, "yuva444p", 0, 0, kYuva}, {PixFmt::Argb2, "argb2", 0, 0, {"ARGB"}},
        {PixFmt::Rgba2, "rgba2", 0, 0, {"RGBA"}},    {PixFmt::Abgr2, "abgr2", 0, 0, {"ABGR"}},
        {PixFmt::Bgra2, "bgra2", 0, 0, {"BGRA"}},    {PixFmt::Yuvj411p, "yuvj411p", 2, 0, kYuv},
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

PixFmtDescription::Place PixFmtDescription::GetPlace(ChannelKind channel) const {
    for (std::uint8_t plane = 0; plane < planes; ++plane) {
        const int offset = GetRole(plane) == PlaneRole::Palette ? -1 : ByteOf(layout[plane], channel);
        if (offset >= 0) return {plane, static_cast<std::uint8_t>(offset), GetBytesPerPixel(plane)};
    }
    Throw("Pixel format has no such channel!");
}

PlaneRole PixFmtDescription::GetRole(std::uint8_t plane) const {
    if (kind == Kind::Packed) return PlaneRole::Packed;
    if (kind == Kind::Indexed) return plane == 0 ? PlaneRole::Indices : PlaneRole::Palette;
    const auto first = static_cast<ChannelKind>(layout[plane].front());
    return first == ChannelKind::Luma    ? PlaneRole::Luma
           : first == ChannelKind::Alpha ? PlaneRole::Alpha
                                         : PlaneRole::Chroma;
}

int PixFmtDescription::GetPlanWidthSize(int width, std::uint8_t plane) const {
    if (plane >= planes) return 0;
    const int samples = GetRole(plane) == PlaneRole::Palette ? kPaletteEntries : CeilShift(width, GetShiftX(plane));
    return samples * GetBytesPerPixel(plane);
}

int PixFmtDescription::GetPlaneHeight(int height, std::uint8_t plane) const {
    if (plane >= planes) return 0;
    return GetRole(plane) == PlaneRole::Palette ? 1 : CeilShift(height, GetShiftY(plane));
}

}  // namespace Orvexa
