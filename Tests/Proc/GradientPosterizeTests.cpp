#include <gtest/gtest.h>

#include "Host/Settings/Common/SettingsEffectPosterize.h"
#include "Host/Settings/Photo/SettingsEffectGradientPosterize.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectGradientPosterize Tones(int count) {
    SettingsEffectGradientPosterize settings;
    settings.SetColorCount(static_cast<std::uint8_t>(count));
    return settings;
}

TEST(GradientPosterize, GivesEveryLevelItsMeanChroma) {
    for (const PixFmt pixFmt :
         {PixFmt::Yuv420p, PixFmt::Yuv444p, PixFmt::Yuva422p, PixFmt::Yuv410p, PixFmt::Yuvj411p, PixFmt::Yuv440p}) {
        for (const auto& [width, height] : kSizes) {
            for (const int count : {1, 8, 255}) {
                const FramePtr input = MakeFrame(pixFmt, width, height);
                const FramePtr output = Apply(Tones(count), input);
                ASSERT_EQ(output->GetPixFmt(), pixFmt);
                EXPECT_EQ(Bytes(std::as_const(*output).GetPlane(0)), Bytes(std::as_const(*input).GetPlane(0)))
                    << "luma stays";
                const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
                const ConstPlane luma = std::as_const(*input).GetPlane(0);
                for (std::uint8_t k = 1; k <= 2; ++k) {
                    const ConstPlane before = std::as_const(*input).GetPlane(k),
                                     after = std::as_const(*output).GetPlane(k);
                    const auto levelAt = [&](std::uint64_t x, std::uint64_t y) {
                        return luma.GetRow(y << description.chromaShiftY)[x << description.chromaShiftX] * count / 256;
                    };
                    std::vector<std::pair<unsigned, unsigned>> sums(256);
                    for (std::uint64_t y = 0; y < before.GetHeight(); ++y) {
                        for (std::uint64_t x = 0; x < before.GetWidth(); ++x) {
                            sums[static_cast<std::size_t>(levelAt(x, y))].first += before.GetRow(y)[x];
                            ++sums[static_cast<std::size_t>(levelAt(x, y))].second;
                        }
                    }
                    for (std::uint64_t y = 0; y < before.GetHeight(); ++y) {
                        for (std::uint64_t x = 0; x < before.GetWidth(); ++x) {
                            const auto& [sum, number] = sums[static_cast<std::size_t>(levelAt(x, y))];
                            ASSERT_EQ(after.GetRow(y)[x], sum / number) << Name(pixFmt) << ' ' << x << ' ' << y;
                        }
                    }
                }
            }
        }
    }
}

TEST(GradientPosterize, KeepsThePlanarFormatForPackedInput) {
    EXPECT_EQ(Apply(Tones(4), MakeFrame(PixFmt::Rgb24, 20, 20))->GetPixFmt(), PixFmt::Yuv444p);
    EXPECT_EQ(Apply(Tones(4), MakeFrame(PixFmt::Bgra, 20, 20))->GetPixFmt(), PixFmt::Yuva444p);
}

TEST(GradientPosterize, SendsTheNumberOfLevelsWithEverySetting) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectGradientPosterize::CLASS_ID);
    spied.factory->TakeTranscript();
    spied.effect->SetSettings(Tones(5));
    spied.effect->SetSettings(Tones(5));
    EXPECT_EQ(spied.factory->TakeTranscript(),
              std::vector<std::string>(2, "set SettingsEffectPosterize#1 colorsNumber=5 mode=index"));
}

TEST(Posterize, SpreadsLevelsOverTheFullRange) {
    SettingsEffectPosterize settings;
    settings.SetColorsNumber(3);
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 3, 1, {0, 85, 86, 9, 170, 171, 255, 9, 128, 1, 254, 9});
    EXPECT_TRUE(SameFrames(RunHost(settings, frame),
                           MakeFrame(PixFmt::Rgba, 3, 1, {0, 0, 128, 9, 128, 255, 255, 9, 128, 0, 255, 9})));
}

}  // namespace
}  // namespace Orvexa::Test
