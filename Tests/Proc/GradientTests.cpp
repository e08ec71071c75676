#include <gtest/gtest.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectGradient.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectGradient Stops(const SettingsEffectGradient::StopMap& stops) {
    SettingsEffectGradient settings;
    settings.SetStops(stops);
    return settings;
}

// Chroma of the colour that each level is mapped to, u and v as the first two bytes; luma is the level's own.
std::vector<Color> ChromaByLevel(const SettingsEffectGradient::StopMap& stops) {
    FramePtr ramp = MakeFrame(PixFmt::Yuv444p, 256, 1, Color(128, 128, 128));
    for (std::uint64_t x = 0; x < 256; ++x) *ramp->GetPlane(0).GetOffsetPtr(x, 0) = static_cast<std::uint8_t>(x);
    const FramePtr result = Apply(Stops(stops), ramp);
    std::vector<Color> chroma;
    for (std::uint64_t x = 0; x < 256; ++x) {
        EXPECT_EQ(*result->GetPlane(0).GetOffsetPtr(x, 0), x) << "luma is kept";
        chroma.emplace_back(*result->GetPlane(1).GetOffsetPtr(x, 0), *result->GetPlane(2).GetOffsetPtr(x, 0),
                            std::uint8_t{0});
    }
    return chroma;
}

void ExpectChroma(const std::vector<Color>& actual, std::size_t level, const Color& color) {
    EXPECT_NEAR(actual[level][0], color.u(), 1) << level;
    EXPECT_NEAR(actual[level][1], color.v(), 1) << level;
}

TEST(Gradient, InterpolatesBetweenStopsAndExtendsTheOuterOnes) {
    const Color red(255, 0, 0), blue(0, 0, 255);
    const auto palette = ChromaByLevel({{64, red}, {192, blue}});
    for (const std::size_t level : {0u, 30u, 64u}) ExpectChroma(palette, level, red);
    ExpectChroma(palette, 128, Color(128, 0, 127));  // 255 - 64 * 255 / 128 truncated toward zero
    for (const std::size_t level : {192u, 255u}) ExpectChroma(palette, level, blue);
    const auto single = ChromaByLevel({{100, Color(20, 200, 90)}});
    for (const std::size_t level : {0u, 100u, 255u}) ExpectChroma(single, level, Color(20, 200, 90));
    const auto touching = ChromaByLevel({{0, red}, {255, red}, {256, blue}});
    ExpectChroma(touching, 255, red);
}

// Without chroma on the way alpha tells the palette exactly.
TEST(Gradient, InterpolatesAlphaTruncatingTowardZero) {
    FramePtr ramp = MakeFrame(PixFmt::Rgba, 256, 1);
    for (std::uint64_t x = 0; x < 256; ++x)
        std::fill_n(ramp->GetPlane(0).GetOffsetPtr(x, 0), 3, static_cast<std::uint8_t>(x));
    const FramePtr result =
        Apply(Stops({{0, Color(90, 90, 90, 250)}, {100, Color(90, 90, 90, 3)}, {200, Color(90, 90, 90, 100)}}), ramp);
    ASSERT_EQ(result->GetPixFmt(), PixFmt::Rgba);
    for (int x = 0; x < 256; ++x) {
        const double exact = x < 100 ? -247.0 * x / 100 : x < 200 ? 97.0 * (x - 100) / 100 : 0;
        EXPECT_EQ(SampleAt(result, static_cast<std::uint64_t>(x), 0, 3), (x < 100   ? 250
                                                                          : x < 200 ? 3
                                                                                    : 100) +
                                                                             std::trunc(exact))
            << x;
    }
}

TEST(Gradient, ShowsRedStopsAsRedInEveryFormat) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra}) {
        const FramePtr result =
            Apply(Stops({{0, Color(255, 0, 0)}}), MakeFrame(pixFmt, 4, 4, Color(76, 76, 76)));  // the luma of pure red
        ASSERT_EQ(result->GetPixFmt(), pixFmt);
        const int red = PixFmtDescription::Get(pixFmt).red;
        EXPECT_GT(result->GetPlane(0).GetData()[red], 240) << Name(pixFmt);
        EXPECT_LT(result->GetPlane(0).GetData()[2 - red], 15) << Name(pixFmt);
    }
}

TEST(Gradient, RefusesPositionsBeyondTheEndAndKeepsItsBlackPaletteForDefaults) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectGradient::CLASS_ID);
    EXPECT_THROW(effect->SetSettings(Stops({{257, Color(1, 2, 3)}})), EffectException);
    effect->SetSettings(SettingsEffectGradient());
    FramePtr frame = MakeFrame(PixFmt::Yuv444p, 8, 8);
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(std::as_const(*frame).GetPlane(1)), std::vector<std::uint8_t>(64, 128)) << "black has no colour";
    EXPECT_FALSE(SettingsEffectGradient::Preset().GetStops().empty());
}

}  // namespace
}  // namespace Orvexa::Test
