// Vignette: lays one colour over the picture through a mask that is clear inside a shape and covers the edges.
//
// Mask and colour layer are kept: every further frame of the same size costs one blend.

#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

class Vignette : public EffectBaseOneInput<SettingsEffectVignette> {
public:
    Vignette(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseOneInput(factory, allocator),
          converter_(CreateOneInput(SettingsColorspaceConverter::CLASS_ID)),
          shapeMask_(CreateOneInput(SettingsEffectShapeMask::CLASS_ID)),
          blender_(CreateTwoInput(SettingsEffectImageBlender::CLASS_ID)),
          extraAlphaExtractor_(CreateOneInput(SettingsEffectExtraAlphaExtractor::CLASS_ID)),
          alphaInserter_(CreateTwoInput(SettingsEffectAlphaInserter::CLASS_ID)) {
        static const std::vector<PixFmt> kFormats{PixFmt::Gray8, PixFmt::Argb,  PixFmt::Rgba, PixFmt::Abgr,
                                                  PixFmt::Bgra,  PixFmt::Rgb24, PixFmt::Bgr24};
        converter_->SetSettings(SettingsColorspaceConverter(kFormats, true));
        SettingsEffectImageBlender blending;
        blending.SetAlphaMode(BlendAlphaMode::IgnoreAlpha);
        blender_->SetSettings(blending);
        extraAlphaExtractor_->SetSettings(SettingsEffectExtraAlphaExtractor(PixFmt::None));
        alphaInserter_->SetSettings(SettingsEffectAlphaInserter());
    }

    /// Drops the masks and leaves the settings as they are.
    void ResetSettings() override {
        mask_.reset();
        chromaMask_.reset();
        layerPixFmt_ = PixFmt::None;
    }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        converter_->ProcessData(frame);
        MakeMask(frame);
        MakeChromaMask(frame->GetPixFmt());
        MakeLayer();
        MakeWritable(frame);
        blender_->ProcessData(frame, ConstFramePtr(layer_));
    }

    void MakeMask(const FramePtr& frame) {
        if (mask_ != nullptr && mask_->GetFrameInfo() == frame->GetFrameInfo()) return;
        chromaMask_.reset();
        layer_.reset();
        shapeMask_->SetSettings(settings_.GetShape());
        mask_ = frame;
        shapeMask_->ProcessData(mask_);
    }

    void MakeChromaMask(PixFmt pixFmt) {
        if (chromaMask_ != nullptr && layerPixFmt_ == pixFmt) return;
        layerPixFmt_ = pixFmt;
        layer_.reset();
        chromaMask_ = mask_;
        extraAlphaExtractor_->SetSettings(SettingsEffectExtraAlphaExtractor(pixFmt));
        extraAlphaExtractor_->ProcessData(chromaMask_);
    }

    void MakeLayer() {
        if (layer_ != nullptr && layerColor_ == settings_.GetColor()) return;
        layer_ = NewFrame(allocator_, layerPixFmt_, mask_->GetFrameInfo());
        layerColor_ = settings_.GetColor();
        layer_->Fill(layerColor_);
        alphaInserter_->ProcessData(layer_, ConstFramePtr(mask_));
        layer_->SetExtraAlpha(0, std::as_const(*mask_).GetPlane(0));
        layer_->SetExtraAlpha(1, std::as_const(*chromaMask_).GetPlane(0));
    }

    OneInputPtr converter_;
    OneInputPtr shapeMask_;
    TwoInputPtr blender_;
    OneInputPtr extraAlphaExtractor_;
    TwoInputPtr alphaInserter_;
    FramePtr mask_;
    FramePtr chromaMask_;
    FramePtr layer_;
    PixFmt layerPixFmt_ = PixFmt::None;
    Color layerColor_{0, 0, 0, 255};
};

}  // namespace

OneInputPtr CreateVignette(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Vignette>(factory, allocator);
}

}  // namespace Orvexa::Proc
