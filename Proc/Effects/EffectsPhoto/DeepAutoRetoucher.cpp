// DeepAutoRetoucher: smooths the skin of faces with a model that sees each face and its surroundings, three tenths of
// the face's size on each side, and preserves eyes, lips and hair. The rest of the picture is only converted.

#include <algorithm>
#include <tuple>
#include <utility>

#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectDeepAutoRetoucher.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kRetouch{26};
constexpr double kFaceMargin = 0.3;  // on each side, relative to the face's size

struct FaceBox {
    std::uint32_t left, top, width, height;
};

int FaceMargin(int size) { return static_cast<int>(Shared::RoundHalfAway(size * kFaceMargin)); }

// The start and length, both even, of a face along one side of the picture, including `margin`.
std::pair<std::uint32_t, std::uint32_t> GrowFace(int from, int to, int margin, int size) {
    const int begin = from > margin ? from - margin : 0;
    return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(std::min(size, to + margin) - begin) & ~1u};
}

// The size of a face beyond the picture's right or lower edge wraps around, and cropping rejects it.
FaceBox SurroundingsOf(const FaceRectangle& face, const FrameInfo& picture) {
    const auto within = [](int end, std::uint32_t size) {
        return static_cast<int>(std::min(static_cast<std::uint32_t>(end), size));
    };
    const int left = std::max(0, face.first.x), right = within(face.second.x, picture.width);
    const int top = std::max(0, face.first.y), bottom = within(face.second.y, picture.height);
    FaceBox box;
    std::tie(box.left, box.width) = GrowFace(left, right, FaceMargin(right - left), static_cast<int>(picture.width));
    std::tie(box.top, box.height) = GrowFace(top, bottom, FaceMargin(bottom - top), static_cast<int>(picture.height));
    return box;
}

class DeepAutoRetoucher : public Shared::AlwaysConfigured<SettingsEffectDeepAutoRetoucher> {
public:
    using AlwaysConfigured::AlwaysConfigured;

private:
    void ApplySettings(bool) override {
        SettingsEffectDeepNeuralProcessor processor(settings_.GetModelsRoot());
        processor.SetHasDynamicSize(true);
        processor.SetDoNormalize(true);
        processor.SetSwapRB(true);
        Choose(*retoucher_, processor, kRetouch);
        converter_->SetSettings(SettingsColorspaceConverter(PixFmt::Bgr24, true));
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        if (settings_.GetFaces().empty()) return;
        converter_->ProcessData(frame);
        for (const Face& face : settings_.GetFaces())
            Retouch(frame, SurroundingsOf(face.GetFullFramePoints(), frame->GetFrameInfo()));
    }

    void Retouch(FramePtr& frame, const FaceBox& box) {
        FramePtr part = CloneFrame(*frame, kCloneView);
        part->Crop(box.left, box.top, box.width, box.height);
        Run(*retoucher_, part);
        converter_->ProcessData(part);
        part->Crop(0, 0, box.width, box.height);
        MakeWritable(frame);
        blender_->SetSettings(SettingsEffectImageBlender(static_cast<int>(box.left), static_cast<int>(box.top), 255,
                                                         BlendAlphaMode::IgnoreAlpha));
        blender_->ProcessData(frame, part);
    }

    OneInputPtr retoucher_ = CreateProcessor();
    TwoInputPtr blender_ = CreateTwoInput<SettingsEffectImageBlender>();
    OneInputPtr converter_ = CreateOneInput<SettingsColorspaceConverter>();
};

}  // namespace

bool RegisterDeepAutoRetoucher(IEffectFactory& factory) { return RegisterEffect<DeepAutoRetoucher>(factory); }

}  // namespace Orvexa::Proc
