// ColorBalance: brightness, contrast, saturation and gamma, in this order.
//
// All but saturation are curves on levels 0..1, applied to R, G and B of packed formats and to luma of the others:
//   brightness b: adds b / 100;
//   contrast c: below 0, multiplies the distance from middle grey by 1 + c / 100; above 0, an S-curve through black,
//   middle grey and white, x^k / (x^k + (1 - x)^k), with slope k = 1 / (1 - c / 100) at middle grey, so that highlights
//   do not clip;
//   gamma g: x^(2^(-g / 50)).
// Saturation s moves colours away from their luma, or chroma from 128, by the factor 1 + s / 100. Alpha is unchanged.

#include <array>
#include <cmath>
#include <vector>

#include "Host/Effects/Bands.h"
#include "Host/Effects/PixelRows.h"
#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"

namespace Orvexa::Proc {
namespace {

using Table = std::array<std::uint8_t, 256>;

constexpr int kBandRows = 64;
constexpr double kPercent = 100.0;
constexpr int kGainBits = 8;  // fraction bits of the saturation factor, which is 0..2
constexpr int kMargin = 255;  // how far a colour can move beyond either end of the range

double Share(int percent) { return std::clamp(percent / kPercent, -1.0, 1.0); }

double WithContrast(double level, double contrast) {
    if (contrast <= 0.0) return 0.5 + (level - 0.5) * (1.0 + contrast);
    if (level <= 0.0 || level >= 1.0 || contrast >= 1.0) return level < 0.5 ? 0.0 : 1.0;
    return 1.0 / (1.0 + std::pow((1.0 - level) / level, 1.0 / (1.0 - contrast)));
}

double WithGamma(double level, double gamma) {
    return std::pow(std::clamp(level, 0.0, 1.0), std::exp2(-gamma * kPercent / 50.0));
}

template <class Curve>
Table MakeTable(Curve&& curve) {
    Table table;
    for (int i = 0; i < 256; ++i) {
        table[static_cast<std::size_t>(i)] =
            static_cast<std::uint8_t>(std::clamp(curve(i / 255.0), 0.0, 1.0) * 255.0 + 0.5);
    }
    return table;
}

// Maps every byte of a row through a table, except alpha.
void ApplyTable(const Table& table, const std::uint8_t* from, std::uint8_t* to, int pixels, int channels, int alpha) {
    if (alpha < 0) {
        for (int i = 0; i < pixels * channels; ++i) to[i] = table[from[i]];
        return;
    }
    for (int x = 0; x < pixels; ++x, from += 4, to += 4) {
        const std::uint8_t kept = from[alpha];
        for (int k = 0; k < 4; ++k) to[k] = table[from[k]];
        to[alpha] = kept;
    }
}

class ColorBalance : public PlanesEffect<SettingsEffectColorBalance> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override {
        if (settings_ == SettingsEffectColorBalance()) return false;
        const double brightness = Share(settings_.GetBrightness()), contrast = Share(settings_.GetContrast()),
                     gamma = Share(settings_.GetGamma()), gain = 1.0 + Share(settings_.GetSaturation());
        const auto before = [&](double level) { return WithContrast(level + brightness, contrast); };
        const auto after = [&](double level) { return WithGamma(level, gamma); };
        before_ = MakeTable(before);
        whole_ = MakeTable([&](double level) { return after(before(level)); });
        chroma_ = MakeTable([&](double level) { return (128.0 + (level * 255.0 - 128.0) * gain) / 255.0; });
        const Table gammaTable = MakeTable(after);
        for (int i = 0; i < static_cast<int>(after_.size()); ++i)
            after_[static_cast<std::size_t>(i)] = gammaTable[static_cast<std::size_t>(std::clamp(i - kMargin, 0, 255))];
        gain_ = static_cast<int>(gain * (1 << kGainBits) + 0.5);
        return true;
    }

    bool IsKept(PlaneRole role) const override {
        return role == PlaneRole::Alpha || (role == PlaneRole::Chroma && gain_ == 1 << kGainBits);
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        ForEachBand(plane.from.rows, kBandRows, [&](int first, int end) {
            std::vector<std::uint8_t> luma(static_cast<std::size_t>(plane.from.cols));
            for (int y = first; y < end; ++y) ProcessRow(plane, y, luma);
        });
    }

private:
    void ProcessRow(const PlaneTask& plane, int y, std::vector<std::uint8_t>& luma) const {
        const std::uint8_t* from = plane.from.ptr(y);
        std::uint8_t* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
        const int pixels = plane.from.cols, channels = plane.from.channels();
        const bool isSaturating = plane.role == PlaneRole::Packed && gain_ != 1 << kGainBits;
        const Table& table = plane.role == PlaneRole::Chroma ? chroma_ : isSaturating ? before_ : whole_;
        ApplyTable(table, from, to, pixels, channels, plane.alpha);
        if (!isSaturating) return;
        RgbToLumaRow(PixFmtDescription::Get(plane.picture.GetPixFmt()), to, luma.data(), luma.size());
        if (channels == 3) {
            Saturate<3>(to, luma, -1);
        } else {
            Saturate<4>(to, luma, plane.alpha);
        }
    }

    // Moves colours away from their luma, and applies gamma.
    template <int Channels>
    void Saturate(std::uint8_t* pixel, const std::vector<std::uint8_t>& luma, int alpha) const {
        const std::uint8_t* level = after_.data() + kMargin;
        for (const int grey : luma) {
            const std::uint8_t kept = pixel[std::max(alpha, 0)];
            for (int k = 0; k < Channels; ++k)
                pixel[k] = level[grey + (((pixel[k] - grey) * gain_ + (1 << (kGainBits - 1))) >> kGainBits)];
            if (alpha >= 0) pixel[alpha] = kept;
            pixel += Channels;
        }
    }

    Table before_{};  // brightness and contrast
    Table whole_{};   // including gamma
    Table chroma_{};
    std::array<std::uint8_t, 256 + 2 * kMargin> after_{};  // gamma only; entry `kMargin` is level 0
    int gain_ = 1 << kGainBits;
};

}  // namespace

OneInputPtr CreateColorBalance(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<ColorBalance>(factory, allocator);
}

}  // namespace Orvexa::Proc
