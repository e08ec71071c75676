// ImageBlender: blends the second input S over the first input D, which is modified in place, with its top-left corner
// at (x, y), clipped.
//
// Per sample D += (S - D) * o / 255 with the opacity o = a * strength / 255, both rounded to the nearest integer, where
// a is the extra alpha attached to S, else S's own alpha channel if it is used, else 255. Opacity 0 gives exactly D,
// and 255 exactly S. On subsampled planes the position is rounded down, and a is the mean over the pixels of a chroma
// sample. D's alpha never changes.

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/PixelRows.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"

namespace Orvexa::Proc {
namespace {

// v / 255 to the nearest integer, for v = 0..65025; fits 16-bit lanes.
constexpr std::uint8_t DivideBy255(unsigned v) {
    const auto t = static_cast<std::uint16_t>(v + 128);
    return static_cast<std::uint8_t>(static_cast<std::uint16_t>(t + (t >> 8)) >> 8);
}

void BlendRow(std::uint8_t* __restrict d, const std::uint8_t* __restrict s, const std::uint8_t* __restrict opacity,
              std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) {
        const auto o = static_cast<std::uint16_t>(opacity[i]);
        // D + (S - D) * o / 255, rewritten so that no term is negative.
        d[i] = DivideBy255(static_cast<std::uint16_t>(static_cast<std::uint16_t>(d[i] * (255 - o)) +
                                                      static_cast<std::uint16_t>(s[i] * o)));
    }
}

void ScaleRow(std::uint8_t* __restrict to, const std::uint8_t* __restrict alpha, std::uint8_t strength,
              std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) to[i] = DivideBy255(static_cast<std::uint16_t>(alpha[i] * strength));
}

// Expands one opacity per pixel to one per byte; byte `skipped` of each pixel, if not -1, gets opacity 0.
void SpreadRow(std::uint8_t* __restrict to, const std::uint8_t* __restrict opacity, std::size_t pixels,
               std::size_t bytesPerPixel, int skipped) {
    if (skipped < 0) {
        ShuffleRow({1, static_cast<int>(bytesPerPixel), {}}, opacity, to, pixels);
        return;
    }
    const std::uint32_t mask = ~(0xFFu << (8 * skipped));
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t spread = opacity[i] * 0x01010101u & mask;
        std::memcpy(to + 4 * i, &spread, 4);
    }
}

// The part of one axis covered by both frames.
struct Overlap {
    std::int64_t inD, inS, count;
};
Overlap Clip(std::int64_t position, std::uint64_t sizeOfD, std::uint64_t sizeOfS) {
    const std::int64_t begin = std::max<std::int64_t>(position, 0);
    const std::int64_t end =
        std::min(position + static_cast<std::int64_t>(sizeOfS), static_cast<std::int64_t>(sizeOfD));
    return {begin, begin - position, end - begin};
}

// For frames of the same format.
bool SharesMemory(const IDataVideo& a, const IDataVideo& b) {
    const auto range = [](const ConstPlane& plane) {
        return std::pair(plane.GetData(), plane.GetRow(plane.GetHeight() - 1) + plane.GetWidth());
    };
    for (std::uint8_t i = 0; i < GetPlanesCount(a); ++i) {
        const auto [beginOfA, endOfA] = range(a.GetPlane(i));
        const auto [beginOfB, endOfB] = range(b.GetPlane(i));
        if (std::less<>()(beginOfA, endOfB) && std::less<>()(beginOfB, endOfA)) return true;
    }
    return false;
}

// The opacities a of a layer; without a mask the layer is opaque.
class LayerAlpha {
public:
    LayerAlpha(const IDataVideo& layer, BlendAlphaMode mode) {
        if (const auto extra = layer.GetExtraAlpha(0)) {
            const FrameInfo& info = layer.GetFrameInfo();
            if (extra->GetWidth() != info.width || extra->GetHeight() != info.height)
                Throw("Extra alpha plane 0 must have the size of its frame!");
            full_ = AsChannel(*extra);
            if (const auto extraChroma = layer.GetExtraAlpha(1)) chroma_ = AsChannel(*extraChroma);
        } else if (mode == BlendAlphaMode::UseAlpha && PixFmtDescription::Get(layer.GetPixFmt()).HasAlpha()) {
            full_ = GetChannel(layer, ChannelKind::Alpha);
        }
    }

    bool IsOpaque() const { return full_.data == nullptr; }
    ConstChannel GetFull() const { return full_; }
    /// The alpha for chroma planes of `width` x `height` samples: the attached one if it has that size, else the mean
    /// of the full-size one.
    ConstChannel GetChroma(int width, int height, int shiftX, int shiftY) {
        if (IsOpaque() || (chroma_.width == width && chroma_.height == height)) return chroma_;
        storage_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        const Channel reduced{storage_.data(), width, 1, width, height};
        ResampleChannel(full_, reduced, shiftX, shiftY);
        return chroma_ = reduced;
    }

private:
    ConstChannel full_, chroma_;
    std::vector<std::uint8_t> storage_;
};

enum class Coverage { Nothing, Everything, Mixed };

Coverage CoverageOf(const std::uint8_t* opacity, std::size_t pixels) {
    std::uint8_t any = 0, all = 255;
    for (std::size_t i = 0; i < pixels; ++i) any |= opacity[i], all &= opacity[i];
    return any == 0 ? Coverage::Nothing : all == 255 ? Coverage::Everything : Coverage::Mixed;
}

// Most mask pixels are 0 or 255, where nothing has to be mixed.
void BlendMaskedRow(std::uint8_t* d, const std::uint8_t* s, const std::uint8_t* opacity, std::size_t pixels,
                    std::size_t bytesPerPixel, int skipped, std::uint8_t* spread) {
    constexpr std::size_t kRun = 64;
    for (std::size_t i = 0; i < pixels; i += kRun) {
        const std::size_t run = std::min(kRun, pixels - i), first = i * bytesPerPixel;
        const Coverage coverage = CoverageOf(opacity + i, run);
        if (coverage == Coverage::Nothing) continue;
        if (coverage == Coverage::Everything && skipped < 0) {
            std::memcpy(d + first, s + first, run * bytesPerPixel);
            continue;
        }
        if (bytesPerPixel > 1) SpreadRow(spread, opacity + i, run, bytesPerPixel, skipped);
        BlendRow(d + first, s + first, bytesPerPixel > 1 ? spread : opacity + i, run * bytesPerPixel);
    }
}

// Blends one plane; `skipped` is D's alpha byte or -1.
void BlendPlane(const Plane& d, const ConstPlane& s, std::int64_t x, std::int64_t y, const ConstChannel& alpha,
                std::uint8_t strength, int skipped) {
    const Overlap columns = Clip(x, d.GetPixelsPerRow(), s.GetPixelsPerRow());
    const Overlap rows = Clip(y, d.GetHeight(), s.GetHeight());
    if (columns.count <= 0 || rows.count <= 0) return;
    const std::size_t pixels = static_cast<std::size_t>(columns.count), bytesPerPixel = d.GetBytesPerPixel(),
                      bytes = pixels * bytesPerPixel;
    std::vector<std::uint8_t> samples(alpha.step == 1 ? 0 : pixels), scaled(pixels, strength),
        spread(bytesPerPixel == 1 ? 0 : bytes);
    const bool isOpaque = alpha.data == nullptr;
    if (isOpaque && bytesPerPixel > 1) SpreadRow(spread.data(), scaled.data(), pixels, bytesPerPixel, skipped);
    for (std::int64_t row = 0; row < rows.count; ++row) {
        std::uint8_t* to =
            d.GetOffsetPtr(static_cast<std::uint64_t>(columns.inD), static_cast<std::uint64_t>(rows.inD + row));
        const std::uint8_t* from =
            s.GetOffsetPtr(static_cast<std::uint64_t>(columns.inS), static_cast<std::uint64_t>(rows.inS + row));
        if (isOpaque) {
            BlendRow(to, from, bytesPerPixel > 1 ? spread.data() : scaled.data(), bytes);
            continue;
        }
        const std::uint8_t* opacity = alpha.GetRow(static_cast<int>(rows.inS + row)) + columns.inS * alpha.step;
        if (alpha.step != 1) {
            CopyChannel({opacity, 0, alpha.step, static_cast<int>(pixels), 1},
                        {samples.data(), 0, 1, static_cast<int>(pixels), 1});
            opacity = samples.data();
        }
        if (strength != 255) {
            ScaleRow(scaled.data(), opacity, strength, pixels);
            opacity = scaled.data();
        }
        BlendMaskedRow(to, from, opacity, pixels, bytesPerPixel, skipped, spread.data());
    }
}

class ImageBlender : public HostTwoInput<SettingsEffectImageBlender> {
public:
    using HostTwoInput::HostTwoInput;

protected:
    void Process(FramePtr& frame, const ConstFramePtr& second) override {
        const PixFmtDescription& description = PixFmtDescription::Get(frame->GetPixFmt());
        if (description.kind == PixFmtDescription::Kind::Indexed)
            Throw("Pixel format is not supported! Pixels of indexed frames cannot be mixed.");
        const ConstFramePtr layer = Expanded(second, allocator_);
        // Conversion loses alpha if D has none, so it is taken from the unconverted layer.
        LayerAlpha alpha(second->GetExtraAlpha(0) ? *second : *layer, settings_.GetAlphaMode());
        const ConstFramePtr picture = PictureFor(*frame, layer);
        for (std::uint8_t i = 0; i < description.planes; ++i) {
            if (description.GetRole(i) == PlaneRole::Alpha) continue;
            const ConstPlane source = picture->GetPlane(i);
            const int shiftX = description.GetShiftX(i), shiftY = description.GetShiftY(i);
            const bool isSubsampled = shiftX != 0 || shiftY != 0;
            const ConstChannel planeAlpha = isSubsampled
                                                ? alpha.GetChroma(static_cast<int>(source.GetPixelsPerRow()),
                                                                  static_cast<int>(source.GetHeight()), shiftX, shiftY)
                                                : alpha.GetFull();
            BlendPlane(frame->GetPlane(i), source, settings_.GetPositionX() >> shiftX,
                       settings_.GetPositionY() >> shiftY, planeAlpha, settings_.GetStrength(), description.alpha);
        }
    }

private:
    // The layer in D's format and in separate memory, so that writing does not change samples that are still to be
    // read.
    ConstFramePtr PictureFor(const IDataVideo& d, const ConstFramePtr& layer) {
        if (layer->GetPixFmt() == d.GetPixFmt())
            return SharesMemory(d, *layer) ? CloneFrame(*layer, kCloneIndependent) : layer;
        if (converter_ == nullptr) converter_ = CreateOneInput<SettingsColorspaceConverter>();
        converter_->SetSettings(SettingsColorspaceConverter(d.GetPixFmt(), true));
        FramePtr converted = boost::const_pointer_cast<IDataVideo>(layer);
        converter_->ProcessData(converted);
        return converted;
    }

    OneInputPtr converter_;
};

}  // namespace

TwoInputPtr CreateImageBlender(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<ImageBlender>(factory, allocator);
}

}  // namespace Orvexa::Proc
