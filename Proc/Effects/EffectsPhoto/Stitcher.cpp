// Stitcher: assembles patches of one size, row by row, into the picture that they were cut from. Where patches overlap,
// the later one is blended over the earlier ones by a mask that rises along a cubic with zero slope at both ends, from
// the outer edge of the overlap to its inner one.
//
// Where four patches meet, three blends are applied one after another. The weights should be the products of the ramps
// of both axes, R increasing to the right and D downwards: (1 - R)(1 - D), R(1 - D), (1 - R)D and RD, which agree with
// the weights of two patches along each edge of the common area. The last patch therefore gets RD, and the one to its
// left (1 - R)D / (1 - RD) in its upper right corner, of which the last blend leaves (1 - R)D.

#include <array>
#include <optional>
#include <string>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectStitcher.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"
#include "Proc/Effects/EffectsPhoto/Shared/Tiling.h"

namespace Orvexa::Proc {
namespace {

// The position of a row or column of patches.
enum Place : std::size_t { kFirst, kMiddle, kLast };

// Patches along one axis, in pixels: a patch of `patch` pixels contains `inner` pixels of the picture after a margin of
// `margin`.
struct Axis {
    std::uint32_t patch, margin, inner, overlap, length, canvas, step;

    std::uint32_t GetCount() const { return (canvas - patch) / step + 1; }
    bool HasNext(std::uint32_t position) const { return position + patch < canvas; }
    Place PlaceOf(std::uint32_t position) const { return position == 0 ? kFirst : HasNext(position) ? kMiddle : kLast; }
};

Axis MakeAxis(const char* name, std::uint32_t patch, std::uint64_t before, std::uint64_t after, std::uint32_t overlap,
              std::uint32_t length) {
    if (before + after >= patch)
        Throw("The margins leave nothing of a patch's " + std::string(name) + " of " + std::to_string(patch) +
              " pixels");
    const std::uint64_t shared = overlap + before + after;
    if (shared >= patch) Throw("Overlap must be smaller than the patch!");
    if (length == 0)
        Throw("Stitcher needs the size of the picture that was cut: its frame " + std::string(name) + " is 0");
    const auto sharedPixels = static_cast<std::uint32_t>(shared);
    return {patch,
            static_cast<std::uint32_t>(before),
            patch - static_cast<std::uint32_t>(before + after),
            overlap,
            length,
            Shared::Fit(length, patch, sharedPixels),
            patch - sharedPixels};
}

// The opacities across an overlap, by distance in pixels.
std::vector<std::uint8_t> MakeRamp(std::uint32_t overlap) {
    std::vector<std::uint8_t> ramp(overlap);
    for (std::uint32_t i = 0; i < overlap; ++i) {
        const Shared::HermiteRamp rise{static_cast<double>(255 / overlap), 255.0};
        ramp[i] = static_cast<std::uint8_t>(rise.At(static_cast<double>(i) / overlap));
    }
    return ramp;
}

// Draws the opacities of a patch from the ramps of its overlaps with earlier patches and, if there is one, with the
// next patch in its row.
void DrawMask(const Plane& mask, Place row, Place column, bool hasNext, const std::vector<std::uint8_t>& down,
              const std::vector<std::uint8_t>& right) {
    const auto at = [](const std::vector<std::uint8_t>& ramp, bool isThere, std::uint64_t i) {
        return isThere && i < ramp.size() ? ramp[i] / 255.0 : 1.0;
    };
    const std::uint64_t width = mask.GetWidth(), next = width - right.size();
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        std::uint8_t* opacities = mask.GetRow(y);
        const double fromAbove = at(down, row != kFirst, y);
        for (std::uint64_t x = 0; x < width; ++x) {
            double opacity = fromAbove * at(right, column != kFirst, x);
            if (fromAbove < 1.0 && hasNext && x >= next) {
                const double ofNext = right[x - next] / 255.0;
                opacity *= (1.0 - ofNext) / (1.0 - ofNext * fromAbove);
            }
            opacities[x] = static_cast<std::uint8_t>(opacity * 255.0 + 0.5);
        }
    }
}

// Creates the masks of one call, each when first requested.
class BlendMasks {
public:
    /// `chromaExtractor` is empty for formats with alpha, whose masks are never attached.
    BlendMasks(const AllocatorPtr& allocator, const OneInputPtr& chromaExtractor, PixFmt pixFmt, const Axis& across,
               const Axis& down)
        : allocator_(allocator),
          chromaExtractor_(chromaExtractor),
          pixFmt_(pixFmt),
          info_(across.inner, down.inner),
          hasOneColumn_(across.GetCount() == 1),
          right_(MakeRamp(across.overlap)),
          down_(MakeRamp(down.overlap)) {}

    const Shared::LayerMask& Get(Place row, Place column) {
        std::optional<Shared::LayerMask>& mask = masks_[row * 3 + column];
        if (!mask) {
            const FramePtr opacities = NewFrame(allocator_, PixFmt::Gray8, info_);
            DrawMask(opacities->GetPlane(0), row, column, column != kLast && !hasOneColumn_, down_, right_);
            mask.emplace(chromaExtractor_).Set(opacities);
            if (chromaExtractor_ != nullptr) mask->PrepareFor(pixFmt_);
        }
        return *mask;
    }

private:
    const AllocatorPtr& allocator_;
    const OneInputPtr chromaExtractor_;
    const PixFmt pixFmt_;
    const FrameInfo info_;
    const bool hasOneColumn_;  // its patches are both first and last
    const std::vector<std::uint8_t> right_, down_;
    std::array<std::optional<Shared::LayerMask>, 9> masks_;
};

// The blender leaves alpha alone, but patches must fade into each other in alpha, too.
void BlendAlpha(const PixFmtDescription& description, const Plane& canvas, const ConstPlane& patch,
                const ConstPlane& mask) {
    const std::uint64_t step = canvas.GetBytesPerPixel(),
                        first = description.IsPlanar() ? 0 : static_cast<std::uint64_t>(description.alpha);
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        std::uint8_t* under = canvas.GetRow(y) + first;
        const std::uint8_t* over = patch.GetRow(y) + first;
        const std::uint8_t* opacity = mask.GetRow(y);
        for (std::uint64_t x = 0; x < mask.GetWidth(); ++x) {
            const int sum = under[x * step] * (255 - opacity[x]) + over[x * step] * opacity[x];
            under[x * step] = static_cast<std::uint8_t>((sum + 127) / 255);
        }
    }
}

class Stitcher : public EffectBaseVarInput<SettingsEffectStitcher> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        const auto& first = dynamic_cast<const IDataVideo&>(*frames.front());
        const FrameInfo& info = first.GetFrameInfo();
        const CropInfo& crop = settings_.GetCropInfo();
        const Axis across =
            MakeAxis("width", info.width, crop.left, crop.right, settings_.GetOverlapX(), settings_.GetFrameWidth());
        const Axis down =
            MakeAxis("height", info.height, crop.top, crop.bottom, settings_.GetOverlapY(), settings_.GetFrameHeight());
        CheckPatches(frames, first, across, down);
        CheckFormat(PixFmtDescription::Get(first.GetPixFmt()), across, down);

        const FramePtr canvas = MakeCanvas(first, across, down);
        BlendMasks masks(allocator_, CreateChromaExtractor(first.GetPixFmt()), first.GetPixFmt(), across, down);
        auto patch = frames.begin();
        for (std::uint32_t y = 0; y + down.patch <= down.canvas; y += down.step) {
            for (std::uint32_t x = 0; x + across.patch <= across.canvas; x += across.step) {
                const FramePtr inner = Shared::ViewOf(dynamic_cast<const IDataVideo&>(**patch++), across.margin,
                                                      down.margin, across.inner, down.inner);
                if ((x == 0 && y == 0) || !settings_.IsOverlapped()) {
                    CopyDataVideo(inner, canvas, static_cast<int>(across.margin + x),
                                  static_cast<int>(down.margin + y));
                    continue;
                }
                FramePtr target = Shared::ViewOf(*canvas, across.margin + x, down.margin + y, across.inner, down.inner);
                Blend(target, inner, masks.Get(down.PlaceOf(y), across.PlaceOf(x)));
            }
        }
        canvas->Crop(0, 0, settings_.GetFrameWidth(), settings_.GetFrameHeight());
        return canvas;
    }

    static void CheckPatches(const std::vector<DataPtr>& frames, const IDataVideo& first, const Axis& across,
                             const Axis& down) {
        const std::uint64_t columns = across.GetCount(), rows = down.GetCount();
        if (frames.size() != columns * rows) {
            Throw("A picture of " + std::to_string(across.length) + " x " + std::to_string(down.length) +
                  " pixels has " + std::to_string(columns * rows) + " patches, " + std::to_string(columns) + " x " +
                  std::to_string(rows) + ", of " + std::to_string(across.patch) + " x " + std::to_string(down.patch) +
                  " pixels with these overlaps; there are " + std::to_string(frames.size()));
        }
        for (std::size_t i = 1; i < frames.size(); ++i) {
            const auto& patch = dynamic_cast<const IDataVideo&>(*frames[i]);
            const FrameInfo& info = patch.GetFrameInfo();
            if (patch.GetPixFmt() != first.GetPixFmt() || info.width != across.patch || info.height != down.patch) {
                Throw("All patches must have the size and pixel format of the first, " + std::to_string(across.patch) +
                      " x " + std::to_string(down.patch) + "; patch " + std::to_string(i) + " has " +
                      std::to_string(info.width) + " x " + std::to_string(info.height));
            }
        }
    }

    void CheckFormat(const PixFmtDescription& description, const Axis& across, const Axis& down) const {
        const bool isIndexed = description.kind == PixFmtDescription::Kind::Indexed;
        if (isIndexed && settings_.IsOverlapped() && across.GetCount() * down.GetCount() > 1) {
            Throw(
                "Pixel format is not supported! Indexed patches cannot be blended; stitch them without overlapped or "
                "convert them first.");
        }
        RequireSharedChromaGrid(across, description.chromaShiftX, "left", description);
        RequireSharedChromaGrid(down, description.chromaShiftY, "top", description);
    }

    // A margin moves the chroma of a patch by whole samples, rounded down. If the patch's own start is also rounded
    // down, the two together may be off by one sample of the canvas.
    static void RequireSharedChromaGrid(const Axis& axis, std::uint8_t shift, const char* side,
                                        const PixFmtDescription& description) {
        const std::uint32_t fraction = (1u << shift) - 1;
        for (std::uint32_t start = 0; start + axis.patch <= axis.canvas; start += axis.step) {
            if ((start & fraction) + (axis.margin & fraction) <= fraction) continue;
            const std::string unit = std::to_string(1u << shift);
            Throw("Patches of " + std::string(description.name) + " that are " + std::to_string(axis.step) +
                  " pixels apart do not fit together with a " + side + " margin of " + std::to_string(axis.margin) +
                  ": one of both must be a multiple of " + unit + ", or the format one without subsampled chroma");
        }
    }

    FramePtr MakeCanvas(const IDataVideo& first, const Axis& across, const Axis& down) const {
        FramePtr canvas =
            NewFrame(allocator_, first.GetPixFmt(), FrameInfo(across.canvas, down.canvas, first.GetFrameInfo().aspect));
        canvas->SetTimestamp(first.GetTimestamp());
        canvas->SetDuration(first.GetDuration());
        // Without margins the patches cover the whole canvas.
        if (settings_.GetCropInfo() != CropInfo()) canvas->Fill(Color::Black(Opacity::Opaque));
        return canvas;
    }

    OneInputPtr CreateChromaExtractor(PixFmt pixFmt) const {
        if (PixFmtDescription::Get(pixFmt).HasAlpha()) return {};
        return CreateOneInput<SettingsEffectExtraAlphaExtractor>();
    }

    void Blend(FramePtr& target, const FramePtr& patch, const Shared::LayerMask& mask) {
        const PixFmtDescription& description = PixFmtDescription::Get(patch->GetPixFmt());
        FramePtr layer = patch;
        if (description.HasAlpha()) {
            const auto plane = static_cast<std::uint8_t>(description.IsPlanar() ? 3 : 0);
            BlendAlpha(description, target->GetPlane(plane), std::as_const(*patch).GetPlane(plane),
                       std::as_const(*mask.Get()).GetPlane(0));
            alphaInserter_->ProcessData(layer, ConstFramePtr(mask.Get()));
        } else {
            mask.AttachTo(*layer);
        }
        blender_->ProcessData(target, ConstFramePtr(layer));
    }

    TwoInputPtr blender_ = CreateTwoInput(SettingsEffectImageBlender());
    TwoInputPtr alphaInserter_ = CreateTwoInput(SettingsEffectAlphaInserter());
};

}  // namespace

bool RegisterStitcher(IEffectFactory& factory) { return RegisterEffect<Stitcher>(factory); }

}  // namespace Orvexa::Proc
