// FaceRecognition: computes a descriptor of the face in a rectangle of the picture and stores it in the effect's
// settings. The host detects the face again within the rectangle, which may therefore be approximate.

#include "Host/Settings/Photo/SettingsEffectFaceRecognition.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FaceDetection.h"

namespace Orvexa::Proc {
namespace {

void CropTo(const FaceRectangle& rectangle, IDataVideo& frame) {
    const auto& [from, to] = rectangle;
    CheckInside(rectangle, frame.GetFrameInfo().width, frame.GetFrameInfo().height);
    frame.Crop(static_cast<std::uint32_t>(from.x), static_cast<std::uint32_t>(from.y),
               static_cast<std::uint32_t>(to.x - from.x), static_cast<std::uint32_t>(to.y - from.y));
}

class FaceRecognition : public EffectBaseOneInput<SettingsEffectFaceRecognition> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        settings_.Clear();
        FramePtr part = CloneFrame(*frame, kCloneView);
        converter_->ProcessData(part);
        CropTo(settings_.GetFaceRect(), *part);
        detector_->SetSettings(SettingsEffectFaceDetection(settings_.GetModelsRoot()));
        const std::vector<Face>& faces = Shared::DetectFaces(*detector_, part);
        if (faces.empty()) return;
        trainer_->SetSettings(SettingsEffectFaceRecognitionTrainer(faces.front(), settings_.GetModelsRoot()));
        trainer_->ProcessData(part);
        settings_.SetDescriptor(
            dynamic_cast<const SettingsEffectFaceRecognitionTrainer&>(trainer_->GetSettingsBase()).GetDescriptor());
    }

    OneInputPtr detector_ = CreateOneInput<SettingsEffectFaceDetection>();
    OneInputPtr trainer_ = CreateOneInput<SettingsEffectFaceRecognitionTrainer>();
    OneInputPtr converter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Rgb24, true));
};

}  // namespace

bool RegisterFaceRecognition(IEffectFactory& factory) { return RegisterEffect<FaceRecognition>(factory); }

}  // namespace Orvexa::Proc
