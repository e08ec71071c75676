// Pad: adds margins to a frame, filled with a colour, with an extended texture, mirrored about the outermost pixels
// (which are not repeated) or replicated from them.
//
// On subsampled planes the left and top margins are rounded down, like all offsets, and the right and bottom ones take
// the rest of the plane. In an indexed frame the colour is the nearest one in the palette.

#include <cstring>
#include <limits>
#include <opencv2/core.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Effects/Texture.h"
#include "Host/Settings/Common/SettingsEffectPad.h"

namespace Orvexa::Proc {
namespace {

int BorderType(PadMode mode) {
    switch (mode) {
        case PadMode::Fill: return cv::BORDER_CONSTANT;
        case PadMode::Replicate: return cv::BORDER_REPLICATE;
        case PadMode::Mirror: return cv::BORDER_REFLECT_101;
        case PadMode::Texture: break;  // not one of OpenCV's border types
    }
    Throw("Pad mode is not supported! It must be 0..3.");
}

std::uint32_t PaddedSide(std::uint32_t side, std::uint32_t before, std::uint32_t after) {
    const std::uint64_t sum = std::uint64_t{side} + before + after;
    if (sum > std::numeric_limits<int>::max()) Throw("Frame size is not supported!");
    return static_cast<std::uint32_t>(sum);
}

int NearestEntry(const ConstPlane& palette, const Color& color) {
    int nearest = 0;
    int nearestDistance = std::numeric_limits<int>::max();
    for (int i = 0; i < 256; ++i) {
        int distance = 0;
        for (int k = 0; k < 4; ++k) {
            const int difference = palette.GetData()[4 * i + k] - color[k];
            distance += difference * difference;
        }
        if (distance >= nearestDistance) continue;
        nearest = i;
        nearestDistance = distance;
    }
    return nearest;
}

class Pad : public PlanesEffect<SettingsEffectPad> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override { return settings_.GetMargins() != CropInfo(); }

    FrameInfo GetNewInfo(const FrameInfo& info) const override {
        const CropInfo& margins = settings_.GetMargins();
        return {PaddedSide(info.width, margins.left, margins.right),
                PaddedSide(info.height, margins.top, margins.bottom), info.aspect};
    }

    // Windows of a texture may start anywhere, so every pixel needs samples of its own. Borders repeat samples without
    // mixing them, so indices can stay.
    PixFmt GetWorkingFormat(const PixFmtDescription& format) const override {
        if (settings_.GetMode() != PadMode::Texture) return format.pixFmt;
        const bool isSubsampled = format.chromaShiftX + format.chromaShiftY > 0;
        return isSubsampled ? format.GetFinestPlanar() : ExpandedFormat(format.pixFmt);
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        const CropInfo& margins = settings_.GetMargins();
        const int left = static_cast<int>(margins.left >> plane.shiftX),
                  top = static_cast<int>(margins.top >> plane.shiftY);
        const cv::Mat &from = plane.from, &to = plane.to;
        if (settings_.GetMode() == PadMode::Texture) {
            ExtendTexture(from, to, left, top);
        } else {
            cv::copyMakeBorder(from, to, top, to.rows - top - from.rows, left, to.cols - left - from.cols,
                               BorderType(settings_.GetMode()), FillValue(plane.picture, plane.index));
        }
    }

private:
    // The fill colour as a pixel of one plane.
    cv::Scalar FillValue(const IDataVideo& source, std::uint8_t plane) const {
        if (settings_.GetMode() != PadMode::Fill) return {};
        if (source.GetPixFmt() == PixFmt::Pal8) return NearestEntry(source.GetPlane(1), settings_.GetColor());
        const FramePtr pixel = NewFrame(allocator_, source.GetPixFmt(), FrameInfo(1, 1));
        pixel->Fill(settings_.GetColor());
        const ConstPlane sample = std::as_const(*pixel).GetPlane(plane);
        cv::Scalar value;
        for (std::uint64_t k = 0; k < sample.GetBytesPerPixel(); ++k) value[static_cast<int>(k)] = sample.GetData()[k];
        return value;
    }
};

}  // namespace

OneInputPtr CreatePad(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Pad>(factory, allocator);
}

}  // namespace Orvexa::Proc
