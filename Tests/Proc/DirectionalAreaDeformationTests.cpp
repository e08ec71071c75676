#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

struct Stroke {
    int fromX, fromY, toX, toY, size;
    double strength = 100;
};

class Brushed {
public:
    explicit Brushed(IEffectFactory& factory = *ModuleFactory()) {
        factory.CreateOneInputEffect(effect_, SettingsEffectDirectionalAreaDeformation::CLASS_ID, ImplNames::ORVEXA,
                                     {});
    }

    FramePtr operator()(const Stroke& stroke, FramePtr frame) {
        SettingsEffectDirectionalAreaDeformation settings;
        settings.SetFromX(stroke.fromX);
        settings.SetFromY(stroke.fromY);
        settings.SetToX(stroke.toX);
        settings.SetToY(stroke.toY);
        settings.SetSize(stroke.size);
        settings.SetStrength(stroke.strength);
        effect_->SetSettings(settings);
        effect_->ProcessData(frame);
        return frame;
    }

private:
    OneInputPtr effect_;
};

// Levels count up from left to right, so that a pixel tells where it comes from.
FramePtr Slope(std::uint32_t width, std::uint32_t height) {
    return DrawFrame(PixFmt::Gray8, width, height, [](int x, int, int) { return x; });
}

TEST(DirectionalAreaDeformation, PushesAlongTheStrokeAndLeavesTheRestAlone) {
    const Stroke stroke{80, 60, 130, 60, 40};
    const FramePtr result = Brushed()(stroke, Slope(200, 120));
    for (int y = 0; y < 120; ++y) {
        for (int x = 0; x < 200; ++x) {
            // From the capsule's axis, in radii.
            const double distance = std::hypot(x - std::clamp(x, 80, 130), y - 60) / 20.0;
            const double t = std::clamp((distance - 0.25) / 0.75, 0.0, 1.0);
            const double push = 100 * (40 * 0.2) / 100 * (1 - t * t * (3 - 2 * t));
            const bool isOutsideBox = x < 60 || x >= 150 || y < 40 || y >= 80;
            ASSERT_NEAR(SampleAt(result, x, y), x - push, isOutsideBox ? 0 : 1) << x << ", " << y;
        }
    }
}

TEST(DirectionalAreaDeformation, AddsUpPushesOfTheFirstPicture) {
    const FramePtr base = MakeFrame(PixFmt::Gray8, 200, 120);
    const Stroke right{80, 60, 120, 60, 40}, down{100, 50, 100, 70, 40};
    Brushed brush;
    // Eight pixels; a second push the same way adds nothing.
    for (int i = 0; i < 2; ++i) {
        const FramePtr pushed = brush(right, CloneFrame(*base, kCloneIndependent));
        EXPECT_EQ(SampleAt(pushed, 100, 60), SampleAt(base, 92, 60)) << i;
        EXPECT_EQ(SampleAt(pushed, 104, 63), SampleAt(base, 96, 63)) << i;
    }
    // Across it: (8, 8) * 8 / (8 + 8). What was pushed is the first picture, whatever the frame shows now.
    const FramePtr twice = brush(down, MakeFrame(PixFmt::Gray8, 200, 120, Color::Black(Opacity::Opaque)));
    EXPECT_EQ(SampleAt(twice, 100, 60), SampleAt(base, 96, 56));
    EXPECT_EQ(SampleAt(twice, 60, 60), 0) << "outside the stroke the frame is its own";
    // A picture of another size starts anew.
    const FramePtr other = MakeFrame(PixFmt::Gray8, 201, 120);
    const FramePtr anew = brush(right, CloneFrame(*other, kCloneIndependent));
    EXPECT_EQ(SampleAt(anew, 100, 60), SampleAt(other, 92, 60));
}

TEST(DirectionalAreaDeformation, StrokesThatPushNothing) {
    const FramePtr base = MakeFrame(PixFmt::Gray8, 100, 80),
                   black = MakeFrame(PixFmt::Gray8, 100, 80, Color::Black(Opacity::Opaque));
    struct {
        Stroke stroke;
        bool isRedrawn;  // from the first picture
        const char* what;
    } const cases[] = {{{50, 40, 50, 40, 20}, true, "no length"},
                       {{45, 40, 55, 40, 20, 0}, true, "no strength"},
                       {{300, 40, 400, 40, 20}, false, "right of the picture"},
                       {{-200, -50, -100, -60, 20}, false, "above and left"},
                       {{110, 40, 150, 40, 20}, false, "the brush ends at the edge"}};
    for (const auto& [stroke, isRedrawn, what] : cases) {
        Brushed brush;
        EXPECT_TRUE(SameFrames(brush(stroke, CloneFrame(*base, kCloneIndependent)), base)) << what;
        const FramePtr second = brush(stroke, CloneFrame(*black, kCloneIndependent));
        EXPECT_EQ(SampleAt(second, 50, 40), isRedrawn ? SampleAt(base, 50, 40) : 0) << what;
        EXPECT_EQ(SampleAt(second, 10, 10), 0) << what;
    }
}

// Chroma samples of the redrawn box are those of the picture, wherever box and patch begin.
TEST(DirectionalAreaDeformation, AStrokeWithoutStrengthChangesNothingInAnyFormat) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        if (pixFmt == PixFmt::Pal8) continue;
        const FramePtr base = MakeFrame(pixFmt, 97, 61);
        for (int x = 30; x < 34; ++x) {
            for (const int y : {20, 21}) {
                EXPECT_TRUE(
                    SameFrames(Brushed()({x, y, 60, 40, 11 + x % 2, 0}, CloneFrame(*base, kCloneIndependent)), base))
                    << Name(pixFmt) << ' ' << x << ' ' << y;
            }
        }
    }
}

// Where the remapping looks for pixel (0, 28).
std::pair<float, float> seenPosition;

class PositionReader : public HostOneInput<SettingsEffectRemapping> {
public:
    using HostOneInput::HostOneInput;

private:
    void Process(FramePtr&) override { settings_.GetRowFunction()(28, 1, &seenPosition.first, &seenPosition.second); }
};

TEST(DirectionalAreaDeformation, AddsPushesInSinglePrecisionFromLeftToRight) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    factory->RegisterOneInputEffect(
        SettingsEffectRemapping::CLASS_ID, ImplNames::HOST,
        [](const FactoryPtr& f, const AllocatorPtr& a) { return MakeEffect<PositionReader>(f, a); }, 0);
    for (int strength = 1; strength <= 100; ++strength) {
        Brushed brush(*factory);
        // Both push whole at (0, 28): 8 pixels at full strength, along (1, 0) and (0.8, 0.6).
        brush({0, 30, 60, 30, 40, 73}, MakeFrame(PixFmt::Gray8, 100, 80));
        brush({0, 28, 40, 58, 40, static_cast<double>(strength)}, MakeFrame(PixFmt::Gray8, 100, 80));
        const auto p = static_cast<float>(73.0 * (40 * 0.2) / 100.0),
                   w = static_cast<float>(strength * (40 * 0.2) / 100.0);
        const float larger = std::max(w, p), sum = p + w;
        EXPECT_EQ(seenPosition.first, 0.0f - (p + w * 0.8f) * larger / sum) << strength;
        EXPECT_EQ(seenPosition.second, 28.0f - (0.0f + w * 0.6f) * larger / sum) << strength;
    }
}

TEST(DirectionalAreaDeformation, ChangesOnlyWhatItsCallerCanSee) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 200, 120), before = CloneFrame(*picture, kCloneIndependent);
    FramePtr left = CloneFrame(*picture, kCloneView), right = CloneFrame(*picture, kCloneView);
    left->Crop(0, 0, 120, 120);
    right->Crop(80, 0, 120, 120);
    const std::vector<std::uint8_t> ofRight = Bytes(*right);
    const FramePtr pushed = Brushed()({60, 60, 110, 60, 40}, left);
    EXPECT_FALSE(SameFrames(pushed, left));
    EXPECT_EQ(Bytes(*right), ofRight);
    EXPECT_TRUE(SameFrames(picture, before));
}

TEST(DirectionalAreaDeformation, DrawsIntoFramesOfOtherFormats) {
    const FramePtr base = MakeFrame(PixFmt::Rgb24, 100, 80, Pattern::ColorCube);
    Brushed brush;
    brush({30, 40, 70, 40, 20}, CloneFrame(*base, kCloneIndependent));
    const FramePtr expected = brush({30, 40, 70, 40, 20}, CloneFrame(*base, kCloneIndependent));
    const FramePtr result = brush({30, 40, 70, 40, 20}, Converted(base, PixFmt::Bgra));
    EXPECT_TRUE(SameFrames(result, Converted(expected, PixFmt::Bgra)));
}

TEST(DirectionalAreaDeformation, AStrokesReachIsClippedToThePicture) {
    // A brush larger than the picture, and strokes that leave it.
    for (const Stroke& stroke :
         {Stroke{-50, -50, 150, 130, 300}, Stroke{99, 79, 131072, 131072, 16384}, Stroke{0, 0, 99, 79, 1}}) {
        const GuardedFrame guarded(PixFmt::Rgb24, 100, 80);
        FramePtr frame = guarded.GetFrame();
        Brushed()(stroke, frame);
        EXPECT_TRUE(guarded.IsGuardIntact());
    }
}

}  // namespace
}  // namespace Orvexa::Test
