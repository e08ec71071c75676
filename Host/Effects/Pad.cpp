// Pad: adds margins to a frame, filled with a colour, with more of a texture, mirrored about the outermost pixels
// (which are not repeated) or replicated from them.
//
// On subsampled planes the left and top margins are rounded down, as offsets are everywhere, and the right and bottom
// ones take what is left of the plane. In an indexed frame the colour is the nearest one of the palette.

#include <cstring>
#include <limits>
#include <opencv2/core.hpp>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"
#include "Host/Effects/Texture.h"
#include "Host/Settings/Common/SettingsEffectPad.h"

namespace Orvexa::Proc {
namespace {

int BorderType(PadMode mode) {
    switch (mode) {
        case PadMode::Fill: return cv::BORDER_CONSTANT;
        case PadMode::Replicate: return cv::BORDER_REPLICATE;
        case PadMode::Mirror: return cv::BORDER_REFLECT_101;
        case PadMode::Texture: break;  // is no border of OpenCV's
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

class Pad : public HostOneInput<SettingsEffectPad> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const CropInfo& margins = settings_.GetMargins();
        if (margins == CropInfo()) return;
        const ConstFramePtr source = frame;
        FrameInfo info = source->GetFrameInfo();
        info.width = PaddedSide(info.width, margins.left, margins.right);
        info.height = PaddedSide(info.height, margins.top, margins.bottom);
        if (settings_.GetMode() == PadMode::Texture) {
            frame = Extended(*source, info);
            return;
        }
        FramePtr target = NewFrame(allocator_, source->GetPixFmt(), info);
        const int border = BorderType(settings_.GetMode());
        const PixFmtDescription& description = PixFmtDescription::Get(source->GetPixFmt());
        const bool isIndexed = description.kind == PixFmtDescription::Kind::Indexed;
        for (std::uint8_t i = 0; i < description.planes; ++i) {
            const ConstPlane from = source->GetPlane(i);
            const cv::Mat to = AsMat(target->GetPlane(i));
            if (isIndexed && i == 1) {
                CopyPlane(from, target->GetPlane(i));
                continue;
            }
            const int left = static_cast<int>(margins.left >> description.GetShiftX(i)),
                      top = static_cast<int>(margins.top >> description.GetShiftY(i));
            const cv::Mat in = AsMat(from);
            cv::copyMakeBorder(in, to, top, to.rows - top - in.rows, left, to.cols - left - in.cols, border,
                               FillValue(*source, i));
        }
        frame = std::move(target);
    }

private:
    // Windows of a texture may start anywhere, for which every pixel needs samples of its own. An indexed frame becomes
    // RGBA.
    FramePtr Extended(const IDataVideo& source, const FrameInfo& info) const {
        const PixFmtDescription& description = PixFmtDescription::Get(source.GetPixFmt());
        const bool isIndexed = description.kind == PixFmtDescription::Kind::Indexed;
        const bool isSubsampled = description.chromaShiftX + description.chromaShiftY > 0;
        const PixFmt working = isIndexed                ? PixFmt::Rgba
                               : !isSubsampled          ? source.GetPixFmt()
                               : description.HasAlpha() ? PixFmt::Yuva444p
                                                        : PixFmt::Yuv444p;
        const ConstFramePtr texture =
            working == source.GetPixFmt() ? ConstFramePtr(&source) : ConvertPixFmt(source, working, allocator_);
        FramePtr extended = NewFrame(allocator_, working, info);
        for (std::uint8_t i = 0; i < GetPlanesCount(*texture); ++i) {
            ExtendTexture(AsMat(texture->GetPlane(i)), AsMat(extended->GetPlane(i)),
                          static_cast<int>(settings_.GetMargins().left), static_cast<int>(settings_.GetMargins().top));
        }
        return isSubsampled ? ConvertPixFmt(*extended, source.GetPixFmt(), allocator_) : extended;
    }

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
