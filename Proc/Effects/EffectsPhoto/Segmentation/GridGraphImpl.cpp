#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphImpl.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc::GridGraph {

namespace {

constexpr std::uint32_t kWorkers = 12;  // regardless of the number of processors
constexpr std::uint32_t kBlockSize = 640;
constexpr std::uint64_t kProgressSteps = 100;
constexpr double kSolverShare = 34, kCapacitiesShare = 66;  // of the progress steps

constexpr Capacity kSeedCapacity = 1024;
constexpr double kSharpness = 0.0625;  // capacities fall to 1/e over a difference of 4 levels
constexpr double kEdgeScale = 1024;

// The positions of a pixel's samples.
struct PixelLayout {
    std::size_t bytesPerPixel, firstSample, samples;
};

std::optional<PixelLayout> FindLayout(PixFmt pixFmt) {
    switch (pixFmt) {
        case PixFmt::Rgb24:
        case PixFmt::Bgr24: return PixelLayout{3, 0, 3};
        case PixFmt::Argb:
        case PixFmt::Abgr:
        case PixFmt::Argb2:
        case PixFmt::Abgr2: return PixelLayout{4, 1, 3};
        case PixFmt::Rgba:
        case PixFmt::Bgra:
        case PixFmt::Rgba2:
        case PixFmt::Bgra2: return PixelLayout{4, 0, 3};
        case PixFmt::Gray8: return PixelLayout{1, 0, 1};
        default: return std::nullopt;
    }
}

// Edge capacities, indexed by the sum of squared differences over the samples. The table ends with the first capacity
// of 1, since all larger sums also give 1. For a colour picture the sum is divided by 9.
std::vector<Capacity> MakeWeights(double divisor) {
    std::vector<Capacity> weights;
    do {
        const double difference = static_cast<double>(weights.size()) / divisor;
        weights.push_back(static_cast<Capacity>(std::exp(-difference * kSharpness) * kEdgeScale + 1.0));
    } while (weights.back() > 1);
    return weights;
}

class EdgeWeights {
public:
    explicit EdgeWeights(std::size_t samples) : weights_(GetTable(samples)) {}

    template <std::size_t Samples>
    Capacity Get(const std::uint8_t* a, const std::uint8_t* b) const {
        std::size_t sum = 0;
        for (std::size_t k = 0; k < Samples; ++k) sum += static_cast<std::size_t>((a[k] - b[k]) * (a[k] - b[k]));
        return sum < weights_.size() ? weights_[sum] : Capacity{1};
    }

private:
    static const std::vector<Capacity>& GetTable(std::size_t samples) {
        static const std::vector<Capacity> grey = MakeWeights(1.0), color = MakeWeights(9.0);
        return samples == 1 ? grey : color;
    }

    const std::vector<Capacity>& weights_;
};

// False if cancelled.
template <std::size_t Samples>
bool FillCapacities(const ConstPlane& image, const PixelLayout& layout, const ConstPlane& seeds,
                    std::uint8_t foreground, std::uint8_t background, Core::IProgressController& progress,
                    Capacities& capacities) {
    const std::size_t width = seeds.GetWidth(), height = seeds.GetHeight();
    const EdgeWeights weights(Samples);
    progress.SetTotal(height - 1);
    for (std::size_t y = 0, p = 0; y < height; ++y) {
        const std::uint8_t* pixel = image.GetRow(y) + layout.firstSample;
        const std::uint8_t* below = y + 1 < height ? image.GetRow(y + 1) + layout.firstSample : nullptr;
        const std::uint8_t* seed = seeds.GetRow(y);
        for (std::size_t x = 0; x < width; ++x, ++p, pixel += layout.bytesPerPixel) {
            if (progress.IsCancelled()) return false;
            if (seed[x] == foreground) {
                capacities.source[p] = kSeedCapacity;
            } else if (seed[x] == background) {
                capacities.sink[p] = kSeedCapacity;
            }
            if (x + 1 < width) {
                capacities.right[p] = capacities.left[p + 1] =
                    weights.Get<Samples>(pixel, pixel + layout.bytesPerPixel);
            }
            if (below != nullptr) {
                capacities.down[p] = capacities.up[p + width] = weights.Get<Samples>(pixel, below);
                below += layout.bytesPerPixel;
            }
        }
        progress.Step(1);
    }
    return true;
}

// Logged only; a fixed formula, which ignores the padding.
std::uint64_t EstimateBytes(std::uint64_t width, std::uint64_t height) {
    const std::uint64_t across = (width + kBlockSize - 1) / kBlockSize, down = (height + kBlockSize - 1) / kBlockSize;
    return ((across * kBlockSize - kBlockSize) * down + (down * kBlockSize - kBlockSize) * across +
            width * height * 9) *
               4 +
           1984;
}

}  // namespace

void ProgressController::SetTotal(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    factor_ = weight_ / static_cast<double>(std::max<std::uint64_t>(steps, 1));
}

void ProgressController::Step(std::uint64_t steps) {
    std::uint64_t whole = 0;
    {
        const std::lock_guard lock(mutex_);
        fraction_ += static_cast<double>(steps) * factor_;
        if (fraction_ > 1.0) {
            whole = static_cast<std::uint64_t>(fraction_);
            fraction_ -= static_cast<double>(whole);
        }
    }
    if (whole > 0 && parent_ != nullptr) parent_->Step(whole);
}

std::optional<Capacities> MakeCapacities(const IDataVideo& image, const ConstPlane& seeds, std::uint8_t foreground,
                                         std::uint8_t background, Core::IProgressController& progress) {
    const std::optional<PixelLayout> layout = FindLayout(image.GetPixFmt());
    if (!layout) Throw("Pixel format is not supported!");
    const FrameInfo& info = image.GetFrameInfo();
    if (seeds.GetWidth() != info.width || seeds.GetHeight() != info.height) {
        Throw("The seed mask must have one byte a pixel and the size of the picture, " + std::to_string(info.width) +
              " x " + std::to_string(info.height));
    }
    std::optional<Capacities> capacities(std::in_place, std::size_t{info.width} * info.height);
    const auto fill = layout->samples == 1 ? FillCapacities<1> : FillCapacities<3>;
    if (!fill(image.GetPlane(0), *layout, seeds, foreground, background, progress, *capacities)) capacities.reset();
    return capacities;
}

void GridGraphImpl::ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& seeds) {
    if (seeds == nullptr) Throw("Segmentation by strokes needs a seed mask as its second input");
    const FrameInfo info = frame->GetFrameInfo();
    const auto foreground = static_cast<std::uint8_t>(settings_.GetForeground());
    const auto background = static_cast<std::uint8_t>(settings_.GetBackground());
    const Core::ProgressPtr& parent = this->GetProgressController();
    if (parent != nullptr) parent->SetTotal(kProgressSteps);

    VLOG(Details::kLogVerbosity) << "Allocate memory for GridGraph: " << EstimateBytes(info.width, info.height);
    const auto solverProgress = Core::MakeRefCounted<ProgressController>(parent, kSolverShare);
    Solver solver(info.width, info.height, kWorkers, kBlockSize, *solverProgress);

    VLOG(Details::kLogVerbosity) << "Prepare GridGraph graph";
    const auto capacitiesProgress = Core::MakeRefCounted<ProgressController>(parent, kCapacitiesShare);
    auto capacities = MakeCapacities(*Readable(frame), seeds->GetPlane(0), foreground, background, *capacitiesProgress);
    if (solverProgress->IsCancelled() || !capacities) return;
    solver.SetCapacities(*capacities);
    capacities.reset();

    VLOG(Details::kLogVerbosity) << "Compute GridGraph graph";
    solver.Compute();
    if (solverProgress->IsCancelled()) return;

    VLOG(Details::kLogVerbosity) << "Prepare GridGraph result";
    const FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, info);
    const Plane plane = mask->GetPlane(0);
    for (std::uint32_t y = 0; y < info.height; ++y) solver.ReadRow(y, foreground, background, plane.GetRow(y));
    frame = mask;
    VLOG(Details::kLogVerbosity) << "GridGraph done";
}

// The frame in a format that `MakeCapacities` accepts.
ConstFramePtr GridGraphImpl::Readable(const FramePtr& frame) {
    if (FindLayout(frame->GetPixFmt())) return frame;
    if (greyConverter_ == nullptr) greyConverter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Gray8, true));
    FramePtr grey = frame;
    greyConverter_->ProcessData(grey);
    return grey;
}

}  // namespace Orvexa::Proc::GridGraph
