// Rotate: rotates a frame about its centre, counter-clockwise.
//
// Multiples of 90 degrees only move pixels. Other angles use bicubic interpolation, block by block, which keeps
// positions exact and pictures of any size within OpenCV's addressing limits. Subsampled formats are rotated with
// full-resolution chroma. The area beyond the picture is transparent, or black in formats without alpha; colours are
// weighted by alpha wherever something is transparent. The inscribed size contains no such area.

#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

#include "Host/Effects/Bands.h"
#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectRotate.h"

namespace Orvexa::Proc {
namespace {

enum SizeMode : int { kSame = 0, kGrown = 1, kInscribed = 2 };

constexpr int kBlockRows = 256, kBlockColumns = 512;
constexpr int kReach = 3;             // pixels that a bicubic sample may use beyond its position, and one more
constexpr double kNegligible = 0.01;  // pixels that may be cut off an enlarged picture

std::uint32_t SideOf(double side) { return static_cast<std::uint32_t>(std::clamp(side, 1.0, 2.0 * kMaxFrameSide)); }

// Black; transparent where the format has alpha.
cv::Scalar EmptyPixel(const PlaneTask& plane) { return cv::Scalar::all(plane.role == PlaneRole::Chroma ? 128.0 : 0.0); }

// Sample (x, y) of the result comes from (cosine * x - sine * y + x0, sine * x + cosine * y + y0).
struct Turn {
    double cosine, sine, x0, y0;

    // About the centres of both matrices.
    Turn(double radians, const cv::Size& from, const cv::Size& to)
        : cosine(std::cos(radians)), sine(std::sin(radians)) {
        const double x = (to.width - 1) / 2.0, y = (to.height - 1) / 2.0;
        x0 = (from.width - 1) / 2.0 - cosine * x + sine * y;
        y0 = (from.height - 1) / 2.0 - sine * x - cosine * y;
    }

    // All samples that contribute to a block, regardless of the source's bounds.
    cv::Rect SourceOf(const cv::Rect& block) const {
        const double right = block.width - 1, down = block.height - 1;
        const double x = cosine * block.x - sine * block.y + x0, y = sine * block.x + cosine * block.y + y0;
        const double left = x + std::min(0.0, cosine * right) + std::min(0.0, -sine * down),
                     top = y + std::min(0.0, sine * right) + std::min(0.0, cosine * down);
        const double width = std::abs(cosine * right) + std::abs(sine * down),
                     height = std::abs(sine * right) + std::abs(cosine * down);
        return {static_cast<int>(std::floor(left)) - kReach, static_cast<int>(std::floor(top)) - kReach,
                static_cast<int>(width) + 2 * kReach + 2, static_cast<int>(height) + 2 * kReach + 2};
    }

    // From positions in a block of the result to positions in a part of the source.
    cv::Matx23d Between(const cv::Rect& block, const cv::Point& part) const {
        return {cosine, -sine,  cosine * block.x - sine * block.y + x0 - part.x,
                sine,   cosine, sine * block.x + cosine * block.y + y0 - part.y};
    }
};

class Rotate : public PlanesEffect<SettingsEffectRotate> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo& picture) override {
        const double angle = settings_.GetAngle();
        if (!std::isfinite(angle)) Throw("Angle is not supported! It must be a number of degrees.");
        if (settings_.GetOutputSizeMode() < kSame || settings_.GetOutputSizeMode() > kInscribed)
            Throw("Output size mode is not supported! It must be 0..2.");
        degrees_ = std::fmod(std::fmod(angle, 360.0) + 360.0, 360.0);
        isExact_ = std::fmod(degrees_, 90.0) == 0.0;
        quarters_ = isExact_ ? static_cast<int>(degrees_ / 90.0) : 0;
        info_ = picture.GetFrameInfo();
        return degrees_ != 0.0;
    }

    FrameInfo GetNewInfo(const FrameInfo& info) const override {
        const double cosine = isExact_ ? 1 - quarters_ % 2 : std::abs(std::cos(Radians())),
                     sine = isExact_ ? quarters_ % 2 : std::abs(std::sin(Radians()));
        const double width = info.width * cosine + info.height * sine,
                     height = info.width * sine + info.height * cosine;
        FrameInfo result = info;
        if (settings_.GetOutputSizeMode() == kGrown) {
            result.width = SideOf(std::ceil(width - kNegligible));
            result.height = SideOf(std::ceil(height - kNegligible));
        } else if (settings_.GetOutputSizeMode() == kInscribed) {
            const double scale = std::min(info.width / width, info.height / height);
            result.width = SideOf(std::floor(info.width * scale + 1e-6));
            result.height = SideOf(std::floor(info.height * scale + 1e-6));
        }
        return result;
    }

    PixFmt GetWorkingFormat(const PixFmtDescription& format) const override {
        const bool isMoving = isExact_ && (quarters_ == 2 || settings_.GetOutputSizeMode() == kGrown);
        if (format.kind == PixFmtDescription::Kind::Indexed) return isMoving ? format.pixFmt : PixFmt::Rgba;
        const int shiftX = format.chromaShiftX, shiftY = format.chromaShiftY;
        const bool isWhole = info_.width % (1u << shiftX) == 0 && info_.height % (1u << shiftY) == 0;
        if (shiftX + shiftY == 0 || (isMoving && isWhole && (quarters_ == 2 || shiftX == shiftY))) return format.pixFmt;
        return format.GetFinestPlanar();
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        if (isExact_) {
            Move(plane);
            return;
        }
        const PixFmtDescription& format = PixFmtDescription::Get(plane.picture.GetPixFmt());
        const bool isWeighted = format.HasAlpha() && plane.role != PlaneRole::Alpha;
        const cv::Mat opacity = isWeighted ? AlphaOnGridOf(plane.picture, plane.index) : cv::Mat();
        const Turn turn(Radians(), plane.from.size(), plane.to.size());
        ForEachBand(plane.to.rows, kBlockRows, [&](int first, int end) {
            for (int left = 0; left < plane.to.cols; left += kBlockColumns) {
                const int width = std::min(kBlockColumns, plane.to.cols - left);
                TurnBlock(plane, opacity, turn, cv::Rect(left, first, width, end - first));
            }
        });
    }

private:
    double Radians() const { return degrees_ * std::numbers::pi / 180.0; }

    void Move(const PlaneTask& plane) const {
        constexpr int kCodes[] = {cv::ROTATE_90_COUNTERCLOCKWISE, cv::ROTATE_180, cv::ROTATE_90_CLOCKWISE};
        cv::Mat turned, to = plane.to;
        cv::rotate(plane.from, turned, kCodes[quarters_ - 1]);
        to.setTo(EmptyPixel(plane));
        const cv::Point offset((to.cols - turned.cols) / 2, (to.rows - turned.rows) / 2);
        const cv::Rect place = cv::Rect(offset, turned.size()) & cv::Rect(cv::Point(), to.size());
        turned(place - offset).copyTo(to(place));
    }

    void TurnBlock(const PlaneTask& plane, const cv::Mat& opacity, const Turn& turn, const cv::Rect& block) const {
        cv::Mat to = plane.to(block);
        const cv::Rect wanted = turn.SourceOf(block), whole(cv::Point(), plane.from.size()), part = wanted & whole;
        if (part.empty()) {
            to.setTo(EmptyPixel(plane));
            return;
        }
        const bool isCut = settings_.GetOutputSizeMode() != kInscribed;
        const auto warp = [&](const cv::Mat& from, cv::Mat result, const cv::Scalar& empty) {
            cv::warpAffine(from, result, turn.Between(block, part.tl()), result.size(),
                           cv::INTER_CUBIC | cv::WARP_INVERSE_MAP, isCut ? cv::BORDER_CONSTANT : cv::BORDER_REPLICATE,
                           empty);
        };
        const bool isOpaque =
            opacity.empty() || ((!isCut || part == wanted) && cv::countNonZero(opacity(part) != 255) == 0);
        if (isOpaque) {
            warp(plane.from(part), to, EmptyPixel(plane));
        } else {
            TurnWeighted(plane.from(part), opacity(part), to, plane.alpha, [&](const cv::Mat& from) {
                cv::Mat result(block.size(), CV_32F);
                warp(from, result, cv::Scalar());
                return result;
            });
        }
    }

    // Passes every channel through `warp` as floats, with colours premultiplied by alpha.
    template <class Warp>
    static void TurnWeighted(const cv::Mat& from, const cv::Mat& opacity, cv::Mat to, int alpha, Warp&& warp) {
        constexpr double kNothing = 0.5;  // alpha that rounds to 0
        cv::Mat weights;
        opacity.convertTo(weights, CV_32F);
        const cv::Mat turnedWeights = warp(weights), hidden = turnedWeights < kNothing;
        for (int k = 0; k < from.channels(); ++k) {
            cv::Mat channel, samples;
            if (k == alpha) {
                turnedWeights.convertTo(channel, CV_8U);
            } else {
                cv::extractChannel(from, channel, k);
                channel.convertTo(samples, CV_32F);
                samples = warp(samples.mul(weights)) / turnedWeights;
                samples.convertTo(channel, CV_8U);
                channel.setTo(0, hidden);
            }
            cv::insertChannel(channel, to, k);
        }
    }

    FrameInfo info_{1, 1};
    double degrees_ = 0.0;  // 0 or more, below 360
    bool isExact_ = true;   // a multiple of 90 degrees
    int quarters_ = 0;      // number of quarter turns
};

}  // namespace

OneInputPtr CreateRotate(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Rotate>(factory, allocator);
}

}  // namespace Orvexa::Proc
