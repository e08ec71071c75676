// Morphology: erosion, dilation, opening and closing of every plane. Alpha and chroma are treated like all samples;
// indexed frames as RGBA.

#include <opencv2/imgproc.hpp>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"

namespace Orvexa::Proc {
namespace {

int OperationOf(MorphologyOperation operation) {
    switch (operation) {
        case MorphologyOperation::Erode: return cv::MORPH_ERODE;
        case MorphologyOperation::Dilate: return cv::MORPH_DILATE;
        case MorphologyOperation::Open: return cv::MORPH_OPEN;
        case MorphologyOperation::Close: return cv::MORPH_CLOSE;
    }
    Throw("Morphology operation is not supported! It must be 1..4.");
}

int BorderOf(MorphologyBorder border) {
    switch (border) {
        case MorphologyBorder::Constant: return cv::BORDER_CONSTANT;
        case MorphologyBorder::Replicate: return cv::BORDER_REPLICATE;
        case MorphologyBorder::Reflect: return cv::BORDER_REFLECT;
    }
    Throw("Morphology border is not supported! It must be 0..2.");
}

int ShapeOf(MorphologyKernel kernel) {
    switch (kernel) {
        case MorphologyKernel::Rectangle: return cv::MORPH_RECT;
        case MorphologyKernel::Ellipse: return cv::MORPH_ELLIPSE;
        case MorphologyKernel::Cross: return cv::MORPH_CROSS;
    }
    Throw("Morphology kernel is not supported! It must be 0..2.");
}

class Morphology : public HostOneInput<SettingsEffectMorphology> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const int operation = OperationOf(settings_.GetOperation()), border = BorderOf(settings_.GetBorder()),
                  shape = ShapeOf(settings_.GetKernel());
        if (settings_.GetSize() <= 0 || settings_.GetIterations() == 0) return;
        const ConstFramePtr source =
            frame->GetPixFmt() == PixFmt::Pal8 ? ConvertPixFmt(*frame, PixFmt::Rgba, allocator_) : frame;
        const FramePtr result = NewFrame(allocator_, source->GetPixFmt(), source->GetFrameInfo());
        const cv::Mat kernel = cv::getStructuringElement(shape, cv::Size(2, 2) * settings_.GetSize() + cv::Size(1, 1));
        for (std::uint8_t i = 0; i < GetPlanesCount(*source); ++i) {
            cv::Mat target = AsMat(result->GetPlane(i));
            cv::morphologyEx(AsMat(source->GetPlane(i)), target, operation, kernel, cv::Point(-1, -1),
                             static_cast<int>(settings_.GetIterations()), border);
        }
        frame = result;
    }
};

}  // namespace

OneInputPtr CreateMorphology(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Morphology>(factory, allocator);
}

}  // namespace Orvexa::Proc
