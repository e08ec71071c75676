// Pictures through networks: in tiles, beside the same network on the whole picture at once as OpenCV runs it; and the
// grid of colour transforms on 24 megapixels, beside a table and a matrix for all pixels (cv::LUT, cv::transform),
// which is the least that a colour correction takes. Then whole effects with the networks that come with the project,
// on all processors, beside what is done to pictures without a network.

#include <cstdio>
#include <filesystem>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Core/Threads.h"
#include "Host/Settings/Photo/SettingsEffectAutoEnhance.h"
#include "Host/Settings/Photo/SettingsEffectDeepAdjuster.h"
#include "Host/Settings/Photo/SettingsEffectDeepAligner.h"
#include "Host/Settings/Photo/SettingsEffectDeepDenoiser.h"
#include "Host/Settings/Photo/SettingsEffectDeepEnhancer.h"
#include "Host/Settings/Photo/SettingsEffectDeepImageEnhancer.h"
#include "Host/Settings/Photo/SettingsEffectDeepLumaUpscaler.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"
#include "Host/Settings/Photo/SettingsEffectDeepRestorer.h"
#include "Host/Settings/Photo/SettingsEffectDeepRestorerEx.h"
#include "Host/Settings/Photo/SettingsEffectDeepSuperResolutor.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Bench;

constexpr int kDenoiser = 7, kGrid = 5;
constexpr int kWidth = 1800, kHeight = 1200;  // pixels; in larger pictures OpenCV's transposed convolution crashes

OneInputPtr Processor(int model, const char* root) {
    SettingsEffectDeepNeuralProcessor settings{Core::ioPath(root)};
    settings.SetModelId(Neural::ModelFileId{model});
    return MakeEffect(settings);
}

FramePtr Part(const FramePtr& photograph, std::uint32_t width, std::uint32_t height) {
    FramePtr part = CloneFrame(*photograph, kCloneView);
    part->Crop(0, 0, width, height);
    return part;
}

void AddEffects(const FramePtr& photograph) {
    const FramePtr part = Part(photograph, 1250, 800);
    const cv::Mat small = View(part, CV_8UC3);
    constexpr char kBilateral[] = "cv::bilateralFilter";
    const auto bilateral = [small, result = cv::Mat()]() mutable { cv::bilateralFilter(small, result, 9, 25, 5); };
    AddPair("DeepDenoiser, two passes, 1 megapixel", kBilateral, 0.1, RunOf(SettingsEffectDeepDenoiser(), part),
            bilateral);
    AddPair("DeepRestorer, 1 megapixel", kBilateral, 0.1, RunOf(SettingsEffectDeepRestorer(), part), bilateral);
    AddPair("DeepRestorerEx, 1 megapixel", kBilateral, 0.1, RunOf(SettingsEffectDeepRestorerEx(), part), bilateral);
    AddPair("DeepLumaUpscaler, 1 megapixel", "unsharp mask", 0.01, RunOf(SettingsEffectDeepLumaUpscaler(), part),
            [small, blurred = cv::Mat()]() mutable {
                cv::GaussianBlur(small, blurred, {}, 1.5);
                cv::addWeighted(small, 2, blurred, -1, 0, blurred);
            });
    AddPair("DeepSuperResolutor, 1 megapixel to 9", "cv::resize, Lanczos", 0.01,
            RunOf(SettingsEffectDeepSuperResolutor(), part),
            [small, result = cv::Mat()]() mutable { cv::resize(small, result, {}, 3, 3, cv::INTER_LANCZOS4); });
    constexpr char kEnhance[] = "AutoEnhance";
    const auto enhance = RunOf(SettingsEffectAutoEnhance(), photograph);
    AddPair("DeepEnhancer, 24 megapixels", kEnhance, 0.5, RunOf(SettingsEffectDeepEnhancer(), photograph), enhance);
    AddPair("DeepImageEnhancer, 24 megapixels", kEnhance, 0.5, RunOf(SettingsEffectDeepImageEnhancer(), photograph),
            enhance);
    AddPair("DeepAdjuster, 24 megapixels", kEnhance, 0.5, RunOf(SettingsEffectDeepAdjuster(), photograph), enhance);
    AddPair("DeepAligner, 24 megapixels", kEnhance, 0.5, RunOf(SettingsEffectDeepAligner(), photograph), enhance);
}

}  // namespace

int main(int argc, char** argv) {
    Core::SetLibraryThreads(Core::CountProcessors());
    const FramePtr photograph = Photograph(BenchAllocator(), PixFmt::Rgb24), part = Part(photograph, kWidth, kHeight);
    const OneInputPtr grid = Processor(kGrid, ORVEXA_TEST_MODELS);
    cv::Mat table(1, 256, CV_8UC3), changed;
    for (int i = 0; i < 256; ++i) table.at<cv::Vec3b>(i) = cv::Vec3b::all(static_cast<std::uint8_t>(255 - i));
    const cv::Matx34f matrix(0.9f, 0.1f, 0, 3, 0, 0.8f, 0.1f, 5, 0.1f, 0, 0.9f, -4);
    AddPair(
        "grid of colour transforms, 24 megapixels", "cv::LUT, cv::transform", 0.5,
        [&] {
            FramePtr frame = photograph;
            grid->ProcessData(frame);
        },
        [&] {
            cv::LUT(View(photograph, CV_8UC3), table, changed);
            cv::transform(changed, changed, matrix);
        });

    cv::dnn::Net net;
    const std::filesystem::path file = std::filesystem::path(ORVEXA_MODELS) / "denoise.onnx";
    if (std::filesystem::exists(file)) {
        net = cv::dnn::readNetFromONNX(file.string());
        const OneInputPtr denoiser = Processor(kDenoiser, ORVEXA_MODELS);
        AddPair(
            "denoising in tiles, 2.2 megapixels", "cv::dnn, the whole", 0.9,
            [=] {
                FramePtr frame = part;
                denoiser->ProcessData(frame);
            },
            [=]() mutable {
                net.setInput(cv::dnn::blobFromImage(View(part, CV_8UC3), 1 / 255.0));
                cv::Mat result;
                net.forward().convertTo(result, CV_8U, 255);
            },
            3);
        AddEffects(photograph);
    } else {
        std::fprintf(stderr, "%s is missing, so its tiles and the effects are not measured.\n", file.c_str());
    }
    return RunPairs(argc, argv);
}
