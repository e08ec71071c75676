// Gradient: a gradient map: every grey level is mapped to a colour of a palette interpolated between stops; the luma
// layer restores brightness. The palette is built when the settings change; processing only attaches it to the grey
// plane.

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectGradient.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/IndexedFrame.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint16_t kFirstPosition = 0;
constexpr std::uint16_t kLastPosition = 256;  // one past the last level

// Truncates toward zero; a falling channel is correct modulo 256.
std::uint8_t Interpolate(std::uint8_t from, std::uint8_t to, int step, int steps) {
    return static_cast<std::uint8_t>(from + (step * (to - from)) / steps);
}

Shared::Palette MakePalette(SettingsEffectGradient::StopMap stops) {
    Shared::Palette palette{};
    if (stops.empty()) return palette;
    stops.try_emplace(kFirstPosition, stops.begin()->second);
    stops.try_emplace(kLastPosition, stops.rbegin()->second);
    for (auto stop = stops.begin(), next = std::next(stop); next != stops.end(); stop = next++) {
        const Color &from = stop->second, &to = next->second;
        const int steps = next->first - stop->first;
        for (int step = 0; step < steps; ++step) {
            const auto channel = [&](int k) { return Interpolate(from[k], to[k], step, steps); };
            palette[stop->first + step] = Color(channel(0), channel(1), channel(2), channel(3)).rgba();
        }
    }
    return palette;
}

class Gradient : public EffectBaseCSCLuma<SettingsEffectGradient> {
public:
    using EffectBaseCSCLuma::EffectBaseCSCLuma;

private:
    void CheckSettings(const SettingsEffectGradient& settings) const override {
        const SettingsEffectGradient::StopMap& stops = settings.GetStops();
        if (!stops.empty() && stops.rbegin()->first > kLastPosition) Throw("Gradient position is out of range!");
    }

    // Settings equal to the current ones leave the palette unchanged: a new effect that is given its defaults keeps its
    // black palette. Intended.
    void ApplySettings(bool areNew) override {
        if (areNew) palette_ = MakePalette(settings_.GetStops());
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Gray8};
        return formats;
    }

    void ProcessInternalColor(FramePtr& frame) override {
        FramePtr indexed = NewFrame(allocator_, PixFmt::Pal8, frame->GetFrameInfo());
        CopyPlane(std::as_const(*frame).GetPlane(0), indexed->GetPlane(0));
        Shared::SetPalette(*indexed, palette_);
        frame = std::move(indexed);
    }

    Shared::Palette palette_{};
};

}  // namespace

bool RegisterGradient(IEffectFactory& factory) { return RegisterEffect<Gradient>(factory); }

}  // namespace Orvexa::Proc
