// Segmentation: separates the subject from the background, guided by strokes. An inner effect, usually the minimum cut
// of GridGraphImpl, computes the mask; this effect post-processes it: opacities, smoother borders, the strokes
// themselves, or a picture that visualises the result.

#include <string>

#include "Host/Core/Exception.h"
#include "Host/Core/Property.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/AutoImpl.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphImpl.h"
#include "Proc/Effects/EffectsPhoto/Shared/Inputs.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"

namespace Orvexa::Proc {
namespace {

using Algorithm = SegmentationAlgorithm;

// Whether both values occur.
bool HasBothSeeds(const ConstPlane& seeds, std::uint8_t foreground, std::uint8_t background) {
    bool hasForeground = false, hasBackground = false;
    for (std::uint64_t y = 0; y < seeds.GetHeight(); ++y) {
        const std::uint8_t* row = seeds.GetRow(y);
        for (std::uint64_t x = 0; x < seeds.GetWidth(); ++x) {
            hasForeground |= row[x] == foreground;
            hasBackground |= row[x] == background;
        }
        if (hasForeground && hasBackground) return true;
    }
    return false;
}

// `alphaRow` may be null.
void WriteOpacities(std::uint8_t* mask, const std::uint8_t* alphaRow, std::uint8_t foreground, std::uint8_t opacity,
                    std::uint64_t width) {
    if (alphaRow == nullptr) {
        for (std::uint64_t x = 0; x < width; ++x) mask[x] = mask[x] == foreground ? opacity : std::uint8_t{0};
    } else {
        for (std::uint64_t x = 0; x < width; ++x)
            mask[x] = mask[x] == foreground && alphaRow[x] != 0 ? opacity : std::uint8_t{0};
    }
}

void CopyStrokes(const ConstPlane& seeds, const Plane& mask) {
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        const std::uint8_t* stroke = seeds.GetRow(y);
        std::uint8_t* row = mask.GetRow(y);
        for (std::uint64_t x = 0; x < mask.GetWidth(); ++x) row[x] = stroke[x] != 0 ? stroke[x] : row[x];
    }
}

class Segmentation : public EffectBaseTwoInput<SettingsEffectSegmentation> {
public:
    using EffectBaseTwoInput::EffectBaseTwoInput;

    using EffectBaseTwoInput::SetSettings;
    void SetSettings(const SettingsEffectSegmentation& settings) override {
        settings_ = settings;
        switch (settings_.GetAlgorithm()) {
            case Algorithm::Auto: inner_ = MakeEffect<Auto::AutoImpl>(factory_, allocator_); break;
            case Algorithm::GridGraph: inner_ = MakeEffect<GridGraph::GridGraphImpl>(factory_, allocator_); break;
            case Algorithm::Host:
            case Algorithm::HostAlternative:
                inner_ = CreateTwoInput<SettingsEffectSegmentation>(ImplPhotoNames::OPENCV);
                break;
        }
        if (inner_ != nullptr) {
            inner_->SetSettings(static_cast<const Settings&>(settings_));
            LendProgress();
        }
        if (settings_.GetSmooth() == 0) return;
        SettingsEffectMorphology closing(MorphologyOperation::Close, 1, MorphologyKernel::Rectangle,
                                         MorphologyBorder::Reflect);
        closing.SetIterations(settings_.GetSmooth());
        morphology_->SetSettings(closing);
    }

    void SetProgressController(const ProgressPtr& controller) override {
        EffectBaseTwoInput::SetProgressController(controller);
        if (inner_ != nullptr) LendProgress();
    }

protected:
    /// Adds the inner effect's statistics, and a note if the last result is not a mask.
    void AddStatistics(Core::Property& statistics) const override {
        if (lacksStrokes_) {
            statistics.SetChild(Core::kNoteKey,
                                "strokes on both the subject (" + std::to_string(settings_.GetForeground()) +
                                    ") and the background (" + std::to_string(settings_.GetBackground()) +
                                    ") are needed; the strokes were returned as they are");
        }
        if (inner_ != nullptr) statistics.Add(inner_->GetStatistic());
    }

private:
    void LendProgress() {
        inner_->SetProgressController(settings_.ShowProgress() ? GetProgressController() : ProgressPtr());
    }

    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& seeds) override {
        if (inner_ == nullptr) SetSettings(SettingsEffectSegmentation(settings_));
        if (inner_ == nullptr) Throw("Segmentation algorithm is not supported! It must be 0..3.");
        const bool asksForStrokes = settings_.GetAlgorithm() != Algorithm::Auto && seeds != nullptr;
        if (asksForStrokes || (settings_.GetKeepSelection() && seeds != nullptr))
            Shared::RequireGreyMask(*frame, *seeds, "seed mask");
        lacksStrokes_ =
            asksForStrokes && !HasBothSeeds(seeds->GetPlane(0), settings_.GetForeground(), settings_.GetBackground());
        if (lacksStrokes_) {
            frame = CloneFrame(*seeds, kCloneCopy);
            return;
        }
        FramePtr mask = frame;
        inner_->ProcessData(mask, seeds);
        if (GetProgressController() != nullptr && GetProgressController()->IsCancelled()) return;
        MakeOpacities(frame, *mask);
        if (settings_.GetSmooth() != 0) mask = Smoothed(mask);
        if (settings_.GetKeepSelection() && seeds != nullptr) CopyStrokes(seeds->GetPlane(0), mask->GetPlane(0));
        frame = settings_.GetDemoMode() ? Painted(*frame, mask) : mask;
    }

    // Pixels that are transparent in the picture are transparent in its mask, too.
    void MakeOpacities(const FramePtr& frame, IDataVideo& mask) {
        FramePtr alpha = frame;
        alphaExtractor_->ProcessData(alpha);
        const Plane plane = mask.GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            WriteOpacities(plane.GetRow(y), alpha == nullptr ? nullptr : std::as_const(*alpha).GetPlane(0).GetRow(y),
                           settings_.GetForeground(), settings_.GetAlpha(), plane.GetWidth());
        }
    }

    // Closed within an added margin, so that the picture's border does not constrain the subject.
    FramePtr Smoothed(const FramePtr& mask) {
        const FrameInfo& info = mask->GetFrameInfo();
        const std::uint32_t margin = settings_.GetSmooth();
        FramePtr smooth = NewFrame(allocator_, PixFmt::Gray8,
                                   FrameInfo(info.width + 2 * margin, info.height + 2 * margin, info.aspect));
        smooth->Fill(Color::Black(Opacity::Opaque));
        CopyDataVideo(mask, smooth, static_cast<int>(margin), static_cast<int>(margin));
        morphology_->ProcessData(smooth);
        smooth->Crop(margin, margin, info.width, info.height);
        return smooth;
    }

    FramePtr Painted(const IDataVideo& picture, const FramePtr& mask) {
        Shared::LayerMask layerMask(CreateOneInput<SettingsEffectExtraAlphaExtractor>());
        layerMask.Set(mask);
        layerMask.PrepareFor(picture.GetPixFmt());
        const FramePtr paint = NewFrame(allocator_, picture.GetPixFmt(), picture.GetFrameInfo());
        paint->Fill(settings_.GetDemoColor());
        layerMask.AttachTo(*paint);
        const TwoInputPtr blender = CreateTwoInput(SettingsEffectImageBlender());
        FramePtr painted = CloneFrame(picture, kCloneIndependent);
        blender->ProcessData(painted, ConstFramePtr(paint));
        return painted;
    }

    TwoInputPtr inner_;
    OneInputPtr morphology_ = CreateOneInput<SettingsEffectMorphology>();
    OneInputPtr alphaExtractor_ = CreateOneInput(SettingsEffectAlphaExtractor());
    bool lacksStrokes_ = false;  // in the last run
};

}  // namespace

bool RegisterSegmentation(IEffectFactory& factory) { return RegisterEffect<Segmentation>(factory); }

}  // namespace Orvexa::Proc
