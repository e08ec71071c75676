#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectBlendPalette Palette(int alpha, int x, int y) {
    SettingsEffectBlendPalette settings;
    settings.SetAlpha(alpha);
    settings.SetPositionX(x);
    settings.SetPositionY(y);
    SettingsEffectBlendPalette::PaletteMap palette;
    for (int index = 0; index < 256; index += 3) {
        const auto i = static_cast<std::uint8_t>(index);
        palette[i] = Color(i, static_cast<std::uint8_t>(255 - i), static_cast<std::uint8_t>(i * 7),
                           static_cast<std::uint8_t>(index % 2 == 0 ? 255 : i));
    }
    settings.SetPalette(palette);
    return settings;
}

FramePtr Blend(const SettingsEffectBlendPalette& settings, const FramePtr& picture, const FramePtr& indices) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsEffectBlendPalette::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    FramePtr result = picture;
    effect->ProcessData(result, ConstFramePtr(indices));
    return result;
}

TEST(BlendPalette, EqualsTheDefinitionAtEveryPlacementFormatAndOpacity) {
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Rgba2, PixFmt::Bgra, PixFmt::Bgra2}) {
        for (const auto& [x, y] : {std::pair{0, 0},
                                   {13, 7},
                                   {-9, -4},
                                   {80, 50},
                                   {-60, 3},
                                   {97, 0},
                                   {0, -31},
                                   {-2147483647 - 1, 2147483647}}) {
            for (const int alpha : {0, 1, 128, 255}) {
                const SettingsEffectBlendPalette settings = Palette(alpha, x, y);
                const FramePtr indices = MakeFrame(PixFmt::Gray8, 40, 31);
                const GuardedFrame guarded(pixFmt, 97, 61);
                const FramePtr expected = CloneFrame(*guarded.GetFrame(), kCloneIndependent);
                const Plane plane = expected->GetPlane(0);
                const bool isBlueFirst = PixFmtDescription::Get(pixFmt).red == 2;
                for (std::int64_t py = 0; py < 61; ++py) {
                    for (std::int64_t px = 0; px < 97; ++px) {
                        const std::int64_t ix = px - x, iy = py - y;
                        if (ix < 0 || iy < 0 || ix >= 40 || iy >= 31) continue;
                        const std::uint8_t index = indices->GetPlane(0).GetRow(static_cast<std::uint64_t>(iy))[ix];
                        const auto found = settings.GetPalette().find(index);
                        if (found == settings.GetPalette().end()) continue;
                        const Color& c = found->second;
                        const int bytes[4] = {isBlueFirst ? c.blue() : c.red(), c.green(),
                                              isBlueFirst ? c.red() : c.blue(), c.alpha()};
                        const int opacity = c.alpha() * alpha / 255;
                        std::uint8_t* p =
                            plane.GetOffsetPtr(static_cast<std::uint64_t>(px), static_cast<std::uint64_t>(py));
                        for (std::uint64_t k = 0; k < plane.GetBytesPerPixel(); ++k)
                            p[k] = static_cast<std::uint8_t>(((255 - opacity) * p[k] + opacity * bytes[k]) / 255);
                    }
                }
                EXPECT_TRUE(SameFrames(Blend(settings, guarded.GetFrame(), indices), expected))
                    << Name(pixFmt) << ' ' << x << ' ' << y << ' ' << alpha;
                EXPECT_TRUE(guarded.IsGuardIntact());
            }
        }
    }
}

// Tables are kept once built. With four bytes a pixel the opacity is that of the colours' own table, not of an older
// palette's.
TEST(BlendPalette, TakesOpacityFromTheTableOfTheFormat) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsEffectBlendPalette::CLASS_ID, ImplNames::ORVEXA, {});
    const auto draw = [&](const Color& color, PixFmt pixFmt) {
        SettingsEffectBlendPalette settings;
        settings.SetAlpha(255);
        settings.SetPalette({{7, color}});
        effect->SetSettings(settings);
        FramePtr picture = MakeFrame(pixFmt, 1, 1, Color(255, 0, 0, 255));
        effect->ProcessData(picture, ConstFramePtr(MakeFrame(PixFmt::Gray8, 1, 1, {7})));
        return Bytes(*picture);
    };
    const Color opaqueBlue(0, 0, 255, 255), halfGreen(0, 255, 0, 128);
    EXPECT_EQ(draw(opaqueBlue, PixFmt::Rgb24), (std::vector<std::uint8_t>{0, 0, 255}));
    EXPECT_EQ(draw(halfGreen, PixFmt::Bgra),
              (std::vector<std::uint8_t>{0, 128, 127, 191}));  // (127 * 255 + 128 * 128) / 255
    EXPECT_EQ(draw(halfGreen, PixFmt::Rgb24), (std::vector<std::uint8_t>{0, 0, 255})) << "the first palette's";
    EXPECT_EQ(draw(opaqueBlue, PixFmt::Rgba), (std::vector<std::uint8_t>{0, 0, 255, 255})) << "the first palette's";
}

TEST(BlendPalette, RefusesOtherFormatsOnlyWhenThereIsSomethingToDraw) {
    const FramePtr indices = MakeFrame(PixFmt::Gray8, 4, 4), picture = MakeFrame(PixFmt::Yuv420p, 20, 20);
    EXPECT_THROW(Blend(Palette(255, 0, 0), picture, indices), EffectException);
    EXPECT_NO_THROW(Blend(Palette(0, 0, 0), picture, indices));
    EXPECT_NO_THROW(Blend(Palette(255, 20, 0), picture, indices));
}

}  // namespace
}  // namespace Orvexa::Test
