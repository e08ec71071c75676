// NeuralFragmentor: replaces all or part of the frame by a model's output, computed in tiles of one size.
//
// Unlike the processor's, these tiles lie within the part, as required by models designed for pictures of this size,
// and a model's result for a pixel may differ from tile to tile. Neighbouring tiles therefore fade into each other,
// linearly over the middle half of their overlap: a tile is least accurate near its edge, beyond which the network sees
// nothing. At most two tiles are blended along an axis, with weights based on the middle of their overlap; tiles are
// spaced evenly, so overlaps are often larger than requested. A row of tiles is composed once the row below it exists,
// so that at most two rows are held.

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "Host/Core/Threads.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Proc/Neural.h"
#include "Host/Providers/Neural/Canvas.h"
#include "Host/Providers/Neural/NeuralEffects.h"
#include "Host/Providers/Neural/Tiles.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"

namespace Orvexa::Proc::Neural {

namespace {

// Tiles along one axis of a part of `length` pixels, and how its pixels are blended from them.
class Fragments {
public:
    Fragments(int length, int tile, int overlap)
        : length_(length),
          tile_(tile),
          count_(length <= tile ? 1 : (length - overlap + tile - overlap - 1) / (tile - overlap)),
          fade_(std::max(overlap / 2, 1)) {}

    int GetCount() const { return count_; }
    int GetBegin(int index) const {
        return count_ == 1 ? 0 : static_cast<int>(std::int64_t{length_ - tile_} * index / (count_ - 1));
    }
    /// The tile at `pixel`, and the weight of the next one: 0 to below 1.
    Between At(int pixel, int scale) const {
        const float place = (static_cast<float>(pixel) + 0.5f) / static_cast<float>(scale);
        int index = 0;
        while (index + 1 < count_ && place >= FadeEnd(index)) ++index;
        const float part = index + 1 < count_ ? 1 - (FadeEnd(index) - place) / static_cast<float>(fade_) : 0.0f;
        return {static_cast<float>(index) + std::max(part, 0.0f), count_};
    }

private:
    // The end of the fade, which is centred in the overlap of a tile and the next one.
    float FadeEnd(int index) const {
        return static_cast<float>(GetBegin(index) + tile_ + GetBegin(index + 1) + fade_) / 2.0f;
    }

    const int length_, tile_, count_, fade_;
};

void CheckTile(const char* name, int tile, int overlap) {
    if (tile < 1) Throw("A tile's " + std::string(name) + " must be at least 1!");
    if (overlap < 0 || overlap > tile / 2)
        Throw("Overlaps must be from 0 to half of a tile, which has a " + std::string(name) + " of " +
              std::to_string(tile) + "!");
}

cv::Rect PartOf(const CropInfo& crop, const FrameInfo& info) {
    if (crop == CropInfo()) return {0, 0, static_cast<int>(info.width), static_cast<int>(info.height)};
    if (crop.left >= crop.right || crop.top >= crop.bottom || crop.right > info.width || crop.bottom > info.height) {
        Throw("The part from " + std::to_string(crop.left) + ", " + std::to_string(crop.top) + " to " +
              std::to_string(crop.right) + ", " + std::to_string(crop.bottom) + " is not inside the picture of " +
              std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels!");
    }
    return {static_cast<int>(crop.left), static_cast<int>(crop.top), static_cast<int>(crop.right - crop.left),
            static_cast<int>(crop.bottom - crop.top)};
}

class NeuralFragmentor : public HostOneInput<SettingsEffectDeepNeuralFragmentor> {
public:
    using HostOneInput::HostOneInput;

protected:
    const std::string& GetImplName() const override { return ImplPhotoNames::OPENCV; }

    void Process(FramePtr& frame) override {
        RequireImplementation(settings_.GetImpl());
        const Model model = FindModel(settings_.GetModelsRoot(), settings_.GetModelId());
        if (model.output != OutputKind::Image) Throw("The model " + model.file.string() + " gives no image!");
        CheckTile("width", settings_.GetTileWidth(), settings_.GetOverlapX());
        CheckTile("height", settings_.GetTileHeight(), settings_.GetOverlapY());
        const cv::Rect part = PartOf(settings_.GetCropInfo(), frame->GetFrameInfo());
        const int scale = model.GetEnlargement(settings_.GetScale());
        const Canvas canvas(frame, model, scale, factory_, allocator_);
        if (part.size() !=
            cv::Size(static_cast<int>(frame->GetFrameInfo().width), static_cast<int>(frame->GetFrameInfo().height)))
            canvas.CopyPicture();
        bool isDone = false;
        try {
            isDone = Draw(canvas, model, scale, part);
        } catch (const std::exception& exception) {
            if (!IsOutOfMemory(exception)) throw;
            const Core::OnCallingThread alone;
            try {
                isDone = Draw(canvas, model, scale, part);
            } catch (const std::exception& again) {
                if (!IsOutOfMemory(again)) throw;
                Throw("There is not enough memory to run the model " + model.file.string() + " on tiles of " +
                      std::to_string(settings_.GetTileWidth()) + " x " + std::to_string(settings_.GetTileHeight()) +
                      " pixels!");
            }
        }
        if (isDone) frame = canvas.GetResult();
    }

private:
    // The model's results for a row of tiles.
    using Row = std::vector<cv::Mat>;

    // False if cancelled.
    bool Draw(const Canvas& canvas, const Model& model, int scale, const cv::Rect& part) const {
        const Fragments columns(part.width, settings_.GetTileWidth(), settings_.GetOverlapX()),
            rows(part.height, settings_.GetTileHeight(), settings_.GetOverlapY());
        const Core::ProgressPtr& progress = GetProgressController();
        if (progress != nullptr)
            progress->SetTotal(static_cast<std::uint64_t>(columns.GetCount()) *
                               static_cast<std::uint64_t>(rows.GetCount()));
        // The model sees only the part, mirrored at its edges if it is smaller than a tile.
        const ConstSamples picture = canvas.GetInput();
        const ConstSamples shown{
            picture.plane.MakeSubplane(static_cast<std::uint32_t>(part.x), static_cast<std::uint32_t>(part.y),
                                       static_cast<std::uint32_t>(part.width), static_cast<std::uint32_t>(part.height),
                                       static_cast<std::uint8_t>(picture.plane.GetBytesPerPixel()), 0, 0),
            picture.bytes};
        std::vector<Between> across;
        across.reserve(static_cast<std::size_t>(part.width * scale));
        for (int x = 0; x < part.width * scale; ++x) across.push_back(columns.At(x, scale));
        Nets nets(model.file);
        Row above, row(static_cast<std::size_t>(columns.GetCount()));
        int y = 0;
        for (int index = 0; index < rows.GetCount(); ++index) {
            std::swap(above, row);
            row.assign(static_cast<std::size_t>(columns.GetCount()), cv::Mat());
            if (!Infer(model, nets, scale, shown, columns, rows.GetBegin(index), row)) return false;
            const int first = y;
            while (y < part.height * scale && LastTile(rows.At(y, scale)) <= index) ++y;
            Core::ParallelFor(static_cast<std::size_t>(y - first), [&](std::size_t i) {
                const int line = first + static_cast<int>(i);
                const Between down = rows.At(line, scale);
                const auto rowOf = [&](int tile) -> const Row& { return tile == index ? row : above; };
                const auto lineOf = [&](int tile) { return line - rows.GetBegin(tile) * scale; };
                const auto level = [&](int x, int c) {
                    const Between& side = across[static_cast<std::size_t>(x)];
                    const auto at = [&](int tileRow, int tile) {
                        return rowOf(tileRow)[static_cast<std::size_t>(tile)].ptr<float>(
                            0, c, lineOf(tileRow))[x - columns.GetBegin(tile) * scale];
                    };
                    const auto mixed = [&](int tileRow) {
                        const float left = at(tileRow, side.first);
                        return side.part > 0 ? left + (at(tileRow, side.second) - left) * side.part : left;
                    };
                    const float upper = mixed(down.first);
                    const float value = down.part > 0 ? upper + (mixed(down.second) - upper) * down.part : upper;
                    return static_cast<float>(value * model.outputScale + model.outputOffset);
                };
                canvas.WriteRow(part.y * scale + line, part.x * scale, part.width * scale, level);
            });
        }
        return true;
    }

    static int LastTile(const Between& place) { return place.part > 0 ? place.second : place.first; }

    // A row of tiles.
    bool Infer(const Model& model, Nets& nets, int scale, const ConstSamples& shown, const Fragments& columns, int top,
               Row& row) const {
        const Core::ProgressPtr& progress = GetProgressController();
        const auto rounded = [&](int side) {
            const auto multiple = static_cast<int>(model.multiple);
            return (side + multiple - 1) / multiple * multiple;
        };
        const int width = rounded(settings_.GetTileWidth()), height = rounded(settings_.GetTileHeight());
        std::atomic<bool> isCancelled = false;
        Core::ParallelFor(row.size(), [&](std::size_t i) {
            if (isCancelled || (progress != nullptr && progress->IsCancelled())) {
                isCancelled = true;
                return;
            }
            const cv::Rect tile(columns.GetBegin(static_cast<int>(i)), top, width, height);
            row[i] = InferImage(model, nets, scale, MakeBlob(shown, model, tile));
            if (progress != nullptr) progress->Step(1);
        });
        return !isCancelled;
    }
};

}  // namespace

OneInputPtr CreateNeuralFragmentor(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<NeuralFragmentor>(factory, allocator);
}

}  // namespace Orvexa::Proc::Neural
