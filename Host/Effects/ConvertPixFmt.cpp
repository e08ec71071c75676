#include "Host/Effects/ConvertPixFmt.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>
#include <unordered_map>

#include "Host/Core/Exception.h"
#include "Host/Effects/Channels.h"
#include "Host/Effects/PixelRows.h"

namespace Orvexa::Proc {

namespace {

using Kind = PixFmtDescription::Kind;
constexpr std::uint8_t kOpaque = 255;
constexpr std::uint8_t kNeutralChroma = 128;
// The number of rows converted together: few enough for their chroma to stay in the cache, and a multiple of four, the
// coarsest vertical subsampling.
constexpr int kBandRows = 16;

bool HasColor(const PixFmtDescription& description) { return description.kind != Kind::Gray; }

// The cost of a change of format; smaller is better.
auto CostOf(const PixFmtDescription& source, const PixFmtDescription& target) {
    const bool isColor = HasColor(source) && HasColor(target);
    const int shiftX = isColor ? target.chromaShiftX - source.chromaShiftX : 0;
    const int shiftY = isColor ? target.chromaShiftY - source.chromaShiftY : 0;
    const int coarser = std::max(shiftX, 0) + std::max(shiftY, 0);
    const int finer = std::max(-shiftX, 0) + std::max(-shiftY, 0);
    return std::tuple(target.kind == Kind::Indexed, source.HasAlpha() && !target.HasAlpha(),
                      HasColor(source) && !HasColor(target), coarser, !source.HasAlpha() && target.HasAlpha(),
                      !HasColor(source) && HasColor(target), finer);
}

}  // namespace

PixFmt ChooseTarget(PixFmt source, const std::vector<PixFmt>& candidates) {
    if (candidates.empty() || std::find(candidates.begin(), candidates.end(), source) != candidates.end())
        return source;
    const PixFmtDescription& from = PixFmtDescription::Get(source);
    const auto costOf = [&](PixFmt candidate) { return CostOf(from, PixFmtDescription::Get(candidate)); };
    const PixFmt best = *std::min_element(candidates.begin(), candidates.end(),
                                          [&](PixFmt a, PixFmt b) { return costOf(a) < costOf(b); });
    if (PixFmtDescription::Get(best).kind != Kind::Packed) return best;
    const auto redFirst = std::find_if(candidates.begin(), candidates.end(), [&](PixFmt candidate) {
        return PixFmtDescription::Get(candidate).red == 0 && costOf(candidate) == costOf(best);
    });
    return redFirst == candidates.end() ? best : *redFirst;
}

namespace {

// Chroma planes for a band of rows at full resolution.
struct ChromaBand {
    explicit ChromaBand(int width) : stride(width), samples(2 * static_cast<std::size_t>(width) * kBandRows) {}
    Channel Get(ChannelKind kind, int rows) {
        std::uint8_t* first = samples.data() + (kind == ChannelKind::Cb ? 0 : samples.size() / 2);
        return {first, stride, 1, stride, rows};
    }
    int stride;
    std::vector<std::uint8_t> samples;
};

template <class Byte>
ChannelView<Byte> RowsOf(const ChannelView<Byte>& channel, int first, int count) {
    return {channel.GetRow(first), channel.stride, channel.step, channel.width,
            std::min(count, channel.height - first)};
}

constexpr ChannelKind kChroma[] = {ChannelKind::Cb, ChannelKind::Cr};

// The rows of a packed or grey picture, or of an indexed one as RGBA: expanded one at a time, so that no second picture
// is needed.
class PackedRows {
public:
    explicit PackedRows(const IDataVideo& source)
        : plane_(source.GetPlane(0)), description_(&PixFmtDescription::Get(source.GetPixFmt())) {
        if (description_->kind != Kind::Indexed) return;
        description_ = &PixFmtDescription::Get(PixFmt::Rgba);
        std::memcpy(palette_.data(), source.GetPlane(1).GetData(), sizeof palette_);
        expanded_.resize(4 * GetWidth());
    }

    const PixFmtDescription& GetDescription() const { return *description_; }
    std::uint64_t GetHeight() const { return plane_.GetHeight(); }
    /// In pixels.
    std::uint64_t GetWidth() const { return plane_.GetPixelsPerRow(); }
    /// Row y; for an indexed picture it is valid until the next call.
    const std::uint8_t* Get(std::uint64_t y) {
        const std::uint8_t* row = plane_.GetRow(y);
        if (expanded_.empty()) return row;
        for (std::uint64_t x = 0; x < GetWidth(); ++x) std::memcpy(expanded_.data() + 4 * x, &palette_[row[x]], 4);
        return expanded_.data();
    }

private:
    const ConstPlane plane_;
    const PixFmtDescription* description_;
    std::array<std::uint32_t, 256> palette_{};
    std::vector<std::uint8_t> expanded_;
};

void PackedToPacked(PackedRows& source, IDataVideo& target, const PixFmtDescription& to) {
    const ByteOrder order = MakeByteOrder(source.GetDescription(), to);
    const Plane out = target.GetPlane(0);
    for (std::uint64_t y = 0; y < source.GetHeight(); ++y)
        ShuffleRow(order, source.Get(y), out.GetRow(y), source.GetWidth());
}

void PackedToGray(PackedRows& source, IDataVideo& target) {
    const PixFmtDescription& layout = source.GetDescription();
    const Plane out = target.GetPlane(0);
    for (std::uint64_t y = 0; y < source.GetHeight(); ++y)
        RgbToLumaRow(layout, source.Get(y), out.GetRow(y), source.GetWidth());
}

// Alpha is copied if both formats have it.
void PackedToPlanar(PackedRows& source, IDataVideo& target, const PixFmtDescription& to) {
    const Channel luma = GetChannel(target, ChannelKind::Luma);
    const Channel chroma[] = {GetChannel(target, ChannelKind::Cb), GetChannel(target, ChannelKind::Cr)};
    const PixFmtDescription& layout = source.GetDescription();
    const Channel alpha = layout.alpha >= 0 && to.HasAlpha() ? GetChannel(target, ChannelKind::Alpha) : Channel{};
    const bool isFull = to.chromaShiftX == 0 && to.chromaShiftY == 0;
    ChromaBand band(isFull ? 0 : luma.width);
    for (int first = 0; first < luma.height; first += kBandRows) {
        const int rows = std::min(kBandRows, luma.height - first);
        const Channel cb = isFull ? RowsOf(chroma[0], first, rows) : band.Get(ChannelKind::Cb, rows);
        const Channel cr = isFull ? RowsOf(chroma[1], first, rows) : band.Get(ChannelKind::Cr, rows);
        for (int y = 0; y < rows; ++y) {
            const std::uint8_t* row = source.Get(static_cast<std::uint64_t>(first + y));
            RgbToYccRow(layout, row, luma.GetRow(first + y), cb.GetRow(y), cr.GetRow(y),
                        static_cast<std::size_t>(luma.width));
            if (alpha.data != nullptr)
                CopyChannel({row + layout.alpha, 0, layout.bytesPerPixel, luma.width, 1}, RowsOf(alpha, first + y, 1));
        }
        if (isFull) continue;
        const int coarseRows = -(-rows >> to.chromaShiftY);
        ResampleChannel(cb, RowsOf(chroma[0], first >> to.chromaShiftY, coarseRows), to.chromaShiftX, to.chromaShiftY);
        ResampleChannel(cr, RowsOf(chroma[1], first >> to.chromaShiftY, coarseRows), to.chromaShiftX, to.chromaShiftY);
    }
}

void PlanarToPacked(const IDataVideo& source, const PixFmtDescription& from, IDataVideo& target,
                    const PixFmtDescription& to) {
    const ConstChannel luma = GetChannel(source, ChannelKind::Luma);
    const ConstChannel chroma[] = {GetChannel(source, ChannelKind::Cb), GetChannel(source, ChannelKind::Cr)};
    const Plane out = target.GetPlane(0);
    const bool isFull = from.chromaShiftX == 0 && from.chromaShiftY == 0;
    ChromaBand band(isFull ? 0 : luma.width);
    for (int first = 0; first < luma.height; first += kBandRows) {
        const int rows = std::min(kBandRows, luma.height - first);
        ConstChannel full[2];
        for (int k = 0; k < 2; ++k) {
            if (isFull) {
                full[k] = RowsOf(chroma[k], first, rows);
            } else {
                const Channel fine = band.Get(kChroma[k], rows);
                ResampleChannel(chroma[k], fine, -from.chromaShiftX, -from.chromaShiftY, first);
                full[k] = fine;
            }
        }
        for (int y = 0; y < rows; ++y) {
            YccToRgbRow(to, luma.GetRow(first + y), full[0].GetRow(y), full[1].GetRow(y),
                        out.GetRow(static_cast<std::uint64_t>(first + y)), static_cast<std::size_t>(luma.width));
        }
    }
}

void PlanarToPlanar(const IDataVideo& source, const PixFmtDescription& from, IDataVideo& target,
                    const PixFmtDescription& to) {
    CopyChannel(GetChannel(source, ChannelKind::Luma), GetChannel(target, ChannelKind::Luma));
    if (!HasColor(to)) return;
    for (const ChannelKind kind : kChroma) {
        const Channel out = GetChannel(target, kind);
        if (!HasColor(from)) {
            FillChannel(out, kNeutralChroma);
            continue;
        }
        const int shiftX = to.chromaShiftX - from.chromaShiftX, shiftY = to.chromaShiftY - from.chromaShiftY;
        if (shiftX == 0 && shiftY == 0) {
            CopyChannel(GetChannel(source, kind), out);
        } else {
            ResampleChannel(GetChannel(source, kind), out, shiftX, shiftY);
        }
    }
}

// Indexed frames can hold at most 256 colours: greys at their own value, others in order of first appearance.
FramePtr MakeIndexed(const IDataVideo& source, const AllocatorPtr& allocator) {
    FramePtr target = NewFrame(allocator, PixFmt::Pal8, source.GetFrameInfo());
    std::array<std::uint32_t, 256> palette{};
    const Plane out = target->GetPlane(0);
    if (source.GetPixFmt() == PixFmt::Gray8) {
        CopyPlane(source.GetPlane(0), out);
        for (std::uint32_t i = 0; i < palette.size(); ++i) palette[i] = i * 0x010101u | 0xFF000000u;
    } else {
        const FramePtr rgba =
            source.GetPixFmt() == PixFmt::Rgba ? FramePtr() : ConvertPixFmt(source, PixFmt::Rgba, allocator);
        const ConstPlane in = rgba == nullptr ? source.GetPlane(0) : std::as_const(*rgba).GetPlane(0);
        std::unordered_map<std::uint32_t, std::uint8_t> indices;
        std::uint32_t previous = 0;
        std::uint8_t index = 0;
        for (std::uint64_t y = 0; y < in.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < out.GetWidth(); ++x) {
                std::uint32_t color;
                std::memcpy(&color, in.GetRow(y) + 4 * x, sizeof color);
                if (color != previous || indices.empty()) {
                    const auto found = indices.try_emplace(color, static_cast<std::uint8_t>(indices.size())).first;
                    if (indices.size() > palette.size())
                        Throw("Pixel format is not supported! An indexed picture has at most 256 colours.");
                    index = found->second;
                    palette[index] = previous = color;
                }
                out.GetRow(y)[x] = index;
            }
        }
    }
    std::memcpy(target->GetPlane(1).GetData(), palette.data(), sizeof palette);
    return target;
}

}  // namespace

FramePtr ConvertPixFmt(const IDataVideo& source, PixFmt target, const AllocatorPtr& allocator) {
    const PixFmtDescription& from = PixFmtDescription::Get(source.GetPixFmt());
    const PixFmtDescription& to = PixFmtDescription::Get(target);
    if (to.kind == Kind::Indexed && from.kind != Kind::Indexed) return MakeIndexed(source, allocator);

    FramePtr result = NewFrame(allocator, target, source.GetFrameInfo());
    if (to.kind == Kind::Indexed) {
        for (std::uint8_t i = 0; i < from.planes; ++i) CopyPlane(source.GetPlane(i), result->GetPlane(i));
        return result;
    }
    const bool isFromPacked = from.kind == Kind::Packed || from.kind == Kind::Indexed,
               isToPacked = to.kind == Kind::Packed;
    if (isFromPacked || (isToPacked && !HasColor(from))) {
        PackedRows rows(source);
        if (isToPacked) {
            PackedToPacked(rows, *result, to);  // the byte order includes alpha
        } else if (HasColor(to)) {
            PackedToPlanar(rows, *result, to);
        } else {
            PackedToGray(rows, *result);
        }
    } else if (isToPacked) {
        PlanarToPacked(source, from, *result, to);
    } else {
        PlanarToPlanar(source, from, *result, to);
    }
    // Alpha has already been copied from packed rows, or set to 255 in packed targets if the source has none.
    if (!to.HasAlpha() || (from.HasAlpha() ? isFromPacked : isToPacked)) return result;
    if (from.HasAlpha()) {
        CopyChannel(GetChannel(source, ChannelKind::Alpha), GetChannel(*result, ChannelKind::Alpha));
    } else {
        FillChannel(GetChannel(*result, ChannelKind::Alpha), kOpaque);
    }
    return result;
}

}  // namespace Orvexa::Proc
