// Tone curves, statistics, masks and blends beside OpenCV.

#include <opencv2/imgproc.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Host/Settings/Photo/SettingsEffectColoredGlass.h"
#include "Host/Settings/Photo/SettingsEffectShapeMask.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/Statistics.h"

namespace Orvexa::Bench {
namespace {

void Run(const OneInputPtr& effect, FramePtr frame) {
    effect->ProcessData(frame);
    benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
}

void AddCurves(const FramePtr& rgb) {
    const FramePtr luma = Photograph(BenchAllocator(), PixFmt::Gray8);
    const Shared::Curve curve = Shared::ExposureCurve(10, 0.04);
    const cv::Mat table(1, 256, CV_8U, const_cast<std::uint8_t*>(curve.data()));
    AddPair(
        "BalanceLuma's curve on a luma plane", "cv::LUT", 1.0,
        [luma, curve] {
            const FramePtr result = NewFrame(BenchAllocator(), PixFmt::Gray8, k24Megapixels);
            Shared::ApplyCurve(curve, std::as_const(*luma).GetPlane(0), result->GetPlane(0));
            benchmark::DoNotOptimize(result->GetPlane(0).GetData());
        },
        [luma, table = table.clone(), result = cv::Mat()]() mutable {
            cv::LUT(View(luma, CV_8UC1), table, result);
            benchmark::DoNotOptimize(result.data);
        });
    const std::array<Shared::Curve, 3> curves{curve, Shared::StretchCurve(10, 230), Shared::ExposureCurve(-20, 0.03)};
    cv::Mat tables(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i) tables.at<cv::Vec3b>(0, i) = cv::Vec3b(curves[0][i], curves[1][i], curves[2][i]);
    AddPair(
        "the table pass of ColorBalanceAuto and TintTemperature, rgb24", "cv::LUT, three channels", 1.0,
        [rgb, curves] {
            const FramePtr copy = CloneFrame(*rgb, kCloneIndependent);
            Shared::ApplyCurves(curves, copy->GetPlane(0), 3);
            benchmark::DoNotOptimize(copy->GetPlane(0).GetData());
        },
        [rgb, tables, result = cv::Mat()]() mutable {
            cv::LUT(View(rgb, CV_8UC3), tables, result);
            benchmark::DoNotOptimize(result.data);
        });
}

void AddCounting(const FramePtr& rgb) {
    AddPair(
        "counting three channels (ColorBalanceAuto, Histogram), rgb24", "cv::calcHist, three times", 1.0,
        [rgb] { benchmark::DoNotOptimize(Shared::CountChannels(std::as_const(*rgb).GetPlane(0), 3)); },
        [rgb] {
            const cv::Mat picture = View(rgb, CV_8UC3);
            const int size = 256;
            const float range[] = {0, 256};
            const float* ranges[] = {range};
            for (int channel = 0; channel < 3; ++channel) {
                cv::Mat counts;
                cv::calcHist(&picture, 1, &channel, cv::Mat(), counts, 1, &size, ranges);
                benchmark::DoNotOptimize(counts.data);
            }
        });
}

void AddBlends(const FramePtr& rgb) {
    const FramePtr constant = NewFrame(BenchAllocator(), PixFmt::Rgb24, k24Megapixels);
    constant->Fill(Color(255, 179, 71));
    AddPair(
        "ColoredGlass, rgb24", "cv::addWeighted", 1.0,
        [effect = MakeEffect(SettingsEffectColoredGlass()), rgb] { Run(effect, rgb); },
        [rgb, constant, result = cv::Mat()]() mutable {
            cv::addWeighted(View(rgb, CV_8UC3), 0.7, View(constant, CV_8UC3), 0.3, 0.0, result);
            benchmark::DoNotOptimize(result.data);
        });

    SettingsEffectBlendPalette settings;
    SettingsEffectBlendPalette::PaletteMap palette;
    cv::Mat table(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i) {
        palette[static_cast<std::uint8_t>(i)] =
            Color(static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), 128, 200);
        table.at<cv::Vec3b>(0, i) = cv::Vec3b(static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), 128);
    }
    settings.SetPalette(palette);
    TwoInputPtr effect;
    BenchFactory()->CreateTwoInputEffect(effect, SettingsEffectBlendPalette::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    const FramePtr indices = Photograph(BenchAllocator(), PixFmt::Gray8);
    const FramePtr picture = CloneFrame(*rgb, kCloneIndependent);
    AddPair(
        "BlendPalette over the whole frame, rgb24", "cv::LUT + cv::addWeighted", 2.0,
        [effect, picture, indices] {
            FramePtr frame = picture;
            effect->ProcessData(frame, ConstFramePtr(indices));
            benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
        },
        [picture, indices, table, gray3 = cv::Mat(), colors = cv::Mat(), result = cv::Mat()]() mutable {
            cv::cvtColor(View(indices, CV_8UC1), gray3, cv::COLOR_GRAY2RGB);
            cv::LUT(gray3, table, colors);
            cv::addWeighted(View(picture, CV_8UC3), 55.0 / 255, colors, 200.0 / 255, 0.0, result);
            benchmark::DoNotOptimize(result.data);
        });
}

void AddMasks(const FramePtr& rgb) {
    const SettingsEffectShapeMask settings;
    AddPair(
        "ShapeMask", "every pixel at full size", 20.0, [effect = MakeEffect(settings), rgb] { Run(effect, rgb); },
        [settings] {
            const FramePtr mask = NewFrame(BenchAllocator(), PixFmt::Gray8, k24Megapixels);
            const auto normalizer = settings.GetNormalizer({k24Megapixels.width, k24Megapixels.height});
            for (std::uint32_t y = 0; y < k24Megapixels.height; ++y) {
                std::uint8_t* row = mask->GetPlane(0).GetRow(y);
                for (std::uint32_t x = 0; x < k24Megapixels.width; ++x) {
                    const auto [u, v] = normalizer({x, y});
                    const double d = std::clamp(std::sqrt(u * u + v * v) - 1, 0.0, 1.0);
                    row[x] = static_cast<std::uint8_t>(255 * (2 * d * d * d - 3 * d * d + 1) + 0.5);
                }
            }
            benchmark::DoNotOptimize(mask->GetPlane(0).GetData());
        });
}

}  // namespace

void AddTone() {
    const FramePtr rgb = Photograph(BenchAllocator(), PixFmt::Rgb24);
    AddCurves(rgb);
    AddCounting(rgb);
    AddBlends(rgb);
    AddMasks(rgb);
}

}  // namespace Orvexa::Bench
