#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectColorBalanceAuto Auto(bool white, bool light, int exposure = 0) {
    SettingsEffectColorBalanceAuto settings;
    settings.SetWhiteBalance(white);
    settings.SetLightBalance(light);
    settings.SetExposure(exposure);
    return settings;
}

// The effect by sorting samples instead of counting them, in real numbers.
FramePtr Direct(const SettingsEffectColorBalanceAuto& s, const FramePtr& input, bool isBlueFirst) {
    const ConstPlane plane = std::as_const(*input).GetPlane(0);
    const std::size_t bpp = plane.GetBytesPerPixel(), pixels = plane.GetPixelsPerRow() * plane.GetHeight();
    const std::vector<std::uint8_t> bytes = Bytes(plane);
    const int weights[3] = {isBlueFirst ? 114 : 299, 587, isBlueFirst ? 299 : 114};
    std::vector<std::vector<int>> sorted(4);
    for (std::size_t i = 0; i < pixels; ++i) {
        int luma = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            sorted[k].push_back(bytes[i * bpp + k]);
            luma += bytes[i * bpp + k] * weights[k];
        }
        sorted[3].push_back(luma / 1000);
    }
    for (auto& samples : sorted) std::sort(samples.begin(), samples.end());
    const auto low = [&](int k, std::size_t quota) {
        return quota == 0 ? 0 : sorted[static_cast<std::size_t>(k)][quota - 1];
    };
    const auto high = [&](int k, std::size_t quota) {
        return quota == 0 ? 255 : sorted[static_cast<std::size_t>(k)][pixels - quota];
    };
    int limits[4][2] = {};
    for (int k = 0; k < 4; ++k) {
        if (s.GetLightBalance()) {
            const auto quota = static_cast<std::size_t>(static_cast<double>(pixels) * 0.005);
            limits[k][0] = low(k, quota) / 2;
            limits[k][1] = high(k, quota) + (255 - high(k, quota)) / 2;
        } else if (k < 3) {
            limits[k][0] = low(k, pixels / 10 / static_cast<std::size_t>(weights[k]));
            limits[k][1] = high(k, pixels / 100 / static_cast<std::size_t>(weights[k]));
        }
    }
    const auto stretch = [&](int k, int v) {
        return limits[k][0] == limits[k][1]
                   ? v
                   : static_cast<int>(std::floor(
                         std::clamp((v - limits[k][0]) * 255.0 / (limits[k][1] - limits[k][0]), 0.0, 255.0) + 0.5));
    };
    const auto gamma = [](int v) { return static_cast<int>(std::floor(std::pow(v / 255.0, 1.0402365) * 255.0 + 0.5)); };
    const FramePtr output = CloneFrame(*input, kCloneIndependent);
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint8_t* pixel =
            output->GetPlane(0).GetOffsetPtr(i % plane.GetPixelsPerRow(), i / plane.GetPixelsPerRow());
        for (int k = 0; k < 3; ++k) {
            int v = pixel[k];
            if (s.GetWhiteBalance()) v = stretch(k, v);
            if (s.GetLightBalance()) v = gamma(stretch(3, gamma(stretch(k, v))));
            const int e = s.GetExposure();
            const double gain = e < 0 ? 1.0 / (-e * 0.03 + 1.0) : e * 0.03 + 1.0;
            if (e != 0) v = static_cast<int>(std::min(v * gain + 0.5, 255.0));
            pixel[k] = static_cast<std::uint8_t>(v);
        }
    }
    return output;
}

TEST(ColorBalanceAuto, EqualsADirectFormulationWithAllSwitchesInEveryFormat) {
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Rgba2, PixFmt::Bgra2}) {
        const FramePtr input = MakeFrame(pixFmt, 197, 161);
        const Plane plane = input->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            // Each channel in a range of its own with thin tails, as in a dull photograph.
            for (std::uint64_t b = 0; b < plane.GetWidth(); ++b) {
                std::uint8_t& v = plane.GetRow(y)[b];
                const auto channel = static_cast<int>(b % plane.GetBytesPerPixel());
                v = static_cast<std::uint8_t>(v < 2     ? v
                                              : v > 253 ? 240 + channel
                                                        : 30 + channel * 9 + v * (150 + channel * 10) / 255);
            }
        }
        for (int switches = 0; switches < 4; ++switches) {
            for (const int exposure : {0, 10, -20}) {
                const auto settings = Auto((switches & 1) != 0, (switches & 2) != 0, exposure);
                const bool isBlueFirst = pixFmt == PixFmt::Bgr24 || pixFmt == PixFmt::Bgra || pixFmt == PixFmt::Bgra2;
                EXPECT_TRUE(SameFrames(Apply(settings, input), Direct(settings, input, isBlueFirst)))
                    << Name(pixFmt) << ' ' << FormatSettings(settings);
            }
        }
    }
}

TEST(ColorBalanceAuto, DividesTheQuotaByTheWeightOfTheChannel) {
    // 100 x 100 pixels: red needs 3 pixels to become black, green 1, blue 8; no quota is left for white.
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 100, 100, Color(200, 200, 200));
    for (int i = 0; i < 7; ++i) {
        std::uint8_t* pixel = input->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(i), 0);
        pixel[0] = i < 3 ? 51 : 200;
        pixel[1] = i < 1 ? 51 : 200;
        pixel[2] = 51;
    }
    const std::vector<std::uint8_t> result = Bytes(*Apply(Auto(true, false), input));
    EXPECT_EQ(result[0], 0) << "red 51 is black";
    EXPECT_EQ(result[1], 0) << "green 51 is black";
    EXPECT_EQ(result[3 * 50], std::lround((200 - 51) * 255.0 / (255 - 51)));
    EXPECT_EQ(result[3 * 50 + 2], std::lround((200 - 200) * 255.0 / (255 - 200)))
        << "seven pixels are too few for blue: 200 is its black";
}

TEST(ColorBalanceAuto, LeavesOnlyTheDoubledGammaOnAFullRangePicture) {
    // Black and white three columns each, more than 0.5 % of the pixels; the other levels one column.
    FramePtr input = MakeFrame(PixFmt::Rgb24, 260, 40);
    for (std::uint64_t y = 0; y < 40; ++y) {
        for (int x = 0; x < 260; ++x) {
            std::fill_n(input->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x), y), 3,
                        static_cast<std::uint8_t>(std::clamp(x - 2, 0, 255)));
        }
    }
    const std::vector<std::uint8_t> result = Bytes(*Apply(Auto(false, true), input));
    const int once = static_cast<int>(std::pow(128 / 255.0, 1.0402365) * 255 + 0.5);
    EXPECT_EQ(once, 124) << "124.9987 before the truncation";
    EXPECT_EQ(result[3 * 130], static_cast<int>(std::pow(once / 255.0, 1.0402365) * 255 + 0.5));
    EXPECT_EQ(result[0], 0);
    EXPECT_EQ(result[3 * 259], 255);
}

}  // namespace
}  // namespace Orvexa::Test
