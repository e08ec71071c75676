// Histogram: replaces the picture by a picture of its colour histogram: overlapping filled bars in red, green and blue,
// above a grey ramp.
//
// Large pictures are sampled on a grid of 100 x 100. The tallest bar, excluding the end bins, fills the height; the end
// bins, which collect clipped pixels, are cut off at that height. A spline may smooth the bars.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <numeric>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectHistogram.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/SplineSmoother.h"
#include "Proc/Effects/EffectsPhoto/Shared/Statistics.h"

namespace Orvexa::Proc {
namespace {

constexpr std::size_t kBins = 256;
constexpr std::size_t kChannels = 4;          // the fourth is included when searching for the scale and is always empty
constexpr std::uint32_t kSampledFrom = 1000;  // width + height from which the picture is sampled
constexpr std::uint32_t kGrid = 100;
constexpr std::uint8_t kFull = 255;
// Light grey instead of white where all three bars overlap.
constexpr std::uint32_t kAllBars = 0xffffffff;
constexpr std::uint32_t kAllBarsShown = 0xffefefef;

using Vectors = std::vector<std::vector<double>>;

void Count(std::vector<double>& bins, std::uint8_t value) { bins[value] += 1.0; }

void CountPacked(Vectors& vectors, const ConstPlane& plane, const FrameInfo& info, std::uint64_t bytesPerPixel) {
    const auto countPixel = [&](const std::uint8_t* pixel) {
        for (int k = 0; k < 3; ++k) Count(vectors[k], pixel[k]);
    };
    if (info.width + info.height >= kSampledFrom) {
        for (std::uint32_t i = 0; i < kGrid; ++i) {
            const std::uint8_t* row = plane.GetRow((i * info.height) / kGrid);
            for (std::uint32_t j = 0; j < kGrid; ++j) countPixel(row + ((j * info.width) / kGrid) * bytesPerPixel);
        }
        return;
    }
    const auto counts = Shared::CountChannels(plane, bytesPerPixel);
    for (int k = 0; k < 3; ++k) vectors[k].assign(counts[k].begin(), counts[k].end());
}

void CountPlane(std::vector<double>& bins, const ConstPlane& plane, const FrameInfo& info, std::uint8_t shiftX,
                std::uint8_t shiftY) {
    if (info.width + info.height >= kSampledFrom) {
        for (std::uint32_t i = 0; i < kGrid; ++i) {
            const std::uint8_t* row = plane.GetRow(((info.height >> shiftY) * i) / kGrid);
            for (std::uint32_t j = 0; j < kGrid; ++j) Count(bins, row[((info.width >> shiftX) * j) / kGrid]);
        }
        return;
    }
    const Shared::Counts counts = Shared::CountBytes(plane);
    bins.assign(counts.begin(), counts.end());
}

// The tallest bin of the shown channels, excluding both end bins.
double FindScale(const Vectors& vectors, std::int64_t flags) {
    double scale = 0.0;
    for (std::size_t i = 0; i < kChannels; ++i) {
        if ((flags >> i & 1) != 0)
            scale = std::max(scale, *std::max_element(vectors[i].begin() + 1, vectors[i].end() - 1));
    }
    return scale;
}

void DrawRamp(const Plane& plane) {
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        for (std::uint64_t x = 0; x < kBins; ++x) {
            const auto level = static_cast<std::uint8_t>(x);
            const std::uint8_t pixel[4] = {level, level, level, kFull};
            std::memcpy(plane.GetOffsetPtr(x, y), pixel, sizeof pixel);
        }
    }
}

// Strictly above the row's threshold: a bin exactly as high as the area leaves the top row black. NaN bins draw
// nothing.
void DrawBars(const Plane& plane, const Vectors& vectors, std::int64_t flags, std::uint32_t height) {
    for (std::uint32_t row = 0; row < height; ++row) {
        const double threshold = height - row;
        for (std::size_t column = 0; column < kBins; ++column) {
            std::uint8_t* pixel = plane.GetOffsetPtr(column, row);
            for (int k = 0; k < 3; ++k) {
                if ((flags >> k & 1) == 0 || !(vectors[kChannels + k][column] > threshold)) continue;
                pixel[k] = kFull;
                pixel[3] = kFull;
            }
            std::uint32_t value;
            std::memcpy(&value, pixel, sizeof value);
            if (value == kAllBars) std::memcpy(pixel, &kAllBarsShown, sizeof kAllBarsShown);
        }
    }
}

class Histogram : public EffectBaseCSCOneInput<SettingsEffectHistogram> {
public:
    Histogram(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseCSCOneInput(factory, allocator), positions_(kBins) {
        std::iota(positions_.begin(), positions_.end(), 0.0);
    }

private:
    void ApplySettings(bool) override {
        if (settings_.GetWidth() != kBins) {
            const FrameInfo size(settings_.GetWidth(), settings_.GetHeightScale() + settings_.GetHeightLevel());
            resizer_->SetSettings(
                SettingsResizer(SettingsResizer::ResizeMethods::Bicubic, SettingsResizer::kExactSizeAlias, size));
        }
        // The smoother is kept if the smoothing is reset to 0. Intended.
        if (settings_.GetSharpen() > 0)
            smoother_ = std::make_unique<Shared::SplineSmoother>(positions_,
                                                                 static_cast<std::size_t>(settings_.GetSharpen()) + 1);
    }

    bool IsConvertBack() const override { return false; }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Yuv420p, PixFmt::Yuv444p};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        Vectors vectors(2 * kChannels, std::vector<double>(kBins));
        GetFrameInfo(vectors, *frame);
        MakeDisplayCurves(vectors);

        const std::uint32_t barHeight = settings_.GetHeightLevel(), rampHeight = settings_.GetHeightScale();
        FramePtr picture = NewFrame(allocator_, PixFmt::Rgba, FrameInfo(kBins, barHeight + rampHeight));
        picture->Fill(Color::Black(Opacity::Opaque));
        const Plane plane = picture->GetPlane(0);
        DrawRamp(plane.MakeSubplane(0, barHeight, kBins, rampHeight, 4, 0, 0));
        DrawBars(plane.MakeSubplane(0, 0, kBins, barHeight, 4, 0, 0), vectors, settings_.GetFlags(), barHeight);
        frame = std::move(picture);
        if (settings_.GetWidth() != kBins) resizer_->ProcessData(frame);
    }

    // Counts the channels of the frame into the first three vectors.
    void GetFrameInfo(Vectors& vectors, const IDataVideo& frame) const {
        const FrameInfo& info = frame.GetFrameInfo();
        const PixFmtDescription& description = PixFmtDescription::Get(frame.GetPixFmt());
        switch (frame.GetPixFmt()) {
            case PixFmt::Rgb24: CountPacked(vectors, frame.GetPlane(0), info, description.bytesPerPixel); break;
            case PixFmt::Yuv420p:
            case PixFmt::Yuv444p:
                for (std::uint8_t k = 0; k < 3; ++k)
                    CountPlane(vectors[k], frame.GetPlane(k), info, description.GetShiftX(k), description.GetShiftY(k));
                break;
            default: Throw("Unsupported pixel format");
        }
    }

    // Converts the counts to bar heights, in additional vectors after the counts.
    void MakeDisplayCurves(Vectors& vectors) const {
        const double scale = FindScale(vectors, settings_.GetFlags());
        for (int k = 0; k < 3; ++k) {
            for (double* end : {&vectors[k].front(), &vectors[k].back()}) *end = std::min(*end, scale);
        }
        for (std::size_t i = 0; i < kChannels; ++i) {
            const bool isSmoothed = smoother_ != nullptr && (settings_.GetFlags() >> i & 1) != 0;
            vectors[kChannels + i] = isSmoothed ? smoother_->Smooth(vectors[i]) : vectors[i];
        }
        const double unit = scale / settings_.GetHeightLevel();  // 0 for an empty histogram, for which nothing is drawn
        for (std::vector<double>& bins : vectors) {
            for (double& bin : bins) bin /= unit;
        }
    }

    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
    std::vector<double> positions_;
    std::unique_ptr<Shared::SplineSmoother> smoother_;
};

}  // namespace

bool RegisterHistogram(IEffectFactory& factory) { return RegisterEffect<Histogram>(factory); }

}  // namespace Orvexa::Proc
