// The grid-graph solver beside Boost's general maximum flow on the same capacities, beside itself with one worker, and
// over picture sizes; the whole Segmentation beside OpenCV's grab cut.
//
// The runs at large sizes take from seconds to minutes, so the program times single runs itself. Arguments choose
// parts: boost, scenes, workers, growth, segmentation.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <random>
#include <vector>

#include "Bench/Pictures.h"
#include "Host/Core/RefCount.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphImpl.h"
#include "Tests/Support/BoostGridCut.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Bench;
using Proc::GridGraph::Capacities;

constexpr std::uint32_t kBlockSize = 640;
constexpr std::uint32_t kWorkers = 12;

class NoProgress : public Core::IProgressController {
public:
    void SetStage(std::string_view) override {}
    void SetTotal(std::uint64_t) override {}
    void Finish() override {}
    void Step(std::uint64_t) override {}
    bool IsCancelled() const override { return false; }
};

constexpr std::uint8_t kForeground = 255, kBackground = 128;

struct Scene {
    Scene(std::uint32_t sceneWidth, std::uint32_t sceneHeight, PixFmt pixFmt = PixFmt::Gray8)
        : width(sceneWidth),
          height(sceneHeight),
          picture(NewFrame(BenchAllocator(), pixFmt, FrameInfo(width, height))),
          seeds(NewFrame(BenchAllocator(), PixFmt::Gray8, FrameInfo(width, height))) {}

    std::size_t GetPixelCount() const { return std::size_t{width} * height; }
    Capacities MakeCapacities() const {
        const auto progress = Core::MakeRefCounted<NoProgress>();
        return *Proc::GridGraph::MakeCapacities(*picture, std::as_const(*seeds).GetPlane(0), kForeground, kBackground,
                                                *progress);
    }

    std::uint32_t width, height;
    FramePtr picture, seeds;
};

// A scene photographed with more and more pixels: soft light on a textured background, an object with a wavy outline
// and texture of its own. Lens blur and sensor noise are the same in pixels at every size; the strokes follow the
// outline inside and outside at some distance, as a person draws them. A lens blur of one pixel lets the outline rise
// from 10 to 90 % within 4.4 pixels.
Scene MakeScene(std::uint32_t width, std::uint32_t height, double lensBlur = 1.0) {
    constexpr double kNoise = 2.0;     // levels
    constexpr double kStroke = 0.006;  // of the height
    Scene scene(width, height);
    std::mt19937 random(7);
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint8_t* const grey = scene.picture->GetPlane(0).GetRow(y);
        std::uint8_t* const seeds = scene.seeds->GetPlane(0).GetRow(y);
        for (std::uint32_t x = 0; x < width; ++x) {
            const double u = (x + 0.5 - width / 2.0) / height, v = (y + 0.5) / height - 0.5;  // in shares of the height
            const double angle = std::atan2(v, u), radius = std::hypot(u, v);
            const double outline = 0.29 + 0.03 * std::sin(5 * angle) + 0.012 * std::sin(17 * angle + 1);
            const double inside = 1 / (1 + std::exp((radius - outline) * height / lensBlur));
            const double background = 150 + 40 * v + 14 * std::sin(31 * u + 9 * v) * std::sin(23 * v - 5 * u);
            const double object = 80 + 30 * u + 22 * std::sin(19 * radius + 11 * u) + 9 * std::sin(61 * v);
            const double noise = kNoise * ((random() % 1000 + random() % 1000 + random() % 1000) / 500.0 - 3.0);
            grey[x] = static_cast<std::uint8_t>(
                std::min(255.0, std::max(0.0, inside * object + (1 - inside) * background + noise)));
            const double stroke = radius - 0.03 * std::sin(3 * angle);
            const bool isInner = std::abs(stroke - 0.17) < kStroke / 2 && std::sin(4 * angle) > -0.8;
            const bool isOuter = std::abs(stroke - 0.43) < kStroke / 2 && std::sin(7 * angle) > -0.8;
            seeds[x] = isInner ? kForeground : isOuter ? kBackground : 0;
        }
    }
    return scene;
}

void AddNoise(const Scene& scene, double sigma) {
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0.0, sigma);
    const Plane plane = scene.picture->GetPlane(0);
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        std::uint8_t* const row = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) {
            row[x] = cv::saturate_cast<std::uint8_t>(static_cast<double>(row[x]) + noise(random));
        }
    }
}

// The sample photograph and its strokes, enlarged to `side` x `side`.
Scene MakeEnlarged(std::uint32_t side, double noise) {
    const Core::ioPath samples = ORVEXA_SAMPLES;
    const FramePtr photo = Io::ReadImage(samples / "astronaut.png", BenchAllocator()).frame;
    const FramePtr seeds = Io::ReadImage(samples / "seeds/astronaut.png", BenchAllocator()).frame;
    const Scene scene(side, side, PixFmt::Rgb24);
    cv::Mat picture = View(scene.picture, CV_8UC3), strokes = View(scene.seeds, CV_8UC1);
    cv::resize(View(photo, CV_8UC3), picture, picture.size(), 0, 0, cv::INTER_CUBIC);
    cv::resize(View(seeds, CV_8UC1), strokes, strokes.size(), 0, 0, cv::INTER_NEAREST);
    if (noise > 0) AddNoise(scene, noise);
    return scene;
}

// Noise alone around middle grey, with the strokes of the scene; `sigma` 0 for all grey levels alike.
Scene MakeNoise(std::uint32_t width, std::uint32_t height, double sigma) {
    const Scene scene = MakeScene(width, height);
    View(scene.picture, CV_8UC1).setTo(128);
    if (sigma > 0) {
        AddNoise(scene, sigma);
    } else {
        cv::RNG(5).fill(View(scene.picture, CV_8UC1), cv::RNG::UNIFORM, 0, 256);
    }
    return scene;
}

// One byte per pixel: whether it is background.
using Labels = std::vector<std::uint8_t>;

Labels SolveGrid(const Scene& scene, const Capacities& capacities, std::uint32_t workers) {
    const auto progress = Core::MakeRefCounted<NoProgress>();
    Proc::GridGraph::Solver solver(scene.width, scene.height, workers, kBlockSize, *progress);
    solver.SetCapacities(capacities);
    solver.Compute();
    Labels labels(scene.GetPixelCount());
    for (std::uint32_t y = 0; y < scene.height; ++y)
        solver.ReadRow(y, 0, 1, labels.data() + std::size_t{y} * scene.width);
    return labels;
}

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What else the machine does only ever adds.
double FastestSeconds(int runs, const std::function<void()>& work) {
    double fastest = std::numeric_limits<double>::infinity();
    while (runs-- > 0) fastest = std::min(fastest, Seconds(work));
    return fastest;
}

Scene SceneOf(double megapixels) {
    const auto height = static_cast<std::uint32_t>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
    return MakeScene(height * 3 / 2, height);
}

void CompareWithBoost(const char* name, const Scene& scene, const char* goal) {
    const Capacities capacities = scene.MakeCapacities();
    Labels ours;
    std::optional<Test::BoostGridCut> theirs;
    const double many = FastestSeconds(3, [&] { ours = SolveGrid(scene, capacities, kWorkers); });
    const double one = FastestSeconds(3, [&] { ours = SolveGrid(scene, capacities, 1); });
    const double peer = Seconds([&] { theirs.emplace(scene.width, scene.height, capacities); });
    const Labels expected = theirs->FindBackground();
    std::size_t different = 0;
    for (std::size_t p = 0; p < ours.size(); ++p) different += ours[p] != expected[p];
    std::printf("%-28s %6.2f %9.3f %9.3f %9.3f %8.2f %8.2f %6s %8zu differ\n", name,
                static_cast<double>(scene.GetPixelCount()) / 1e6, many, one, peer, peer / many, peer / one, goal,
                different);
    std::fflush(stdout);
}

// What one worker gains is less work, the rest parallelism.
void PrintBoostHeader() {
    std::printf("%-28s %6s %9s %9s %9s %8s %8s %6s %15s\n", "scene", "Mpixel", "solver s", "1 worker", "Boost s",
                "ratio", "1 worker", "goal", "labels");
}

void CompareWithBoost() {
    PrintBoostHeader();
    CompareWithBoost("sharp scene", SceneOf(1.0), "4");
    CompareWithBoost("sharp scene", SceneOf(4.0), "15");
}

void CompareScenes() {
    PrintBoostHeader();
    for (const std::uint32_t side : {1000u, 2000u}) {
        const std::uint32_t width = side * 6 / 5, height = side * 5 / 6;
        CompareWithBoost("enlarged photograph", MakeEnlarged(side, 0), "3");
        CompareWithBoost("enlarged photograph, noise", MakeEnlarged(side, 3), "3");
        CompareWithBoost("blurred scene", MakeScene(width, height, 10.0), "3");
        CompareWithBoost("uniform noise", MakeNoise(width, height, 0), "3");
        CompareWithBoost("Gaussian noise", MakeNoise(width, height, 4), "3");
    }
}

void CompareWorkers() {
    std::printf("%10s %12s %12s %8s %6s\n", "megapixels", "12 workers s", "1 worker s", "ratio", "goal");
    for (const double megapixels : {1.0, 4.0, 16.0}) {
        const Scene scene = SceneOf(megapixels);
        const Capacities capacities = scene.MakeCapacities();
        const double many = FastestSeconds(5, [&] { SolveGrid(scene, capacities, kWorkers); });
        const double one = FastestSeconds(5, [&] { SolveGrid(scene, capacities, 1); });
        std::printf("%10.2f %12.3f %12.3f %8.2f %6.1f\n", megapixels, many, one, one / many, 1.5);
    }
}

void MeasureGrowth() {
    std::printf("%10s %12s %12s %12s %8s\n", "megapixels", "solver s", "ns / pixel", "to smallest", "goal");
    double smallest = 0;
    for (const double megapixels : {0.25, 1.0, 4.0, 16.0}) {
        const Scene scene = SceneOf(megapixels);
        const Capacities capacities = scene.MakeCapacities();
        const double perPixel = FastestSeconds(3, [&] { SolveGrid(scene, capacities, kWorkers); }) /
                                static_cast<double>(scene.GetPixelCount());
        if (smallest == 0) smallest = perPixel;
        std::printf("%10.2f %12.3f %12.1f %12.2f %8s\n", megapixels,
                    perPixel * static_cast<double>(scene.GetPixelCount()), perPixel * 1e9, perPixel / smallest, "< 2");
    }
}

void CompareSegmentation() {
    const Scene scene = SceneOf(12.0);
    Proc::TwoInputPtr effect;
    BenchFactory()->CreateTwoInputEffect(effect, Proc::SettingsEffectSegmentation::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(Proc::SettingsEffectSegmentation());
    const double ours = FastestSeconds(5, [&] {
        FramePtr frame = scene.picture;
        effect->ProcessData(frame, Proc::ConstFramePtr(scene.seeds));
    });
    cv::Mat picture, labels = View(scene.seeds, CV_8UC1).clone(), background, foreground;
    cv::cvtColor(View(scene.picture, CV_8UC1), picture, cv::COLOR_GRAY2BGR);
    cv::Mat table(1, 256, CV_8U, cv::Scalar(cv::GC_PR_BGD));
    table.at<std::uint8_t>(kForeground) = cv::GC_FGD;
    table.at<std::uint8_t>(kBackground) = cv::GC_BGD;
    cv::LUT(labels, table, labels);
    const double peer =
        Seconds([&] { cv::grabCut(picture, labels, cv::Rect(), background, foreground, 1, cv::GC_INIT_WITH_MASK); });
    std::printf("Segmentation at 12 megapixels: %.3f s; cv::grabCut, one iteration: %.3f s; ratio %.2f, goal 10\n",
                ours, peer, peer / ours);
}

}  // namespace

int main(int argc, char** argv) {
    const auto isChosen = [&](const char* part) {
        bool isNamed = argc == 1;
        for (int i = 1; i < argc; ++i) isNamed |= std::strcmp(argv[i], part) == 0;
        return isNamed;
    };
    if (isChosen("growth")) MeasureGrowth();
    if (isChosen("workers")) CompareWorkers();
    if (isChosen("boost")) CompareWithBoost();
    if (isChosen("scenes")) CompareScenes();
    if (isChosen("segmentation")) CompareSegmentation();
    return 0;
}
