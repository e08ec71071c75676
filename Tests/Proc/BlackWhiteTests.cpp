#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlackWhite.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectBlackWhite Threshold(double threshold) {
    SettingsEffectBlackWhite settings;
    settings.SetThreshold(threshold);
    settings.SetColorBelow(Color(10, 20, 30, 40));
    settings.SetColorAbove(Color(200, 190, 180, 255));
    return settings;
}

TEST(BlackWhite, SplitsAtTheRoundedThresholdOfLuma) {
    const struct {
        double threshold;
        int firstBright;
    } cases[] = {{0.5, 128}, {0.0, 0}, {1.0, 256}, {0.498, 127}, {0.5 / 256, 1}, {1.0 / 3, 85}};
    for (const auto& c : cases) {
        FramePtr levels = MakeFrame(PixFmt::Rgba, 256, 1);
        for (std::uint64_t x = 0; x < 256; ++x)
            std::fill_n(levels->GetPlane(0).GetOffsetPtr(x, 0), 3, static_cast<std::uint8_t>(x));
        const FramePtr result = Apply(Threshold(c.threshold), levels);
        ASSERT_EQ(result->GetPixFmt(), PixFmt::Rgba) << "converted back";
        for (std::uint64_t x = 0; x < 256; ++x) {
            const Color expected =
                static_cast<int>(x) < c.firstBright ? Color(10, 20, 30, 40) : Color(200, 190, 180, 255);
            const std::uint8_t* p = result->GetPlane(0).GetOffsetPtr(x, 0);
            ASSERT_EQ(Color(p[0], p[1], p[2], p[3]), expected) << c.threshold << " at " << x;
        }
    }
}

TEST(BlackWhite, SplitsByTheLastThresholdSet) {
    const FramePtr levels = MakeFrame(PixFmt::Gray8, 97, 61);
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlackWhite::CLASS_ID);
    for (const double threshold : {0.25, 0.75, 0.75}) {
        effect->SetSettings(Threshold(threshold));
        FramePtr frame = levels;
        effect->ProcessData(frame);
        EXPECT_TRUE(SameFrames(frame, Apply(Threshold(threshold), levels))) << threshold;
    }
    // Resetting alone leaves the split.
    SettingsEffectBlackWhite defaults;
    defaults.SetThreshold(0.75);
    effect->ResetSettings();
    FramePtr frame = levels;
    effect->ProcessData(frame);
    EXPECT_TRUE(SameFrames(frame, Apply(defaults, levels)));
}

TEST(BlackWhite, RefusesThresholdsOutsideOfTheRangeAndKeepsItsSettings) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlackWhite::CLASS_ID);
    effect->SetSettings(Threshold(0.25));
    for (const double wrong : {-0.01, 1.01, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(effect->SetSettings(Threshold(wrong)), EffectException);
    EXPECT_EQ(dynamic_cast<const SettingsEffectBlackWhite&>(effect->GetSettingsBase()).GetThreshold(), 0.25);
}

}  // namespace
}  // namespace Orvexa::Test
