#include "Host/Proc/Faces.h"

#include <algorithm>
#include <memory>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc {

namespace {

const Settings& AsSettings(const FaceSettings& settings) { return dynamic_cast<const Settings&>(settings); }

void RunFor(IOneInputEffectVideo& effect, const FaceSettings& settings, std::span<const Face> faces, FramePtr& frame) {
    const std::unique_ptr<Settings> copy = AsSettings(settings).Copy();
    dynamic_cast<FaceSettings&>(*copy).TakeFaces(faces);
    effect.SetSettings(*copy);
    effect.ProcessData(frame);
}

// Merges masks of the same size by their maximum.
void MergeInto(FramePtr& mask, const IDataVideo& other) {
    MakeWritable(mask);
    const Plane to = mask->GetPlane(0);
    const ConstPlane from = other.GetPlane(0);
    for (std::uint32_t y = 0; y < to.GetHeight(); ++y) {
        std::transform(from.GetRow(y), from.GetRow(y) + to.GetWidth(), to.GetRow(y), to.GetRow(y),
                       [](std::uint8_t a, std::uint8_t b) { return std::max(a, b); });
    }
}

}  // namespace

std::vector<Face> FindFaces(const FactoryPtr& factory, const FramePtr& frame,
                            const SettingsEffectFaceDetection& settings) {
    OneInputPtr detector;
    factory->CreateOneInputEffect(detector, SettingsEffectFaceDetection::CLASS_ID, ImplNames::DEFAULT, {});
    detector->SetSettings(settings);
    FramePtr view = CloneFrame(*frame, kCloneView);
    detector->ProcessData(view);
    return dynamic_cast<const SettingsEffectFaceDetection&>(detector->GetSettingsBase()).GetFaces();
}

void ProcessFaces(IOneInputEffectVideo& effect, const FaceSettings& settings, std::span<const Face> faces,
                  FramePtr& frame, const std::function<void()>& afterRun) {
    if (faces.empty()) {
        if (settings.RequiresFaces()) Throw("Faces not found!");
        return;
    }
    if (settings.GetFaceRun() == FaceRun::Together) {
        RunFor(effect, settings, faces, frame);
        if (afterRun) afterRun();
        return;
    }
    const bool areMerged = settings.GetFaceRun() == FaceRun::Merged;
    FramePtr merged;
    for (const Face& face : faces) {
        FramePtr mask = areMerged ? CloneFrame(*frame, kCloneView) : FramePtr();
        RunFor(effect, settings, {&face, 1}, areMerged ? mask : frame);
        if (afterRun) afterRun();
        if (merged == nullptr) {
            merged = std::move(mask);
        } else {
            MergeInto(merged, *mask);
        }
    }
    if (merged != nullptr) frame = std::move(merged);
}

void ProcessFaces(const FactoryPtr& factory, const FaceSettings& settings, FramePtr& frame) {
    OneInputPtr effect;
    factory->CreateOneInputEffect(effect, AsSettings(settings).GetClassId(), ImplNames::DEFAULT, {});
    if (settings.HasFaces()) {
        settings.CheckFacesInside(frame->GetFrameInfo().width, frame->GetFrameInfo().height);
        effect->SetSettings(AsSettings(settings));
        return effect->ProcessData(frame);
    }
    ProcessFaces(*effect, settings,
                 FindFaces(factory, frame, SettingsEffectFaceDetection(settings.GetFaceModelsRoot())), frame);
}

}  // namespace Orvexa::Proc
