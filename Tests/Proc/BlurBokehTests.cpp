#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Proc/Effects/EffectsPhoto/Shared/Convolution.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::ElementsAre;

// The sample that the plain definition of the algorithm stores at column `x`, row `y` of the padded buffer, without any
// buffer.
class DirectPadding {
public:
    DirectPadding(const IDataVideo& small, int kernelWidth, int kernelHeight, float threshold, float gain)
        : plane_(small.GetPlane(0)),
          w_(static_cast<int>(small.GetFrameInfo().width)),
          h_(static_cast<int>(small.GetFrameInfo().height)),
          kw_(kernelWidth),
          kh_(kernelHeight),
          threshold_(threshold),
          gain_(gain) {}

    float operator()(int row, int column) const {
        const int half = kh_ / 2, stride = 3 * (w_ + kw_), rows = h_ + kh_;
        const long position = static_cast<long>(row) * stride + column;
        const long total = (static_cast<long>(rows) * stride + 7) / 8 * 8;
        // The bottom rows are addressed from the end: row E - i copies row E - (even kernel height) + i.
        const long fromEnd = total - 1 - position, i = fromEnd / stride;
        if (i < half) return Flat(total - 1 - fromEnd % stride - (kh_ + kh_ % 2 - i) * static_cast<long>(stride));
        return Flat(position);
    }

private:
    // Below the bottom copies: the picture, mirrored at the top, left and right; black elsewhere.
    float Flat(long position) const {
        const int stride = 3 * (w_ + kw_);
        int y = static_cast<int>(position / stride) - kh_ / 2;
        const int column = static_cast<int>(position % stride);
        int x = column / 3 - kw_ / 2;
        if (y < 0) y = -y;
        if (y >= h_) return 0;
        if (x < 0) x = -x;
        if (x >= w_) x = 2 * (w_ - 1) - x;
        return Boost(plane_.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y))[column % 3]);
    }
    float Boost(std::uint8_t sample) const {
        const float v = static_cast<float>(sample) / 255.0f;
        return v > threshold_ ? v * gain_ : v;
    }

    ConstPlane plane_;
    int w_, h_, kw_, kh_;
    float threshold_, gain_;
};

// The whole effect, step by step, with the host's sub-effects and plain loops.
FramePtr Direct(const SettingsEffectBlurBokeh& s, const FramePtr& input) {
    const FrameInfo size = input->GetFrameInfo();
    SettingsResizer reduction(SettingsResizer::ResizeMethods::FastBilinear);
    reduction.SetCustomMode(5, FrameInfo(512, 512, size.aspect));
    const FramePtr small = RunHost(reduction, input);
    const int w = static_cast<int>(small->GetFrameInfo().width), h = static_cast<int>(small->GetFrameInfo().height);

    FramePtr aperture = RunHost(s.GetAperture(), {});
    SettingsResizer scaling(SettingsResizer::ResizeMethods::BicubicLuma);
    scaling.SetCustomScale(s.GetSize() * std::min(w, h) /
                           std::min(aperture->GetFrameInfo().width, aperture->GetFrameInfo().height));
    aperture = RunHost(scaling, aperture);
    const int kw = static_cast<int>(aperture->GetFrameInfo().width),
              kh = static_cast<int>(aperture->GetFrameInfo().height);
    std::vector<float> kernel = [&] {
        std::vector<float> weights;
        for (const std::uint8_t sample : Bytes(std::as_const(*aperture).GetPlane(0))) {
            const float v = static_cast<float>(sample) / 255.0f;
            weights.push_back(v > static_cast<float>(s.GetBokehThreshold()) ? v * static_cast<float>(s.GetBokehGain())
                                                                            : v);
        }
        return weights;
    }();
    float kernelSum = 0;
    for (const float weight : kernel) kernelSum += weight;
    std::reverse(kernel.begin(), kernel.end());

    const DirectPadding padded(*small, kw, kh, static_cast<float>(s.GetImageThreshold()),
                               static_cast<float>(s.GetImageGain()));
    FramePtr blurred = MakeFrame(small->GetPixFmt(), static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h));
    for (int y = 0; y < h; ++y) {
        for (int i = 0; i < 3 * w; ++i) {
            float sum = padded(kh / 2 + y, 3 * (kw / 2) + i);
            for (int ky = 0; ky < kh; ++ky) {
                for (int kx = 0; kx < kw; ++kx) {
                    const float weight = kernel[static_cast<std::size_t>(ky * kw + kx)];
                    if (weight != 0) sum += weight * padded(y + ky, 3 * kx + i);
                }
            }
            const float q = (sum * 255) / kernelSum;
            const double rounded = static_cast<double>(q) + 0.5;
            blurred->GetPlane(0).GetRow(static_cast<std::uint64_t>(y))[i] =
                static_cast<std::uint8_t>(!(rounded >= 0) || std::isinf(q) ? 0
                                          : rounded > 255                  ? 255
                                                                           : static_cast<int>(rounded));
        }
    }
    SettingsResizer enlargement(SettingsResizer::ResizeMethods::BicubicLuma);
    enlargement.SetCustomMode(1, FrameInfo((size.width + 1) / 2 * 2, (size.height + 1) / 2 * 2, size.aspect));
    blurred = RunHost(enlargement, blurred);
    if (blurred->GetFrameInfo() != size) blurred->Crop(0, 0, size.width, size.height);

    FramePtr mask = CloneFrame(*Converted(blurred, PixFmt::Gray8), kCloneIndependent);
    std::vector<std::uint8_t> sorted = Bytes(*mask);
    std::sort(sorted.begin(), sorted.end());
    const std::size_t t = static_cast<std::size_t>(static_cast<double>(sorted.size()) * 0.05);
    const int lo = t == 0 ? 0 : sorted[t - 1], hi = t == 0 ? 255 : sorted[sorted.size() - t];
    const int knee = lo + static_cast<int>(std::lround(s.GetThreshold() * (hi - lo)));
    const int m = static_cast<std::uint8_t>(static_cast<int>(255.0 - s.GetStrength() * 255.0));
    const Plane plane = mask->GetPlane(0);
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) {
            std::uint8_t& value = plane.GetRow(y)[x];
            value = static_cast<std::uint8_t>(
                knee >= hi || value < knee ? 255 : std::clamp(255 + (value - knee) * (m - 255) / (hi - knee), 0, 255));
        }
    }
    const FramePtr sharp = CloneFrame(*input, kCloneIndependent);
    sharp->SetExtraAlpha(0, std::as_const(*mask).GetPlane(0));
    sharp->SetExtraAlpha(1,
                         std::as_const(*RunHost(SettingsEffectExtraAlphaExtractor(PixFmt::Rgb24), mask)).GetPlane(0));
    return RunHost(SettingsEffectImageBlender(0, 0, static_cast<std::uint8_t>(m), BlendAlphaMode::UseAlpha), blurred,
                   sharp);
}

SettingsEffectBlurBokeh Settings_(std::initializer_list<std::pair<const char*, const char*>> values) {
    SettingsEffectBlurBokeh settings;
    for (const auto& [key, value] : values) SetField(settings, key, value);
    return settings;
}

TEST(BlurBokeh, EqualsTheDirectFormulationByteForByte) {
    const struct {
        PixFmt pixFmt;
        std::uint32_t width, height;
        SettingsEffectBlurBokeh settings;
    } cases[] = {
        {PixFmt::Rgb24, 97, 61, Settings_({{"size", "0.15"}})},  // 9 x 9: a black row below
        {PixFmt::Rgb24, 96, 64, Settings_({{"size", "0.16"}})},  // 10 x 10
        {PixFmt::Bgr24, 53, 40,
         Settings_({{"size", "0.1"}, {"aperture.shape", "polygon"}})},  // buffers that are rounded up
        {PixFmt::Rgb24, 51, 45,
         Settings_({{"size", "0.2"}, {"aperture.shape", "heart"}, {"imageGain", "6"}, {"bokehGain", "3"}})},
        {PixFmt::Rgb24, 61, 97, Settings_({{"size", "0.07"}, {"strength", "0"}})},
        {PixFmt::Rgb24, 64, 48, Settings_({{"size", "0.001"}, {"strength", "1"}, {"threshold", "0"}})},
        {PixFmt::Rgb24, 33, 31, Settings_({{"size", "0.2"}, {"threshold", "1"}, {"imageThreshold", "0"}})},
        {PixFmt::Rgb24, 40, 30,
         Settings_({{"size", "0.2"}, {"bokehGain", "0"}, {"bokehThreshold", "0"}})},  // all weights 0
        {PixFmt::Rgb24, 701, 40, Settings_({{"size", "0.2"}})},                       // reduced first
    };
    for (const auto& c : cases) {
        const FramePtr input = MakeFrame(c.pixFmt, c.width, c.height, Pattern::Noise);
        EXPECT_TRUE(SameFrames(Apply(c.settings, input), Direct(c.settings, input))) << FormatSettings(c.settings);
    }
}

TEST(BlurBokeh, ConfiguresItsSubEffectsOnceAndWhenNeeded) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectBlurBokeh::CLASS_ID);
    std::vector<std::string> created = spied.factory->TakeTranscript();
    EXPECT_THAT(created,
                ElementsAre("create SettingsColorspaceConverter#1", "create SettingsEffectVideoGenerator#1",
                            "create SettingsColorspaceConverter#2", "create SettingsResizer#1",
                            "create SettingsResizer#2", "create SettingsResizer#3",
                            "create SettingsEffectImageBlender#1", "create SettingsEffectExtraAlphaExtractor#1",
                            "set SettingsColorspaceConverter#2 pixFmts=8 accurate=true",
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
    EXPECT_EQ(first[0], resized(2, 512, 512, "fastBilinear", "fit"));
    EXPECT_EQ(first[1], resized(1, 98, 62, "bicubicLuma", "exactToo"));
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
                ElementsAre(resized(2, 512, 512, "fastBilinear", "fit"), resized(1, 64, 48, "bicubicLuma", "exactToo")))
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

TEST(BlurBokeh, LetsOneBrightPointBloomIntoADisc) {
    FramePtr night = MakeFrame(PixFmt::Rgb24, 200, 200, Color(0, 0, 0));
    for (int k = 0; k < 3; ++k) night->GetPlane(0).GetOffsetPtr(100, 100)[k] = 255;
    const FramePtr lit = Apply(Settings_({{"size", "0.2"}, {"strength", "1"}, {"imageGain", "16"}}), night);
    const auto at = [&](std::uint64_t x, std::uint64_t y) { return static_cast<int>(SampleAt(lit, x, y)); };
    EXPECT_GT(at(100 + 12, 100), 0);
    EXPECT_EQ(at(100 + 12, 100), at(100 - 12, 100));
    EXPECT_GT(at(100, 100 - 12), 0);
    EXPECT_EQ(at(100 + 24, 100), 0) << "outside the aperture's radius of 20 pixels";
    EXPECT_EQ(at(100 + 18, 100 + 18), 0) << "outside the disc, inside its square";
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
