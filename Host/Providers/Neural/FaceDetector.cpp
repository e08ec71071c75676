// The detector recognises faces of 33 to 150 pixels from the brows to the chin, so it is run on the picture at several
// scales. All but the largest are processed as a whole; the largest is split into tiles, which are processed in
// parallel.

#include "Host/Providers/Neural/FaceDetector.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <tuple>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Providers/Neural/Inference.h"
#include "Host/Providers/Neural/NetStore.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr int kCell = 32;                       // input pixels per cell of the output
constexpr double kSmallestFace = 33;            // pixels; smaller faces are detected only by chance
constexpr int kWholeSides[] = {128, 256, 512};  // the longer sides of the picture when processed as a whole
constexpr int kMaxEnlargement = 2;              // interpolated pixels reveal no further faces
constexpr int kSmallestPicture = 16;            // pixels of the longer side
// Approximate tile size in pixels. Faces that are too small to be found in the whole picture measure at most 33 / 512
// of the largest reduced picture's usual 1980 pixels; each lies completely inside one tile, with some margin.
constexpr int kTile = 768, kTileOverlap = 144;
constexpr double kSameFace = 0.4;  // overlap above which two boxes belong to one face

// The boxes' reference sizes in cells, one for each of the detector's boxes per cell; determined by its training.
constexpr double kAnchors[][2] = {
    {1.603231, 2.094468}, {6.041143, 7.080126}, {2.882459, 3.518061}, {4.266906, 5.178857}, {9.041765, 10.66308}};
constexpr int kAnchorsCount = std::size(kAnchors), kValues = 5;  // x, y, width, height, certainty

double Sigmoid(double value) { return 1 / (1 + std::exp(-value)); }

int RoundUp(int side) { return (side + kCell - 1) / kCell * kCell; }

// A picture for the detector and its origin: position = shown * scale + origin.
struct View {
    cv::Mat picture;
    cv::Point2d origin;
    double across = 1, down = 1;  // picture pixels per pixel of the view
};

std::vector<FaceBox> BoxesIn(const Model& detector, const View& view, double minScore) {
    const cv::Mat cells = InferPicture(detector, view.picture);
    const int rows = view.picture.rows / kCell, columns = view.picture.cols / kCell;
    if (cells.dims != 4 || cells.size[1] != kAnchorsCount * kValues || cells.size[2] != rows ||
        cells.size[3] != columns) {
        Throw("The model " + detector.file.string() + " gives " + ShapeOf(cells) +
              " values; a face detector must give 1 x " + std::to_string(kAnchorsCount * kValues) + " x " +
              std::to_string(rows) + " x " + std::to_string(columns) + "!");
    }
    std::vector<FaceBox> boxes;
    for (int anchor = 0; anchor < kAnchorsCount; ++anchor) {
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < columns; ++x) {
                const auto value = [&](int i) {
                    return static_cast<double>(cells.ptr<float>(0, kValues * anchor + i, y)[x]);
                };
                const double score = Sigmoid(value(4));
                if (score < minScore) continue;
                // Boxes beyond the upper bound are meaningless.
                const double width = kCell * kAnchors[anchor][0] * std::exp(std::min(value(2), 8.0)),
                             height = kCell * kAnchors[anchor][1] * std::exp(std::min(value(3), 8.0));
                const double left = kCell * (x + Sigmoid(value(0))) - width / 2,
                             top = kCell * (y + Sigmoid(value(1))) - height / 2;
                boxes.push_back({{left * view.across + view.origin.x, top * view.down + view.origin.y,
                                  width * view.across, height * view.down},
                                 score});
            }
        }
    }
    return boxes;
}

// The whole picture, `side` pixels long, centred in a square that has a margin if the picture is small: faces that fill
// the picture are detected only with a margin.
View ShowWhole(const FacePicture& picture, int side) {
    const cv::Mat& source = picture.GetReduced();
    const double factor = static_cast<double>(side) / std::max(source.cols, source.rows);
    const int width = std::max(static_cast<int>(std::lround(source.cols * factor)), 1),
              height = std::max(static_cast<int>(std::lround(source.rows * factor)), 1);
    const int margin = side == kWholeSides[0] ? kCell : 0;
    View view{cv::Mat::zeros(RoundUp(height + 2 * margin), RoundUp(width + 2 * margin), CV_8UC3), {}, 1, 1};
    view.across = static_cast<double>(picture.GetWidth()) / width;
    view.down = static_cast<double>(picture.GetHeight()) / height;
    view.origin = {-margin * view.across, -margin * view.down};
    cv::Mat shown = view.picture(cv::Rect(margin, margin, width, height));
    cv::resize(source, shown, shown.size(), 0, 0, factor < 1 ? cv::INTER_AREA : cv::INTER_LINEAR);
    return view;
}

// Tiles of one size that cover the reduced picture.
struct Tiling {
    int count, size;

    explicit Tiling(int side)
        : count(std::max((side - kTileOverlap + (kTile - kTileOverlap) - 1) / (kTile - kTileOverlap), 1)),
          size(RoundUp((side + (count - 1) * kTileOverlap + count - 1) / count)) {}
    int GetBegin(int tile, int side) const { return count == 1 ? 0 : std::max(side - size, 0) * tile / (count - 1); }
};

View ShowTile(const FacePicture& picture, const Tiling& columns, const Tiling& rows, int tile) {
    const cv::Mat& source = picture.GetReduced();
    const int left = columns.GetBegin(tile % columns.count, source.cols),
              top = rows.GetBegin(tile / columns.count, source.rows);
    const cv::Rect area = cv::Rect(left, top, columns.size, rows.size) & cv::Rect({0, 0}, source.size());
    View view{cv::Mat::zeros(rows.size, columns.size, CV_8UC3), {}, 1, 1};
    source(area).copyTo(view.picture(cv::Rect({0, 0}, area.size())));
    view.across = static_cast<double>(picture.GetWidth()) / source.cols;
    view.down = static_cast<double>(picture.GetHeight()) / source.rows;
    view.origin = {left * view.across, top * view.down};
    return view;
}

// Sorted by score, without boxes of the same face as a better one.
std::vector<FaceBox> BestOf(std::vector<FaceBox> boxes) {
    std::sort(boxes.begin(), boxes.end(), [](const FaceBox& a, const FaceBox& b) {
        return std::tuple(-a.score, a.box.y, a.box.x, a.box.width, a.box.height) <
               std::tuple(-b.score, b.box.y, b.box.x, b.box.width, b.box.height);
    });
    std::vector<FaceBox> best;
    std::vector<bool> isUsed(boxes.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        if (isUsed[i]) continue;
        // Boxes are imprecise, each in its own way, so they are averaged.
        cv::Point2d from, to;
        double weight = 0;
        for (std::size_t k = i; k < boxes.size(); ++k) {
            if (isUsed[k] || OverlapOf(boxes[i].box, boxes[k].box) <= kSameFace) continue;
            isUsed[k] = true;
            from += boxes[k].score * boxes[k].box.tl();
            to += boxes[k].score * boxes[k].box.br();
            weight += boxes[k].score;
        }
        best.push_back({{from / weight, to / weight}, boxes[i].score});
    }
    return best;
}

}  // namespace

std::uint32_t DetectionSide(double minFace) {
    return static_cast<std::uint32_t>(
        std::lround(std::clamp(kSmallestFace / minFace, kWholeSides[0] * 1.0, kMaxFrameSide * 1.0)));
}

double OverlapOf(const cv::Rect2d& a, const cv::Rect2d& b) {
    const double common = (a & b).area();
    return common / (a.area() + b.area() - common);
}

std::vector<FaceBox> FindBoxes(const Model& detector, const FacePicture& picture, double minScore) {
    const cv::Mat& source = picture.GetReduced();
    const int side = std::max(source.cols, source.rows);
    if (side < kSmallestPicture) return {};
    std::vector<int> wholes;
    for (const int whole : kWholeSides) {
        if (wholes.empty() || whole <= kMaxEnlargement * side) wholes.push_back(whole);
    }
    const Tiling columns(source.cols), rows(source.rows);
    const int tiles = side > wholes.back() ? columns.count * rows.count : 0;
    const auto wholesCount = static_cast<int>(wholes.size());
    std::vector<std::vector<FaceBox>> found(static_cast<std::size_t>(tiles + wholesCount));
    Core::ParallelFor(found.size(), [&](std::size_t i) {
        const Core::OnCallingThread alone;
        const int index = static_cast<int>(i);  // tiles first: they take longest
        const View view = index < tiles ? ShowTile(picture, columns, rows, index)
                                        : ShowWhole(picture, wholes[i - static_cast<std::size_t>(tiles)]);
        found[i] = BoxesIn(detector, view, minScore);
    });
    std::vector<FaceBox> boxes;
    for (const std::vector<FaceBox>& some : found) boxes.insert(boxes.end(), some.begin(), some.end());
    return BestOf(std::move(boxes));
}

double ScoreOf(const Model& detector, const FacePicture& picture, const FaceSquare& face) {
    // The scale at which the detector responds best differs from face to face.
    struct Look {
        int pixels;
        double margin;  // the square's side relative to the face's
    };
    constexpr Look kLooks[] = {{96, 1.5}, {128, 1.7}, {160, 1.5}};
    constexpr double kMinOverlap = 0.3, kMinScore = 0.01, kSure = 0.5;  // no further look is needed from kSure on
    double best = 0;
    for (const Look& look : kLooks) {
        FaceSquare square = face;
        square.side *= look.margin;
        const double side = look.pixels / look.margin, begin = (look.pixels - side) / 2;
        const View view{picture.Cut(square, look.pixels), {}, 1, 1};
        for (const FaceBox& found : BoxesIn(detector, view, kMinScore)) {
            if (OverlapOf(found.box, {begin, begin, side, side}) >= kMinOverlap) best = std::max(best, found.score);
        }
        if (best >= kSure) break;
    }
    return best;
}

}  // namespace Orvexa::Proc::Neural
