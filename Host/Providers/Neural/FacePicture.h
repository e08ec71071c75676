// The picture in which faces are detected: crops with three bytes per pixel, red first, at the size that a network
// expects. Positions are in pixels of the picture; integer coordinates are pixel edges.
#pragma once

#include <opencv2/core.hpp>

#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc::Neural {

/// A square of the picture, possibly rotated and partly outside.
struct FaceSquare {
    cv::Point2d center;
    double side = 0;   ///< pixels
    double angle = 0;  ///< clockwise rotation of its upper edge, in radians

    /// The position in the picture of a point given relative to the square: (0, 0) top left, (1, 1) bottom right.
    cv::Point2d At(const cv::Point2d& part) const;
};

/// Thread safe.
class FacePicture {
public:
    /// `longerSide` is the size of a reduced copy, used for crops wherever its resolution suffices; 0 for none.
    FacePicture(const ConstFramePtr& frame, std::uint32_t longerSide, const FactoryPtr& factory,
                const AllocatorPtr& allocator);

    int GetWidth() const { return static_cast<int>(frame_->GetFrameInfo().width); }
    int GetHeight() const { return static_cast<int>(frame_->GetFrameInfo().height); }
    int GetLongerSide() const { return std::max(GetWidth(), GetHeight()); }

    /// The reduced copy, or the whole picture if that is smaller. Empty if none was requested.
    const cv::Mat& GetReduced() const { return reduced_; }

    /// The square as size x size pixels; black outside the picture.
    cv::Mat Cut(const FaceSquare& square, int size) const;

private:
    cv::Mat Read(const cv::Rect& area, double factor) const;

    ConstFramePtr frame_;
    FactoryPtr factory_;
    AllocatorPtr allocator_;
    cv::Mat reduced_;
};

}  // namespace Orvexa::Proc::Neural
