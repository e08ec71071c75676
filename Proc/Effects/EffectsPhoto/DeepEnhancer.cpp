// DeepEnhancer: brightens dark photographs and enlivens flat ones. A dark picture is processed by a low-light model.
// For others a classifier decides whether the enhancing model may replace the picture; if not, the model's result is
// blended over the picture, with an opacity that falls as the picture's brightness rises.
//
// The choice made for one frame deliberately persists until settings are set again: after a replaced picture the
// enhancing model is also used for dark pictures, and after a blended one brightness is measured on all channels.

#include <algorithm>
#include <numeric>
#include <utility>

#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectDeepEnhancer.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kLowLight{9}, kEnhance{10};
constexpr unsigned kDark = 78;      // a picture with a lower mean luma is dark
constexpr unsigned kWeakest = 127;  // of 255: opacity of the enhanced picture over a bright one

// The mean of all bytes of a plane, rounded down.
unsigned MeanLevel(const ConstPlane& plane) {
    std::uint64_t sum = 0;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* const row = plane.GetRow(y);
        sum += std::accumulate(row, row + plane.GetWidth(), std::uint64_t{0});
    }
    return static_cast<unsigned>(sum / (plane.GetWidth() * plane.GetHeight()));
}

class DeepEnhancer : public Shared::NeuralEffect<SettingsEffectDeepEnhancer> {
public:
    using NeuralEffect::NeuralEffect;

private:
    void ApplySettings(bool) override {
        ConvertTo(PixFmt::Gray8);
        ChooseModel(kLowLight);
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        const unsigned mean = Measure(frame);
        if (mean < kDark) return Run(*enhancer_, frame);
        if (Ask(Neural::NeuralType::EnhancementFlag, frame)->GetBool()) {
            ChooseModel(kEnhance);
            return Run(*enhancer_, frame);
        }
        ConvertTo(PixFmt::Bgr24);
        converter_->ProcessData(frame);
        FramePtr enhanced = CloneFrame(*frame, kCloneView);
        Run(*enhancer_, enhanced);
        MakeWritable(frame);
        const auto strength = static_cast<std::uint8_t>(std::max(kWeakest, 255 - mean));
        blender_->SetSettings(SettingsEffectImageBlender(0, 0, strength, BlendAlphaMode::IgnoreAlpha));
        blender_->ProcessData(frame, enhanced);
    }

    unsigned Measure(FramePtr picture) {
        converter_->ProcessData(picture);
        return MeanLevel(std::as_const(*picture).GetPlane(0));
    }

    void ConvertTo(PixFmt pixFmt) { converter_->SetSettings(SettingsColorspaceConverter(pixFmt, true)); }
    void ChooseModel(Neural::ModelFileId model) {
        Choose(*enhancer_, SettingsEffectDeepNeuralProcessor(settings_.GetModelsRoot()), model);
    }

    OneInputPtr converter_ = CreateOneInput<SettingsColorspaceConverter>();
    OneInputPtr enhancer_ = CreateProcessor();
    TwoInputPtr blender_ = CreateTwoInput<SettingsEffectImageBlender>();
};

}  // namespace

bool RegisterDeepEnhancer(IEffectFactory& factory) { return RegisterEffect<DeepEnhancer>(factory); }

}  // namespace Orvexa::Proc
