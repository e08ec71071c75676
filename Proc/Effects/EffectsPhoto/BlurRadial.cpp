// BlurRadial: blurs along lines, towards a centre (zoom), around it (spin) or in one direction (linear), on a picture
// reduced to fit into 512 x 512, which loses only detail that the blur removes anyway.
//
// Zoom and spin take the mean of a pixel and N further samples along its line; the steps grow with the distance from
// the centre. Deliberate quirks: both axes of a step are measured by the height, the sine advances twice as fast as the
// angle and runs on into the following rows of its table, the cosine stays constant, and the tables survive a change of
// angle and strength.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

constexpr boost::source_location kUnknownModeLocation{"Proc/Effects/EffectsPhoto/BlurRadial.cpp", 110,
                                                      "Orvexa::Proc::BlurRadial::SetSettings"};
constexpr std::uint32_t kBlurredSide = 512;
constexpr double kNoAngle = 0.00001;  // degrees
constexpr int kChannels = 3;
constexpr std::int64_t kFirstBlurredDistance = 2;  // pixels from the centre

float Radians(double degrees) { return static_cast<float>(degrees * std::numbers::pi / 180.0); }

// The sum of a pixel and the samples around it. Sums are 16 bits wide and wrap.
class SampleSum {
public:
    SampleSum(const ConstPlane& source, int width, int height, int x, int y)
        : source_(source),
          width_(width),
          height_(height),
          own_(source.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y))) {
        Add(own_);
    }

    /// A sample outside the picture is replaced by the pixel itself.
    void Add(float x, float y) {
        const int sx = Shared::TruncateToInt(x + 0.5), sy = Shared::TruncateToInt(y + 0.5);
        const bool isInside = sx >= 0 && sx < width_ && sy >= 0 && sy < height_;
        Add(isInside ? source_.GetOffsetPtr(static_cast<std::uint64_t>(sx), static_cast<std::uint64_t>(sy)) : own_);
    }
    void Store(int count, std::uint8_t* pixel) const {
        for (int k = 0; k < kChannels; ++k) pixel[k] = static_cast<std::uint8_t>(std::min(sums_[k] / count, 255));
    }

private:
    void Add(const std::uint8_t* pixel) {
        for (int k = 0; k < kChannels; ++k) sums_[k] = static_cast<std::uint16_t>(sums_[k] + pixel[k]);
    }

    const ConstPlane& source_;
    const int width_, height_;
    const std::uint8_t* const own_;
    std::uint16_t sums_[kChannels] = {0, 0, 0};
};

// The offsets sampled by a linear blur, rounded to the nearest pixel, without consecutive duplicates.
std::vector<std::pair<int, int>> LineOffsets(double angle, int count) {
    const float a = Radians(angle), sine = std::sin(a), cosine = std::cos(a);
    std::vector<std::pair<int, int>> offsets;
    for (int t = -count; t <= count; ++t) {
        const std::pair offset(static_cast<int>(std::round(static_cast<float>(t) * cosine)),
                               static_cast<int>(std::round(static_cast<float>(t) * sine)));
        if (offsets.empty() || offsets.back() != offset) offsets.push_back(offset);
    }
    return offsets;
}

CropInfo MarginsFor(const std::vector<std::pair<int, int>>& offsets) {
    CropInfo margins;
    for (const auto& [x, y] : offsets) {
        margins.left = std::max(margins.left, static_cast<std::uint32_t>(std::max(-x, 0)));
        margins.right = std::max(margins.right, static_cast<std::uint32_t>(std::max(x, 0)));
        margins.top = std::max(margins.top, static_cast<std::uint32_t>(std::max(-y, 0)));
        margins.bottom = std::max(margins.bottom, static_cast<std::uint32_t>(std::max(y, 0)));
    }
    return margins;
}

class BlurRadial : public EffectBaseCSCOneInput<SettingsEffectBlurRadial> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    using Sampler = void (BlurRadial::*)(const IDataVideo& source, IDataVideo& target);
    static constexpr FrameInfo kNoInfo{0, 0, {0, 0}};

    void ApplySettings(bool) override {
        switch (settings_.GetMode()) {
            case BlurRadialMode::Zoom:
                sampler_ = std::abs(settings_.GetAngle()) < kNoAngle ? &BlurRadial::Zoom : &BlurRadial::Spin;
                break;
            case BlurRadialMode::Linear: sampler_ = &BlurRadial::Linear; break;
            case BlurRadialMode::Spin: sampler_ = &BlurRadial::Spin; break;
            default: boost::throw_exception(std::logic_error("Unknown mode"), kUnknownModeLocation);
        }
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Bgr24};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        if (sampler_ == nullptr) Throw("Settings are not set!");
        ReleaseInput(frame);
        const FrameInfo info = frame->GetFrameInfo();
        if (reduction_.IsNew(info)) ConfigureReduction(info);
        FramePtr small = frame;
        reduction_.Reduce(small);
        const FrameInfo& smallInfo = small->GetFrameInfo();
        const double length =
            std::max(smallInfo.height * settings_.GetStrength(), smallInfo.width * settings_.GetStrength());
        sampleCount_ = static_cast<int>(std::max<std::int64_t>(Shared::RoundHalfAway(length) / 2, 0));
        FramePtr blurred = NewFrame(allocator_, small->GetPixFmt(), smallInfo);
        (this->*sampler_)(*small, *blurred);
        reduction_.Enlarge(blurred, info);
        frame = blurred;
    }

    void ConfigureReduction(const FrameInfo& info) {
        SettingsResizer reduction(SettingsResizer::ResizeMethods::FastBilinear, SettingsResizer::kFitInside,
                                  FrameInfo(kBlurredSide, kBlurredSide, info.aspect));
        SettingsResizer enlargement(SettingsResizer::ResizeMethods::BicubicLuma, SettingsResizer::kExactSizeAlias,
                                    info);
        for (SettingsResizer* resizing : {&reduction, &enlargement}) {
            resizing->SetAccurate(true);
            resizing->SetFullChroma(true);
        }
        reduction_.Configure(reduction, enlargement);
    }

    /// Calls add(sum, x, y, dx, dy, d), which adds the samples along its line, for every pixel (x, y), at the distance
    /// d and the offset (dx, dy) from the centre.
    template <class AddSamples>
    void SampleAround(const IDataVideo& source, IDataVideo& target, AddSamples&& add) const {
        const ConstPlane from = source.GetPlane(0);
        const Plane to = target.GetPlane(0);
        const int width = static_cast<int>(source.GetFrameInfo().width),
                  height = static_cast<int>(source.GetFrameInfo().height);
        const auto centerX = static_cast<float>(width * settings_.GetX()),
                   centerY = static_cast<float>(height * settings_.GetY());
        for (int y = 0; y < height; ++y) {
            const float dy = centerY - static_cast<float>(y);
            std::uint8_t* pixel = to.GetRow(static_cast<std::uint64_t>(y));
            for (int x = 0; x < width; ++x, pixel += kChannels) {
                const float dx = centerX - static_cast<float>(x);
                const float squared = dx * dx + dy * dy;
                const std::int64_t distance = Shared::RoundHalfAway(std::sqrt(static_cast<double>(squared)));
                SampleSum sum(from, width, height, x, y);
                if (distance < kFirstBlurredDistance) {
                    sum.Store(1, pixel);
                    continue;
                }
                add(sum, static_cast<float>(x), static_cast<float>(y), dx, dy, distance);
                sum.Store(sampleCount_ + 1, pixel);
            }
        }
    }

    void Zoom(const IDataVideo& source, IDataVideo& target) {
        const float step = 2.0f / static_cast<float>(source.GetFrameInfo().height);
        SampleAround(source, target, [&](SampleSum& sum, float x, float y, float dx, float dy, std::int64_t) {
            const float stepX = dx * step, stepY = dy * step;
            for (int i = 1; i <= sampleCount_; ++i)
                sum.Add(static_cast<float>(i) * stepX + x, static_cast<float>(i) * stepY + y);
        });
    }

    void Spin(const IDataVideo& source, IDataVideo& target) {
        if (source.GetFrameInfo() != tableInfo_) MakeTables(source.GetFrameInfo());
        const auto height = static_cast<float>(source.GetFrameInfo().height);
        SampleAround(source, target, [&](SampleSum& sum, float x, float y, float dx, float dy, std::int64_t distance) {
            const float ux = dx / static_cast<float>(distance), uy = dy / static_cast<float>(distance);
            const float gain = (2.0f * static_cast<float>(distance)) / height;
            const std::size_t row = static_cast<std::size_t>(sampleCount_) * static_cast<std::size_t>(distance);
            const float cosine = row < cosines_.size() ? cosines_[row] : 1.0f;
            for (int k = 1; k <= sampleCount_; ++k) {
                const std::size_t place = row + 2 * static_cast<std::size_t>(k - 1);
                const float sine = place < sines_.size() ? sines_[place] : 0.0f;
                const float kx = static_cast<float>(k) * ux, ky = static_cast<float>(k) * uy;
                sum.Add((cosine * kx - sine * ky) * gain + x, (sine * kx + cosine * ky) * gain + y);
            }
        });
    }

    // N entries for each distance from the centre.
    void MakeTables(const FrameInfo& info) {
        tableInfo_ = info;
        const double x = settings_.GetX(), y = settings_.GetY();
        const double reachX = std::max(1.0 - x, x) * info.width + 1.0,
                     reachY = std::max(1.0 - y, y) * info.height + 1.0;
        const auto distances = static_cast<std::size_t>(std::sqrt(reachX * reachX + reachY * reachY));
        const auto count = static_cast<std::size_t>(sampleCount_);
        sines_.assign(count * distances, 0.0f);
        cosines_.assign(count * distances, 1.0f);
        const float angle = Radians(settings_.GetAngle()) / static_cast<float>(sampleCount_);
        for (std::size_t d = 1; d < distances; ++d) {
            const float step = angle * static_cast<float>(d) / static_cast<float>(info.width);
            for (std::size_t k = 1; k <= count; ++k) {
                sines_[count * d + k - 1] = std::sin(static_cast<float>(k) * step);
                cosines_[count * d + k - 1] = std::cos(static_cast<float>(k) * step);
            }
        }
    }

    void Linear(const IDataVideo& source, IDataVideo& target) {
        const std::vector<std::pair<int, int>> offsets = LineOffsets(settings_.GetAngle(), sampleCount_);
        const CropInfo margins = MarginsFor(offsets);
        FramePtr padded = CloneFrame(source, kCloneCopy);
        pad_->SetSettings(SettingsEffectPad(margins, PadMode::Replicate));
        pad_->ProcessData(padded);
        const ConstPlane from = std::as_const(*padded).GetPlane(0);
        const Plane to = target.GetPlane(0);
        const std::size_t bytes = to.GetWidth();
        std::vector<std::uint32_t> sums(bytes);
        for (std::uint64_t y = 0; y < to.GetHeight(); ++y) {
            std::fill(sums.begin(), sums.end(), 0u);
            for (const auto& [x, dy] : offsets) {
                const std::uint8_t* row =
                    from.GetRow(margins.top + y + static_cast<std::uint64_t>(static_cast<std::int64_t>(dy))) +
                    (static_cast<std::int64_t>(margins.left) + x) * kChannels;
                for (std::size_t i = 0; i < bytes; ++i) sums[i] += row[i];
            }
            std::uint8_t* pixels = to.GetRow(y);
            for (std::size_t i = 0; i < bytes; ++i) pixels[i] = static_cast<std::uint8_t>(sums[i] / offsets.size());
        }
    }

    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
    OneInputPtr pad_ = CreateOneInput<SettingsEffectPad>();
    Sampler sampler_ = nullptr;
    int sampleCount_ = 0;  // N
    FrameInfo tableInfo_ = kNoInfo;
    std::vector<float> sines_, cosines_;
};

}  // namespace

bool RegisterBlurRadial(IEffectFactory& factory) { return RegisterEffect<BlurRadial>(factory); }

}  // namespace Orvexa::Proc
