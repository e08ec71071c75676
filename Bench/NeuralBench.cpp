// Pictures through networks: in tiles, beside the same network on the whole picture at once as OpenCV runs it; and the
// grid of colour transforms on 24 megapixels, beside a table and a matrix for all pixels (cv::LUT, cv::transform),
// which is the least that a colour correction takes.

#include <cstdio>
#include <filesystem>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Core/Threads.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Bench;

constexpr int kDenoiser = 7, kGrid = 5;
constexpr int kWidth = 1800, kHeight = 1200;  // pixels; in larger pictures OpenCV's transposed convolution crashes

OneInputPtr Processor(int model, const char* root) {
    SettingsEffectDeepNeuralProcessor settings{Core::ioPath(root)};
    settings.SetModelId(Neural::ModelFileId{model});
    OneInputPtr effect;
    BenchFactory()->CreateOneInputEffect(effect, settings.GetClassId(), ImplNames::DEFAULT, {});
    effect->SetSettings(settings);
    return effect;
}

}  // namespace

int main(int argc, char** argv) {
    Core::SetLibraryThreads(Core::CountProcessors());
    FramePtr photograph = Photograph(BenchAllocator(), PixFmt::Rgb24), part = CloneFrame(*photograph, kCloneView);
    part->Crop(0, 0, kWidth, kHeight);
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
    } else {
        std::fprintf(stderr, "%s is missing, so tiles are not measured.\n", file.c_str());
    }
    return RunPairs(argc, argv);
}
