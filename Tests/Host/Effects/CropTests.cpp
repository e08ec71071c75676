// Crops and trimaps.

#include "Host/Settings/Common/SettingsEffectCrop.h"
#include "Host/Settings/Common/SettingsEffectTrimap.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectCrop Crop(const std::vector<std::pair<std::string, std::string>>& fields) {
    SettingsEffectCrop settings;
    for (const auto& [key, text] : fields) SetField(settings, key, text);
    return settings;
}

TEST(Crop, CutsTheRectangleOutInPixelsAndPercent) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 97, 61);
    const struct {
        SettingsEffectCrop settings;
        std::uint32_t x, y, width, height;
    } cases[] = {
        {Crop({{"x", "10"}, {"y", "20"}, {"width", "30"}, {"height", "40"}}), 10, 20, 30, 40},
        {Crop({{"x", "10%"}, {"width", "80%"}}), 10, 0, 77, 61},
        {Crop({{"y", "60"}}), 0, 60, 97, 1},
        {Crop({{"x", "50%"}, {"y", "50%"}}), 49, 31, 48, 30},
        {Crop({{"width", "50%"}, {"height", "50%"}}), 0, 0, 49, 31},
        {Crop({{"x", "95.5"}, {"width", "1.49"}, {"height", "rest"}}), 96, 0, 1, 61},
    };
    for (const auto& c : cases) {
        const FramePtr result = RunHost(c.settings, source);
        ASSERT_EQ(result->GetFrameInfo(), FrameInfo(c.width, c.height)) << FormatSettings(c.settings);
        for (std::uint32_t y = 0; y < c.height; ++y) {
            for (std::uint32_t x = 0; x < c.width; ++x)
                ASSERT_EQ(SampleAt(result, x, y, 1), SampleAt(source, c.x + x, c.y + y, 1));
        }
        EXPECT_FALSE(result->SharesPixels());
    }
    EXPECT_EQ(RunHost(SettingsEffectCrop(), source), source);
    EXPECT_EQ(RunHost(Crop({{"width", "97"}, {"height", "100%"}}), source), source);
}

TEST(Crop, SaysWhatThePicturesSizeIs) {
    const FramePtr source = MakeFrame(PixFmt::Yuv420p, 640, 480);
    EXPECT_EQ(MessageOf([&] {
                  RunHost(Crop({{"x", "600"}, {"width", "41"}}), source);
              }),
              "A crop of 41 x 480 pixels at (600, 0) does not lie inside the picture of 640 x 480 pixels!");
    for (const auto& settings :
         {Crop({{"width", "0"}}), Crop({{"height", "0.1%"}}), Crop({{"x", "640"}}), Crop({{"x", "200%"}}),
          Crop({{"height", "481"}}), Crop({{"x", "1e300"}}), Crop({{"width", "1e300"}})})
        EXPECT_NE(MessageOf([&] { RunHost(settings, source); }).find("the picture of 640 x 480 pixels!"),
                  std::string::npos)
            << FormatSettings(settings);
}

TEST(Trimap, MarksTheBandAroundTheEdgeOfTheMask) {
    const FramePtr mask = MakeFrame(PixFmt::Gray8, 90, 70, Color(0, 0, 0));
    Grid picture = Read(*mask, 0);
    for (int y = 0; y < 70; ++y) {
        for (int x = 0; x < 90; ++x)
            picture.At(x, y) = std::hypot(x - 30, y - 40) < 22 ? 128 : x > 80 && y > 60 ? 255 : 127;
    }
    Write(*mask, 0, 0, picture);
    for (const int width : {0, 1, 2, 5, 30}) {
        const FramePtr result = RunHost(SettingsEffectTrimap(width), mask);
        for (int y = 0; y < 70; ++y) {
            for (int x = 0; x < 90; ++x) {
                const bool isShown = picture.At(x, y) >= 128;
                bool isNear = false;
                for (int v = std::max(y - width, 0); v <= std::min(y + width, 69); ++v) {
                    for (int u = std::max(x - width, 0); u <= std::min(x + width, 89); ++u)
                        isNear |= (picture.At(u, v) >= 128) != isShown &&
                                  (u - x) * (u - x) + (v - y) * (v - y) <= width * width;
                }
                ASSERT_EQ(SampleAt(result, x, y), isNear ? 128 : isShown ? 255 : 0) << width << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST(Trimap, TakesMasksOfAnyFormatAndOfOneKind) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const std::uint8_t level : {0, 255}) {
            const FramePtr result =
                RunHost(SettingsEffectTrimap(3), MakeFrame(pixFmt, 9, 7, Color(level, level, level)));
            EXPECT_TRUE(SameFrames(result, MakeFrame(PixFmt::Gray8, 9, 7, Color(level, level, level)))) << Name(pixFmt);
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
