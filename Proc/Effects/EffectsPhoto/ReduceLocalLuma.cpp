// ReduceLocalLuma: tames the brightest spots of a rectangle where a mask is bright. The highest luma levels are
// lowered, chroma is moved towards the rectangle's mean, and luma is blended with a slightly blurred copy.

#include <algorithm>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Photo/SettingsEffectReduceLocalLuma.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Blend.h"
#include "Proc/Effects/EffectsPhoto/Shared/Inputs.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Proc;

constexpr int kReduction = 20;  // levels; also the range below the maximum within which levels are lowered
constexpr double kDeviation = 1.0;
constexpr std::uint32_t kLumaPlane = 1;  // mask of the planes to blur

// Grey, then the planar formats with chroma, in the order of the host's list.
const std::vector<PixFmt>& WorkingFormats() {
    static const std::vector<PixFmt> formats = [] {
        std::vector<PixFmt> list{PixFmt::Gray8};
        for (const PixFmtDescription& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
            if (description.IsPlanar() && description.planes >= 3) list.push_back(description.pixFmt);
        }
        return list;
    }();
    return formats;
}

// One axis of a rectangle, in pixels.
struct Span {
    std::int64_t start, length;

    bool IsNear(std::int64_t side) const { return start < side && start + length >= 0; }
    bool IsEmpty() const { return length <= 0; }
    // The part of it inside a picture with this side, aligned to whole chroma samples.
    Span Clipped(std::int64_t side, std::uint8_t shift) const {
        Span clipped = start < 0 ? Span{0, length + start} : *this;
        clipped.length = std::min(clipped.length, side - clipped.start);
        return {clipped.start >> shift << shift, clipped.length >> shift << shift};
    }
};

std::uint8_t Brightest(const ConstPlane& luma) {
    std::uint8_t brightest = 0;
    for (std::uint64_t y = 0; y < luma.GetHeight(); ++y) {
        const std::uint8_t* row = luma.GetRow(y);
        for (std::uint64_t x = 0; x < luma.GetWidth(); ++x) brightest = std::max(brightest, row[x]);
    }
    return brightest;
}

// In a dark rectangle every level is lowered, and the lowest ones wrap. Intended.
void LowerBrightest(const Plane& luma, const ConstPlane& mask) {
    const int from = Brightest(luma) - kReduction;
    for (std::uint64_t y = 0; y < luma.GetHeight(); ++y) {
        std::uint8_t* row = luma.GetRow(y);
        const std::uint8_t* weight = mask.GetRow(y);
        for (std::uint64_t x = 0; x < luma.GetWidth(); ++x) {
            const auto lowered = static_cast<std::uint8_t>(row[x] - weight[x] * kReduction / 255);
            row[x] = row[x] > from ? lowered : row[x];
        }
    }
}

int MeanOf(const ConstPlane& plane) {
    std::uint64_t sum = 0;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* row = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) sum += row[x];
    }
    return static_cast<int>(sum / (plane.GetWidth() * plane.GetHeight()));
}

// From half the maximum weight on, the mean is reached completely.
void DrawToMean(const Plane& chroma, const ConstPlane& mask, std::uint8_t shiftX, std::uint8_t shiftY) {
    const int mean = MeanOf(chroma);
    for (std::uint64_t y = 0; y < chroma.GetHeight(); ++y) {
        std::uint8_t* row = chroma.GetRow(y);
        const std::uint8_t* weight = mask.GetRow(y << shiftY);
        for (std::uint64_t x = 0; x < chroma.GetWidth(); ++x) {
            const int opacity = std::min(2 * weight[x << shiftX], 255);
            const int drawn = row[x] + (opacity * (mean - row[x])) / 255;
            row[x] = static_cast<std::uint8_t>(std::clamp(drawn, 0, 255));
        }
    }
}

class ReduceLocalLuma : public EffectBaseTwoInput<SettingsEffectReduceLocalLuma> {
public:
    ReduceLocalLuma(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseTwoInput(factory, allocator) {
        SettingsEffectBlur blur(1);
        blur.SetDevX(kDeviation);
        blur.SetPlanesMask(kLumaPlane);
        blur_->SetSettings(blur);
    }

private:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& mask) override {
        const FrameInfo info = frame->GetFrameInfo();
        Span across{settings_.GetX(), settings_.GetWidth()}, down{settings_.GetY(), settings_.GetHeight()};
        if (across.start == 0 && down.start == 0 && across.length == 0 && down.length == 0) {
            across.length = info.width;
            down.length = info.height;
        }
        if (!across.IsNear(info.width) || !down.IsNear(info.height)) return;
        Shared::RequireGreyMask(*frame, *mask, "mask");
        converter_->ProcessData(frame);
        MakeWritable(frame);
        const PixFmtDescription& description = PixFmtDescription::Get(frame->GetPixFmt());
        across = across.Clipped(info.width, description.chromaShiftX);
        down = down.Clipped(info.height, description.chromaShiftY);
        if (across.IsEmpty() || down.IsEmpty()) return;
        const FramePtr part = View(*frame, across, down);
        Tame(*part, View(*mask, across, down)->GetPlane(0), description);
    }

    static FramePtr View(const IDataVideo& frame, const Span& across, const Span& down) {
        return Shared::ViewOf(frame, static_cast<std::uint32_t>(across.start), static_cast<std::uint32_t>(down.start),
                              static_cast<std::uint32_t>(across.length), static_cast<std::uint32_t>(down.length));
    }

    void Tame(IDataVideo& part, const ConstPlane& mask, const PixFmtDescription& description) {
        const Plane luma = part.GetPlane(0);
        LowerBrightest(luma, mask);
        for (std::uint8_t plane = 1; plane < std::min<std::uint8_t>(description.planes, 3); ++plane)
            DrawToMean(part.GetPlane(plane), mask, description.chromaShiftX, description.chromaShiftY);
        FramePtr blurred = TakeLuma(part, allocator_);
        blur_->ProcessData(blurred);
        const ConstPlane soft = std::as_const(*blurred).GetPlane(0);
        for (std::uint64_t y = 0; y < luma.GetHeight(); ++y)
            Shared::BlendRow(luma.GetRow(y), soft.GetRow(y), mask.GetRow(y), 255, luma.GetWidth());
    }

    OneInputPtr converter_ = CreateOneInput(SettingsColorspaceConverter(WorkingFormats(), true));
    OneInputPtr blur_ = CreateOneInput<SettingsEffectBlur>();
};

}  // namespace

namespace Orvexa::Proc {

bool RegisterReduceLocalLuma(IEffectFactory& factory) { return RegisterEffect<ReduceLocalLuma>(factory); }

}  // namespace Orvexa::Proc
