// NeuralProcessor: replaces the frame by a model's output.
//
// How the picture is processed depends on the model's entry in the manifest: in overlapping tiles if it states the
// network's reach; as a whole if it does not; at the network's own size if that is fixed or if there is a longest side,
// in which case the change is scaled up and added to the full picture, so that details survive; or as a small copy from
// which a grid of colour transforms is computed.

#include <algorithm>
#include <string>
#include <vector>

#include "Host/Effects/Bands.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Proc/Neural.h"
#include "Host/Providers/Neural/Canvas.h"
#include "Host/Providers/Neural/Grid.h"
#include "Host/Providers/Neural/NeuralEffects.h"
#include "Host/Providers/Neural/Tiles.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr int kChangeRows = 32;
// The longest side, in pixels, of a picture processed as a whole, and of its result. In larger ones the offsets in
// OpenCV 4.6's transposed convolutions, which grow with the third power of the side for kernels of twice the stride,
// exceed 32 bits, and it crashes.
constexpr int kLargestWhole = 1280;

// Adds levels, floats at a smaller or larger size, to the picture, interpolated linearly between pixel centres.
void AddChange(const cv::Mat& change, const Canvas& canvas) {
    const ConstSamples input = canvas.GetInput();
    const int width = static_cast<int>(input.plane.GetPixelsPerRow()),
              height = static_cast<int>(input.plane.GetHeight());
    const int channels = change.channels();
    std::vector<Between> columns;
    columns.reserve(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) columns.push_back(Between::OfPixel(x, width, change.cols));
    ForEachBand(height, kChangeRows, [&](int firstRow, int end) {
        std::vector<float> row(static_cast<std::size_t>(change.cols * channels));
        for (int y = firstRow; y < end; ++y) {
            const Between down = Between::OfPixel(y, height, change.rows);
            const auto *above = change.ptr<float>(down.first), *below = change.ptr<float>(down.second);
            for (std::size_t i = 0; i < row.size(); ++i) row[i] = above[i] + (below[i] - above[i]) * down.part;
            const std::uint8_t* pixels = input.plane.GetRow(static_cast<std::uint64_t>(y));
            const std::size_t step = input.plane.GetBytesPerPixel();
            canvas.WriteRow(y, 0, width, [&](int x, int c) {
                const Between& across = columns[static_cast<std::size_t>(x)];
                const float left = row[static_cast<std::size_t>(across.first * channels + c)],
                            right = row[static_cast<std::size_t>(across.second * channels + c)];
                return static_cast<float>(pixels[static_cast<std::size_t>(x) * step +
                                                 static_cast<std::size_t>(input.bytes[static_cast<std::size_t>(c)])]) +
                       left + (right - left) * across.part;
            });
        }
    });
}

class NeuralProcessor : public HostOneInput<SettingsEffectDeepNeuralProcessor> {
public:
    using HostOneInput::HostOneInput;

protected:
    const std::string& GetImplName() const override { return ImplPhotoNames::OPENCV; }

    void Process(FramePtr& frame) override {
        RequireImplementation(settings_.GetImpl());
        const Model model = FindModel(settings_.GetModelsRoot(), settings_.GetModelId());
        const int enlarges = model.output == OutputKind::Grid ? 1 : model.GetEnlargement(settings_.GetScale());
        if (settings_.GetMaxWidth() < 1 || settings_.GetMaxHeight() < 1)
            Throw("The largest width and height must be at least 1!");
        const Canvas canvas(frame, model, enlarges, factory_, allocator_);
        if (Draw(canvas, model, enlarges)) frame = canvas.GetResult();
    }

private:
    // False if cancelled.
    bool Draw(const Canvas& canvas, const Model& model, int enlarges) const {
        const FrameInfo& info = canvas.GetPicture()->GetFrameInfo();
        if (model.output == OutputKind::Grid) {
            const FramePtr small = Scaled(*canvas.GetPicture(), {model.width, model.height});
            Grid(Infer(model, MakeBlob(canvas.GetInput(*small), model,
                                       {0, 0, static_cast<int>(model.width), static_cast<int>(model.height)})),
                 model)
                .Apply(canvas);
            return true;
        }
        const FrameInfo shown = GetShownInfo(info, model, enlarges);
        if (shown == info) {
            return Run(model, enlarges, canvas.GetInput(),
                       [&](const TileResult& part) { canvas.Write(part.values, part.from, part.to); });
        }
        if (enlarges > 1) {
            const cv::Size largest = GetLargest(enlarges);
            Throw("The model " + model.file.string() + " takes pictures of at most " + std::to_string(largest.width) +
                  " x " + std::to_string(largest.height) + " pixels!");
        }
        const FramePtr small = Scaled(*canvas.GetPicture(), shown);
        const ConstSamples input = canvas.GetInput(*small);
        const auto channels = static_cast<int>(model.GetChannelsCount());
        cv::Mat change(static_cast<int>(shown.height), static_cast<int>(shown.width), CV_32FC(channels));
        const auto scale = static_cast<float>(model.outputScale), offset = static_cast<float>(model.outputOffset);
        const bool isDone = Run(model, enlarges, input, [&](const TileResult& part) {
            for (int y = 0; y < part.to.height; ++y) {
                for (int c = 0; c < channels; ++c) {
                    const float* values = part.values.ptr<float>(0, c, part.from.y + y) + part.from.x;
                    const std::uint8_t* level = input.plane.GetOffsetPtr(static_cast<std::uint64_t>(part.to.x),
                                                                         static_cast<std::uint64_t>(part.to.y + y)) +
                                                input.bytes[static_cast<std::size_t>(c)];
                    auto* to = change.ptr<float>(part.to.y + y) + part.to.x * channels + c;
                    for (int x = 0; x < part.to.width; ++x, level += input.plane.GetBytesPerPixel(), to += channels)
                        *to = std::clamp(values[x] * scale + offset, 0.0f, 255.0f) - static_cast<float>(*level);
                }
            }
        });
        if (isDone) AddChange(change, canvas);
        return isDone;
    }

    template <class Use>
    bool Run(const Model& model, int enlarges, const ConstSamples& input, const Use& use) const {
        return RunInTiles(model, enlarges, input, {settings_.GetMaxWidth(), settings_.GetMaxHeight()},
                          GetProgressController(), use);
    }

    // The largest picture that is processed as a whole.
    cv::Size GetLargest(int enlarges) const {
        const int largest = std::max(kLargestWhole / enlarges, 1);
        return {std::min(settings_.GetMaxWidth(), largest), std::min(settings_.GetMaxHeight(), largest)};
    }

    // The size at which the model processes the picture.
    FrameInfo GetShownInfo(const FrameInfo& info, const Model& model, int enlarges) const {
        if (model.width != 0 && !model.reach.has_value()) return {model.width, model.height, info.aspect};
        double factor = 1.0;
        if (model.longest != 0) factor = static_cast<double>(model.longest) / std::max(info.width, info.height);
        if (!model.reach.has_value()) {
            const cv::Size largest = GetLargest(enlarges);
            factor = std::min({factor, static_cast<double>(largest.width) / info.width,
                               static_cast<double>(largest.height) / info.height});
        }
        const auto side = [&](std::uint32_t length) {
            return static_cast<std::uint32_t>(std::max(length * factor + 0.5, 1.0));
        };
        return factor < 1.0 ? FrameInfo(side(info.width), side(info.height), info.aspect) : info;
    }

    FramePtr Scaled(const IDataVideo& picture, const FrameInfo& info) const {
        const OneInputPtr resizer = CreateOneInput(
            SettingsResizer(SettingsResizer::ResizeMethods::Bilinear, SettingsResizer::kExactSize, info));
        FramePtr scaled = CloneFrame(picture, kCloneView);
        resizer->ProcessData(scaled);
        return scaled;
    }
};

}  // namespace

OneInputPtr CreateNeuralProcessor(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<NeuralProcessor>(factory, allocator);
}

}  // namespace Orvexa::Proc::Neural
