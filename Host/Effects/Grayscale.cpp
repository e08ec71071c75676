// Grayscale: converts a colour frame to a grey one. Alpha is dropped.

#include <algorithm>
#include <array>

#include "Host/Effects/Bands.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"

namespace Orvexa::Proc {
namespace {

enum Method : int { kAverage = 0, kLuma = 1, kLightness = 2 };

constexpr int kBandRows = 64;

// Halves are rounded up.
struct Average {
    static constexpr int Of(int r, int g, int b) { return (2 * (r + g + b) + 3) / 6; }
};
struct Lightness {
    static constexpr int Of(int r, int g, int b) { return (std::min({r, g, b}) + std::max({r, g, b}) + 1) / 2; }
};

template <class Grey>
FramePtr MakeGrey(const IDataVideo& rgb, const AllocatorPtr& allocator) {
    const FramePtr result = NewFrame(allocator, PixFmt::Gray8, rgb.GetFrameInfo());
    const Plane to = result->GetPlane(0);
    const ConstPlane from = rgb.GetPlane(0);
    ForEachBand(static_cast<int>(to.GetHeight()), kBandRows, [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const std::uint8_t* pixel = from.GetRow(static_cast<std::uint64_t>(y));
            std::uint8_t* grey = to.GetRow(static_cast<std::uint64_t>(y));
            for (std::uint64_t x = 0; x < to.GetWidth(); ++x, pixel += 3)
                grey[x] = static_cast<std::uint8_t>(Grey::Of(pixel[0], pixel[1], pixel[2]));
        }
    });
    return result;
}

class Grayscale : public HostOneInput<SettingsEffectGrayscale> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const int method = settings_.GetMethod();
        if (method < kAverage || method > kLightness) Throw("Grey-scale method is not supported! It must be 0..2.");
        if (method == kLuma || frame->GetPixFmt() == PixFmt::Gray8) {
            frame = InFormat(frame, PixFmt::Gray8, allocator_);
            return;
        }
        const FramePtr rgb = InFormat(frame, PixFmt::Rgb24, allocator_);
        frame = method == kAverage ? MakeGrey<Average>(*rgb, allocator_) : MakeGrey<Lightness>(*rgb, allocator_);
    }
};

}  // namespace

OneInputPtr CreateGrayscale(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Grayscale>(factory, allocator);
}

}  // namespace Orvexa::Proc
