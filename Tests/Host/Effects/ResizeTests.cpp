#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Settings/Common/SettingsEffectResize.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using Words = std::initializer_list<std::pair<const char*, const char*>>;

SettingsEffectResize SettingsOf(const Words& words) {
    SettingsEffectResize settings;
    for (const auto& [key, value] : words) SetField(settings, key, value);
    return settings;
}

TEST(Resize, TakesASizeInSeveralWays) {
    struct Case {
        Words words;
        std::uint32_t width, height;  // of a picture of 120 x 81
    };
    for (const Case& c : {Case{{{"width", "60"}}, 60, 41},
                          {{{"height", "27"}}, 40, 27},
                          {{{"width", "7"}, {"height", "9"}}, 7, 9},
                          {{{"fit", "60x60"}}, 60, 41},
                          {{{"fit", "999x27"}}, 40, 27},
                          {{{"fit", "500x500"}}, 120, 81},
                          {{{"scale", "0.001"}}, 1, 1},
                          {{{"scale", "1.5"}}, 180, 122},
                          {{{"width", "240"}}, 240, 162}}) {
        const FramePtr result = RunHost(SettingsOf(c.words), MakeFrame(PixFmt::Rgb24, 120, 81));
        EXPECT_EQ(result->GetFrameInfo(), FrameInfo(c.width, c.height)) << c.words.begin()->second;
    }
}

TEST(Resize, SaysWhatItNeeds) {
    for (const Words& words : {Words{}, {{"width", "5"}, {"scale", "2"}}, {{"fit", "9x9"}, {"scale", "2"}}}) {
        EXPECT_THAT(MessageOf([&] { RunHost(SettingsOf(words), MakeFrame(PixFmt::Gray8, 4, 4)); }),
                    testing::StartsWith("Resize takes a width"));
    }
    for (const char* box : {"5", "x5", "0x5", "5x5x5", "-5x5"})
        EXPECT_THROW(SettingsOf({{"fit", box}}), SettingsException) << box;
}

}  // namespace
}  // namespace Orvexa::Test
