// DeepLumaUpscaler: sharpens soft or enlarged pictures with a model that processes only their luma. Chroma is
// preserved, since perceived sharpness depends on luma, and colour noise would be sharpened, too.

#include "Host/Settings/Photo/SettingsEffectDeepLumaUpscaler.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kSharpen{14};
constexpr int kLargestSharpened = 5184;  // largest side of the model's input, in pixels

class DeepLumaUpscaler : public Shared::AlwaysConfigured<SettingsEffectDeepLumaUpscaler> {
public:
    using AlwaysConfigured::AlwaysConfigured;

private:
    void ApplySettings(bool) override {
        Choose(*sharpener_,
               SettingsEffectDeepNeuralProcessor(1, kLargestSharpened, kLargestSharpened, settings_.GetModelsRoot()),
               kSharpen);
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        converter_->ProcessData(frame);
        FramePtr luma = TakeLuma(*frame, allocator_);
        Run(*sharpener_, luma);
        MakeWritable(frame);
        PutLuma(*luma, *frame);
    }

    OneInputPtr converter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Yuv444p, true));
    OneInputPtr sharpener_ = CreateProcessor();
};

}  // namespace

bool RegisterDeepLumaUpscaler(IEffectFactory& factory) { return RegisterEffect<DeepLumaUpscaler>(factory); }

}  // namespace Orvexa::Proc
