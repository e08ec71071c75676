// Implode: inside the ellipse inscribed in the frame every pixel shows one that lies farther out (or nearer) on the
// same ray. The amount falls from the centre to zero at the ellipse along the cubic 2 r^3 - 3 r^2 + 1, with zero slope
// at both ends. Exploding uses half the strength.

#include <cmath>
#include <utility>

#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Photo/SettingsEffectImplode.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"

namespace Orvexa::Proc {
namespace {

constexpr double kImplodeGain = 1.0, kExplodeGain = -0.5;

// The source position of pixel (x, y) in a frame with these half sides.
std::pair<float, float> SourceOf(float x, float y, float halfWidth, float halfHeight, float amount) {
    const float u = x / halfWidth - 1.0f, v = y / halfHeight - 1.0f;
    const float r = std::sqrt(u * u + v * v);
    const auto falloff = static_cast<float>(Shared::HermiteBasis(r)[0]);
    const float scale = falloff * amount + 1.0f;
    const float sourceX = (u * scale + 1.0f) * halfWidth, sourceY = (v * scale + 1.0f) * halfHeight;
    return {r >= 1.0f ? x : sourceX, r >= 1.0f ? y : sourceY};
}

class Implode : public EffectBaseOneInput<SettingsEffectImplode> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        const float halfWidth = static_cast<float>(info.width) * 0.5f,
                    halfHeight = static_cast<float>(info.height) * 0.5f;
        const double gain = settings_.GetMode() == ImplodeMode::Implode ? kImplodeGain : kExplodeGain;
        const auto amount = static_cast<float>(gain * settings_.GetStrength() / 100.0);
        remapper_->SetSettings(SettingsEffectRemapping([=](int x, int y) {
            return SourceOf(static_cast<float>(x), static_cast<float>(y), halfWidth, halfHeight, amount);
        }));
        remapper_->ProcessData(frame);
    }

    OneInputPtr remapper_ = CreateOneInput<SettingsEffectRemapping>();
};

}  // namespace

bool RegisterImplode(IEffectFactory& factory) { return RegisterEffect<Implode>(factory); }

}  // namespace Orvexa::Proc
