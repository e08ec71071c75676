// GuidedFilter: smooths the first input while keeping the edges of the second one, its guide.
//
// K. He, J. Sun, X. Tang, "Guided image filtering", IEEE TPAMI 35(6), 2013: in every window the input is fitted by a *
// guide + b, where a is the covariance of both divided by the guide's variance plus epsilon, and every pixel takes the
// mean of the fits of all windows that contain it. The guide is a grey picture, or the luma of a colour one. Windows
// are clipped at the picture's edge. Alpha is unchanged, and hidden pixels do not count.
//
// Sums over windows slide down and along the rows, so that their cost does not depend on the radius. Bands of rows are
// filtered one by one, each with the rows within its reach, so that only these rows are held in floating point.

#include <vector>

#include "Host/Effects/Bands.h"
#include "Host/Effects/PlanesEffect.h"
#include "Host/Effects/Transparency.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"

namespace Orvexa::Proc {
namespace {

constexpr int kMaxRadius = 1000;  // pixels; products of sums over windows of 2001 x 2001 bytes fit into 64 bits
constexpr int kLeastBand = 256;   // rows

// The number of positions around `position` that lie within a side.
int CountWithin(int position, int radius, int size) {
    return std::min(position + radius, size - 1) - std::max(position - radius, 0) + 1;
}

struct Task {
    ConstChannel guide, input;
    Channel result;
    int radius;
    double epsilon;  // in squared levels
};

// Column sums over the window's rows, and sums over windows that slide along them.
class Window {
public:
    explicit Window(const Task& task)
        : task_(task), guide_(Width()), input_(Width()), squares_(Width()), products_(Width()) {}

    void AddRow(int y) {
        ForEachSample(y, [&](std::size_t x, std::uint32_t guide, std::uint32_t input) {
            guide_[x] += guide, input_[x] += input, squares_[x] += guide * guide, products_[x] += guide * input;
        });
    }
    void RemoveRow(int y) {
        ForEachSample(y, [&](std::size_t x, std::uint32_t guide, std::uint32_t input) {
            guide_[x] -= guide, input_[x] -= input, squares_[x] -= guide * guide, products_[x] -= guide * input;
        });
    }

    // Fits the windows of a row, each `rows` rows high.
    void FitLines(int rows, float* a, float* b) const {
        const int width = task_.guide.width, radius = task_.radius;
        std::int64_t guide = 0, input = 0, squares = 0, products = 0;
        const auto slide = [&](int x, std::int64_t sign) {
            const auto i = static_cast<std::size_t>(x);
            guide += sign * guide_[i], input += sign * input_[i];
            squares += sign * squares_[i], products += sign * products_[i];
        };
        for (int x = 0; x < std::min(radius, width); ++x) slide(x, 1);
        for (int x = 0; x < width; ++x) {
            if (x + radius < width) slide(x + radius, 1);
            if (x - radius > 0) slide(x - radius - 1, -1);
            const std::int64_t count = std::int64_t{rows} * CountWithin(x, radius, width);
            const auto pixels = static_cast<double>(count);
            const double covariance = static_cast<double>(count * products - guide * input),
                         variance =
                             static_cast<double>(count * squares - guide * guide) + task_.epsilon * pixels * pixels;
            const double slope = variance > 0.0 ? covariance / variance : 0.0;
            a[x] = static_cast<float>(slope);
            b[x] = static_cast<float>((static_cast<double>(input) - slope * static_cast<double>(guide)) / pixels);
        }
    }

private:
    std::size_t Width() const { return static_cast<std::size_t>(task_.guide.width); }

    template <class Use>
    void ForEachSample(int y, Use&& use) const {
        const std::uint8_t *guide = task_.guide.GetRow(y), *input = task_.input.GetRow(y);
        const int step = task_.input.step;
        if (step == 1) {
            for (std::size_t x = 0; x < Width(); ++x) use(x, guide[x], input[x]);
        } else {
            for (std::size_t x = 0; x < Width(); ++x, input += step) use(x, guide[x], *input);
        }
    }

    const Task& task_;
    std::vector<std::uint32_t> guide_, input_, squares_, products_;
};

// The fits of the rows within reach, and their column sums.
class Lines {
public:
    Lines(int width, int rows)
        : width_(static_cast<std::size_t>(width)),
          rows_(static_cast<std::size_t>(rows)),
          a_(width_ * rows_),
          b_(width_ * rows_),
          sumA_(width_),
          sumB_(width_) {}

    float* GetA(int y) { return a_.data() + static_cast<std::size_t>(y) % rows_ * width_; }
    float* GetB(int y) { return b_.data() + static_cast<std::size_t>(y) % rows_ * width_; }
    void AddRow(int y) {
        const float *a = GetA(y), *b = GetB(y);
        for (std::size_t x = 0; x < width_; ++x) sumA_[x] += a[x], sumB_[x] += b[x];
    }
    void RemoveRow(int y) {
        const float *a = GetA(y), *b = GetB(y);
        for (std::size_t x = 0; x < width_; ++x) sumA_[x] -= a[x], sumB_[x] -= b[x];
    }

    // Writes the means of `rows` rows of fits, evaluated at the guide's levels.
    void WriteRow(const Task& task, int y, int rows) const {
        const int width = task.guide.width, radius = task.radius;
        const std::uint8_t* guide = task.guide.GetRow(y);
        std::uint8_t* to = task.result.GetRow(y);
        double a = 0.0, b = 0.0;
        for (int x = 0; x < std::min(radius, width); ++x) a += A(x), b += B(x);
        for (int x = 0; x < width; ++x, to += task.result.step) {
            if (x + radius < width) a += A(x + radius), b += B(x + radius);
            if (x - radius > 0) a -= A(x - radius - 1), b -= B(x - radius - 1);
            const double level = (a * guide[x] + b) / (rows * CountWithin(x, radius, width));
            *to = static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0) + 0.5);
        }
    }

private:
    double A(int x) const { return sumA_[static_cast<std::size_t>(x)]; }
    double B(int x) const { return sumB_[static_cast<std::size_t>(x)]; }

    std::size_t width_, rows_;  // of the rows held
    std::vector<float> a_, b_;
    std::vector<double> sumA_, sumB_;
};

void FilterBand(const Task& task, int first, int end) {
    const int height = task.guide.height, radius = task.radius;
    const int firstLine = std::max(first - radius, 0);
    Window window(task);
    Lines lines(task.guide.width, std::min(2 * radius + 1, height));
    int nextRow = std::max(firstLine - radius, 0), nextLine = firstLine;
    for (int y = first; y < end; ++y) {
        if (y - radius - 1 >= firstLine) lines.RemoveRow(y - radius - 1);
        for (; nextLine <= std::min(y + radius, height - 1); ++nextLine) {
            while (nextRow <= std::min(nextLine + radius, height - 1)) window.AddRow(nextRow++);
            if (nextLine - radius - 1 >= std::max(firstLine - radius, 0)) window.RemoveRow(nextLine - radius - 1);
            window.FitLines(CountWithin(nextLine, radius, height), lines.GetA(nextLine), lines.GetB(nextLine));
            lines.AddRow(nextLine);
        }
        lines.WriteRow(task, y, CountWithin(y, radius, height));
    }
}

class GuidedFilter : public HostTwoInput<SettingsEffectGuidedFilter> {
public:
    using HostTwoInput::HostTwoInput;

protected:
    void Process(FramePtr& frame, const ConstFramePtr& second) override {
        const FrameInfo &info = frame->GetFrameInfo(), &guideInfo = second->GetFrameInfo();
        if (guideInfo.width != info.width || guideInfo.height != info.height)
            Throw("The guide must be as large as the picture!");
        if (settings_.GetRadius() <= 0) return;
        const PixFmt original = ExpandedFormat(frame->GetPixFmt());
        const ConstFramePtr picture = WithoutHiddenColors(*frame);
        const FramePtr result = NewFrame(allocator_, picture->GetPixFmt(), info);
        const ConstFramePtr guide = InFormat(second, PixFmt::Gray8, allocator_);
        for (std::uint8_t i = 0; i < GetPlanesCount(*picture); ++i)
            ProcessPlane(PlaneTask(*picture, *result, i), *guide);
        frame = InFormat(result, original, allocator_);
    }

private:
    // For a transparent picture, RGBA in which hidden pixels have the colours of visible ones.
    ConstFramePtr WithoutHiddenColors(const IDataVideo& frame) const {
        if (!IsTransparent(frame) && frame.GetPixFmt() != PixFmt::Pal8) return ConstFramePtr(&frame);
        const FramePtr filled = ConvertPixFmt(frame, PixFmt::Rgba, allocator_);
        if (IsTransparent(*filled)) FillHiddenPixels(*filled, factory_);
        return filled;
    }

    void ProcessPlane(const PlaneTask& plane, const IDataVideo& guide) const {
        if (plane.role == PlaneRole::Alpha) {
            plane.from.copyTo(plane.to);
            return;
        }
        cv::Mat onGrid(plane.from.size(), CV_8U);
        const auto channelOf = [](const cv::Mat& matrix, int channel) {
            return Channel{matrix.data + channel, static_cast<std::int64_t>(matrix.step), matrix.channels(),
                           matrix.cols, matrix.rows};
        };
        ResampleChannel(GetChannel(guide, ChannelKind::Luma), channelOf(onGrid, 0), plane.shiftX, plane.shiftY);
        const int radius =
            std::max(std::min(settings_.GetRadius(), kMaxRadius) >> std::max(plane.shiftX, plane.shiftY), 1);
        for (int k = 0; k < plane.from.channels(); ++k) {
            const Task task{channelOf(onGrid, 0), channelOf(plane.from, k), channelOf(plane.to, k), radius,
                            std::max(settings_.GetEpsilon(), 0.0) * 255.0 * 255.0};
            if (k == plane.alpha) {
                CopyChannel(task.input, task.result);
            } else {
                ForEachBand(plane.from.rows, std::max(kLeastBand, 2 * radius),
                            [&](int first, int end) { FilterBand(task, first, end); });
            }
        }
    }
};

}  // namespace

TwoInputPtr CreateGuidedFilter(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<GuidedFilter>(factory, allocator);
}

}  // namespace Orvexa::Proc
