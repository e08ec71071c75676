// Trimap: classifies each pixel of a mask as certain background (0), certain foreground (255), or (128) within `width`
// pixels of the mask's edge, which is where the mask crosses 128.

#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectTrimap.h"

namespace Orvexa::Proc {
namespace {

constexpr int kForeground = 128;  // and above
constexpr std::uint8_t kUnknown = 128;

// Marks the pixels that are within `width` pixels of the nearest zero pixel of `mask` but not zero themselves.
void MarkBand(const cv::Mat& mask, int width, cv::Mat trimap) {
    cv::Mat distance;
    cv::distanceTransform(mask, distance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    trimap.setTo(kUnknown, (distance > 0.0) & (distance <= width));
}

class Trimap : public HostOneInput<SettingsEffectTrimap> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const ConstFramePtr mask = InFormat(ConstFramePtr(frame), PixFmt::Gray8, allocator_);
        const FramePtr result = NewFrame(allocator_, PixFmt::Gray8, mask->GetFrameInfo());
        cv::Mat trimap = AsMat(result->GetPlane(0));
        const cv::Mat foreground = AsMat(mask->GetPlane(0)) >= kForeground;
        foreground.copyTo(trimap);
        if (settings_.GetWidth() > 0 && cv::countNonZero(foreground) % (foreground.rows * foreground.cols) != 0) {
            MarkBand(foreground, settings_.GetWidth(), trimap);
            MarkBand(~foreground, settings_.GetWidth(), trimap);
        }
        frame = result;
    }
};

}  // namespace

OneInputPtr CreateTrimap(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Trimap>(factory, allocator);
}

}  // namespace Orvexa::Proc
