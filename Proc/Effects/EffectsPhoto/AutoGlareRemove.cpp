// AutoGlareRemove: removes the shine from a face. Pixels much brighter than the face's mean luma are repeatedly
// replaced by the mean of their surroundings, until the bright area hardly shrinks any more; the repaired skin is then
// blended half and half with the original, which preserves its pores and edges.

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Photo/SettingsEffectAutoGlareRemove.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/PackedRgb.h"
#include "Proc/Effects/EffectsPhoto/Shared/Patches.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint64_t kRepairReach = 3;     // radius, in pixels, of the mean that replaces a pixel
constexpr int kFewPixels = 10;                // the bright area must shrink by this many for another round
constexpr std::uint8_t kRepairedShare = 127;  // opacity of the repaired picture, of 255
constexpr std::uint8_t kGlare = 255;          // value of bright pixels in the mask
constexpr std::uint64_t kColors = 3;

// The luma above which skin with this mean luma counts as shining: a third of the way from the mean to white.
std::uint8_t ThresholdFor(int mean) { return static_cast<std::uint8_t>((2 * mean - 510) / 3 - 1); }

int MeanLuma(const ConstPlane& mask, const ConstPlane& luma) {
    std::uint64_t sum = 0, count = 0;
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        const std::uint8_t *inside = mask.GetRow(y), *level = luma.GetRow(y);
        for (std::uint64_t x = 0; x < mask.GetWidth(); ++x) {
            sum += inside[x] != 0 ? level[x] : 0u;
            count += inside[x] != 0;
        }
    }
    return static_cast<int>(sum / count);
}

// Sets the pixels of a mask that are brighter than the threshold to `kGlare`, and all others to 0; returns the number
// of bright pixels.
int MarkGlare(const Plane& mask, const ConstPlane& luma, std::uint8_t threshold) {
    int count = 0;
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        std::uint8_t* const marks = mask.GetRow(y);
        const std::uint8_t* const level = luma.GetRow(y);
        for (std::uint64_t x = 0; x < mask.GetWidth(); ++x) {
            const bool isGlare = marks[x] != 0 && level[x] > threshold;
            marks[x] = isGlare ? kGlare : std::uint8_t{0};
            count += isGlare;
        }
    }
    return count;
}

void ReplaceByMean(const Plane& colors, std::uint64_t x, std::uint64_t y) {
    const std::uint64_t left = x - std::min(x, kRepairReach),
                        right = std::min(x + kRepairReach + 1, colors.GetPixelsPerRow()),
                        top = y - std::min(y, kRepairReach),
                        bottom = std::min(y + kRepairReach + 1, colors.GetHeight());
    const std::uint64_t size = colors.GetBytesPerPixel();
    unsigned sums[kColors] = {};
    for (std::uint64_t row = top; row < bottom; ++row) {
        const std::uint8_t* pixel = colors.GetOffsetPtr(left, row);
        for (std::uint64_t column = left; column < right; ++column, pixel += size) {
            for (std::uint64_t k = 0; k < kColors; ++k) sums[k] += pixel[k];
        }
    }
    const auto count = static_cast<unsigned>((right - left) * (bottom - top));
    for (std::uint64_t k = 0; k < kColors; ++k)
        colors.GetOffsetPtr(x, y)[k] = static_cast<std::uint8_t>(sums[k] / count);
}

// In place and row by row, so that a large area is filled from its edges.
void Repair(const ConstPlane& glare, const Plane& colors) {
    for (std::uint64_t y = 0; y < glare.GetHeight(); ++y) {
        for (std::uint64_t x = 0; x < glare.GetWidth(); ++x) {
            if (glare.GetRow(y)[x] != 0) ReplaceByMean(colors, x, y);
        }
    }
}

// The opacity of the repaired picture in each channel. Deliberately, the weight of channel k is that of the pixel k to
// the right: at its edges the repaired area is blended channel by channel.
class Weights {
public:
    explicit Weights(const ConstPlane& glare) : width_(glare.GetWidth()), rowSize_(width_ + kColors - 1) {
        weights_.resize(rowSize_ * glare.GetHeight());
        for (std::uint64_t y = 0; y < glare.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < width_; ++x)
                weights_[y * rowSize_ + x] = glare.GetRow(y)[x] != 0 ? kRepairedShare : std::uint8_t{0};
        }
    }

    void Blend(const ConstPlane& over, const Plane& under) const {
        for (std::uint64_t y = 0; y < under.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < width_; ++x) {
                const std::uint8_t* const from = over.GetOffsetPtr(x, y);
                std::uint8_t* const to = under.GetOffsetPtr(x, y);
                for (std::uint64_t k = 0; k < kColors; ++k) {
                    const int weight = weights_[y * rowSize_ + x + k];
                    to[k] = static_cast<std::uint8_t>(((255 - weight) * to[k] + from[k] * weight) / 255);
                }
            }
        }
    }

    // One byte per pixel, non-zero where any channel is blended.
    std::vector<std::uint8_t> GetMarks() const {
        std::vector<std::uint8_t> marks;
        for (std::size_t row = 0; row < weights_.size(); row += rowSize_) {
            for (std::size_t i = row; i < row + width_; ++i) {
                const bool isBlended = std::any_of(&weights_[i], &weights_[i] + kColors, [](auto w) { return w != 0; });
                marks.push_back(isBlended ? 1 : 0);
            }
        }
        return marks;
    }

private:
    std::size_t width_, rowSize_;  // rows are padded for the channels of the last pixel
    std::vector<std::uint8_t> weights_;
};

class AutoGlareRemove : public EffectBaseOneInput<SettingsEffectAutoGlareRemove> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        FramePtr mask = frame;
        faceMask_->SetSettings(SettingsEffectFaceMask(settings_.GetFace(), FaceRegions::Head));
        faceMask_->ProcessData(mask);
        CropInfo box = Shared::FindBox(std::as_const(*mask).GetPlane(0));
        if (Shared::IsEmpty(box)) return;
        box = Shared::AlignedToChroma(box, frame->GetPixFmt());
        mask = Shared::ViewOf(*mask, box);
        // In other formats the part is processed as RGB, and only repaired pixels are copied back.
        const bool isDirect = IsDirect(frame->GetPixFmt());
        FramePtr part = Shared::ViewOf(*frame, box);
        if (!isDirect) Converter().Convert(part, PixFmt::Rgb24);
        const FramePtr repaired = CloneFrame(*part, kCloneIndependent);
        if (isDirect) part.reset();

        const std::optional<Weights> weights = RemoveGlare(*mask, repaired);
        if (!weights) return;
        MakeWritable(frame);
        if (isDirect) {
            weights->Blend(std::as_const(*repaired).GetPlane(0), Shared::ViewOf(*frame, box)->GetPlane(0));
        } else {
            weights->Blend(std::as_const(*repaired).GetPlane(0), part->GetPlane(0));
            Converter().Convert(part, frame->GetPixFmt());
            Shared::CopyColors(*part, *frame, box.left, box.top, weights->GetMarks());
        }
    }

    // Repairs the shining pixels of a face; returns nothing if there are too few of them.
    std::optional<Weights> RemoveGlare(const IDataVideo& face, const FramePtr& colors) {
        const FramePtr luma = LumaOf(colors);
        FramePtr glare = CloneFrame(face, kCloneIndependent);
        const std::uint8_t threshold = ThresholdFor(MeanLuma(face.GetPlane(0), std::as_const(*luma).GetPlane(0)));
        int previous = 0, current = MarkGlare(glare->GetPlane(0), std::as_const(*luma).GetPlane(0), threshold);
        morphology_->ProcessData(glare);
        const Weights weights(std::as_const(*glare).GetPlane(0));
        if (current <= kFewPixels) return std::nullopt;
        while (current > 0 && std::abs(previous - current) > kFewPixels) {
            Repair(std::as_const(*glare).GetPlane(0), colors->GetPlane(0));
            previous = current;
            current = MarkGlare(glare->GetPlane(0), std::as_const(*LumaOf(colors)).GetPlane(0), threshold);
        }
        return weights;
    }

    FramePtr LumaOf(FramePtr colors) {
        lumaConverter_->ProcessData(colors);
        return colors;
    }

    static bool IsDirect(PixFmt pixFmt) {
        const std::vector<PixFmt>& formats = Shared::PackedRgbFormats();
        return std::find(formats.begin(), formats.end(), pixFmt) != formats.end();
    }

    Shared::FormatConverter& Converter() {
        if (!converter_) converter_.emplace(CreateOneInput<SettingsColorspaceConverter>());
        return *converter_;
    }

    OneInputPtr faceMask_ = CreateOneInput<SettingsEffectFaceMask>();
    OneInputPtr morphology_ = CreateOneInput(SettingsEffectMorphology(
        MorphologyOperation::Close, 1, MorphologyKernel::Rectangle, MorphologyBorder::Reflect));
    OneInputPtr lumaConverter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Yuv420p, true));
    std::optional<Shared::FormatConverter> converter_;  // for formats that cannot be processed directly
};

}  // namespace

bool RegisterAutoGlareRemove(IEffectFactory& factory) { return RegisterEffect<AutoGlareRemove>(factory); }

}  // namespace Orvexa::Proc
