// Sketch: composes a grey version of the picture with pencil strokes.
//
// The strokes are generated from noise, smeared along lines and drawn over in charcoal. They are made at no more than
// 512 x 512 pixels and extended over larger pictures by the host's pad.

#include <algorithm>

#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Photo/SettingsEffectSketch.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kMaxTextureSide = 512;

constexpr std::uint32_t Beyond(std::uint32_t side) { return side > kMaxTextureSide ? side - kMaxTextureSide : 0; }

class Sketch : public EffectBaseOneInput<SettingsEffectSketch> {
public:
    Sketch(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseOneInput(factory, allocator) {
        Sketch::ApplySettings(true);
    }

private:
    void ApplySettings(bool areNew) override {
        if (!areNew) return;
        noise_->SetSettings(settings_.GetNoise());
        streaks_->SetSettings(settings_.GetRadial());
        charcoal_->SetSettings(settings_.GetCharcoal());
        compose_->SetSettings(settings_.GetCompose());
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        const CropInfo margins{0, Beyond(info.width), 0, Beyond(info.height)};
        const bool isPadded = margins != CropInfo();
        if (info != inputInfo_) {
            inputInfo_ = info;
            if (isPadded) pad_->SetSettings(SettingsEffectPad(margins, PadMode::Texture));
        }
        FramePtr texture =
            DrawTexture(FrameInfo(info.width - margins.right, info.height - margins.bottom, info.aspect));
        if (isPadded) pad_->ProcessData(texture);
        FramePtr grey = frame;
        ConvertToGrey(grey);
        compose_->ProcessData(grey, ConstFramePtr(texture));
        frame = grey;
    }

    FramePtr DrawTexture(const FrameInfo& info) {
        FramePtr texture = NewFrame(allocator_, PixFmt::Gray8, info);
        texture->Fill(Color::Black(Opacity::Transparent));
        noise_->ProcessData(texture);
        streaks_->ProcessData(texture);
        charcoal_->ProcessData(texture);
        ConvertToGrey(texture);
        return texture;
    }

    void ConvertToGrey(FramePtr& picture) {
        converter_->SetSettings(SettingsColorspaceConverter(PixFmt::Gray8, true));
        converter_->ProcessData(picture);
    }

    FrameInfo inputInfo_{0, 0, {0, 0}};
    OneInputPtr converter_ = CreateOneInput<SettingsColorspaceConverter>();
    OneInputPtr noise_ = CreateOneInput<SettingsEffectNoiseVideo>();
    OneInputPtr streaks_ = CreateOneInput<SettingsEffectBlurRadial>();
    OneInputPtr charcoal_ = CreateOneInput<SettingsEffectCharcoal>();
    OneInputPtr pad_ = CreateOneInput<SettingsEffectPad>();
    TwoInputPtr compose_ = CreateTwoInput<SettingsEffectCompose>();
};

}  // namespace

bool RegisterSketch(IEffectFactory& factory) { return RegisterEffect<Sketch>(factory); }

}  // namespace Orvexa::Proc
