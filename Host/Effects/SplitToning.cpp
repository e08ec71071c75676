// SplitToning: adds one colour's chroma to shadows and another one's to highlights.
//
// The added offset depends only on luma: half the chroma of the highlights' colour times s, plus half that of the
// shadows' colour times 1 - s, where s rises smoothly from 0 to 1 over a whole range of levels centred at 0.5 - balance
// / 200. It is reduced where a grey level could not carry it, so that black, white and all luma are preserved. A grey
// frame is converted to Y'CbCr; alpha is unchanged.

#include <array>
#include <vector>

#include "Host/Effects/Bands.h"
#include "Host/Effects/PixelRows.h"
#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectSplitToning.h"

namespace Orvexa::Proc {
namespace {

constexpr int kBandRows = 64;
constexpr double kShare = 0.5;  // of a colour's chroma; all of it would overwhelm the picture's own

// Full-range ITU-R BT.601.
constexpr double kRed = 0.299, kGreen = 0.587, kBlue = 0.114;

// Levels to add to R, G and B; their luma is 0.
using Offset = std::array<double, 3>;

Offset ChromaOf(const Color& color) {
    const double luma = kRed * color.red() + kGreen * color.green() + kBlue * color.blue();
    return {color.red() - luma, color.green() - luma, color.blue() - luma};
}

// The largest fraction of the offset, up to 1, that keeps a grey level within 0..255.
double ShareThatFits(const Offset& offset, int level) {
    double share = 1.0;
    for (const double value : offset) {
        if (value > 0.0) share = std::min(share, (255 - level) / value);
        if (value < 0.0) share = std::min(share, level / -value);
    }
    return share;
}

std::uint8_t ToByte(int level) { return static_cast<std::uint8_t>(std::clamp(level, 0, 255)); }
int Rounded(double value) { return static_cast<int>(value < 0.0 ? value - 0.5 : value + 0.5); }

class SplitToning : public PlanesEffect<SettingsEffectSplitToning> {
public:
    using PlanesEffect::PlanesEffect;
    using PlanesEffect::ProcessData;

    void ProcessData(DataPtr& data) override {
        this->KeepTiming(data, [this](FramePtr& frame) {
            if (frame->GetPixFmt() == PixFmt::Gray8) frame = ConvertPixFmt(*frame, PixFmt::Yuv444p, allocator_);
        });
        PlanesEffect::ProcessData(data);
    }

protected:
    bool Prepare(const IDataVideo&) override {
        const Offset shadow = ChromaOf(settings_.GetShadowColor()), highlight = ChromaOf(settings_.GetHighlightColor());
        const double pivot = 0.5 - std::clamp(settings_.GetBalance(), -100, 100) / 200.0;
        for (int level = 0; level < 256; ++level) {
            const double t = std::clamp(level / 255.0 - pivot + 0.5, 0.0, 1.0), s = t * t * (3.0 - 2.0 * t);
            Offset offset;
            for (std::size_t k = 0; k < 3; ++k) offset[k] = kShare * (shadow[k] * (1.0 - s) + highlight[k] * s);
            const double share = ShareThatFits(offset, level);
            const auto i = static_cast<std::size_t>(level);
            for (std::size_t k = 0; k < 3; ++k) colors_[k][i] = Rounded(offset[k] * share);
            cb_[i] = Rounded(offset[2] * share / (2.0 * (1.0 - kBlue)));
            cr_[i] = Rounded(offset[0] * share / (2.0 * (1.0 - kRed)));
        }
        return true;
    }

    bool IsKept(PlaneRole role) const override { return role == PlaneRole::Luma || role == PlaneRole::Alpha; }

    void ProcessPlane(const PlaneTask& plane) const override {
        if (plane.role == PlaneRole::Packed) {
            ForEachBand(plane.from.rows, kBandRows, [&](int first, int end) { ProcessPacked(plane, first, end); });
        } else {
            ProcessChroma(plane);
        }
    }

private:
    void ProcessChroma(const PlaneTask& plane) const {
        cv::Mat luma(plane.from.size(), CV_8U);
        ResampleChannel(GetChannel(plane.picture, ChannelKind::Luma),
                        {luma.data, static_cast<std::int64_t>(luma.step), 1, luma.cols, luma.rows}, plane.shiftX,
                        plane.shiftY);
        const std::string_view layout = PixFmtDescription::Get(plane.picture.GetPixFmt()).layout[plane.index];
        ForEachBand(luma.rows, kBandRows, [&](int first, int end) {
            for (int y = first; y < end; ++y) {
                const std::uint8_t *from = plane.from.ptr(y), *level = luma.ptr(y);
                auto* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
                for (int x = 0; x < luma.cols; ++x) {
                    for (const char letter : layout) {
                        const auto& table = letter == static_cast<char>(ChannelKind::Cb) ? cb_ : cr_;
                        *to++ = ToByte(*from++ + table[level[x]]);
                    }
                }
            }
        });
    }

    void ProcessPacked(const PlaneTask& plane, int first, int end) const {
        const PixFmtDescription& layout = PixFmtDescription::Get(plane.picture.GetPixFmt());
        std::vector<std::uint8_t> luma(static_cast<std::size_t>(plane.from.cols));
        for (int y = first; y < end; ++y) {
            const std::uint8_t* from = plane.from.ptr(y);
            auto* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
            RgbToLumaRow(layout, from, luma.data(), luma.size());
            for (const std::uint8_t level : luma) {
                if (plane.alpha >= 0) to[plane.alpha] = from[plane.alpha];
                to[layout.red] = ToByte(from[layout.red] + colors_[0][level]);
                to[layout.green] = ToByte(from[layout.green] + colors_[1][level]);
                to[layout.blue] = ToByte(from[layout.blue] + colors_[2][level]);
                from += plane.from.channels();
                to += plane.from.channels();
            }
        }
    }

    using Table = std::array<int, 256>;
    std::array<Table, 3> colors_{};  // offsets for R, G and B, by luma
    Table cb_{}, cr_{};
};

}  // namespace

OneInputPtr CreateSplitToning(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<SplitToning>(factory, allocator);
}

}  // namespace Orvexa::Proc
