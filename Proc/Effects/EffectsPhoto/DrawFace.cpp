// DrawFace: draws the contours of faces, with a colour for each part, and their rectangles. If its settings contain no
// faces, it draws those that the host detects, and keeps them.

#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Photo/SettingsEffectDrawFace.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FaceDetection.h"

namespace Orvexa::Proc {
namespace {

constexpr int kSmoothLines = 1;

Contour CornersOf(const FaceRectangle& rectangle) {
    const auto& [from, to] = rectangle;
    return {from, {to.x, from.y}, to, {from.x, to.y}};
}

class DrawFace : public EffectBaseOneInput<SettingsEffectDrawFace> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ApplySettings(bool) override {
        if (settings_.GetFaces().empty())
            detector_ = CreateOneInput(SettingsEffectFaceDetection(settings_.GetModelsRoot()));
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        if (settings_.GetFaces().empty()) {
            if (detector_ == nullptr) ApplySettings(false);
            settings_.SetFaces(Shared::DetectFaces(*detector_, frame));
        }
        if (settings_.GetFaces().empty()) Throw(Shared::kNoFaces);
        MakeWritable(frame);
        for (const Face& face : settings_.GetFaces()) Draw(face, frame);
    }

    void Draw(const Face& face, FramePtr& frame) {
        SettingsEffectDrawContours lines;
        lines.SetLineType(kSmoothLines);
        lines.SetThickness(settings_.GetThickness());
        const auto draw = [&](const Color& color, const std::vector<Contour>& contours) {
            lines.SetColor(color);
            lines.SetContours(contours);
            drawer_->SetSettings(lines);
            drawer_->ProcessData(frame);
        };
        const auto& [firstBrow, secondBrow] = face.GetBrows();
        const auto& [bridge, base] = face.GetNose();
        const Eyes& eyes = face.GetEyes();
        draw(settings_.GetColorOutline(), {face.GetOutline().GetContour()});
        draw(settings_.GetColorBrows(), {firstBrow.GetContour(), secondBrow.GetContour()});
        draw(settings_.GetColorNose(), {bridge.GetContour(), base.GetContour()});
        draw(settings_.GetColorEyes(), {eyes.GetFirst().GetContour(), eyes.GetSecond().GetContour()});
        if (eyes.HasPupils())
            draw(settings_.GetColorEyes(), {{eyes.GetFirst().GetPupil()}, {eyes.GetSecond().GetPupil()}});
        draw(settings_.GetColorMouthOuter(), {face.GetMouth().GetOuter().GetContour()});
        draw(settings_.GetColorMouthInner(), {face.GetMouth().GetInner().GetContour()});
        draw(settings_.GetColorRect(), {CornersOf(face.GetFullFramePoints())});
    }

    OneInputPtr drawer_ = CreateOneInput<SettingsEffectDrawContours>();
    OneInputPtr detector_;
};

}  // namespace

bool RegisterDrawFace(IEffectFactory& factory) { return RegisterEffect<DrawFace>(factory); }

}  // namespace Orvexa::Proc
