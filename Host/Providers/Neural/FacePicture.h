// The picture that faces are looked for in: pieces of it as three bytes a pixel, red first, at the size that a network
// wants. Positions are in pixels of the picture, with whole numbers at the pixels' edges.
#pragma once

#include <opencv2/core.hpp>

#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc::Neural {

/// A square of the picture, possibly turned and partly outside.
struct FaceSquare {
    cv::Point2d center;
    double side = 0;   ///< pixels
    double angle = 0;  ///< radians by which its upper edge is turned clockwise

    /// The position of a point in the picture that is at `part` of the square: (0, 0) top left, (1, 1) bottom right.
    cv::Point2d At(const cv::Point2d& part) const;
};

/// Safe to use from several threads.
class FacePicture {
public:
    /// `longerSide` is the size of a reduced copy, which answers as long as it has pixels enough; 0 for none.
    FacePicture(const ConstFramePtr& frame, std::uint32_t longerSide, const FactoryPtr& factory,
                const AllocatorPtr& allocator);

    int GetWidth() const { return static_cast<int>(frame_->GetFrameInfo().width); }
    int GetHeight() const { return static_cast<int>(frame_->GetFrameInfo().height); }
    int GetLongerSide() const { return std::max(GetWidth(), GetHeight()); }

    /// The reduced copy, or the whole picture where it is smaller. Empty if none was asked for.
    const cv::Mat& GetReduced() const { return reduced_; }

    /// The square as size x size pixels; black outside of the picture.
    cv::Mat Cut(const FaceSquare& square, int size) const;

private:
    cv::Mat Read(const cv::Rect& area, double factor) const;

    ConstFramePtr frame_;
    FactoryPtr factory_;
    AllocatorPtr allocator_;
    cv::Mat reduced_;
};

}  // namespace Orvexa::Proc::Neural
