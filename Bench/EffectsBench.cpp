// Each effect beside a peer, single thread, 24 megapixels unless said otherwise.

#include <cmath>
#include <opencv2/core.hpp>
#include <random>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Settings/Photo/SettingsEffectWhiteBalance.h"
#include "Proc/Effects/EffectsPhoto/Shared/Convolution.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"

namespace Orvexa::Bench {
namespace {

using namespace Proc;

OneInputPtr MakeWhiteBalance(const FactoryPtr& factory) {
    SettingsEffectWhiteBalance settings;
    settings.SetColor(Color(200, 180, 150));
    return MakeEffect(settings, factory);
}

std::array<Shared::Curve, 3> SomeCurves() {
    std::array<Shared::Curve, 3> curves;
    for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < 256; ++i) curves[k][i] = static_cast<std::uint8_t>(i * (k + 3) / 5);
    }
    return curves;
}

void AddWhiteBalance() {
    const AllocatorPtr& allocator = BenchAllocator();
    const FactoryPtr& factory = BenchFactory();
    const FramePtr photo = Photograph(allocator, PixFmt::Rgb24);
    const OneInputPtr effect = MakeWhiteBalance(factory);
    const auto run = [effect, photo] {
        FramePtr frame = photo;
        effect->ProcessData(frame);
        benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
    };
    const auto curves = SomeCurves();
    cv::Mat table(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i) table.at<cv::Vec3b>(0, i) = cv::Vec3b(curves[0][i], curves[1][i], curves[2][i]);
    AddPair("WhiteBalance, rgb24", "cv::LUT, three channels", 1.0, run, [photo, table, result = cv::Mat()]() mutable {
        cv::LUT(View(photo, CV_8UC3), table, result);
        benchmark::DoNotOptimize(result.data);
    });
    AddPair("WhiteBalance through the colour-space layer, rgb24", "the bare algorithm", 0.97, run, [photo, curves] {
        const FramePtr copy = CloneFrame(*photo, kCloneIndependent);
        Shared::ApplyCurves(curves, copy->GetPlane(0), 3);
        benchmark::DoNotOptimize(copy->GetPlane(0).GetData());
    });
    const AllocatorPtr poolless = Core::MakeRefCounted<FrameAllocator>(0);
    const OneInputPtr first = MakeWhiteBalance(LoadedFactory(poolless));
    const FramePtr poollessPhoto = Photograph(poolless, PixFmt::Rgb24);
    AddPair("WhiteBalance, second frame", "first frame (fresh memory)", 1.0, run, [first, poollessPhoto] {
        FramePtr frame = poollessPhoto;
        first->ProcessData(frame);
        benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
    });
}

// The convolution of BlurBokeh as it would be written plainly: for every tap, over the whole picture.
void ConvolvePlainly(const std::vector<float>& kernel, std::size_t side, const float* source, std::size_t sourceStride,
                     float* destination, std::size_t rows, std::size_t columns) {
    for (std::size_t ky = 0; ky < side; ++ky) {
        for (std::size_t kx = 0; kx < side; ++kx) {
            const float weight = kernel[ky * side + kx];
            if (weight == 0.0f) continue;
            for (std::size_t y = 0; y < rows; ++y) {
                const float* from = source + (y + ky) * sourceStride + 3 * kx;
                float* to = destination + y * columns;
                for (std::size_t i = 0; i < columns; ++i) to[i] += weight * from[i];
            }
        }
    }
}

void AddConvolution() {
    constexpr std::size_t kWidth = 512, kHeight = 384, kSide = 51, kColumns = 3 * kWidth,
                          kStride = 3 * (kWidth + kSide);
    std::vector<float> kernel(kSide * kSide);
    std::vector<Shared::ConvolutionTap> taps;
    for (std::size_t i = 0; i < kernel.size(); ++i) {
        const double x = static_cast<double>(i % kSide) - 25.0, y = static_cast<double>(i / kSide) - 25.0;
        if (std::hypot(x, y) > 25.5) continue;
        kernel[i] = 0.5f + static_cast<float>(i % 7) * 0.05f;
        taps.push_back({i / kSide * kStride + 3 * (i % kSide), kernel[i]});
    }
    std::vector<float> source(kStride * (kHeight + kSide));
    std::minstd_rand random(1);
    for (float& sample : source) sample = static_cast<float>(random() % 256) / 255.0f;
    AddPair(
        "BlurBokeh's convolution, 512 x 384, disc of 51 x 51", "plain triple loop", 4.0,
        [taps, source, sums = std::vector<float>(kColumns * kHeight)]() mutable {
            Shared::Convolve(taps, source.data(), kStride, sums.data(), kColumns, kHeight, kColumns);
            benchmark::DoNotOptimize(sums.data());
        },
        [kernel, source, sums = std::vector<float>(kColumns * kHeight)]() mutable {
            ConvolvePlainly(kernel, kSide, source.data(), kStride, sums.data(), kHeight, kColumns);
            benchmark::DoNotOptimize(sums.data());
        });
}

}  // namespace
}  // namespace Orvexa::Bench

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    Orvexa::Bench::AddWhiteBalance();
    Orvexa::Bench::AddConvolution();
    Orvexa::Bench::AddTone();
    Orvexa::Bench::AddStylise();
    Orvexa::Bench::AddComposites();
    Orvexa::Bench::AddFaces();
    return Orvexa::Bench::RunPairs(argc, argv);
}
