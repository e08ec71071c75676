// Remapping: every pixel of the result is a bilinear sample of the frame at a position computed by a function.
// Positions outside are clamped to the edge.
//
// The function is evaluated for a few rows at a time, right before sampling: positions of a whole picture would take
// eight bytes per pixel. Samples of subsampled planes are moved with the pixel at their upper left.

#include <algorithm>
#include <bit>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"

namespace Orvexa::Proc {
namespace {

constexpr int kBlockRows = 16, kBlockColumns = 2048;
constexpr int kMaxSourceSide = 32766;  // cv::remap uses 16-bit coordinates

// Clamps positions to the source. NaN becomes position 0.
void ClampPositions(cv::Mat& positions, int sourceSide) {
    const float last = static_cast<float>(sourceSide - 1);
    for (int y = 0; y < positions.rows; ++y) {
        float* row = positions.ptr<float>(y);
        for (int x = 0; x < positions.cols; ++x) {
            const float positive = row[x] > 0.0f ? row[x] : 0.0f;
            row[x] = positive < last ? positive : last;
        }
    }
}

// The range of samples around clamped positions.
struct Bounds {
    int first, end;
};
Bounds BoundsOf(const cv::Mat& positions, int sourceSide) {
    // Non-negative floats compare like their bit patterns, whose extremes are found with vector code.
    std::int32_t low = std::numeric_limits<std::int32_t>::max(), high = 0;
    for (int y = 0; y < positions.rows; ++y) {
        const float* row = positions.ptr<float>(y);
        for (int x = 0; x < positions.cols; ++x) {
            const auto bits = std::bit_cast<std::int32_t>(row[x]);
            low = std::min(low, bits);
            high = std::max(high, bits);
        }
    }
    return {static_cast<int>(std::bit_cast<float>(low)),
            std::min(static_cast<int>(std::bit_cast<float>(high)) + 2, sourceSide)};
}

// The positions of a block in a plane whose samples each cover 2^shift pixels.
class PlanePositions {
public:
    PlanePositions(const SettingsEffectRemapping::RowFunction& function, int pixelsPerRow, int shiftX, int shiftY)
        : function_(function),
          pixelsPerRow_(pixelsPerRow),
          shiftX_(shiftX),
          shiftY_(shiftY),
          rowX_(pixelsPerRow),
          rowY_(pixelsPerRow) {}

    void FillRow(int y, int width, float* sourceX, float* sourceY) {
        if (shiftX_ == 0 && shiftY_ == 0) {
            function_(y, width, sourceX, sourceY);
            return;
        }
        const int pixelY = y << shiftY_;
        function_(pixelY, pixelsPerRow_, rowX_.data(), rowY_.data());
        const float scaleX = 1.0f / static_cast<float>(1 << shiftX_), scaleY = 1.0f / static_cast<float>(1 << shiftY_);
        for (int x = 0; x < width; ++x) {
            const int pixelX = x << shiftX_;
            sourceX[x] =
                static_cast<float>(x) + (rowX_[static_cast<std::size_t>(pixelX)] - static_cast<float>(pixelX)) * scaleX;
            sourceY[x] =
                static_cast<float>(y) + (rowY_[static_cast<std::size_t>(pixelX)] - static_cast<float>(pixelY)) * scaleY;
        }
    }

private:
    const SettingsEffectRemapping::RowFunction& function_;
    const int pixelsPerRow_, shiftX_, shiftY_;
    std::vector<float> rowX_, rowY_;
};

void RemapBlock(const cv::Mat& source, cv::Mat block, cv::Mat mapX, cv::Mat mapY) {
    ClampPositions(mapX, source.cols);
    ClampPositions(mapY, source.rows);
    if (std::max(source.cols, source.rows) <= kMaxSourceSide) {
        cv::remap(source, block, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
        return;
    }
    const Bounds columns = BoundsOf(mapX, source.cols), rows = BoundsOf(mapY, source.rows);
    if (columns.end - columns.first > kMaxSourceSide || rows.end - rows.first > kMaxSourceSide) {
        Throw(
            "The picture is too large to be moved about this far: neighbouring pixels come from more than 32766 pixels "
            "apart");
    }
    mapX -= columns.first;
    mapY -= rows.first;
    cv::remap(source(cv::Range(rows.first, rows.end), cv::Range(columns.first, columns.end)), block, mapX, mapY,
              cv::INTER_LINEAR, cv::BORDER_REPLICATE);
}

class Remapping : public PlanesEffect<SettingsEffectRemapping> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override {
        if (!settings_.GetRowFunction()) Throw("Settings are not set!");
        return true;
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        PlanePositions positions(settings_.GetRowFunction(), static_cast<int>(plane.picture.GetFrameInfo().width),
                                 plane.shiftX, plane.shiftY);
        RemapPlane(plane.from, plane.to, positions);
    }

private:
    static void RemapPlane(const cv::Mat& source, const cv::Mat& target, PlanePositions& positions) {
        cv::Mat mapX(kBlockRows, target.cols, CV_32F), mapY(kBlockRows, target.cols, CV_32F);
        for (int top = 0; top < target.rows; top += kBlockRows) {
            const int height = std::min(kBlockRows, target.rows - top);
            for (int y = 0; y < height; ++y)
                positions.FillRow(top + y, target.cols, mapX.ptr<float>(y), mapY.ptr<float>(y));
            for (int left = 0; left < target.cols; left += kBlockColumns) {
                const cv::Rect place(left, 0, std::min(kBlockColumns, target.cols - left), height);
                RemapBlock(source, target(place + cv::Point(0, top)), mapX(place), mapY(place));
            }
        }
    }
};

}  // namespace

OneInputPtr CreateRemapping(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Remapping>(factory, allocator);
}

}  // namespace Orvexa::Proc
