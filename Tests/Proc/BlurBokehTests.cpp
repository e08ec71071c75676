#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Proc/Effects/EffectsPhoto/Shared/Convolution.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::ElementsAre;

SettingsEffectBlurBokeh Settings_(std::initializer_list<std::pair<const char*, const char*>> values) {
    SettingsEffectBlurBokeh settings;
    for (const auto& [key, value] : values) SetField(settings, key, value);
    return settings;
}

// At full strength the result is the blurred picture, without anything of the sharp one.
FramePtr Blurred(SettingsEffectBlurBokeh settings, const FramePtr& input) {
    settings.SetStrength(1);
    return Apply(settings, input);
}

double Boosted(int sample, double threshold, double gain) {
    return sample / 255.0 > threshold ? sample * gain : sample;
}

// The aperture at the size that a picture of this size asks for.
FramePtr KernelOf(const SettingsEffectBlurBokeh& settings, const FrameInfo& info) {
    SettingsResizer scaling(SettingsResizer::ResizeMethods::BicubicLuma);
    scaling.SetCustomScale(settings.GetSize() * std::min(info.width, info.height) / settings.GetAperture().GetSize());
    return RunHost(scaling, RunHost(settings.GetAperture(), {}));
}

// A pixel and the mean around it under the aperture turned by 180 degrees, mirrored at its sides: below in steps of an
// even kernel height.
TEST(BlurBokeh, WeighsThePictureByTheAperture) {
    const struct {
        PixFmt pixFmt;
        std::uint32_t width, height;
        SettingsEffectBlurBokeh settings;
    } cases[] = {{PixFmt::Rgb24, 96, 62, Settings_({{"size", "0.15"}})},  // 9 x 9
                 {PixFmt::Rgb24, 96, 64, Settings_({{"size", "0.16"}})},  // 10 x 10
                 {PixFmt::Bgr24, 54, 40, Settings_({{"size", "0.1"}, {"aperture.shape", "polygon"}})},
                 {PixFmt::Rgb24, 52, 46,
                  Settings_({{"size", "0.2"}, {"aperture.shape", "heart"}, {"imageGain", "6"}, {"bokehGain", "3"}})},
                 {PixFmt::Rgb24, 62, 96, Settings_({{"size", "0.07"}, {"imageThreshold", "0"}, {"imageGain", "0.5"}})}};
    for (const auto& [pixFmt, width, height, settings] : cases) {
        const FramePtr input = MakeFrame(pixFmt, width, height), kernel = KernelOf(settings, input->GetFrameInfo()),
                       blurred = Blurred(settings, input);
        const int w = static_cast<int>(width), h = static_cast<int>(height),
                  kw = static_cast<int>(kernel->GetFrameInfo().width),
                  kh = static_cast<int>(kernel->GetFrameInfo().height);
        const int last = h - 1 + kh - kh / 2;  // the row where the buffer below the picture ends
        const auto pictureAt = [&](int x, int y, int channel) {
            const int column = w - 1 - std::abs(w - 1 - std::abs(x)), above = last - y;
            if (y >= h && above >= kh / 2) return 0.0;  // under a kernel of odd height
            const int row = y >= h ? y - (kh + kh % 2) + 2 * above : std::abs(y);
            return Boosted(SampleAt(input, column, row, channel), settings.GetImageThreshold(),
                           settings.GetImageGain());
        };
        for (int y = 0; y < h; y += 3) {
            // Rows below are moved by some samples, which shows at their left.
            for (int i = y + kh < h ? 0 : 3 * (kw + 3); i < 3 * w; ++i) {
                double sum = pictureAt(i / 3, y, i % 3), weights = 0;
                for (int k = 0; k < kw * kh; ++k) {
                    const double weight = Boosted(SampleAt(kernel, kw - 1 - k % kw, kh - 1 - k / kw),
                                                  settings.GetBokehThreshold(), settings.GetBokehGain()) /
                                          255;
                    weights += weight;
                    sum += weight * pictureAt(i / 3 + k % kw - kw / 2, y + k / kw - kh / 2, i % 3);
                }
                ASSERT_NEAR(SampleAt(blurred, i / 3, y, i % 3), std::min(sum / weights, 255.0), 0.51)
                    << FormatSettings(settings) << " at " << i / 3 << ", " << y;
            }
        }
    }
}

TEST(BlurBokeh, IsDarkUnderAKernelWithoutAnyWeight) {
    const FramePtr grey = MakeFrame(PixFmt::Rgb24, 96, 60, Color(90, 90, 90));
    EXPECT_TRUE(SameFrames(Blurred(Settings_({{"bokehGain", "0"}, {"bokehThreshold", "0"}}), grey),
                           MakeFrame(PixFmt::Rgb24, 96, 60, Color(0, 0, 0))));
}

// Fully up to the knee between the percentiles of the blurred picture's luma; then less, down to its share.
TEST(BlurBokeh, ShowsTheSharpPictureInTheShadows) {
    for (const auto& [strength, threshold] : {std::pair{0.0, 0.5}, {0.25, 0.5}, {0.75, 0.0}, {0.6, 1.0}}) {
        SettingsEffectBlurBokeh settings = Settings_({{"size", "0.05"}});
        settings.SetStrength(strength);
        settings.SetThreshold(threshold);
        const FramePtr sharp = MakeFrame(PixFmt::Rgb24, 96, 64), blurred = Blurred(settings, sharp),
                       luma = Converted(blurred, PixFmt::Gray8), result = Apply(settings, sharp);
        std::vector<std::uint8_t> sorted = Bytes(*luma);
        std::sort(sorted.begin(), sorted.end());
        const auto twentieth = static_cast<std::size_t>(static_cast<double>(sorted.size()) * 0.05);
        const int dark = sorted[twentieth - 1], bright = sorted[sorted.size() - twentieth];
        const int share = static_cast<int>(255.0 - strength * 255.0);
        const auto knee = dark + std::lround(threshold * (bright - dark));
        for (std::uint32_t y = 0; y < 64; ++y) {
            for (std::uint32_t x = 0; x < 96; ++x) {
                const int level = SampleAt(luma, x, y);
                double mask = 255;
                if (level >= knee && knee < bright)
                    mask -= std::min(static_cast<double>(level - knee) / static_cast<double>(bright - knee), 1.0) *
                            (255 - share);
                const double from = SampleAt(blurred, x, y), opacity = mask / 255 * share / 255;
                ASSERT_NEAR(SampleAt(result, x, y), from + (SampleAt(sharp, x, y) - from) * opacity, 3)
                    << strength << ", " << threshold << " at " << x << ", " << y;
            }
        }
    }
}

TEST(BlurBokeh, ConfiguresItsSubEffectsOnceAndWhenNeeded) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectBlurBokeh::CLASS_ID);
    std::vector<std::string> created = spied.factory->TakeTranscript();
    EXPECT_THAT(
        created,
        ElementsAre("create SettingsColorspaceConverter#1", "create SettingsEffectVideoGenerator#1",
                    "create SettingsColorspaceConverter#2", "set SettingsColorspaceConverter#2 pixFmts=8 accurate=true",
                    "create SettingsResizer#1", "create SettingsResizer#2", "create SettingsResizer#3",
                    "create SettingsEffectImageBlender#1", "create SettingsEffectExtraAlphaExtractor#1",
                    "set SettingsEffectExtraAlphaExtractor#1 pixelFormat=2"));
    const SettingsEffectBlurBokeh settings =
        Settings_({{"size", "0.15"}, {"strength", "0.25"}, {"aperture.shape", "star"}});
    const std::string generator = "set SettingsEffectVideoGenerator#1 shape=star blades=6 rotation=0 size=101";
    const std::string blender = "set SettingsEffectImageBlender#1 positionX=0 positionY=0 strength=191 alphaMode=use";
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre(generator, blender));
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre(generator, blender))
        << "sent again even with equal settings";

    const auto resized = [](int number, int width, int height, const char* method, const char* mode) {
        return "set SettingsResizer#" + std::to_string(number) + " resizeMethod=" + method + " customMode=" + mode +
               " customInfo=" + std::to_string(width) + "," + std::to_string(height) +
               ",1,1 customScale=1 accurate=false fullChroma=false";
    };
    const auto sets = [&] {
        std::vector<std::string> lines = spied.factory->TakeTranscript();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("set SettingsResizer"); });
        return lines;
    };
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 97, 61);
    spied.effect->ProcessData(frame);
    const std::vector<std::string> first = sets();
    ASSERT_EQ(first.size(), 3u);
    EXPECT_EQ(first[0], resized(1, 512, 512, "fastBilinear", "fit"));
    EXPECT_EQ(first[1], resized(2, 98, 62, "bicubicLuma", "exactToo"));
    EXPECT_NE(
        first[2].find(
            "SettingsResizer#3 resizeMethod=bicubicLuma customMode=exact customInfo=0,0,1,1 customScale=0.0905940594"),
        std::string::npos)
        << first[2];
    frame = MakeFrame(PixFmt::Rgb24, 97, 61);
    spied.effect->ProcessData(frame);
    EXPECT_THAT(sets(), ElementsAre());
    frame = MakeFrame(PixFmt::Rgb24, 64, 48);
    spied.effect->ProcessData(frame);
    EXPECT_THAT(sets(),
                ElementsAre(resized(1, 512, 512, "fastBilinear", "fit"), resized(2, 64, 48, "bicubicLuma", "exactToo")))
        << "the kernel is kept";
    spied.effect->SetSettings(Settings_({{"size", "0.2"}}));
    spied.factory->TakeTranscript();
    frame = MakeFrame(PixFmt::Rgb24, 64, 48);
    spied.effect->ProcessData(frame);
    EXPECT_EQ(sets().size(), 1u) << "new settings, new kernel";
}

TEST(BlurBokeh, RefusesPicturesThatAreNotLargerThanTheKernel) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlurBokeh::CLASS_ID);
    effect->SetSettings(Settings_({{"size", "0.5"}}));
    FramePtr large = MakeFrame(PixFmt::Rgb24, 200, 100);
    effect->ProcessData(large);  // the kernel is now 50 x 50
    for (const auto& [width, height] : {std::pair{50u, 60u}, {60u, 50u}, {1u, 1u}}) {
        FramePtr small = MakeFrame(PixFmt::Rgb24, width, height);
        const std::vector<std::uint8_t> before = Bytes(*small);
        try {
            effect->ProcessData(small);
            ADD_FAILURE() << width << 'x' << height;
        } catch (const EffectException& exception) {
            const TranscodingErrors* code = boost::get_error_info<TagTranscodingErrorCode>(exception);
            ASSERT_NE(code, nullptr);
            EXPECT_EQ(static_cast<int>(*code), 17);
            EXPECT_EQ(*boost::get_error_info<boost::throw_line>(exception), 172);
            EXPECT_EQ(boost::get_error_info<Core::TagDescription>(exception), nullptr);
        }
        EXPECT_EQ(Bytes(*small), before);
    }
    FramePtr fitting = MakeFrame(PixFmt::Rgb24, 51, 51);
    EXPECT_NO_THROW(effect->ProcessData(fitting));
}

TEST(Convolution, KeepsTheOrderOfTheSumsAtEveryWidth) {
    for (const std::size_t columns : {1u, 7u, 15u, 16u, 33u, 127u, 128u, 131u, 300u}) {
        constexpr std::size_t kRows = 3, kStride = 400;
        std::vector<float> source((kRows + 8) * kStride), sums(kRows * kStride), expected;
        for (std::size_t i = 0; i < source.size(); ++i)
            source[i] = static_cast<float>((i * 2654435761u) % 100003) * 1.7e-3f - 50.0f;
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] = static_cast<float>(i % 97) * 0.1f;
        expected = sums;
        std::vector<Shared::ConvolutionTap> taps;
        for (std::size_t k = 0; k < 60; ++k)
            taps.push_back({(k / 10) * kStride + (k % 10) * 3, static_cast<float>(k % 13) * 0.037f - 0.2f});
        Shared::Convolve(taps, source.data(), kStride, sums.data(), kStride, kRows, columns);
        for (const auto& tap : taps) {
            for (std::size_t y = 0; y < kRows; ++y) {
                for (std::size_t x = 0; x < columns; ++x) {
                    const float product = tap.weight * source[y * kStride + x + tap.offset];
                    expected[y * kStride + x] += product;
                }
            }
        }
        EXPECT_EQ(sums, expected) << columns;  // bit for bit, and nothing written past the columns
    }
}

}  // namespace
}  // namespace Orvexa::Test
