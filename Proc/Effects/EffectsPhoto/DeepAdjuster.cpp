// DeepAdjuster: determines how a photograph should be corrected: six values, which are stored in the effect's settings.
// A network proposes them. They are tried on a copy of the picture; if another network scores the copy clearly lower
// than the picture, they are reduced by the ratio of the scores.
//
// A network's value x stands for the setting c - 2 c x, where c is the setting's centre: 0 raises by c, 0.5 changes
// nothing, 1 lowers by c.

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectVibrance.h"
#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Host/Settings/Photo/SettingsEffectDeepAdjuster.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

struct Adjustment {
    void (SettingsEffectDeepAdjuster::*setter)(int);
    float center;
};
// In the order of the network's outputs.
constexpr std::array<Adjustment, Neural::kAdjustmentsCount> kAdjustments{{
    {&SettingsEffectDeepAdjuster::SetBrightness, 30},
    {&SettingsEffectDeepAdjuster::SetContrast, 30},
    {&SettingsEffectDeepAdjuster::SetVibrance, 40},
    {&SettingsEffectDeepAdjuster::SetExposure, 15},
    {&SettingsEffectDeepAdjuster::SetShadows, 50},
    {&SettingsEffectDeepAdjuster::SetHighlights, 70},
}};
constexpr float kClearlyWorse = 0.95f;  // ratio of scores below which the values are reduced

int SettingFor(float center, float value, float ratio) {
    const float setting = center - ratio * value * (2 * center);
    // The smallest and largest floats that fit into the result.
    return static_cast<int>(std::clamp(setting, -2147483648.0f, 2147483520.0f));
}

class DeepAdjuster : public Shared::NeuralEffect<SettingsEffectDeepAdjuster> {
public:
    using NeuralEffect::NeuralEffect;

private:
    // The result is kept as long as the models are the same.
    bool AreNew(const SettingsEffectDeepAdjuster& settings) const override { return !settings_.IsEqualBase(settings); }

    void ApplySettings(bool) override {
        if (colorBalance_ != nullptr) return;
        colorBalance_ = CreateOneInput<SettingsEffectColorBalance>();
        colorBalanceAuto_ = CreateOneInput<SettingsEffectColorBalanceAuto>();
        balanceLuma_ = CreateOneInput<SettingsEffectBalanceLuma>();
        vibrance_ = CreateOneInput<SettingsEffectVibrance>();
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        if (colorBalance_ == nullptr) Throw("Settings are not set!");
        const double before = Ask(Neural::NeuralType::ImageScore, frame)->GetDouble();
        const std::vector<float> values = Ask(Neural::NeuralType::Adjustments, frame)->GetFloatVectorResult();
        TakeValues(values, 1.0f);
        FramePtr corrected = CloneFrame(*frame, kCloneCopy);
        Correct(corrected);
        const double after = Ask(Neural::NeuralType::ImageScore, corrected)->GetDouble();
        const auto ratio = static_cast<float>(after / before);
        if (std::isfinite(ratio) && kClearlyWorse > ratio) TakeValues(values, ratio);
    }

    void TakeValues(const std::vector<float>& values, float ratio) {
        for (std::size_t i = 0; i < kAdjustments.size(); ++i) {
            const auto& [setter, center] = kAdjustments[i];
            (settings_.*setter)(SettingFor(center, values[i], ratio));
        }
    }

    void Correct(FramePtr& frame) {
        SettingsEffectVibrance vibrance;
        vibrance.SetStrength(settings_.GetVibrance());
        RunWith(*vibrance_, vibrance, frame);
        SettingsEffectBalanceLuma luma;
        luma.SetShadows(settings_.GetShadows());
        luma.SetHighlights(settings_.GetHighlights());
        RunWith(*balanceLuma_, luma, frame);
        SettingsEffectColorBalanceAuto exposure;
        exposure.SetExposure(settings_.GetExposure());
        RunWith(*colorBalanceAuto_, exposure, frame);
        SettingsEffectColorBalance balance;
        balance.SetBrightness(settings_.GetBrightness());
        balance.SetContrast(settings_.GetContrast());
        RunWith(*colorBalance_, balance, frame);
    }

    static void RunWith(IOneInputEffectVideo& effect, const Settings& settings, FramePtr& frame) {
        effect.SetSettings(settings);
        effect.ProcessData(frame);
    }

    OneInputPtr colorBalance_, colorBalanceAuto_, balanceLuma_, vibrance_;  // created with the first settings
};

}  // namespace

bool RegisterDeepAdjuster(IEffectFactory& factory) { return RegisterEffect<DeepAdjuster>(factory); }

}  // namespace Orvexa::Proc
