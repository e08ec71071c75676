// DrawContours and DrawShape: draw into a frame, changing its pixels in place, including those of its views.
//
// Each plane is drawn with the colour's sample in it; on subsampled planes positions and widths are divided. Smooth
// edges mix the colour with the pixels below.

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"
#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Common/SettingsEffectDrawShape.h"

namespace Orvexa::Proc {
namespace {

constexpr int kSmooth = 1;
constexpr int kFractionBits = 4;       // of positions
constexpr int kMaxPosition = 1 << 20;  // pixels; positions farther out are clamped to this

// A plane to draw into.
struct Canvas {
    cv::Mat plane;
    cv::Scalar color;
    int shiftX, shiftY;
    int lineType;
    int thickness;

    // A position in picture pixels in OpenCV's fixed-point form.
    cv::Point At(int x, int y) const {
        const auto along = [](int position, int shift) {
            const double center = std::ldexp(std::clamp(position, -kMaxPosition, kMaxPosition) + 0.5, -shift) - 0.5;
            return static_cast<int>(std::lround(std::ldexp(center, kFractionBits)));
        };
        return {along(x, shiftX), along(y, shiftY)};
    }
};

// The sample that represents a colour in a plane of the format.
cv::Scalar SampleOf(const Color& color, PixFmt pixFmt, std::uint8_t plane, const AllocatorPtr& allocator) {
    const FramePtr pixel = NewFrame(allocator, pixFmt, FrameInfo(1, 1));
    pixel->Fill(color);
    const ConstPlane sample = std::as_const(*pixel).GetPlane(plane);
    cv::Scalar value;
    for (std::uint64_t k = 0; k < sample.GetBytesPerPixel(); ++k) value[static_cast<int>(k)] = sample.GetData()[k];
    return value;
}

template <class SettingsT>
class Drawing : public HostOneInput<SettingsT> {
public:
    using HostOneInput<SettingsT>::HostOneInput;

protected:
    virtual void Draw(const Canvas& canvas) const = 0;

private:
    void Process(FramePtr& frame) final {
        const PixFmt pixFmt = frame->GetPixFmt();
        if (pixFmt == PixFmt::Pal8) Throw("Pixel format is not supported! An indexed frame cannot be drawn into.");
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        for (std::uint8_t i = 0; i < description.planes; ++i) {
            const int shiftX = description.GetShiftX(i), shiftY = description.GetShiftY(i),
                      thickness = this->settings_.GetThickness();
            Draw({AsMat(frame->GetPlane(i)), SampleOf(this->settings_.GetColor(), pixFmt, i, this->allocator_), shiftX,
                  shiftY, this->settings_.GetLineType() == kSmooth ? cv::LINE_AA : cv::LINE_8,
                  thickness < 0 ? cv::FILLED : std::max(thickness >> std::max(shiftX, shiftY), 1)});
        }
    }
};

class DrawContours : public Drawing<SettingsEffectDrawContours> {
public:
    using Drawing::Drawing;

protected:
    void Draw(const Canvas& canvas) const override {
        cv::Mat plane = canvas.plane;
        for (const Contour& contour : settings_.GetContours()) {
            if (contour.empty()) continue;
            std::vector<cv::Point> points;
            for (const Point<int>& point : contour) points.push_back(canvas.At(point.x, point.y));
            if (canvas.thickness < 0) {
                cv::fillPoly(plane, std::vector{points}, canvas.color, canvas.lineType, kFractionBits);
            } else {
                cv::polylines(plane, std::vector{points}, true, canvas.color, canvas.thickness, canvas.lineType,
                              kFractionBits);
            }
        }
    }
};

class DrawShape : public Drawing<SettingsEffectDrawShape> {
public:
    using Drawing::Drawing;

protected:
    void Draw(const Canvas& canvas) const override {
        const auto scaled = [](int length, int shift) {
            return static_cast<int>(std::ldexp(std::clamp(length, 0, kMaxPosition), kFractionBits - shift));
        };
        cv::Mat plane = canvas.plane;
        cv::ellipse(plane, canvas.At(settings_.GetCenterX(), settings_.GetCenterY()),
                    cv::Size(scaled(settings_.GetWidth(), canvas.shiftX), scaled(settings_.GetHeight(), canvas.shiftY)),
                    settings_.GetAngle(), settings_.GetStartAngle(), settings_.GetEndAngle(), canvas.color,
                    canvas.thickness, canvas.lineType, kFractionBits);
    }
};

}  // namespace

OneInputPtr CreateDrawContours(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<DrawContours>(factory, allocator);
}
OneInputPtr CreateDrawShape(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<DrawShape>(factory, allocator);
}

}  // namespace Orvexa::Proc
