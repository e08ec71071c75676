// Face effects on a face of 1000 pixels in a picture of 24 megapixels, one thread each.

#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Settings/Photo/SettingsEffectEyeExtending.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Host/Settings/Photo/SettingsEffectFaceThinning.h"

namespace Orvexa::Bench {
namespace {

constexpr int kFaceHeight = 1000;                    // from the brows to the chin
constexpr int kCenterX = 3000, kTop = 1200;          // of the face
constexpr int kHalfWidth = 450, kEyeHalfWidth = 85;  // pixels

// Points of an ellipse from one angle to another, in degrees clockwise from the right.
Contour Arc(int x, int y, int width, int height, double from, double to, int count) {
    Contour points;
    for (int i = 0; i < count; ++i) {
        const double angle = (from + (to - from) * i / (count - 1)) * std::numbers::pi / 180.0;
        points.push_back({x + static_cast<int>(std::lround(width * std::cos(angle))),
                          y + static_cast<int>(std::lround(height * std::sin(angle)))});
    }
    return points;
}

Eyes MakeEyes() {
    const auto eye = [](int x) { return Eye(Arc(x, kTop + 160, kEyeHalfWidth, 30, -180, 120, 6)); };
    return Eyes(eye(kCenterX - 190), eye(kCenterX + 190));
}

Face MakeFace() {
    const int chin = kTop + kFaceHeight;
    const auto brow = [](int x) { return FaceItemBase(Arc(x, kTop + 60, 120, 50, -170, -10, 5)); };
    const FaceItemBase lips(Arc(kCenterX, chin - 230, 160, 60, 180, 510, 12)),
        opening(Arc(kCenterX, chin - 230, 120, 20, 180, 490, 8));
    return Face(Outline(Arc(kCenterX, kTop + 200, kHalfWidth, 800, 180, 0, 17)),
                {brow(kCenterX - 190), brow(kCenterX + 190)}, {lips, lips}, MakeEyes(), Mouth(lips, opening),
                {{kCenterX - kHalfWidth, kTop}, {kCenterX + kHalfWidth, chin}});
}

// A photograph with skin, so that there is something to cut out.
FramePtr PhotographWithFace() {
    const FramePtr photo = Photograph(BenchAllocator(), PixFmt::Rgb24);
    cv::Mat pixels = View(photo, CV_8UC3);
    cv::Mat skin(pixels.size(), CV_8UC3, cv::Scalar(210, 160, 130)), where = cv::Mat::zeros(pixels.size(), CV_8U);
    cv::ellipse(where, {kCenterX, kTop + 250}, {500, 780}, 0, 0, 360, 255, cv::FILLED);
    cv::addWeighted(pixels, 0.2, skin, 0.8, 0, skin);
    skin.copyTo(pixels, where);
    return photo;
}

// Runs on a frame that nobody else holds, which every run changes.
std::function<void()> InPlace(const Settings& settings, const FramePtr& photo) {
    const auto frame = std::make_shared<FramePtr>(CloneFrame(*photo, kCloneIndependent));
    return [effect = MakeEffect(settings), frame] {
        effect->ProcessData(*frame);
        benchmark::DoNotOptimize((*frame)->GetPlane(0).GetData());
    };
}

// cv::remap over rectangles of a picture, by a smooth map that is there already.
std::function<void()> Remap(const FramePtr& photo, const std::vector<cv::Rect>& boxes) {
    struct Part {
        cv::Mat source, mapX, mapY, result;
    };
    std::vector<Part> parts;
    for (const cv::Rect& box : boxes) {
        Part part{View(photo, CV_8UC3)(box), cv::Mat(box.size(), CV_32F), cv::Mat(box.size(), CV_32F), {}};
        for (int y = 0; y < box.height; ++y) {
            for (int x = 0; x < box.width; ++x) {
                part.mapX.at<float>(y, x) = static_cast<float>(x) + 9.0f * std::sin(static_cast<float>(x) / 90.0f);
                part.mapY.at<float>(y, x) = static_cast<float>(y) + 9.0f * std::sin(static_cast<float>(y) / 90.0f);
            }
        }
        parts.push_back(part);
    }
    return [parts]() mutable {
        for (Part& part : parts) {
            cv::remap(part.source, part.result, part.mapX, part.mapY, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
            benchmark::DoNotOptimize(part.result.data);
        }
    };
}

// Grab cut with one iteration over the box of the head.
std::function<void()> GrabCut(const FramePtr& photo) {
    const cv::Rect box(kCenterX - 585, kTop - 340, 1170, kFaceHeight + 340);
    cv::Mat labels(box.size(), CV_8U, cv::Scalar(cv::GC_BGD));
    const cv::Point center(box.width / 2, 540);
    cv::ellipse(labels, center, {585, 540}, 0, 150, 390, cv::GC_PR_BGD, cv::FILLED);
    cv::ellipse(labels, center, {405, 450}, 0, 150, 390, cv::GC_PR_FGD, cv::FILLED);
    cv::ellipse(labels, center, {450, 800}, 0, 0, 180, cv::GC_FGD, cv::FILLED);
    return [picture = View(photo, CV_8UC3)(box), labels] {
        cv::Mat cut = labels.clone(), background, foreground;
        cv::grabCut(picture, cut, cv::Rect(), background, foreground, 1, cv::GC_INIT_WITH_MASK);
        benchmark::DoNotOptimize(cut.data);
    };
}

}  // namespace

void AddFaces() {
    const FramePtr photo = PhotographWithFace();
    const Face face = MakeFace();
    SettingsEffectFaceThinning thinning(face.GetOutline());
    thinning.SetStrength(0.6);
    AddPair("FaceThinning, a face of 1000 pixels", "cv::remap over the face's box", 0.5, InPlace(thinning, photo),
            Remap(photo, {{kCenterX - kHalfWidth, kTop, 2 * kHalfWidth, kFaceHeight}}));
    SettingsEffectEyeExtending extending(face.GetEyes());
    extending.SetStrength(0.6);
    const auto around = [](int x) { return cv::Rect(x - 3 * kEyeHalfWidth, kTop + 70, 6 * kEyeHalfWidth, 180); };
    AddPair("EyeExtending, a face of 1000 pixels", "cv::remap over the eyes' boxes", 0.67, InPlace(extending, photo),
            Remap(photo, {around(kCenterX - 190), around(kCenterX + 190)}));
    const SettingsEffectFaceMask mask(face, FaceRegions::Head);
    constexpr int kOnce = 1;  // the peer takes seconds
    AddPair("FaceMask with the head, a face of 1000 pixels", "cv::grabCut, one iteration", 5.0, RunOf(mask, photo),
            GrabCut(photo), kOnce);
}

}  // namespace Orvexa::Bench
