// BlendPalette: draws an index image over a picture: every index is mapped to a colour by a palette and blended with
// that colour's own opacity, scaled by a global one.

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Blend.h"

namespace Orvexa::Proc {
namespace {

constexpr boost::source_location kUnsupportedLocation{"Proc/Effects/EffectsPhoto/BlendPalette.cpp", 180,
                                                      "Orvexa::Proc::BlendPalette::ProcessInternalImpl"};
constexpr std::size_t kPackedBytes = 4;
constexpr std::uint32_t kOfThreeBytes = 0x00010101;  // multiplier that repeats a byte

// Packed values by index, lowest byte first; indices without a colour are 0.
using Table = std::array<std::uint32_t, 256>;

template <class Pack>
Table MakeTable(const SettingsEffectBlendPalette::PaletteMap& palette, Pack&& pack) {
    Table table{};
    for (const auto& [index, color] : palette) table[index] = pack(color);
    return table;
}

// The overlap of the index image at (x, y) with the picture.
struct Placement {
    std::uint32_t pictureX, pictureY, imageX, imageY, width, height;
};

Placement Place(const FrameInfo& picture, const FrameInfo& image, std::int64_t x, std::int64_t y) {
    const std::int64_t px = std::max<std::int64_t>(0, x), py = std::max<std::int64_t>(0, y);
    const std::int64_t sx = std::max<std::int64_t>(0, -x), sy = std::max<std::int64_t>(0, -y);
    const auto overlap = [](std::int64_t imageSize, std::int64_t imageStart, std::int64_t pictureSize,
                            std::int64_t pictureStart) {
        return static_cast<std::uint32_t>(std::min(std::max<std::int64_t>(0, imageSize - imageStart),
                                                   std::max<std::int64_t>(0, pictureSize - pictureStart)));
    };
    return {static_cast<std::uint32_t>(px),
            static_cast<std::uint32_t>(py),
            static_cast<std::uint32_t>(sx),
            static_cast<std::uint32_t>(sy),
            overlap(image.width, sx, picture.width, px),
            overlap(image.height, sy, picture.height, py)};
}

// Looks up `count` indices and writes the packed values `step` bytes apart, left to right: at three bytes per pixel the
// last byte of each value is overwritten by the next.
template <std::size_t Step>
void ExpandRow(const Table& table, const std::uint8_t* indices, std::size_t count, std::uint8_t* row) {
    for (std::size_t i = 0; i < count; ++i) std::memcpy(row + i * Step, &table[indices[i]], kPackedBytes);
}

// Expands the opacities of `count` packed colours, which are their top bytes, to each of their bytes.
void SpreadAlpha(const std::uint8_t* colors, std::size_t count, std::uint8_t* row) {
    for (std::size_t i = 0; i < count * kPackedBytes; ++i) row[i] = colors[i | (kPackedBytes - 1)];
}

class BlendPalette : public EffectBaseTwoInput<SettingsEffectBlendPalette> {
public:
    using EffectBaseTwoInput::EffectBaseTwoInput;

private:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& image) override {
        if (settings_.GetAlpha() == 0) return;
        const Placement place =
            Place(frame->GetFrameInfo(), image->GetFrameInfo(), settings_.GetPositionX(), settings_.GetPositionY());
        const PixFmtDescription& description = PixFmtDescription::Get(frame->GetPixFmt());
        const std::uint8_t bytesPerPixel = description.bytesPerPixel;
        if (place.width == 0 || place.height == 0) return;
        const Table& colors = ColorsFor(frame->GetPixFmt());
        MakeWritable(frame);
        const Plane target =
            frame->GetPlane(0).MakeSubplane(place.pictureX, place.pictureY, place.width, place.height, bytesPerPixel,
                                            description.GetShiftX(0), description.GetShiftY(0));
        const ConstPlane indices =
            image->GetPlane(0).MakeSubplane(place.imageX, place.imageY, place.width, place.height, 1, 0, 0);

        const std::size_t spareWidth = std::size_t{place.width} + 1;  // room for the last value's extra byte
        colorRow_.resize(std::max(colorRow_.size(), spareWidth * kPackedBytes));
        opacityRow_.resize(std::max(opacityRow_.size(), spareWidth * kPackedBytes));
        const bool hasAlpha = bytesPerPixel == kPackedBytes;
        if (!hasAlpha && !opacities_) {
            opacities_ =
                MakeTable(settings_.GetPalette(), [](const Color& color) { return color.alpha() * kOfThreeBytes; });
        }
        const auto alpha = static_cast<std::uint8_t>(settings_.GetAlpha());
        for (std::uint64_t y = 0; y < target.GetHeight(); ++y) {
            if (hasAlpha) {
                ExpandRow<kPackedBytes>(colors, indices.GetRow(y), place.width, colorRow_.data());
                SpreadAlpha(colorRow_.data(), place.width, opacityRow_.data());
            } else {
                ExpandRow<kPackedBytes - 1>(colors, indices.GetRow(y), place.width, colorRow_.data());
                ExpandRow<kPackedBytes - 1>(*opacities_, indices.GetRow(y), place.width, opacityRow_.data());
            }
            Shared::BlendRow(target.GetRow(y), colorRow_.data(), opacityRow_.data(), alpha,
                             std::size_t{place.width} * bytesPerPixel);
        }
    }

    // Colours in the picture's byte order. Every table is built on its first use and then kept, regardless of later
    // settings.
    const Table& ColorsFor(PixFmt pixFmt) {
        const bool isRedFirst = pixFmt == PixFmt::Rgb24 || pixFmt == PixFmt::Rgba || pixFmt == PixFmt::Rgba2;
        const bool isBlueFirst = pixFmt == PixFmt::Bgr24 || pixFmt == PixFmt::Bgra || pixFmt == PixFmt::Bgra2;
        if (!isRedFirst && !isBlueFirst) ThrowAt(kUnsupportedLocation, "Pixel format is not supported!");
        std::optional<Table>& colors = isRedFirst ? rgba_ : bgra_;
        if (!colors)
            colors = MakeTable(settings_.GetPalette(),
                               [&](const Color& color) { return isRedFirst ? color.rgba() : color.bgra(); });
        return *colors;
    }

    std::optional<Table> rgba_, bgra_, opacities_;
    std::vector<std::uint8_t> colorRow_, opacityRow_;
};

}  // namespace

bool RegisterBlendPalette(IEffectFactory& factory) { return RegisterEffect<BlendPalette>(factory); }

}  // namespace Orvexa::Proc
