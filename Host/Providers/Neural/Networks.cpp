// The neural networks, run by OpenCV from ONNX files. They live in a library of their own, which is loaded when a
// network is first asked for.

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/dnn.hpp>
#include <string>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Proc/NeuralRuntime.h"
#include "Host/Providers/Neural/Manifest.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr float kFlagThreshold = 0.5f;  // a flag is set above it

// A complaint of OpenCV or of the libraries below it, its first line.
std::string ReasonOf(const std::exception& exception) {
    const auto* fromOpenCv = dynamic_cast<const cv::Exception*>(&exception);
    const std::string text = fromOpenCv != nullptr ? fromOpenCv->err : exception.what();
    const std::size_t begin = text.starts_with("> ") ? 2 : 0;
    return text.substr(begin, text.find('\n') - begin);
}

std::string SizeOf(const FrameInfo& info) { return std::to_string(info.width) + " x " + std::to_string(info.height); }

std::string ShapeOf(const cv::Mat& blob) {
    std::string shape;
    for (int i = 0; i < blob.dims; ++i) shape += (i == 0 ? "" : " x ") + std::to_string(blob.size[i]);
    return shape;
}

std::uint8_t ToByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5); }

cv::dnn::Net ReadNet(const Core::ioPath& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    const std::string expected =
        "The model file " + file.string() + " cannot be loaded, it must be an ONNX model with one output";
    if (bytes.empty()) Throw(expected + ": it is empty");
    cv::dnn::Net net;
    std::size_t outputs = 0;
    try {
        net = cv::dnn::readNetFromONNX(bytes.data(), bytes.size());
        outputs = net.empty() ? 0 : net.getUnconnectedOutLayers().size();
    } catch (const std::exception& exception) {
        Throw(expected + ": " + ReasonOf(exception));
    }
    if (outputs != 1) Throw(expected + ": it has " + std::to_string(outputs));
    net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
    net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    return net;
}

class Network : public NeuralBase {
public:
    Network(Model model, const FactoryPtr& factory, const AllocatorPtr& allocator)
        : model_(std::move(model)), allocator_(allocator) {
        const Core::OnCallingThread alone;
        net_ = ReadNet(model_.file);
        if (model_.width == 0) return;
        factory->CreateOneInputEffect(resizer_, SettingsResizer::CLASS_ID, ImplNames::HOST, allocator);
        SettingsResizer settings(SettingsResizer::ResizeMethods::Bilinear);
        settings.SetCustomMode(SettingsResizer::kExactSize, FrameInfo(model_.width, model_.height));
        resizer_->SetSettings(settings);
    }

    std::shared_ptr<NeuralResult> Process(FramePtr& frame) override {
        if (frame == nullptr) Throw("There is no frame to process!");
        const Core::OnCallingThread alone;
        cv::Mat output = Forward(MakeInput(frame), frame->GetFrameInfo());
        CheckOutput(output);
        return std::make_shared<NeuralResult>(MakeResult(output, frame->GetFrameInfo()));
    }

private:
    // The picture at the network's size as planes of numbers, one a channel.
    cv::Mat MakeInput(const FramePtr& frame) const {
        FramePtr sized = frame;
        if (resizer_ != nullptr) resizer_->ProcessData(sized);
        const bool isGrey = model_.channels == Channels::Grey;
        const FramePtr picture = ConvertPixFmt(*sized, isGrey ? PixFmt::Gray8 : PixFmt::Rgb24, allocator_);
        const ConstPlane plane = std::as_const(*picture).GetPlane(0);
        const std::size_t channels = model_.GetChannelsCount(), width = plane.GetPixelsPerRow(),
                          height = plane.GetHeight();
        const int shape[] = {1, static_cast<int>(channels), static_cast<int>(height), static_cast<int>(width)};
        cv::Mat blob(4, shape, CV_32F);
        auto* value = blob.ptr<float>();
        for (std::size_t c = 0; c < channels; ++c) {
            std::array<float, 256> levels;
            for (std::size_t i = 0; i < levels.size(); ++i) {
                levels[i] = static_cast<float>((static_cast<double>(i) - model_.mean[c]) * model_.scale[c]);
            }
            const std::size_t sample = model_.channels == Channels::Bgr ? 2 - c : c;
            for (std::size_t y = 0; y < height; ++y) {
                const std::uint8_t* pixel = plane.GetRow(y) + sample;
                for (std::size_t x = 0; x < width; ++x, pixel += channels) *value++ = levels[*pixel];
            }
        }
        return blob;
    }

    cv::Mat Forward(const cv::Mat& input, const FrameInfo& info) {
        try {
            net_.setInput(input);
            cv::Mat output = net_.forward();
            if (output.depth() != CV_32F) output.convertTo(output, CV_32F);
            return output.isContinuous() ? output : output.clone();
        } catch (const std::exception& exception) {
            Throw("The model " + model_.file.string() + " cannot take a picture of " + SizeOf(info) +
                  " as an input of " + ShapeOf(input) + ": " + ReasonOf(exception));
        }
    }

    void CheckOutput(const cv::Mat& output) const {
        const std::string gives = "The model " + model_.file.string() + " gives ";
        if (output.empty()) Throw(gives + "no result!");
        const auto channels = static_cast<int>(model_.GetChannelsCount());
        if (model_.output == OutputKind::Image) {
            if (output.dims != 4 || output.size[0] != 1 || output.size[1] != channels) {
                Throw(gives + ShapeOf(output) + " values; an image must have 1 x " + std::to_string(channels) +
                      " x height x width!");
            }
        } else if (output.total() != model_.count) {
            Throw(gives + std::to_string(output.total()) + " values; it must give " + std::to_string(model_.count) +
                  "!");
        }
        const auto* values = output.ptr<float>();
        const bool isFinite =
            std::all_of(values, values + output.total(), [](float value) { return std::isfinite(value); });
        if (!isFinite) Throw(gives + "values that are not numbers!");
    }

    double Scaled(float value) const { return value * model_.outputScale + model_.outputOffset; }

    NeuralResult::Value MakeResult(const cv::Mat& output, const FrameInfo& info) const {
        const auto* values = output.ptr<float>();
        switch (model_.output) {
            case OutputKind::Floats:
                return MakeVector<float>(output, [](double value) { return static_cast<float>(value); });
            case OutputKind::Bytes: return MakeVector<unsigned char>(output, ToByte);
            case OutputKind::Flag: return Scaled(*values) > kFlagThreshold;
            case OutputKind::Double: return Scaled(*values);
            case OutputKind::Image: break;
        }
        return MakeImage(output, info);
    }

    template <class T, class Convert>
    std::vector<T> MakeVector(const cv::Mat& output, const Convert& convert) const {
        std::vector<T> vector(output.total());
        const auto* values = output.ptr<float>();
        std::transform(values, values + vector.size(), vector.begin(),
                       [&](float value) { return convert(Scaled(value)); });
        return vector;
    }

    FramePtr MakeImage(const cv::Mat& output, const FrameInfo& info) const {
        const auto width = static_cast<std::uint32_t>(output.size[3]),
                   height = static_cast<std::uint32_t>(output.size[2]);
        const bool isGrey = model_.channels == Channels::Grey;
        FramePtr image =
            NewFrame(allocator_, isGrey ? PixFmt::Gray8 : PixFmt::Rgb24, FrameInfo(width, height, info.aspect));
        const Plane plane = image->GetPlane(0);
        const std::size_t channels = model_.GetChannelsCount();
        const auto* value = output.ptr<float>();
        for (std::size_t c = 0; c < channels; ++c) {
            const std::size_t sample = model_.channels == Channels::Bgr ? 2 - c : c;
            for (std::uint32_t y = 0; y < height; ++y) {
                std::uint8_t* pixel = plane.GetRow(y) + sample;
                for (std::uint32_t x = 0; x < width; ++x, pixel += channels) *pixel = ToByte(Scaled(*value++));
            }
        }
        return image;
    }

    const Model model_;
    const AllocatorPtr allocator_;
    cv::dnn::Net net_;
    OneInputPtr resizer_;  // empty when the network takes pictures of any size
};

class OpenCvRuntime : public NeuralRuntime {
public:
    OpenCvRuntime() {
        // Errors are reported as exceptions.
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    }

    std::shared_ptr<NeuralBase> Create(NeuralType type, const Core::ioPath& modelsRoot) override {
        return std::make_shared<Network>(FindModel(modelsRoot, type), factory_, factory_->GetAllocator());
    }
    std::shared_ptr<NeuralBase> Create(ModelFileId id, const Core::ioPath& modelsRoot,
                                       const AllocatorPtr& allocator) override {
        return std::make_shared<Network>(FindModel(modelsRoot, id), factory_,
                                         allocator != nullptr ? allocator : factory_->GetAllocator());
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
