#include "Host/Providers/Neural/FacePicture.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "Host/Core/Threads.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc::Neural {

namespace {

// Squares are sampled at twice their size and averaged to avoid aliasing.
constexpr int kOversampling = 2;
// Areas start at whole chroma samples in every format.
constexpr int kGrid = 4;

std::uint32_t Reduced(int side, double factor) {
    return static_cast<std::uint32_t>(std::max(std::lround(side / factor), 1L));
}

}  // namespace

cv::Point2d FaceSquare::At(const cv::Point2d& part) const {
    const double x = (part.x - 0.5) * side, y = (part.y - 0.5) * side;
    return {center.x + x * std::cos(angle) - y * std::sin(angle), center.y + x * std::sin(angle) + y * std::cos(angle)};
}

FacePicture::FacePicture(const ConstFramePtr& frame, std::uint32_t longerSide, const FactoryPtr& factory,
                         const AllocatorPtr& allocator)
    : frame_(frame), factory_(factory), allocator_(allocator) {
    if (longerSide == 0) return;
    const double factor = static_cast<double>(GetLongerSide()) / longerSide;
    reduced_ = Read({0, 0, GetWidth(), GetHeight()}, std::max(factor, 1.0));
}

// An area of the picture, reduced by `factor`.
cv::Mat FacePicture::Read(const cv::Rect& area, double factor) const {
    FramePtr part = CloneFrame(*frame_, kCloneView);
    part->Crop(static_cast<std::uint32_t>(area.x), static_cast<std::uint32_t>(area.y),
               static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height));
    if (factor > 1) {
        OneInputPtr resizer;
        factory_->CreateOneInputEffect(resizer, SettingsResizer::CLASS_ID, ImplNames::HOST, allocator_);
        resizer->SetSettings(SettingsResizer(SettingsResizer::ResizeMethods::Area, SettingsResizer::kExactSize,
                                             {Reduced(area.width, factor), Reduced(area.height, factor)}));
        resizer->ProcessData(part);
    }
    const FramePtr picture = ConvertPixFmt(*part, PixFmt::Rgb24, allocator_);
    const ConstPlane plane = std::as_const(*picture).GetPlane(0);
    return cv::Mat(static_cast<int>(plane.GetHeight()), static_cast<int>(plane.GetPixelsPerRow()), CV_8UC3,
                   const_cast<std::uint8_t*>(plane.GetData()), static_cast<std::size_t>(plane.GetStride()))
        .clone();
}

cv::Mat FacePicture::Cut(const FaceSquare& square, int size) const {
    // The part of the source under the square, and the number of source pixels per picture pixel along each axis.
    const double reach = square.side / 2 * (std::abs(std::cos(square.angle)) + std::abs(std::sin(square.angle))) + 2;
    const cv::Rect2d around(square.center.x - reach, square.center.y - reach, 2 * reach, 2 * reach);
    const cv::Rect2d inside = around & cv::Rect2d(0, 0, GetWidth(), GetHeight());
    if (inside.empty()) return cv::Mat::zeros(size, size, CV_8UC3);
    cv::Mat part = reduced_;
    cv::Point2d origin;
    double across = static_cast<double>(reduced_.cols) / GetWidth(),
           down = static_cast<double>(reduced_.rows) / GetHeight();
    if (reduced_.empty() ||
        (square.side * std::max(across, down) < size && GetLongerSide() > std::max(part.cols, part.rows))) {
        const int left = static_cast<int>(inside.x) / kGrid * kGrid, top = static_cast<int>(inside.y) / kGrid * kGrid;
        const cv::Rect area(left, top, std::min(static_cast<int>(std::ceil(inside.br().x)), GetWidth()) - left,
                            std::min(static_cast<int>(std::ceil(inside.br().y)), GetHeight()) - top);
        part = Read(area, square.side / (kOversampling * size));
        origin = {static_cast<double>(left), static_cast<double>(top)};
        across = static_cast<double>(part.cols) / area.width;
        down = static_cast<double>(part.rows) / area.height;
    } else if (square.side * std::max(across, down) > 2 * kOversampling * size) {
        // A large face in the reduced copy is reduced once more.
        const double factor = square.side * std::max(across, down) / (kOversampling * size);
        cv::Mat small;
        cv::resize(part, small,
                   cv::Size(static_cast<int>(Reduced(part.cols, factor)), static_cast<int>(Reduced(part.rows, factor))),
                   0, 0, cv::INTER_AREA);
        part = small;
        across = static_cast<double>(part.cols) / GetWidth();
        down = static_cast<double>(part.rows) / GetHeight();
    }
    // Maps the centre of pixel (i, k) of the sampled square to the centre of a pixel of the part.
    const int samples = kOversampling * size;
    const double step = square.side / samples, cosine = step * std::cos(square.angle),
                 sine = step * std::sin(square.angle);
    const cv::Point2d first = square.At({0.5 / samples, 0.5 / samples});
    const cv::Matx23d map(across * cosine, -across * sine, across * (first.x - origin.x) - 0.5, down * sine,
                          down * cosine, down * (first.y - origin.y) - 0.5);
    const Core::OnCallingThread alone;
    cv::Mat sampled, cut;
    cv::warpAffine(part, sampled, map, cv::Size(samples, samples), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    cv::resize(sampled, cut, cv::Size(size, size), 0, 0, cv::INTER_AREA);
    return cut;
}

}  // namespace Orvexa::Proc::Neural
