#include <limits>
#include <numbers>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectRotate.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

enum SizeMode : int { kSame, kGrown, kInscribed };

SettingsEffectRotate Turning(double angle, int mode) {
    SettingsEffectRotate settings;
    settings.SetAngle(angle);
    settings.SetOutputSizeMode(mode);
    return settings;
}

TEST(Rotate, MovesPixelsOnlyAtMultiplesOfARightAngle) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        const GuardedFrame guarded(pixFmt, 96, 64);
        const FramePtr source = guarded.GetFrame();
        const Grid from = Read(*source, 0);
        const Grid left = Read(*RunHost(Turning(90, kGrown), source), 0),
                   half = Read(*RunHost(Turning(-180, kSame), source), 0),
                   right = Read(*RunHost(Turning(270, kGrown), source), 0);
        ASSERT_EQ(left.width, 64);
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 96; ++x) {
                ASSERT_EQ(left.At(y, 95 - x), from.At(x, y)) << Name(pixFmt);
                ASSERT_EQ(half.At(95 - x, 63 - y), from.At(x, y)) << Name(pixFmt);
                ASSERT_EQ(right.At(63 - y, x), from.At(x, y)) << Name(pixFmt);
            }
        }
        // Every plane comes back, unless chroma had to be put on another grid in between.
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        if (description.chromaShiftX == description.chromaShiftY) {
            EXPECT_TRUE(SameFrames(RunHost(Turning(-90, kGrown), RunHost(Turning(90, kGrown), source)), source));
        }
        EXPECT_TRUE(guarded.IsGuardIntact());
    }
    const FramePtr source = MakeFrame(PixFmt::Gray8, 60, 40);
    const Grid from = Read(*source, 0), cut = Read(*RunHost(Turning(90, kSame), source), 0);
    ASSERT_EQ(cut.width, 60);
    EXPECT_EQ(cut.At(9, 20), 0) << "beside the turned picture";
    for (int y = 0; y < 40; ++y) {
        for (int x = 10; x < 50; ++x) ASSERT_EQ(cut.At(x, y), from.At(59 - (y + 10), x - 10));
    }
    EXPECT_EQ(RunHost(Turning(360, kGrown), source), source);
}

TEST(Rotate, HasTheSizesThatGeometryAsksFor) {
    const double angle = std::asin(0.6) * 180 / std::numbers::pi;  // cosine 0.8
    const struct {
        double angle;
        int mode;
        std::uint32_t width, height;
    } cases[] = {{angle, kSame, 300, 400},       {angle, kGrown, 480, 500},       {angle, kInscribed, 187, 250},
                 {-angle, kInscribed, 187, 250}, {180 - angle, kGrown, 480, 500}, {90, kInscribed, 225, 300},
                 {180, kInscribed, 300, 400},    {450, kGrown, 400, 300}};
    const FramePtr source = MakeFrame(PixFmt::Gray8, 300, 400);
    for (const auto& c : cases)
        EXPECT_EQ(RunHost(Turning(c.angle, c.mode), source)->GetFrameInfo(), FrameInfo(c.width, c.height))
            << c.angle << ' ' << c.mode;
}

TEST(Rotate, TurnsASmoothPictureAboutItsCentre) {
    const auto level = [](double x, double y) { return 128 + 60 * std::sin(x / 9) + 50 * std::cos(y / 7 + x / 30); };
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 700, 420);
    Grid picture = Read(*source, 0);
    for (int y = 0; y < 420; ++y) {
        for (int x = 0; x < 700; ++x) picture.At(x, y) = level(x - 349.5, y - 209.5);
    }
    for (int k = 0; k < 3; ++k) Write(*source, 0, k, picture);
    for (const double angle : {3.0, 41.0, 100.0, 205.0, -63.0}) {
        const double cosine = std::cos(angle * std::numbers::pi / 180), sine = std::sin(angle * std::numbers::pi / 180);
        for (const int mode : {kSame, kGrown, kInscribed}) {
            const Grid result = Read(*RunHost(Turning(angle, mode), source), 0, 1);
            for (int y = 0; y < result.height; ++y) {
                for (int x = 0; x < result.width; ++x) {
                    const double right = x - (result.width - 1) / 2.0, down = y - (result.height - 1) / 2.0;
                    const double fromX = cosine * right - sine * down, fromY = sine * right + cosine * down;
                    const double within = std::min(350 - std::abs(fromX), 210 - std::abs(fromY));
                    if (within > 3) {
                        ASSERT_NEAR(result.At(x, y), level(fromX, fromY), 2.0)
                            << angle << ' ' << mode << ' ' << x << ' ' << y;
                    } else if (within < -3) {
                        ASSERT_EQ(result.At(x, y), 0) << angle << ' ' << mode << ' ' << x << ' ' << y;
                    }
                    ASSERT_TRUE(mode != kInscribed || within > -0.01) << angle;
                }
            }
        }
    }
}

TEST(Rotate, LeavesCornersTransparentAndHiddenColoursHidden) {
    const Color shown(200, 100, 50);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Abgr, PixFmt::Yuva444p}) {
        for (const FramePtr& source :
             {MakeFrame(pixFmt, 80, 60, shown), MakeHalfHidden(pixFmt, 80, 60, shown, Color(0, 255, 255))}) {
            const FramePtr result = Converted(RunHost(Turning(30, kGrown), source), PixFmt::Rgba);
            EXPECT_EQ(SampleAt(result, 0, 0, 3), 0);
            EXPECT_EQ(SampleAt(result, 50, 60, 3), SampleAt(Converted(source, PixFmt::Rgba), 39, 40, 3));
            const FrameInfo info = result->GetFrameInfo();
            int seen = 0;
            for (std::uint32_t y = 0; y < info.height; ++y) {
                for (std::uint32_t x = 0; x < info.width; ++x) {
                    if (SampleAt(result, x, y, 3) < 8) continue;
                    ++seen;
                    ASSERT_NEAR(SampleAt(result, x, y, 0), 200, 3) << Name(pixFmt) << ' ' << x << ' ' << y;
                    ASSERT_NEAR(SampleAt(result, x, y, 2), 50, 3) << Name(pixFmt) << ' ' << x << ' ' << y;
                }
            }
            EXPECT_GT(seen, 2000);
        }
    }
}

TEST(Rotate, TreatsEveryFormatAndRefusesWhatIsNoAngle) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            for (const double angle : {-33.0, 90.0, 180.0}) {
                for (const int mode : {kSame, kGrown, kInscribed}) {
                    const GuardedFrame source(pixFmt, width, height);
                    const FramePtr result = RunHost(Turning(angle, mode), source.GetFrame());
                    EXPECT_TRUE(result->GetPixFmt() == pixFmt ||
                                (pixFmt == PixFmt::Pal8 && result->GetPixFmt() == PixFmt::Rgba));
                    EXPECT_TRUE(source.IsGuardIntact());
                    // Plain white stays plain white where nothing is empty.
                    const FramePtr white = MakeFrame(pixFmt, width, height, Color(255, 255, 255));
                    if (mode == kInscribed) {
                        const FramePtr turned = Converted(RunHost(Turning(angle, mode), white), PixFmt::Rgba);
                        EXPECT_TRUE(SameFrames(turned, MakeFrame(PixFmt::Rgba, turned->GetFrameInfo().width,
                                                                 turned->GetFrameInfo().height, Color(255, 255, 255))))
                            << Name(pixFmt) << ' ' << width << ' ' << angle;
                    }
                }
            }
        }
    }
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 4, 4);
    EXPECT_THROW(RunHost(Turning(std::numeric_limits<double>::quiet_NaN(), kSame), frame), EffectException);
    EXPECT_THROW(RunHost(Turning(5, 3), frame), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
