// ColorReduce: replaces every pixel in which one colour dominates by a grey of matching weight, tinted like the
// picture's darkest pixel.
//
// With S the weighted sum of the other two colours, a pixel is replaced if the weighted colour exceeds threshold / 2
// times S, by the grey that gives the colour half the weight of S. The offsets of the darkest pixel are deliberately
// added with 8-bit wrap-around.

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Photo/SettingsEffectColorReduce.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"

namespace Orvexa::Proc {
namespace {

constexpr std::array<double, 3> kLumaWeights{0.299, 0.587, 0.114};  // red, green, blue (ITU-R BT.601)

// The colour to reduce (0) and the other two in the order red, green, blue: their byte positions in a pixel and
// weights.
struct Roles {
    std::array<int, 3> byte;
    std::array<double, 3> weight;
};

Roles RolesOf(PixFmt pixFmt, int reduced) {
    const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
    const std::array<int, 3> bytes{description.red, description.green, description.blue};
    const int second = reduced == 0 ? 1 : 0;
    const int third = reduced == 2 ? 1 : 2;
    return {{bytes[reduced], bytes[second], bytes[third]},
            {kLumaWeights[reduced], kLumaWeights[second], kLumaWeights[third]}};
}

// The differences between the darkest pixel's bytes, by role, and the smallest of the three. Of equally dark pixels the
// first one is used.
std::array<std::uint8_t, 3> DarkestOffsets(const ConstPlane& plane, std::uint64_t bytesPerPixel, const Roles& roles) {
    const auto [a, b, c] = roles.byte;
    const auto [wa, wb, wc] = roles.weight;
    double darkest = std::numeric_limits<double>::max();
    std::array<std::uint8_t, 3> offsets{};
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* pixel = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth() / bytesPerPixel; ++x, pixel += bytesPerPixel) {
            const double luma = (pixel[b] * wb + pixel[a] * wa) + pixel[c] * wc;
            if (luma >= darkest) continue;
            darkest = luma;
            offsets = {pixel[a], pixel[b], pixel[c]};
        }
    }
    const std::uint8_t smallest = std::min({offsets[0], offsets[1], offsets[2]});
    for (std::uint8_t& offset : offsets) offset = static_cast<std::uint8_t>(offset - smallest);
    return offsets;
}

void Reduce(const Plane& plane, std::uint64_t bytesPerPixel, const Roles& roles, double threshold,
            const std::array<std::uint8_t, 3>& offsets) {
    const auto [a, b, c] = roles.byte;
    const auto [wa, wb, wc] = roles.weight;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        std::uint8_t* pixel = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth() / bytesPerPixel; ++x, pixel += bytesPerPixel) {
            const double others = pixel[c] * wc + pixel[b] * wb;
            // A pure colour divides by zero: infinity exceeds every threshold, and NaN, for black, exceeds none.
            if (!((pixel[a] * wa) / others > threshold * 0.5)) continue;
            const auto grey = std::clamp<std::int64_t>(Shared::RoundHalfAway(others * 0.5 / wa), 0, 255);
            pixel[a] = static_cast<std::uint8_t>(grey + offsets[0]);
            pixel[b] = static_cast<std::uint8_t>(grey + offsets[1]);
            pixel[c] = static_cast<std::uint8_t>(grey + offsets[2]);
        }
    }
}

class ColorReduce : public EffectBaseCSCOneInput<SettingsEffectColorReduce> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Rgba2,
                                                 PixFmt::Bgra,  PixFmt::Bgra2, PixFmt::Argb, PixFmt::Argb2,
                                                 PixFmt::Abgr,  PixFmt::Abgr2};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        const auto reduced = static_cast<int>(settings_.GetReducedColor());
        if (reduced < 0 || reduced > 2) throw std::runtime_error("logic error");
        FramePtr output = Writable(frame, input);
        const Plane plane = output->GetPlane(0);
        const Roles roles = RolesOf(output->GetPixFmt(), reduced);
        const std::uint64_t bytesPerPixel = plane.GetBytesPerPixel();
        Reduce(plane, bytesPerPixel, roles, settings_.GetThreshold(), DarkestOffsets(plane, bytesPerPixel, roles));
        frame = std::move(output);
    }
};

}  // namespace

bool RegisterColorReduce(IEffectFactory& factory) { return RegisterEffect<ColorReduce>(factory); }

}  // namespace Orvexa::Proc
