// FaceMask: makes a mask of a face's regions. Eyes, lips and mouth opening are the areas of their contours. The head is
// found by segmentation: the polygon of outline and brows is certain foreground, an ellipse that includes the ears is
// probable foreground, and a larger one is probable background. Eyes and mouth are excluded from it.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Common/SettingsEffectDrawShape.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FaceDetection.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr Color Label(std::uint8_t value) { return Color(value, value, value, 255); }
constexpr Color kCertain = Label(1), kDoubtful = Label(2), kProbable = Label(3);  // labels of the segmentation

// Semi-axes of the ellipses, across and along the face, in distances from their centre to an ear.
constexpr double kDoubtfulWidth = 1.3, kDoubtfulHeight = 1.2, kProbableWidth = 0.9;
// The sector of the ellipses: all but the third opposite the chin, where the hair begins.
constexpr double kStartAngle = 150.0, kEndAngle = 390.0;  // degrees

constexpr double kMaskBlurDeviation = 2.0, kMaskBlurLength = 2.0, kMaskBlurReduction = 2.0;

Contour PolygonOf(const Face& face) {
    Contour polygon = face.GetOutline().GetContour();
    const auto& [first, second] = face.GetBrows();
    for (const FaceItemBase* const brow : {&second, &first})
        polygon.insert(polygon.end(), brow->GetContour().rbegin(), brow->GetContour().rend());
    return polygon;
}

// The angle, in degrees, of the line from the outer corner of one eye to that of the other.
double AngleOf(const Eyes& eyes) {
    constexpr std::size_t kOppositeCorner = 3;
    const Contour &first = eyes.GetFirst().GetContour(), &second = eyes.GetSecond().GetContour();
    if (first.empty() || second.size() <= kOppositeCorner) return 0.0;
    const Point<int>&a = first.front(), &b = second[kOppositeCorner];
    return std::atan2(b.y - a.y, b.x - a.x) * 180.0 / std::numbers::pi;
}

// An upper bound on the area of the head within the picture.
class Reach {
public:
    explicit Reach(const FrameInfo& info) : info_(info) {}
    void Add(const Point<int>& point, int margin) {
        left_ = std::min<std::int64_t>(left_, std::int64_t{point.x} - margin);
        right_ = std::max<std::int64_t>(right_, std::int64_t{point.x} + margin + 1);
        top_ = std::min<std::int64_t>(top_, std::int64_t{point.y} - margin);
        bottom_ = std::max<std::int64_t>(bottom_, std::int64_t{point.y} + margin + 1);
    }
    CropInfo GetBox() const {
        const auto clip = [](std::int64_t position, std::uint32_t side) {
            return static_cast<std::uint32_t>(std::clamp<std::int64_t>(position, 0, side));
        };
        return {clip(left_, info_.width), clip(right_, info_.width), clip(top_, info_.height),
                clip(bottom_, info_.height)};
    }

private:
    FrameInfo info_;
    std::int64_t left_ = kMaxFrameSide, right_ = 0, top_ = kMaxFrameSide, bottom_ = 0;
};

class FaceMask : public EffectBaseOneInput<SettingsEffectFaceMask> {
public:
    FaceMask(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseOneInput(factory, allocator) {
        SettingsEffectBlur blur(1);
        blur.SetAlgorithm(1);
        blur.SetDevX(kMaskBlurDeviation);
        blur.SetDevY(kMaskBlurDeviation);
        blur.SetKernelLength(kMaskBlurLength);
        blur.SetScaleType(1);
        blur.SetScaleX(kMaskBlurReduction);
        blur.SetScaleY(kMaskBlurReduction);
        blur_->SetSettings(blur);
        SettingsEffectSegmentation segmentation;
        segmentation.SetAlgorithm(SegmentationAlgorithm::Host);
        segmentation_->SetSettings(segmentation);
    }

private:
    void ApplySettings(bool) override {
        if (settings_.GetFace().IsEmpty())
            detector_ = CreateOneInput(SettingsEffectFaceDetection(settings_.GetModelsRoot()));
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        if (settings_.GetFace().IsEmpty()) {
            const std::vector<Face>& faces = Shared::DetectFaces(*detector_, frame);
            if (faces.empty()) Throw(Shared::kNoFaces);
            settings_.SetFace(faces.front());
        }
        const Face& face = settings_.GetFace();
        const Contour &lips = face.GetMouth().GetOuter().GetContour(),
                      &opening = face.GetMouth().GetInner().GetContour();
        const Color white = Color::White(Opacity::Opaque), black = Color::Black(Opacity::Opaque);
        FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, frame->GetFrameInfo());
        mask->Fill(black);
        if (Has(settings_.GetMode(), FaceRegions::Head)) AddHead(face, *frame, mask);
        if (Has(settings_.GetMode(), FaceRegions::Eyes)) FillEyes(face.GetEyes(), white, mask);
        if (Has(settings_.GetMode(), FaceRegions::Lips)) {
            Fill(lips, white, mask);
            Fill(opening, black, mask);
        }
        if (Has(settings_.GetMode(), FaceRegions::Opening)) Fill(opening, white, mask);
        if (settings_.GetUseBlur()) blur_->ProcessData(mask);
        frame = mask;
    }

    void AddHead(const Face& face, const IDataVideo& picture, FramePtr& mask) {
        const Color black = Color::Black(Opacity::Opaque);
        Reach reach(picture.GetFrameInfo());
        DrawEllipses(face, mask, reach);
        const Contour polygon = PolygonOf(face);
        for (const Point<int>& point : polygon) reach.Add(point, 1);
        Fill(polygon, kCertain, mask);
        FillEyes(face.GetEyes(), black, mask);
        Fill(face.GetMouth().GetOuter().GetContour(), black, mask);
        Fill(face.GetMouth().GetInner().GetContour(), black, mask);
        const CropInfo box = BoxOfLabels(mask, reach.GetBox());
        FramePtr labels = Shared::ViewOf(*mask, box);
        segmentation_->ProcessData(labels, ConstFramePtr(Shared::ViewOf(picture, box)));
    }

    void DrawEllipses(const Face& face, FramePtr& mask, Reach& reach) {
        const Contour& outline = face.GetOutline().GetContour();
        const Point<int>&first = outline.front(), &last = outline.back();
        const Point<int> center{(first.x + last.x) / 2, (first.y + last.y) / 2};
        const double dx = first.x - center.x, dy = first.y - center.y;
        const double radius = std::sqrt(dx * dx + dy * dy);
        const auto draw = [&](double width, double height, const Color& label) {
            SettingsEffectDrawShape ellipse(center, static_cast<int>(radius * width), static_cast<int>(radius * height),
                                            label);
            ellipse.SetAngle(AngleOf(face.GetEyes()));
            ellipse.SetStartAngle(kStartAngle);
            ellipse.SetEndAngle(kEndAngle);
            shape_->SetSettings(ellipse);
            shape_->ProcessData(mask);
        };
        draw(kDoubtfulWidth, kDoubtfulHeight, kDoubtful);
        draw(kProbableWidth, 1.0, kProbable);
        reach.Add(center, static_cast<int>(radius * kDoubtfulWidth) + 1);
    }

    // Searched only where something was drawn: the whole mask may be a hundred times as large.
    static CropInfo BoxOfLabels(const FramePtr& mask, const CropInfo& reach) {
        CropInfo box = CropInfo::Nothing();
        if (!Shared::IsEmpty(reach)) box = Shared::FindBox(Shared::ViewOf(*mask, reach)->GetPlane(0));
        if (Shared::IsEmpty(box)) Throw("Mask is empty!");
        return {box.left + reach.left, box.right + reach.left, box.top + reach.top, box.bottom + reach.top};
    }

    void FillEyes(const Eyes& eyes, const Color& color, FramePtr& mask) {
        Fill(eyes.GetFirst().GetContour(), color, mask);
        Fill(eyes.GetSecond().GetContour(), color, mask);
    }
    void Fill(const Contour& contour, const Color& color, FramePtr& mask) {
        contours_->SetSettings(SettingsEffectDrawContours(contour, color));
        contours_->ProcessData(mask);
    }

    OneInputPtr blur_ = CreateOneInput<SettingsEffectBlur>();
    OneInputPtr contours_ = CreateOneInput<SettingsEffectDrawContours>();
    TwoInputPtr segmentation_ = CreateTwoInput<SettingsEffectSegmentation>();
    OneInputPtr shape_ = CreateOneInput<SettingsEffectDrawShape>();
    OneInputPtr detector_ = CreateOneInput<SettingsEffectFaceDetection>();
};

}  // namespace

bool RegisterFaceMask(IEffectFactory& factory) { return RegisterEffect<FaceMask>(factory); }

}  // namespace Orvexa::Proc
