// ColoredGlass: covers the picture with tinted glass: every byte, including alpha, is blended with that of the colour
// at one opacity.

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectColoredGlass.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Blend.h"

namespace Orvexa::Proc {
namespace {

constexpr boost::source_location kUnsupportedLocation{"Proc/Effects/EffectsPhoto/ColoredGlass.cpp", 102,
                                                      "Orvexa::Proc::ColoredGlass::ProcessInternalCSC"};

// The tint for one plane: a single pixel, whose first byte is the lowest byte of `value`.
struct PlaneTint {
    std::uint8_t plane;
    std::uint32_t value;
    std::size_t bytes;
};

std::vector<PlaneTint> TintsFor(PixFmt pixFmt, const Color& color) {
    switch (pixFmt) {
        case PixFmt::Rgb24: return {{0, color.rgba(), 3}};
        case PixFmt::Bgr24: return {{0, color.bgra(), 3}};
        case PixFmt::Rgba: return {{0, color.rgba(), 4}};
        case PixFmt::Bgra: return {{0, color.bgra(), 4}};
        case PixFmt::Argb: return {{0, color.argb(), 4}};
        case PixFmt::Abgr: return {{0, color.abgr(), 4}};
        case PixFmt::Yuv444p: return {{0, color.y(), 1}, {1, color.u(), 1}, {2, color.v(), 1}};
        default: ThrowAt(kUnsupportedLocation, "Pixel format is not supported!");
    }
}

// A row filled with the tint.
std::vector<std::uint8_t> TintRow(const PlaneTint& tint, std::size_t size) {
    std::vector<std::uint8_t> row(size);
    for (std::size_t i = 0; i < size; ++i) row[i] = static_cast<std::uint8_t>(tint.value >> (8 * (i % tint.bytes)));
    return row;
}

class ColoredGlass : public EffectBaseCSCOneInput<SettingsEffectColoredGlass> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    bool IsConvertBack() const override { return false; }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Argb, PixFmt::Abgr,  PixFmt::Rgba,
                                                 PixFmt::Bgra, PixFmt::Rgb24, PixFmt::Bgr24};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        const IDataVideo& picture = *frame;
        const std::vector<PlaneTint> tints = TintsFor(picture.GetPixFmt(), settings_.GetColor());
        ReleaseInput(frame);
        const auto opacity = static_cast<std::uint16_t>((settings_.GetAlpha() * 255) / 100);
        FramePtr tinted = NewFrame(allocator_, picture.GetPixFmt(), picture.GetFrameInfo());
        for (const PlaneTint& tint : tints) {
            const ConstPlane from = picture.GetPlane(tint.plane);
            const Plane to = tinted->GetPlane(tint.plane);
            const std::vector<std::uint8_t> glass = TintRow(tint, from.GetWidth());
            for (std::uint64_t y = 0; y < from.GetHeight(); ++y)
                Shared::BlendRow(from.GetRow(y), glass.data(), opacity, to.GetRow(y), glass.size());
        }
        frame = std::move(tinted);
    }
};

}  // namespace

bool RegisterColoredGlass(IEffectFactory& factory) { return RegisterEffect<ColoredGlass>(factory); }

}  // namespace Orvexa::Proc
