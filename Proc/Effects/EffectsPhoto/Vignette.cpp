// Vignette: blends one colour over the picture through a mask that is transparent inside a shape and covers the edges.
//
// Mask and colour layer are cached: every further frame of the same size costs one blend.

#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"

namespace Orvexa::Proc {
namespace {

class Vignette : public EffectBaseOneInput<SettingsEffectVignette> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

    /// Discards the masks; keeps the settings.
    void ResetSettings() override {
        mask_.Set({});
        layer_.reset();
    }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        converter_->ProcessData(frame);
        MakeMask(frame);
        MakeLayer(frame->GetPixFmt());
        MakeWritable(frame);
        blender_->ProcessData(frame, ConstFramePtr(layer_));
    }

    void MakeMask(const FramePtr& frame) {
        if (mask_.IsFor(frame->GetFrameInfo())) return;
        layer_.reset();
        shapeMask_->SetSettings(settings_.GetShape());
        FramePtr mask = frame;
        shapeMask_->ProcessData(mask);
        mask_.Set(std::move(mask));
    }

    void MakeLayer(PixFmt pixFmt) {
        const bool hasNewMask = mask_.PrepareFor(pixFmt);
        if (layer_ != nullptr && !hasNewMask && layerColor_ == settings_.GetColor()) return;
        layer_ = NewFrame(allocator_, pixFmt, mask_.Get()->GetFrameInfo());
        layerColor_ = settings_.GetColor();
        layer_->Fill(layerColor_);
        alphaInserter_->ProcessData(layer_, ConstFramePtr(mask_.Get()));
        mask_.AttachTo(*layer_);
    }

    OneInputPtr converter_ = CreateOneInput(SettingsColorspaceConverter(
        {PixFmt::Gray8, PixFmt::Argb, PixFmt::Rgba, PixFmt::Abgr, PixFmt::Bgra, PixFmt::Rgb24, PixFmt::Bgr24}, true));
    OneInputPtr shapeMask_ = CreateOneInput<SettingsEffectShapeMask>();
    TwoInputPtr blender_ = CreateTwoInput(SettingsEffectImageBlender(0, 0, 255, BlendAlphaMode::IgnoreAlpha));
    Shared::LayerMask mask_{CreateOneInput(SettingsEffectExtraAlphaExtractor(PixFmt::None))};
    TwoInputPtr alphaInserter_ = CreateTwoInput(SettingsEffectAlphaInserter());
    FramePtr layer_;
    Color layerColor_{0, 0, 0, 255};
};

}  // namespace

bool RegisterVignette(IEffectFactory& factory) { return RegisterEffect<Vignette>(factory); }

}  // namespace Orvexa::Proc
