// DirectionalAreaDeformation: pushes the picture along a stroke of a capsule-shaped brush.
//
// The displacements of all calls accumulate in a displacement field, which is always applied to the first picture that
// the effect saw. Only the area touched by the current stroke is redrawn, so its cost does not depend on the picture's
// size.

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr double kPushPerSize = 0.2;      // relative to the brush's radius: within it the push is full
constexpr float kFullPushRadius = 0.25f;  // any distance from 1 on
constexpr float kOutsideBrush = 10.0f;    // any distance from 1 on
constexpr float kNoPush = 0.00001f;

struct Push {
    float x = 0.0f, y = 0.0f;
};

// Columns left <= x < right, rows top <= y < bottom.
struct Box {
    std::int64_t left = 0, top = 0, right = 0, bottom = 0;
    bool IsEmpty() const { return left >= right || top >= bottom; }
};

// The displacements of a picture's pixels. Memory is allocated only for tiles where something was pushed: a dense field
// would take 8 bytes per pixel, more than the picture itself.
class PushField {
public:
    PushField() = default;
    PushField(std::uint32_t width, std::uint32_t height)
        : width_(width),
          height_(height),
          tilesPerRow_((width + kTileSide - 1) / kTileSide),
          tiles_(std::size_t{tilesPerRow_} * ((height + kTileSide - 1) / kTileSide)) {}

    bool IsFor(const FrameInfo& info) const { return info.width == width_ && info.height == height_; }

    Push Get(std::uint32_t x, std::uint32_t y) const {
        const auto& tile = tiles_[TileOf(x, y)];
        return tile == nullptr ? Push() : (*tile)[PlaceOf(x, y)];
    }
    void Set(std::uint32_t x, std::uint32_t y, const Push& push) {
        auto& tile = tiles_[TileOf(x, y)];
        if (tile == nullptr) tile = std::make_unique<Tile>();
        (*tile)[PlaceOf(x, y)] = push;
    }

private:
    static constexpr std::uint32_t kTileSide = 64;
    using Tile = std::array<Push, kTileSide * kTileSide>;

    std::size_t TileOf(std::uint32_t x, std::uint32_t y) const {
        return std::size_t{y / kTileSide} * tilesPerRow_ + x / kTileSide;
    }
    static std::size_t PlaceOf(std::uint32_t x, std::uint32_t y) { return y % kTileSide * kTileSide + x % kTileSide; }

    std::uint32_t width_ = 0, height_ = 0, tilesPerRow_ = 0;
    std::vector<std::unique_ptr<Tile>> tiles_;
};

// The capsule around a line, and its push.
class Brush {
public:
    explicit Brush(const SettingsEffectDirectionalAreaDeformation& settings)
        : fromX_(static_cast<float>(settings.GetFromX())),
          fromY_(static_cast<float>(settings.GetFromY())),
          radius_(static_cast<float>(settings.GetSize() * 0.5)) {
        const float dx = static_cast<float>(settings.GetToX()) - fromX_,
                    dy = static_cast<float>(settings.GetToY()) - fromY_;
        const float length = std::sqrt(dx * dx + dy * dy);
        ux_ = dx / length;  // NaN for a stroke of zero length, which pushes nothing
        uy_ = dy / length;
        length_ = (dx * ux_ + dy * uy_) / radius_;
        amount_ = static_cast<float>(settings.GetStrength() * (settings.GetSize() * kPushPerSize) / 100.0);
    }

    /// Adds this stroke's push at a pixel if it is within reach.
    void Add(PushField& field, std::uint32_t x, std::uint32_t y) const {
        const float distance = DistanceOf(static_cast<float>(x) - fromX_, static_cast<float>(y) - fromY_);
        if (!(distance < 1.0f)) return;
        const float weight = WeightAt(distance);
        const Push push = field.Get(x, y);
        const float present = std::sqrt(push.x * push.x + push.y * push.y);
        if (present < kNoPush) {
            field.Set(x, y, {weight * ux_, weight * uy_});
            return;
        }
        const float larger = std::max(weight, present), sum = present + weight;
        if (sum == 0.0f) return;
        // Limits the accumulation of pushes in one direction. Evaluated from left to right: computing the quotient
        // first would round differently.
        field.Set(x, y, {(push.x + weight * ux_) * larger / sum, (push.y + weight * uy_) * larger / sum});
    }

private:
    // In units of the radius.
    float DistanceOf(float rx, float ry) const {
        const float across = (ry * ux_ - rx * uy_) / radius_, along = (ry * uy_ + rx * ux_) / radius_;
        if (along >= 0.0f && along <= length_) return std::abs(across);
        if (along < 0.0f) return std::sqrt(across * across + along * along);
        if (along > length_) return std::sqrt((along - length_) * (along - length_) + across * across);
        return kOutsideBrush;
    }
    float WeightAt(float distance) const {
        if (distance < kFullPushRadius) return amount_;
        const double t = (distance - kFullPushRadius) / (1.0 - kFullPushRadius);
        return static_cast<float>(amount_ * Shared::HermiteBasis(t)[0]);
    }

    float fromX_, fromY_, radius_, ux_, uy_, length_, amount_;
};

Box BoxOf(const SettingsEffectDirectionalAreaDeformation& settings, const FrameInfo& info) {
    const std::int64_t half = settings.GetSize() / 2;
    const auto clip = [&](std::int64_t a, std::int64_t b, std::int64_t side) {
        return std::pair(std::max<std::int64_t>(0, std::min(a, b) - half),
                         std::min(side, std::max(a, b) - half + settings.GetSize()));
    };
    const auto [left, right] = clip(settings.GetFromX(), settings.GetToX(), info.width);
    const auto [top, bottom] = clip(settings.GetFromY(), settings.GetToY(), info.height);
    return {left, top, right, bottom};
}

class DirectionalAreaDeformation : public EffectBaseOneInput<SettingsEffectDirectionalAreaDeformation> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

    /// Keeps the field and the picture to which it is applied.
    void ResetSettings() override { settings_ = SettingsEffectDirectionalAreaDeformation(0.0); }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        if (base_ == nullptr || !field_.IsFor(info)) {
            field_ = PushField(info.width, info.height);
            base_ = CloneFrame(*frame, kCloneIndependent);
        }
        const Box box = BoxOf(settings_, info);
        if (box.IsEmpty()) return;
        const Brush brush(settings_);
        for (std::int64_t y = box.top; y < box.bottom; ++y) {
            for (std::int64_t x = box.left; x < box.right; ++x)
                brush.Add(field_, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
        }
        MakeWritable(frame);
        Redraw(frame, box);
    }

    void Redraw(const FramePtr& frame, const Box& box) {
        const FrameInfo& info = frame->GetFrameInfo();
        // More than this brush's largest displacement. Where a larger brush pushed before, the patch's edge pixels
        // stand in for those beyond it.
        const std::int64_t margin = settings_.GetSize() / 2 + 1;
        // The patch starts at whole chroma samples, so that the chroma samples in the box are those of the picture.
        const PixFmtDescription& description = PixFmtDescription::Get(base_->GetPixFmt());
        const auto start = [&](std::int64_t edge, std::uint8_t shift) {
            return std::max<std::int64_t>(edge - margin, 0) >> shift << shift;
        };
        const Box source{start(box.left, description.chromaShiftX), start(box.top, description.chromaShiftY),
                         std::min<std::int64_t>(box.right + margin, info.width),
                         std::min<std::int64_t>(box.bottom + margin, info.height)};
        FramePtr patch = ViewOf(*base_, source);  // the remapper creates a new frame and leaves the base unchanged
        remapper_->SetSettings(SettingsEffectRemapping([this, source](int x, int y) {
            const Push push =
                field_.Get(static_cast<std::uint32_t>(source.left + x), static_cast<std::uint32_t>(source.top + y));
            return std::pair(static_cast<float>(x) - push.x, static_cast<float>(y) - push.y);
        }));
        remapper_->ProcessData(patch);
        patch = ViewOf(
            *patch, {box.left - source.left, box.top - source.top, box.right - source.left, box.bottom - source.top});
        if (patch->GetPixFmt() != frame->GetPixFmt()) converter_.Convert(patch, frame->GetPixFmt());
        CopyDataVideo(patch, frame, static_cast<int>(box.left), static_cast<int>(box.top));
    }

    static FramePtr ViewOf(const IDataVideo& frame, const Box& box) {
        return Shared::ViewOf(frame, static_cast<std::uint32_t>(box.left), static_cast<std::uint32_t>(box.top),
                              static_cast<std::uint32_t>(box.right - box.left),
                              static_cast<std::uint32_t>(box.bottom - box.top));
    }

    FramePtr base_;
    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr remapper_ = CreateOneInput<SettingsEffectRemapping>();
    PushField field_;
};

}  // namespace

bool RegisterDirectionalAreaDeformation(IEffectFactory& factory) {
    return RegisterEffect<DirectionalAreaDeformation>(factory);
}

}  // namespace Orvexa::Proc
