// Morphology: erosion, dilation, opening and closing of every plane. Alpha and chroma are processed like all samples;
// indexed frames are processed as RGBA.

#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
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

class Morphology : public PlanesEffect<SettingsEffectMorphology> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override {
        operation_ = OperationOf(settings_.GetOperation());
        border_ = BorderOf(settings_.GetBorder());
        const int shape = ShapeOf(settings_.GetKernel());
        if (settings_.GetSize() <= 0 || settings_.GetIterations() == 0) return false;
        kernel_ = cv::getStructuringElement(shape, cv::Size(2, 2) * settings_.GetSize() + cv::Size(1, 1));
        return true;
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        cv::morphologyEx(plane.from, plane.to, operation_, kernel_, cv::Point(-1, -1),
                         static_cast<int>(settings_.GetIterations()), border_);
    }

private:
    int operation_ = 0, border_ = 0;
    cv::Mat kernel_;
};

}  // namespace

OneInputPtr CreateMorphology(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Morphology>(factory, allocator);
}

}  // namespace Orvexa::Proc
