#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Common/SettingsEffectDrawShape.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

const Color kInk(250, 120, 30);

SettingsEffectDrawContours Lines(const std::vector<Contour>& contours, int thickness, int lineType = 0) {
    SettingsEffectDrawContours settings;
    settings.SetContours(contours);
    settings.SetColor(Color::White(Opacity::Opaque));
    settings.SetThickness(thickness);
    settings.SetLineType(lineType);
    return settings;
}
FramePtr Blank(std::uint32_t width = 60, std::uint32_t height = 40) {
    return MakeFrame(PixFmt::Gray8, width, height, Color::Black(Opacity::Opaque));
}
int CountDrawn(const Grid& grid, double least, double most) {
    int count = 0;
    for (const double value : grid.values) count += value >= least && value <= most;
    return count;
}

TEST(DrawContours, FillsWhatAContourEncloses) {
    const Grid grid =
        Read(*RunHost(SettingsEffectDrawContours({{10, 5}, {40, 5}, {10, 35}}, Color(255, 255, 255)), Blank()), 0);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x) {
            // How far inside the nearest of the three edges.
            const double inside = std::min({x - 10.0, y - 5.0, (45.0 - x - y) / std::sqrt(2.0)});
            if (inside >= 0) {
                EXPECT_EQ(grid.At(x, y), 255) << x << ' ' << y;
            } else if (inside < -1) {
                EXPECT_EQ(grid.At(x, y), 0) << x << ' ' << y;
            }
        }
    }
}

TEST(DrawContours, DrawsClosedLinesAndSinglePoints) {
    const Contour square{{10, 10}, {30, 10}, {30, 30}, {10, 30}};
    const Grid thin = Read(*RunHost(Lines({square, {{50, 20}}}, 1), Blank()), 0);
    EXPECT_EQ(CountDrawn(thin, 255, 255), 80 + 1);
    EXPECT_EQ(thin.At(10, 20), 255) << "from the last point to the first";
    EXPECT_EQ(thin.At(20, 20), 0);
    EXPECT_EQ(thin.At(50, 20), 255);
    const Grid thick = Read(*RunHost(Lines({square}, 5), Blank()), 0);
    for (const int x : {28, 30, 32}) EXPECT_EQ(thick.At(x, 20), 255);
    for (const int x : {26, 34}) EXPECT_EQ(thick.At(x, 20), 0);
    const Contour slope{{5, 5}, {55, 25}};
    EXPECT_EQ(CountDrawn(Read(*RunHost(Lines({slope}, 2, 0), Blank()), 0), 1, 254), 0);
    EXPECT_GT(CountDrawn(Read(*RunHost(Lines({slope}, 2, 1), Blank()), 0), 1, 254), 30);
}

TEST(DrawShape, DrawsSectorsClockwiseFromTheFirstAxis) {
    SettingsEffectDrawShape settings({30, 20}, 20, 10, Color(255, 255, 255));
    const auto draw = [&] { return Read(*RunHost(settings, Blank()), 0); };
    const Grid whole = draw();
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x) {
            const double radius = std::hypot((x - 30) / 20.0, (y - 20) / 10.0);
            if (radius < 0.93) {
                EXPECT_EQ(whole.At(x, y), 255) << x << ' ' << y;
            } else if (radius > 1.1) {
                EXPECT_EQ(whole.At(x, y), 0) << x << ' ' << y;
            }
        }
    }
    settings.SetStartAngle(0);
    settings.SetEndAngle(90);
    const Grid quarter = draw();
    EXPECT_EQ(quarter.At(38, 24), 255) << "to the right and below";
    for (const auto& [x, y] : {std::pair{38, 16}, {22, 16}, {22, 24}}) EXPECT_EQ(quarter.At(x, y), 0);
    settings.SetAngle(90);
    EXPECT_EQ(draw().At(27, 26), 255) << "turned clockwise, the sector lies to the left and below";
    settings.SetEndAngle(360);
    EXPECT_EQ(draw().At(30, 36), 255) << "and the long axis runs downwards";
}

TEST(Drawing, WritesThroughIntoEveryFormatAndNowhereElse) {
    const Contour around{{-500, -70}, {2000, -70}, {2000, 900}, {-500, 900}};
    for (const PixFmt pixFmt : AllPixFmts()) {
        const GuardedFrame frame(pixFmt, 31, 23);
        const auto fill = [&] { return RunHost(SettingsEffectDrawContours(around, kInk), frame.GetFrame()); };
        if (pixFmt == PixFmt::Pal8) {
            EXPECT_THROW(fill(), EffectException);
            continue;
        }
        EXPECT_EQ(fill(), frame.GetFrame());
        EXPECT_TRUE(SameFrames(frame.GetFrame(), MakeFrame(pixFmt, 31, 23, kInk))) << Name(pixFmt);
        for (const int lineType : {0, 1}) {
            RunHost(Lines({{{-9, 3}, {50, 12}, {4, 90}}, {}}, 3, lineType), frame.GetFrame());
            RunHost(SettingsEffectDrawShape({30, 22}, 9, 400, kInk), frame.GetFrame());
        }
        EXPECT_TRUE(frame.IsGuardIntact()) << Name(pixFmt);
        // What is drawn stands at the same place in every plane.
        const FramePtr drawn = MakeFrame(pixFmt, 64, 64, Color(0, 0, 0));
        RunHost(SettingsEffectDrawContours({{16, 16}, {47, 16}, {47, 47}, {16, 47}}, kInk), drawn);
        const FramePtr colors = Converted(drawn, PixFmt::Rgb24),
                       ink = Converted(MakeFrame(pixFmt, 1, 1, kInk), PixFmt::Rgb24);
        for (int k = 0; k < 3; ++k) {
            for (const int at : {20, 43})
                EXPECT_EQ(SampleAt(colors, at, at, k), SampleAt(ink, 0, 0, k)) << Name(pixFmt);
            for (const int at : {10, 53}) EXPECT_EQ(SampleAt(colors, at, at, k), 0) << Name(pixFmt);
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
