// The neural networks, run by OpenCV from ONNX files. They are in a library of their own, which is loaded when a
// network is first requested.

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/Mats.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Proc/NeuralRuntime.h"
#include "Host/Providers/Neural/Inference.h"
#include "Host/Providers/Neural/LineSegments.h"
#include "Host/Providers/Neural/Manifest.h"
#include "Host/Providers/Neural/NetStore.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr float kFlagThreshold = 0.5f;  // a flag is set above it

std::uint8_t ToByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5); }

class Network : public NeuralBase {
public:
    Network(Model model, const FactoryPtr& factory, const AllocatorPtr& allocator)
        : model_(std::move(model)), allocator_(allocator) {
        LoadNet(model_.file);
        if (model_.width == 0) return;
        factory->CreateOneInputEffect(resizer_, SettingsResizer::CLASS_ID, ImplNames::HOST, allocator);
        SettingsResizer settings(SettingsResizer::ResizeMethods::Bilinear);
        settings.SetCustomMode(SettingsResizer::kExactSize, FrameInfo(model_.width, model_.height));
        resizer_->SetSettings(settings);
    }

    std::shared_ptr<NeuralResult> Process(FramePtr& frame) override {
        if (frame == nullptr) Throw("There is no frame to process!");
        const cv::Mat output = Infer(model_, MakeInput(frame));
        CheckShape(output);
        return std::make_shared<NeuralResult>(MakeResult(output));
    }

private:
    // The picture at the network's input size, as one plane of numbers per channel.
    cv::Mat MakeInput(const FramePtr& frame) const {
        FramePtr sized = frame;
        if (resizer_ != nullptr) resizer_->ProcessData(sized);
        const bool isGrey = model_.channels == Channels::Grey;
        const FramePtr picture = ConvertPixFmt(*sized, isGrey ? PixFmt::Gray8 : PixFmt::Rgb24, allocator_);
        return MakeBlob(std::as_const(*picture).GetPlane(0), model_);
    }

    void CheckShape(const cv::Mat& output) const {
        if (model_.output != OutputKind::Bytes || (output.dims == 4 && output.size[0] == 1 && output.size[1] == 1))
            return;
        Throw("The model " + model_.file.string() + " gives " + ShapeOf(output) +
              " values; a mask must have 1 x 1 x height x width!");
    }

    // Resizes a mask with its outer edges aligned.
    static cv::Mat InMaskSize(const cv::Mat& output) {
        const cv::Mat mask(output.size[2], output.size[3], CV_32F, const_cast<float*>(output.ptr<float>()));
        if (mask.size() == cv::Size(kMaskSize, kMaskSize)) return mask;
        const Core::OnCallingThread alone;
        cv::Mat scaled;
        cv::resize(mask, scaled, cv::Size(kMaskSize, kMaskSize), 0, 0, cv::INTER_LINEAR);
        return scaled;
    }

    double Scaled(float value) const { return value * model_.outputScale + model_.outputOffset; }

    NeuralResult::Value MakeResult(const cv::Mat& output) const {
        const auto* values = output.ptr<float>();
        switch (model_.output) {
            case OutputKind::Floats:
                return MakeVector<float>(output, [](double value) { return static_cast<float>(value); });
            case OutputKind::Bytes: return MakeVector<unsigned char>(InMaskSize(output), ToByte);
            case OutputKind::Flag: return Scaled(*values) > kFlagThreshold;
            case OutputKind::Double: return Scaled(*values);
            case OutputKind::Image:
            case OutputKind::Grid: break;
        }
        Throw("The model " + model_.file.string() + " makes pictures!");  // no type has such an entry
    }

    template <class T, class Convert>
    std::vector<T> MakeVector(const cv::Mat& output, const Convert& convert) const {
        std::vector<T> vector(output.total());
        const auto* values = output.ptr<float>();
        std::transform(values, values + vector.size(), vector.begin(),
                       [&](float value) { return convert(Scaled(value)); });
        return vector;
    }

    const Model model_;
    const AllocatorPtr allocator_;
    OneInputPtr resizer_;  // empty if the network accepts pictures of any size
};

// Replaces the networks for tilt and horizon.
class LineSegmentEstimator : public NeuralBase {
public:
    LineSegmentEstimator(NeuralType type, const FactoryPtr& factory, const AllocatorPtr& allocator)
        : type_(type), allocator_(allocator) {
        factory->CreateOneInputEffect(resizer_, SettingsResizer::CLASS_ID, ImplNames::HOST, allocator);
        resizer_->SetSettings(SettingsResizer(SettingsResizer::ResizeMethods::Area, SettingsResizer::kFitInside,
                                              {kSegmentsSide, kSegmentsSide}));
    }

    std::shared_ptr<NeuralResult> Process(FramePtr& frame) override {
        if (frame == nullptr) Throw("There is no frame to process!");
        FramePtr reduced = frame;
        resizer_->ProcessData(reduced);
        const FramePtr grey = ConvertPixFmt(*reduced, PixFmt::Gray8, allocator_);
        const Tilt tilt = TiltOf(FindLineSegments(AsMat(std::as_const(*grey).GetPlane(0))));
        if (type_ == NeuralType::TiltAngle) return std::make_shared<NeuralResult>(tilt.angle);
        return std::make_shared<NeuralResult>(tilt.isCertain);
    }

private:
    const NeuralType type_;
    const AllocatorPtr allocator_;
    OneInputPtr resizer_;
};

class OpenCvRuntime : public NeuralRuntime {
public:
    std::shared_ptr<NeuralBase> Create(NeuralType type, const Core::ioPath& modelsRoot) override {
        const Model model = FindModel(modelsRoot, type);
        if (model.isBuiltIn) return std::make_shared<LineSegmentEstimator>(type, factory_, factory_->GetAllocator());
        return std::make_shared<Network>(model, factory_, factory_->GetAllocator());
    }

private:
    const FactoryPtr factory_ = MakeHostFactory();
};

}  // namespace
}  // namespace Orvexa::Proc::Neural

extern "C" [[gnu::visibility("default")]] Orvexa::Proc::Neural::NeuralRuntime& GetNeuralRuntime() {
    static Orvexa::Proc::Neural::OpenCvRuntime runtime;
    return runtime;
}
