// Vibrance: changes the saturation of dull colours more than that of vivid ones.
//
// Chroma (Cb, Cr around 128) is multiplied by 1 + strength * (1 - C / 128)^2, where C is its magnitude: greys are
// unchanged, dull colours change most, and the order of saturation within a hue is preserved. Around the hue of skin
// the change is halved. Luma and alpha are unchanged. Packed colours are moved away from their luma by the same factor.

#include <cmath>
#include <vector>

#include "Host/Effects/Bands.h"
#include "Host/Effects/PixelRows.h"
#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectVibrance.h"

namespace Orvexa::Proc {
namespace {

constexpr int kBandRows = 64;
constexpr double kNeutral = 128.0;
constexpr int kGainBits = 8;
constexpr double kSkinHue = 2.15;   // radians from Cb towards Cr; the hue of all skin, whatever its brightness
constexpr double kSkinWidth = 0.6;  // radians to either side over which the change recovers
constexpr double kSkinShare = 0.5;

double GainOf(double cb, double cr, double strength) {
    const double dullness = 1.0 - std::min(std::hypot(cb, cr) / kNeutral, 1.0);
    const double fromSkin = std::min(std::abs(std::atan2(cr, cb) - kSkinHue) / kSkinWidth, 1.0);
    const double skin = kSkinShare + (1.0 - kSkinShare) * fromSkin * fromSkin * (3.0 - 2.0 * fromSkin);
    return 1.0 + strength * dullness * dullness * skin;
}

std::uint8_t ToByte(double level) { return static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0) + 0.5); }
std::uint8_t ToByte(int level) { return static_cast<std::uint8_t>(std::clamp(level, 0, 255)); }

// The change of a colour, indexed by its chroma.
struct ChromaEntry {
    std::uint8_t cb, cr;
    std::uint16_t gain;  // with kGainBits fraction bits
};

class Vibrance : public PlanesEffect<SettingsEffectVibrance> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo& picture) override {
        if (settings_.GetStrength() == 0 || picture.GetPixFmt() == PixFmt::Gray8) return false;
        const double strength = std::clamp(settings_.GetStrength() / 100.0, -1.0, 1.0);
        if (strength == strength_) return true;
        strength_ = strength;
        entries_.resize(256 * 256);
        for (int i = 0; i < 256 * 256; ++i) {
            const double cb = i / 256 - kNeutral, cr = i % 256 - kNeutral, gain = GainOf(cb, cr, strength);
            entries_[static_cast<std::size_t>(i)] = {ToByte(kNeutral + cb * gain), ToByte(kNeutral + cr * gain),
                                                     static_cast<std::uint16_t>(gain * (1 << kGainBits) + 0.5)};
        }
        return true;
    }

    bool IsKept(PlaneRole role) const override { return role == PlaneRole::Luma || role == PlaneRole::Alpha; }

    void ProcessPlane(const PlaneTask& plane) const override {
        ForEachBand(plane.from.rows, kBandRows, [&](int first, int end) {
            if (plane.role != PlaneRole::Packed) {
                ProcessChroma(plane, first, end);
            } else if (plane.alpha < 0) {
                ProcessPacked<3>(plane, first, end);
            } else {
                ProcessPacked<4>(plane, first, end);
            }
        });
    }

private:
    const ChromaEntry& EntryOf(std::uint8_t cb, std::uint8_t cr) const {
        return entries_[static_cast<std::size_t>(cb) << 8 | cr];
    }

    // A chroma plane also needs the other chroma channel, wherever that is stored.
    void ProcessChroma(const PlaneTask& plane, int first, int end) const {
        const ConstChannel cb = GetChannel(plane.picture, ChannelKind::Cb),
                           cr = GetChannel(plane.picture, ChannelKind::Cr);
        const std::string_view layout = PixFmtDescription::Get(plane.picture.GetPixFmt()).layout[plane.index];
        for (int y = first; y < end; ++y) {
            const std::uint8_t *fromCb = cb.GetRow(y), *fromCr = cr.GetRow(y);
            auto* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
            for (int x = 0; x < cb.width; ++x, fromCb += cb.step, fromCr += cr.step) {
                const ChromaEntry& entry = EntryOf(*fromCb, *fromCr);
                for (const char letter : layout)
                    *to++ = letter == static_cast<char>(ChannelKind::Cb) ? entry.cb : entry.cr;
            }
        }
    }

    template <int Channels>
    void ProcessPacked(const PlaneTask& plane, int first, int end) const {
        const PixFmtDescription& layout = PixFmtDescription::Get(plane.picture.GetPixFmt());
        const auto pixels = static_cast<std::size_t>(plane.from.cols);
        std::vector<std::uint8_t> luma(pixels), cb(pixels), cr(pixels);
        for (int y = first; y < end; ++y) {
            const std::uint8_t* from = plane.from.ptr(y);
            auto* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
            RgbToYccRow(layout, from, luma.data(), cb.data(), cr.data(), pixels);
            for (std::size_t x = 0; x < pixels; ++x, from += Channels, to += Channels) {
                const int grey = luma[x], gain = EntryOf(cb[x], cr[x]).gain;
                for (int k = 0; k < Channels; ++k)
                    to[k] = ToByte(grey + (((from[k] - grey) * gain + (1 << (kGainBits - 1))) >> kGainBits));
                if (Channels == 4) to[plane.alpha] = from[plane.alpha];
            }
        }
    }

    double strength_ = 0.0;             // of the entries
    std::vector<ChromaEntry> entries_;  // by Cb * 256 + Cr
};

}  // namespace

OneInputPtr CreateVibrance(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Vibrance>(factory, allocator);
}

}  // namespace Orvexa::Proc
