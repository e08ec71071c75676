// Face detection on 24 megapixels beside OpenCV's cascade of Haar features (P. Viola, M. Jones: Rapid Object Detection
// using a Boosted Cascade of Simple Features, CVPR 2001), on as many threads as there are processors, and what
// describing a face takes.

#include <cstdio>
#include <ctime>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Core/Threads.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Bench;

constexpr char kCascade[] = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml";
// Heights of the heads' faces, from the brows to the chin; the smallest are a sixtieth of the picture's longer side.
constexpr double kFaces[] = {900, 600, 400, 300, 300, 200, 200, 150, 150, 120, 120, 105};

// The portrait's head at several sizes on a table.
FramePtr MakeGroup() {
    const auto sample = [](const char* name) {
        return Io::ReadImage(Core::ioPath(ORVEXA_SAMPLES) / name, BenchAllocator()).frame;
    };
    const FramePtr group = NewFrame(BenchAllocator(), PixFmt::Rgb24, k24Megapixels), table = sample("coffee.png"),
                   portrait = sample("astronaut.png");
    cv::Mat picture = View(group, CV_8UC3);
    cv::resize(View(table, CV_8UC3), picture, picture.size(), 0, 0, cv::INTER_CUBIC);
    const cv::Mat head = View(portrait, CV_8UC3)(cv::Rect(130, 20, 190, 180));
    constexpr double kFaceHeight = 86;  // of the head's face
    int x = 0, y = 0, rowHeight = 0;
    for (const double height : kFaces) {
        const double scale = height / kFaceHeight;
        cv::Mat scaled;
        cv::resize(head, scaled, {}, scale, scale, scale < 1 ? cv::INTER_AREA : cv::INTER_CUBIC);
        if (x + scaled.cols > picture.cols) {
            x = 0;
            y += rowHeight;
            rowHeight = 0;
        }
        scaled.copyTo(picture(cv::Rect(x, y, scaled.cols, scaled.rows)));
        x += scaled.cols + 40;
        rowHeight = std::max(rowHeight, scaled.rows);
    }
    return group;
}

}  // namespace

int main(int argc, char** argv) {
    FramePtr group = MakeGroup();
    const OneInputPtr detection = MakeEffect(SettingsEffectFaceDetection());
    cv::CascadeClassifier cascade;
    if (!cascade.load(kCascade)) {
        std::fprintf(stderr, "%s is missing; scripts/install-packages.sh installs it.\n", kCascade);
        return 1;
    }
    std::vector<cv::Rect> boxes;
    const auto detect = [&] { detection->ProcessData(group); };
    const auto search = [&](const cv::Size& smallest) {
        cv::Mat grey;
        cv::cvtColor(View(group, CV_8UC3), grey, cv::COLOR_RGB2GRAY);
        cascade.detectMultiScale(grey, boxes, 1.1, 3, 0, smallest);
    };
    AddPair(
        "faces with landmarks, 24 megapixels, 12 faces", "cv::CascadeClassifier", 3, detect, [&] { search({}); }, 2);
    // Told which faces are too small, the peer leaves out the sizes that take most of its time.
    AddPair("the same", "the same, from 100 pixels", 3, detect, [&] { search({100, 100}); });
    const int result = RunPairs(argc, argv);
    const auto& faces = dynamic_cast<const SettingsEffectFaceDetection&>(detection->GetSettingsBase()).GetFaces();
    if (result != 0 || faces.empty()) return result;
    std::printf("found of %zu faces: %zu; boxes of cv::CascadeClassifier, false ones included: %zu\n",
                std::size(kFaces), faces.size(), boxes.size());

    Core::SetLibraryThreads(1);
    for (const std::size_t i : {std::size_t{0}, faces.size() - 1}) {
        const OneInputPtr trainer = MakeEffect(SettingsEffectFaceRecognitionTrainer(faces[i], {}));
        double best = 1e9;  // seconds of processor time, which other programs do not lengthen
        for (int run = 0; run < 10; ++run) {
            const std::clock_t start = std::clock();
            trainer->ProcessData(group);
            best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        }
        const auto& [from, to] = faces[i].GetFullFramePoints();
        std::printf("descriptor of a face of %d pixels, one thread: %.1f ms (goal 20)\n", to.x - from.x, 1000 * best);
    }
    return 0;
}
