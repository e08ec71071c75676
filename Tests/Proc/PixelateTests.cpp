#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

SettingsEffectPixelate Strength(double strength) {
    SettingsEffectPixelate settings;
    settings.SetStrength(strength);
    return settings;
}

TEST(Pixelate, TellsTheScaleThatFollowsTheStrength) {
    struct {
        double strength;
        std::uint32_t width, height;
        const char* scale;
    } const cases[] = {
        {0, 640, 480, "1"},
        {100, 640, 480, "0.0666667"},  // 32 / 480
        {150, 640, 480, "0.0666667"},
        {-0.5, 640, 480, "1"},
        {-2, 640, 480, "0.0666667"},
        {100, 40, 16, "2"},
        {100, 32, 64, "1"},
        {100, 2, 9000, "14.5636"},  // 16 would give a side of 144000; no frame's exceeds 131072
        // p = 2, t = (2 - 100 / 101) / (100 - 100 / 101) = 0.0102; 0.5 * (1 - w) + w, w = t * t * (3 - 2 * t) =
        // 0.00030999
        {49, 64, 64, "0.500155"},
    };
    for (const auto& [strength, width, height, scale] : cases) {
        const LogCapture log(0);
        Apply(Strength(strength), MakeFrame(PixFmt::Gray8, width, height));
        ASSERT_THAT(log.GetLines(), ElementsAre(EndsWith(std::string("Pixelate scale: ") + scale))) << strength;
        EXPECT_THAT(log.GetLines()[0], testing::HasSubstr("Pixelate.cpp:81 "));
    }
}

TEST(Pixelate, FillsCellsWithTheirMean) {
    const FramePtr source = MakeFrame(PixFmt::Gray8, 96, 64);
    const FramePtr result = Apply(Strength(100), source);
    for (std::uint32_t y = 0; y < 64; ++y) {
        for (std::uint32_t x = 0; x < 96; ++x) {
            double sum = 0;
            for (const std::uint32_t i : {0u, 1u}) {
                for (const std::uint32_t k : {0u, 1u}) sum += SampleAt(source, x / 2 * 2 + i, y / 2 * 2 + k);
            }
            ASSERT_NEAR(SampleAt(result, x, y), sum / 4, 0.5) << x << ", " << y;
        }
    }
}

TEST(Pixelate, ConfiguresItsResizersForANewSizeAndAfterNewSettings) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectPixelate::CLASS_ID);
    const auto run = [&](std::uint32_t width) {
        FramePtr frame = MakeFrame(PixFmt::Rgb24, width, 64);
        spied.factory->TakeTranscript();
        spied.effect->ProcessData(frame);
        EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(width, 64));
        return spied.factory->TakeTranscript();
    };
    spied.effect->SetSettings(Strength(100));
    const std::vector<std::string> first = run(128);
    ASSERT_EQ(first.size(), 4u);
    EXPECT_THAT(first[0], StartsWith("set SettingsResizer#1 resizeMethod=area "));
    EXPECT_THAT(first[1],
                StartsWith("set SettingsResizer#2 resizeMethod=nearest customMode=exactToo customInfo=128,64,1,1 "));
    EXPECT_EQ(first[2], "run SettingsResizer#1 rgb24 128x64 -> rgb24 64x32");
    EXPECT_EQ(first[3], "run SettingsResizer#2 rgb24 64x32 -> rgb24 128x64");
    EXPECT_EQ(run(128).size(), 2u);
    spied.effect->SetSettings(Strength(100));
    EXPECT_EQ(run(128).size(), 2u) << "equal settings";
    EXPECT_EQ(run(130).size(), 4u);
    spied.effect->SetSettings(Strength(20));
    EXPECT_EQ(run(130).size(), 4u);
    spied.effect->ResetSettings();
    EXPECT_EQ(FormatSettings(spied.effect->GetSettingsBase()), FormatSettings(Strength(20)))
        << "only the resizers are forgotten";
    EXPECT_EQ(run(130).size(), 4u);
}

}  // namespace
}  // namespace Orvexa::Test
