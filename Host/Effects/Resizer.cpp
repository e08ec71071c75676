// Resizer: scales a frame plane by plane, chroma to the chroma grid of the new size.
//
// Along an axis that shrinks, the samples covered by each new one are averaged, so that fine patterns fade instead of
// aliasing. A transparent picture's colours are weighted by alpha, so that hidden colours do not bleed into visible
// pixels. An indexed frame keeps its indices with the nearest-neighbour method only: any other produces colours that
// its palette lacks, so the frame is expanded first and the result is RGBA.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {
namespace {

using Methods = SettingsResizer::ResizeMethods;

// A side that no frame can have; larger sizes are rejected when frames are allocated.
constexpr double kTooLarge = 1u << 30;

std::uint32_t ScaleSide(std::uint32_t side, double scale) {
    const double scaled = std::round(side * scale);
    return static_cast<std::uint32_t>(scaled >= 1.0 ? std::min(scaled, kTooLarge) : 1.0);
}

// The largest size that fits inside the box with the picture's aspect ratio, but no larger than the picture.
FrameInfo FitInside(const FrameInfo& info, const FrameInfo& box) {
    FrameInfo fitted = info;
    if (info.width <= box.width && info.height <= box.height) return fitted;
    const std::uint64_t width = info.width, height = info.height;
    const auto scaleRounded = [](std::uint64_t side, std::uint64_t to, std::uint64_t from) {
        return static_cast<std::uint32_t>(std::max<std::uint64_t>((2 * side * to + from) / (2 * from), 1));
    };
    if (width * box.height > height * box.width) {
        fitted.width = box.width;
        fitted.height = scaleRounded(height, box.width, width);
    } else {
        fitted.height = box.height;
        fitted.width = scaleRounded(width, box.height, height);
    }
    return fitted;
}

FrameInfo NewInfo(const SettingsResizer& settings, const FrameInfo& info) {
    FrameInfo result = info;
    const FrameInfo& custom = settings.GetCustomInfo();
    if (custom.width == 0 && custom.height == 0) {
        result.width = ScaleSide(info.width, settings.GetCustomScale());
        result.height = ScaleSide(info.height, settings.GetCustomScale());
        return result;
    }
    switch (settings.GetCustomMode()) {
        case SettingsResizer::kExactSize:
        case SettingsResizer::kExactSizeAlias:
            result.width = custom.width;
            result.height = custom.height;
            return result;
        case SettingsResizer::kFitInside: return FitInside(info, custom);
        default: Throw("Resize mode is not supported! It must be 0, 1 or 5.");
    }
}

int EnlargingInterpolation(Methods method, bool isChroma) {
    switch (method) {
        case Methods::FastBilinear:
        case Methods::Bilinear:
        case Methods::Area: return cv::INTER_LINEAR_EXACT;
        case Methods::Bicubic: return cv::INTER_CUBIC;
        case Methods::BicubicLuma: return isChroma ? cv::INTER_LINEAR_EXACT : cv::INTER_CUBIC;
        case Methods::Nearest: return cv::INTER_NEAREST_EXACT;
        case Methods::Gaussian:
        case Methods::Sinc:
        case Methods::Lanczos:
        case Methods::Spline: return cv::INTER_LANCZOS4;
    }
    Throw("Resize method is not supported! It must be 0..2 or 4..10.");
}

// Each cell is drawn once along a row; the rows of a cell are copies of the first.
void EnlargeCells(const cv::Mat& from, cv::Mat to) {
    cv::Mat wide, rows(from.rows, 1, CV_32S), rowsOfTarget;
    for (int y = 0; y < from.rows; ++y) rows.at<int>(y) = y;
    cv::resize(from, wide, cv::Size(to.cols, from.rows), 0, 0, cv::INTER_NEAREST_EXACT);
    cv::resize(rows, rowsOfTarget, cv::Size(1, to.rows), 0, 0, cv::INTER_NEAREST_EXACT);
    for (int y = 0; y < to.rows; ++y) {
        std::memcpy(to.ptr(y), wide.ptr(rowsOfTarget.at<int>(y)), static_cast<std::size_t>(to.cols) * to.elemSize());
    }
}

void ResizePlane(const cv::Mat& from, cv::Mat to, int enlarging) {
    const cv::Size size = to.size();
    if (from.size() == size) {
        from.copyTo(to);
    } else if (enlarging == cv::INTER_NEAREST_EXACT && size.height >= 2 * from.rows) {
        EnlargeCells(from, to);
    } else if (enlarging == cv::INTER_NEAREST_EXACT || (size.width >= from.cols && size.height >= from.rows)) {
        cv::resize(from, to, size, 0, 0, enlarging);
    } else if (size.width <= from.cols && size.height <= from.rows) {
        cv::resize(from, to, size, 0, 0, cv::INTER_AREA);
    } else {
        // Averaging applies to both axes or to none: shrink along one axis first, which leaves less to enlarge.
        cv::Mat narrowed;
        cv::resize(from, narrowed, cv::Size(std::min(size.width, from.cols), std::min(size.height, from.rows)), 0, 0,
                   cv::INTER_AREA);
        cv::resize(narrowed, to, size, 0, 0, enlarging);
    }
}

// Products of two bytes in 16 bits, halved as headroom for the overshoot of cubic and Lanczos weights.
constexpr double kProductScale = 0.5;

// One colour channel of a plane, weighted by the alpha on the plane's grid. The target is left unchanged where
// everything is hidden.
void ResizeWeighted(const cv::Mat& from, const cv::Mat& alpha, const cv::Mat& resizedAlpha, cv::Mat to, int channel,
                    int enlarging) {
    cv::Mat samples, products, resized(to.size(), CV_16U);
    cv::extractChannel(from, samples, channel);
    cv::multiply(samples, alpha, products, kProductScale, CV_16U);
    samples.release();
    ResizePlane(products, resized, enlarging);
    for (int y = 0; y < to.rows; ++y) {
        const auto *sum = resized.ptr<std::uint16_t>(y), *weight = resizedAlpha.ptr<std::uint16_t>(y);
        std::uint8_t* sample = to.ptr(y) + channel;
        for (int x = 0; x < to.cols; ++x, sample += to.elemSize()) {
            if (weight[x] == 0) continue;
            const std::uint32_t mean = (std::uint32_t{sum[x]} * 255 + weight[x] / 2) / weight[x];
            *sample = static_cast<std::uint8_t>(std::min<std::uint32_t>(mean, 255));
        }
    }
}

class Resizer : public PlanesEffect<SettingsResizer> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo& picture) override {
        return GetNewInfo(picture.GetFrameInfo()) != picture.GetFrameInfo();
    }
    FrameInfo GetNewInfo(const FrameInfo& info) const override { return NewInfo(settings_, info); }
    PixFmt GetWorkingFormat(const PixFmtDescription& format) const override {
        return IsMixing() ? ExpandedFormat(format.pixFmt) : format.pixFmt;
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        const int enlarging = EnlargingInterpolation(settings_.GetResizeMethod(), plane.role == PlaneRole::Chroma);
        ResizePlane(plane.from, plane.to, enlarging);
        if (!IsMixing()) return;
        const cv::Mat alpha = plane.GetOpacity();
        if (!alpha.empty()) WeightColors(plane, alpha, enlarging);
    }

private:
    bool IsMixing() const { return settings_.GetResizeMethod() != Methods::Nearest; }

    static void WeightColors(const PlaneTask& plane, const cv::Mat& alpha, int enlarging) {
        cv::Mat scaled, resizedAlpha(plane.to.size(), CV_16U);
        alpha.convertTo(scaled, CV_16U, 255.0 * kProductScale);  // the same scale as the products
        ResizePlane(scaled, resizedAlpha, enlarging);
        scaled.release();
        for (int channel = 0; channel < plane.from.channels(); ++channel) {
            if (channel != plane.alpha) ResizeWeighted(plane.from, alpha, resizedAlpha, plane.to, channel, enlarging);
        }
    }
};

}  // namespace

OneInputPtr CreateResizer(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Resizer>(factory, allocator);
}

}  // namespace Orvexa::Proc
