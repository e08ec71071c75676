// BlurBokeh: blurs a photograph as an out-of-focus lens does: every bright point spreads into the shape of the
// aperture.
//
// The picture, reduced to fit into 512 x 512, is convolved with the image of an aperture; bright samples of both are
// boosted, so that highlights bloom. The blurred picture is scaled back and placed under the original, which is masked
// so that the blurred picture takes over in the highlights.

#include <algorithm>
#include <array>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/Convolution.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"
#include "Proc/Effects/EffectsPhoto/Shared/Statistics.h"

namespace Orvexa::Proc {
namespace {

using ResizeMethods = SettingsResizer::ResizeMethods;

constexpr std::uint32_t kReducedSide = 512;  // bounds the cost of the convolution, whatever the picture's size
constexpr std::size_t kChannels = 3;
constexpr std::size_t kBufferUnit = 8;    // buffers are rounded up to this many floats
constexpr double kMaskPercentile = 0.05;  // fraction of pixels below the dark and above the bright percentile
constexpr boost::source_location kTooSmallLocation{"Proc/Effects/EffectsPhoto/BlurBokeh.cpp", 172,
                                                   "Orvexa::Proc::BlurBokeh::ProcessInternalCSC"};

constexpr std::size_t RoundUpToUnit(std::size_t count) { return (count + kBufferUnit - 1) / kBufferUnit * kBufferUnit; }

// The opacity of the sharp picture where the blur is strongest, as a byte, which wraps for strengths outside 0..1.
std::uint8_t SharpShare(double strength) {
    return static_cast<std::uint8_t>(Shared::TruncateToInt(255.0 - (strength - 0.0) * 255.0));
}

// Samples above the threshold are multiplied by the gain; 255 stands for 1.
float Boosted(std::uint8_t sample, float threshold, float gain) {
    const float value = static_cast<float>(sample) / 255.0f;
    return value > threshold ? value * gain : value;
}

struct Kernel {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<float> weights;  // row-major, rotated by 180 degrees relative to the aperture image
    float sum = 0;
};

Kernel MakeKernel(const ConstPlane& aperture, const FrameInfo& info, float threshold, float gain) {
    Kernel kernel{info.width, info.height, std::vector<float>(std::size_t{info.width} * info.height), 0.0f};
    auto weight = kernel.weights.rbegin();
    for (std::uint64_t y = 0; y < aperture.GetHeight(); ++y) {
        const std::uint8_t* row = aperture.GetRow(y);
        for (std::uint64_t x = 0; x < aperture.GetWidth(); ++x) {
            *weight = Boosted(row[x], threshold, gain);
            kernel.sum += *weight++;
        }
    }
    return kernel;
}

// The boosted picture, centred in a buffer with room for the kernel on all sides.
class PaddedPicture {
public:
    PaddedPicture(const ConstPlane& plane, const FrameInfo& info, const Kernel& kernel, float threshold, float gain)
        : width_(info.width),
          height_(info.height),
          kernelWidth_(kernel.width),
          kernelHeight_(kernel.height),
          samples_(RoundUpToUnit((height_ + kernelHeight_) * GetStride())) {
        std::array<float, 256> boosted;
        for (int value = 0; value < 256; ++value)
            boosted[value] = Boosted(static_cast<std::uint8_t>(value), threshold, gain);
        for (std::size_t y = 0; y < height_; ++y) {
            const std::uint8_t* row = plane.GetRow(y);
            std::transform(row, row + width_ * kChannels, GetPixel(0, y),
                           [&](std::uint8_t sample) { return boosted[sample]; });
        }
        MirrorColumns();
        MirrorRows();
    }

    /// Floats between the starts of two rows.
    std::size_t GetStride() const { return kChannels * (width_ + kernelWidth_); }
    const float* GetData() const { return samples_.data(); }
    const float* GetPixel(std::ptrdiff_t x, std::size_t y) const {
        return const_cast<PaddedPicture*>(this)->GetPixel(x, y);
    }

private:
    float* GetPixel(std::ptrdiff_t x, std::size_t y) {
        const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(kernelWidth_ / 2) + x;
        return samples_.data() + (kernelHeight_ / 2 + y) * GetStride() +
               column * static_cast<std::ptrdiff_t>(kChannels);
    }

    // About the first and last columns, without repeating them.
    void MirrorColumns() {
        const auto left = static_cast<std::ptrdiff_t>(kernelWidth_ / 2);
        const auto right = static_cast<std::ptrdiff_t>(kernelWidth_) - left;
        const auto last = static_cast<std::ptrdiff_t>(width_) - 1;
        for (std::size_t y = 0; y < height_; ++y) {
            for (std::ptrdiff_t j = 1; j <= left; ++j) std::copy_n(GetPixel(j, y), kChannels, GetPixel(-j, y));
            for (std::ptrdiff_t j = 1; j <= right; ++j)
                std::copy_n(GetPixel(last - j, y), kChannels, GetPixel(last + j, y));
        }
    }

    // The top is mirrored about the first row. The bottom is addressed from the end of the rounded buffer, assuming an
    // even kernel height: with an odd one the row below the picture stays black, and a rounded buffer shifts these
    // rows. Intended: it defines how the blurred picture ends at the bottom.
    void MirrorRows() {
        const std::size_t half = kernelHeight_ / 2, stride = GetStride();
        for (std::size_t j = 1; j <= half; ++j) {
            std::copy_n(samples_.data() + (half + j) * stride, stride, samples_.data() + (half - j) * stride);
        }
        float* const lastRow = samples_.data() + samples_.size() - stride;
        const std::size_t evenHeight = kernelHeight_ + kernelHeight_ % 2;
        for (std::size_t i = 0; i < half; ++i)
            std::copy_n(lastRow - (evenHeight - i) * stride, stride, lastRow - i * stride);
    }

    std::size_t width_, height_, kernelWidth_, kernelHeight_;
    std::vector<float> samples_;
};

// Non-zero kernel weights, row by row from the top.
std::vector<Shared::ConvolutionTap> MakeTaps(const Kernel& kernel, std::size_t stride) {
    std::vector<Shared::ConvolutionTap> taps;
    for (std::size_t y = 0; y < kernel.height; ++y) {
        for (std::size_t x = 0; x < kernel.width; ++x) {
            const float weight = kernel.weights[y * kernel.width + x];
            if (weight != 0.0f) taps.push_back({y * stride + kChannels * x, weight});
        }
    }
    return taps;
}

void StoreRow(const float* sums, std::size_t count, float kernelSum, std::uint8_t* row) {
    for (std::size_t i = 0; i < count; ++i)
        row[i] = Shared::TruncateToByte(static_cast<double>((sums[i] * 255.0f) / kernelSum) + 0.5);
}

// 255 up to a knee between the dark and the bright percentile, then falling to the sharp picture's opacity at the
// bright percentile and above.
Shared::Curve MakeMaskCurve(const ConstPlane& mask, std::uint64_t pixels, double kneePosition,
                            std::uint8_t sharpShare) {
    const Shared::Counts counts = Shared::CountBytes(mask);
    const auto target = static_cast<std::uint64_t>(static_cast<double>(pixels) * kMaskPercentile);
    const int dark = Shared::LowPercentile(counts, target);
    const int bright = Shared::HighPercentile(counts, target);
    const auto knee = static_cast<int>(
        std::clamp<std::int64_t>(dark + Shared::RoundHalfAway(kneePosition * (bright - dark)), -65536, 65536));

    Shared::Curve curve;
    curve.fill(255);
    if (knee >= bright) return curve;
    const int step = sharpShare - 255;
    for (int level = std::max(knee, 0); level <= 255; ++level) {
        curve[level] = static_cast<std::uint8_t>(std::clamp(255 + ((level - knee) * step) / (bright - knee), 0, 255));
    }
    return curve;
}

class BlurBokeh : public EffectBaseCSCOneInput<SettingsEffectBlurBokeh> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

    void ResetSettings() override {
        EffectBaseCSCOneInput::ResetSettings();
        isKernelReady_ = false;
    }

private:
    void ApplySettings(bool) override {
        generator_->SetSettings(settings_.GetAperture());
        blender_->SetSettings(
            SettingsEffectImageBlender(0, 0, SharpShare(settings_.GetStrength()), BlendAlphaMode::UseAlpha));
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Bgr24};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        const FrameInfo size = frame->GetFrameInfo();
        if (reduction_.IsNew(size)) {
            reduction_.Configure(
                {ResizeMethods::FastBilinear, SettingsResizer::kFitInside,
                 FrameInfo(kReducedSide, kReducedSide, size.aspect)},
                {ResizeMethods::BicubicLuma, SettingsResizer::kExactSizeAlias, Shared::RoundUpToEven(size)});
        }
        FramePtr small = frame;
        reduction_.Reduce(small);
        if (!isKernelReady_) BuildKernel(small->GetFrameInfo());
        RequireLargerThanKernel(small->GetFrameInfo());
        ReleaseInput(frame);
        FramePtr blurred = Blur(*small);
        small.reset();
        reduction_.Enlarge(blurred, size);
        const FramePtr sharp = CloneFrame(*frame, kCloneView);  // so that the caller's frame is left without a mask
        AttachMask(*sharp, blurred);
        blender_->ProcessData(blurred, ConstFramePtr(sharp));
        frame = std::move(blurred);
    }

    // The kernel is scaled for the picture that it is built for, and reused for later pictures of other sizes.
    void BuildKernel(const FrameInfo& small) {
        FramePtr aperture;
        generator_->ProcessData(aperture);
        const FrameInfo generated = aperture->GetFrameInfo();
        SettingsResizer scaling(ResizeMethods::BicubicLuma);
        scaling.SetCustomScale(settings_.GetSize() * std::min(small.width, small.height) /
                               std::min(generated.width, generated.height));
        kernelResizer_->SetSettings(scaling);
        kernelResizer_->ProcessData(aperture);
        const FrameInfo scaled = aperture->GetFrameInfo();
        greyConverter_->ProcessData(aperture);
        kernel_ =
            MakeKernel(std::as_const(*aperture).GetPlane(0), scaled, static_cast<float>(settings_.GetBokehThreshold()),
                       static_cast<float>(settings_.GetBokehGain()));
        isKernelReady_ = true;
    }

    void RequireLargerThanKernel(const FrameInfo& small) const {
        if (small.width > kernel_.width && small.height > kernel_.height) return;
        EffectException exception;
        exception << TagTranscodingErrorCode(TranscodingErrors::PictureTooSmall)
                  << Core::TagCallStack(Core::GetCallStack());
        boost::throw_exception(exception, kTooSmallLocation);
    }

    // The convolved picture. Sums are initialised with the boosted picture itself, which the kernel's sum does not
    // include.
    FramePtr Blur(const IDataVideo& small) const {
        const FrameInfo& info = small.GetFrameInfo();
        const PaddedPicture picture(small.GetPlane(0), info, kernel_, static_cast<float>(settings_.GetImageThreshold()),
                                    static_cast<float>(settings_.GetImageGain()));
        const std::size_t count = kChannels * info.width, stride = RoundUpToUnit(count);
        std::vector<float> sums(stride * info.height);
        for (std::size_t y = 0; y < info.height; ++y)
            std::copy_n(picture.GetPixel(0, y), count, sums.data() + y * stride);
        Shared::Convolve(MakeTaps(kernel_, picture.GetStride()), picture.GetData(), picture.GetStride(), sums.data(),
                         stride, info.height, count);

        FramePtr blurred = NewFrame(allocator_, small.GetPixFmt(), info);
        const Plane plane = blurred->GetPlane(0);
        for (std::size_t y = 0; y < info.height; ++y)
            StoreRow(sums.data() + y * stride, count, kernel_.sum, plane.GetRow(y));
        return blurred;
    }

    // Sets the mask for `sharp`: opaque in the shadows, less so in the highlights of `blurred`.
    void AttachMask(IDataVideo& sharp, const FramePtr& blurred) {
        FramePtr mask = blurred;
        greyConverter_->ProcessData(mask);
        const FrameInfo& info = mask->GetFrameInfo();
        const Plane plane = mask->GetPlane(0);
        Shared::ApplyCurve(MakeMaskCurve(plane, info.width * info.height, settings_.GetThreshold(),
                                         SharpShare(settings_.GetStrength())),
                           plane, plane);
        mask_.Set(std::move(mask));
        mask_.PrepareFor(PixFmt::Rgb24);
        mask_.AttachTo(sharp);
        mask_.Set({});
    }

    bool isKernelReady_ = false;
    Kernel kernel_;
    OneInputPtr generator_ = CreateOneInput<SettingsEffectVideoGenerator>();
    OneInputPtr greyConverter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Gray8, true));
    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
    OneInputPtr kernelResizer_ = CreateOneInput<SettingsResizer>();
    TwoInputPtr blender_ = CreateTwoInput<SettingsEffectImageBlender>();
    Shared::LayerMask mask_{CreateOneInput(SettingsEffectExtraAlphaExtractor(PixFmt::Rgb24)), PixFmt::Rgb24};
};

}  // namespace

bool RegisterBlurBokeh(IEffectFactory& factory) { return RegisterEffect<BlurBokeh>(factory); }

}  // namespace Orvexa::Proc
