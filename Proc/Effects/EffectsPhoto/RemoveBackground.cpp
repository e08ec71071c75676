// RemoveBackground: cuts out the subject that a mask marks in a picture: crops to the mask's bounding box, reshapes and
// softens the mask, adapts the subject's colours to its future place on a new background, and returns the subject with
// the mask as its alpha. The new background itself is only read.

#include <algorithm>
#include <array>
#include <vector>

#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectMidEqualizer.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectRemoveBackground.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/Inputs.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kBlurMargin = 2;  // pixels around the box, so that its border is blurred like any other edge
constexpr double kBlurDeviation = 1.0;
constexpr double kEqualizedGrowth = 1.05;  // scale of the background's part from which the colours are taken
constexpr int kGreatestSmooth = 64;

SettingsEffectMorphology Step(MorphologyOperation operation, int size) {
    return {operation, size, MorphologyKernel::Rectangle, MorphologyBorder::Reflect};
}

// A sum of masks, to be divided by their number. Two sums share a four-byte pixel of an allocated frame, since new
// memory would cost more than the additions.
class MaskSum {
public:
    MaskSum(const ConstPlane& mask, const AllocatorPtr& allocator)
        : sums_(NewFrame(allocator, PixFmt::Rgba,
                         FrameInfo(static_cast<std::uint32_t>((mask.GetWidth() + 1) / 2),
                                   static_cast<std::uint32_t>(mask.GetHeight())))) {
        ForRows(mask, [](std::uint16_t* sum, const std::uint8_t* row, std::uint64_t width) {
            for (std::uint64_t x = 0; x < width; ++x) sum[x] = row[x];
        });
    }

    void Add(const ConstPlane& mask) {
        ++count_;
        ForRows(mask, [](std::uint16_t* sum, const std::uint8_t* row, std::uint64_t width) {
            for (std::uint64_t x = 0; x < width; ++x) sum[x] = static_cast<std::uint16_t>(sum[x] + row[x]);
        });
    }

    // floor(sum / count) as a multiplication by the reciprocal, which may be one too large, because there are no vector
    // divisions. There are at least two masks.
    void StoreMean(const Plane& plane) const {
        const auto count = static_cast<std::uint16_t>(count_);
        const auto reciprocal = static_cast<std::uint16_t>(65536 / count_ + 1);
        ForRows(plane, [=](const std::uint16_t* sum, std::uint8_t* row, std::uint64_t width) {
            for (std::uint64_t x = 0; x < width; ++x) {
                const auto mean = static_cast<std::uint16_t>((std::uint32_t{sum[x]} * reciprocal) >> 16);
                const bool isTooLarge = static_cast<std::uint16_t>(mean * count) > sum[x];
                row[x] = static_cast<std::uint8_t>(mean - isTooLarge);
            }
        });
    }

private:
    template <class AnyPlane, class Body>
    void ForRows(const AnyPlane& plane, const Body& body) const {
        const Plane sums = sums_->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y)
            body(reinterpret_cast<std::uint16_t*>(sums.GetRow(y)), plane.GetRow(y), plane.GetWidth());
    }

    const FramePtr sums_;
    std::uint32_t count_ = 1;
};

// The subject's future position on one axis of the background, in pixels.
struct Place {
    std::uint32_t start, length;
};

Place PlaceOn(double background, double position, double scaled) {
    const auto length = static_cast<std::int64_t>(scaled + 0.5);
    auto start = static_cast<std::int64_t>(background * position - static_cast<double>(length / 2));
    start = std::max<std::int64_t>(start, 0);
    start = std::min(start, std::max<std::int64_t>(static_cast<std::int64_t>(background) - length, 0));
    const std::int64_t visible = std::min(static_cast<std::int64_t>(background) - start, length);
    return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(visible)};
}

class RemoveBackground : public EffectBaseVarInput<SettingsEffectRemoveBackground> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    void CheckSettings(const SettingsEffectRemoveBackground& settings) const override {
        if (settings.GetSmooth() < 0 || settings.GetSmooth() > kGreatestSmooth)
            Throw("Smooth must be between 0 and " + std::to_string(kGreatestSmooth) + "!");
        if (!(settings.GetScaleX() > 0.0 && settings.GetScaleY() > 0.0)) Throw("Scales must be greater than 0!");
    }

    void ApplySettings(bool) override {
        if (settings_.GetSmooth() != 0) {
            SettingsEffectBlur blur(1);
            blur.SetDevX(kBlurDeviation);
            blur.SetDevY(kBlurDeviation);
            blur_->SetSettings(blur);
            smoother_->SetSettings(Step(MorphologyOperation::Erode, 1));
        }
        if (const int morph = settings_.GetMorph(); morph != 0) {
            shaper_->SetSettings(
                Step(morph > 0 ? MorphologyOperation::Dilate : MorphologyOperation::Erode, std::abs(morph)));
        }
    }

    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        const ConstFramePtr picture = Shared::InputAt(frames, 0), background = Shared::InputAt(frames, 2);
        ConstFramePtr mask = Shared::InputAt(frames, 1);
        if (mask == nullptr) Throw("RemoveBackground needs a mask as its second picture!");
        mask = Shared::GreyMask(mask, *picture, "mask", converter_);
        const CropInfo box = Shared::BoundingBoxOf(mask->GetPlane(0));
        FramePtr subject = Shared::ViewOf(*picture, box);
        FramePtr opacity = ShapedMask(*mask, box);
        LimitToAlpha(subject, *opacity);
        if (settings_.GetSmooth() != 0) Smooth(opacity);
        if (background != nullptr && settings_.GetAdaptValue() != 0) Adapt(subject, *background);
        converter_.Convert(subject, PixFmt::Bgra);
        alphaInserter_->ProcessData(subject, ConstFramePtr(opacity));
        return subject;
    }

    // Shapes the whole mask, then copies the part in the box.
    FramePtr ShapedMask(const IDataVideo& mask, const CropInfo& box) {
        FramePtr shaped = CloneFrame(mask, kCloneView);
        if (settings_.GetMorph() != 0) shaper_->ProcessData(shaped);
        return CloneFrame(*Shared::ViewOf(*shaped, box), kCloneIndependent);
    }

    // Transparent parts of the picture stay transparent.
    void LimitToAlpha(const FramePtr& subject, IDataVideo& opacity) {
        FramePtr alpha = subject;
        alphaExtractor_->ProcessData(alpha);
        if (alpha == nullptr) return;
        const ConstPlane limits = std::as_const(*alpha).GetPlane(0);
        const Plane mask = opacity.GetPlane(0);
        for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
            std::uint8_t* row = mask.GetRow(y);
            const std::uint8_t* limit = limits.GetRow(y);
            for (std::uint64_t x = 0; x < mask.GetWidth(); ++x) row[x] = std::min(row[x], limit[x]);
        }
    }

    // The blurred mean of the mask and successively smaller versions of it.
    void Smooth(FramePtr& mask) {
        const FrameInfo info = mask->GetFrameInfo();
        MaskSum sum(std::as_const(*mask).GetPlane(0), allocator_);
        for (int i = 0; i < settings_.GetSmooth(); ++i) {
            smoother_->ProcessData(mask);
            sum.Add(std::as_const(*mask).GetPlane(0));
        }
        mask =
            NewFrame(allocator_, PixFmt::Gray8, FrameInfo(info.width + 2 * kBlurMargin, info.height + 2 * kBlurMargin));
        mask->Fill(Color::Black(Opacity::Opaque));
        sum.StoreMean(mask->GetPlane(0).MakeSubplane(kBlurMargin, kBlurMargin, info.width, info.height, 1, 0, 0));
        blur_->ProcessData(mask);
        mask->Crop(kBlurMargin, kBlurMargin, info.width, info.height);
    }

    // Moves the subject's colours closer to those of the part of the background that it will cover.
    void Adapt(FramePtr& subject, const IDataVideo& background) {
        const FrameInfo info = subject->GetFrameInfo(), room = background.GetFrameInfo();
        const double width = settings_.GetScaleX() * info.width, height = settings_.GetScaleY() * info.height;
        const double scale = std::min({room.width / width, room.height / height, 1.0});
        const Place across = PlaceOn(room.width, settings_.GetPositionX(), width * scale),
                    down = PlaceOn(room.height, settings_.GetPositionY(), height * scale);
        FramePtr behind = Shared::ViewOf(background, across.start, down.start, across.length, down.length);
        SettingsResizer resizing;
        resizing.SetCustomMode(
            SettingsResizer::kExactSizeAlias,
            FrameInfo(static_cast<std::uint32_t>(info.width * kEqualizedGrowth + 0.5),
                      static_cast<std::uint32_t>(info.height * kEqualizedGrowth + 0.5), info.aspect));
        resizing.SetAccurate(true);
        resizing.SetFullChroma(true);
        resizer_->SetSettings(resizing);
        resizer_->ProcessData(behind);
        FramePtr equalized = subject;
        midEqualizer_->ProcessData(equalized, ConstFramePtr(behind));
        converter_.Convert(equalized, subject->GetPixFmt());
        const auto strength = static_cast<std::uint8_t>(settings_.GetAdaptValue() * 255 / 100);
        blender_->SetSettings(SettingsEffectImageBlender(0, 0, strength, BlendAlphaMode::UseAlpha));
        MakeWritable(subject);  // it is still a view of the caller's picture
        blender_->ProcessData(subject, ConstFramePtr(equalized));
    }

    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
    OneInputPtr blur_ = CreateOneInput<SettingsEffectBlur>();
    OneInputPtr smoother_ = CreateOneInput<SettingsEffectMorphology>();
    OneInputPtr shaper_ = CreateOneInput<SettingsEffectMorphology>();
    OneInputPtr alphaExtractor_ = CreateOneInput<SettingsEffectAlphaExtractor>();
    TwoInputPtr alphaInserter_ = CreateTwoInput<SettingsEffectAlphaInserter>();
    TwoInputPtr blender_ = CreateTwoInput<SettingsEffectImageBlender>();
    TwoInputPtr midEqualizer_ = CreateTwoInput(SettingsEffectMidEqualizer());
};

}  // namespace

bool RegisterRemoveBackground(IEffectFactory& factory) { return RegisterEffect<RemoveBackground>(factory); }

}  // namespace Orvexa::Proc
