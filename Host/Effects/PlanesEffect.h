// The base of sub-effects that process a picture plane by plane, with OpenCV.
//
// Such an effect implements ProcessPlane; the common parts, such as the new frame, indexed pictures and planes that are
// copied, are here.
#pragma once

#include <vector>

#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"

namespace Orvexa::Proc {

/// One plane of a picture and the same plane of the result.
struct PlaneTask {
    const IDataVideo& picture;  ///< the whole picture, in the effect's working format
    std::uint8_t index;
    PlaneRole role;
    int shiftX, shiftY;  ///< log2 of the plane's subsampling
    int alpha;           ///< index of the matrices' alpha channel; -1 if there is none
    cv::Mat from;        ///< read-only; one channel for each byte of a pixel
    cv::Mat to;          ///< initially undefined; views the result, so it must be written into, not replaced

    PlaneTask(const IDataVideo& source, IDataVideo& result, std::uint8_t plane);

    /// The picture's alpha on this plane's grid, one byte per sample; empty for the alpha plane itself and for opaque
    /// pictures.
    cv::Mat GetOpacity() const;
    /// Sets every channel of `to` to the result of `change` on that channel of `from` (single-channel matrices); alpha
    /// is copied.
    template <class Change>
    void ChangeColors(Change&& change) const {
        std::vector<cv::Mat> channels;
        cv::split(from, channels);
        for (int k = 0; k < from.channels(); ++k) {
            cv::Mat& channel = channels[static_cast<std::size_t>(k)];
            if (k != alpha) channel = change(channel);
        }
        cv::merge(channels, to);
    }
};

template <class SettingsT>
class PlanesEffect : public HostOneInput<SettingsT> {
public:
    using HostOneInput<SettingsT>::HostOneInput;

protected:
    /// Checks the settings and prepares data common to all planes. False leaves the picture unchanged.
    virtual bool Prepare(const IDataVideo& picture) = 0;
    /// The format in which a picture of another format is processed. The result is converted back to the picture's own,
    /// except that an indexed picture becomes RGBA unless it is processed as it is.
    virtual PixFmt GetWorkingFormat(const PixFmtDescription& format) const { return ExpandedFormat(format.pixFmt); }
    /// The geometry of the result.
    virtual FrameInfo GetNewInfo(const FrameInfo& info) const { return info; }
    /// Whether planes with this role are copied. Palettes always are.
    virtual bool IsKept([[maybe_unused]] PlaneRole role) const { return false; }
    /// Fills `plane.to`.
    virtual void ProcessPlane(const PlaneTask& plane) const = 0;

private:
    void Process(FramePtr& frame) final {
        if (!Prepare(*frame)) return;
        const PixFmtDescription& format = PixFmtDescription::Get(frame->GetPixFmt());
        const PixFmt working = GetWorkingFormat(format);
        const ConstFramePtr picture = InFormat(ConstFramePtr(frame), working, this->allocator_);
        const FramePtr result = NewFrame(this->allocator_, working, GetNewInfo(frame->GetFrameInfo()));
        for (std::uint8_t i = 0; i < GetPlanesCount(*picture); ++i) {
            const PlaneTask plane(*picture, *result, i);
            if (plane.role == PlaneRole::Palette || IsKept(plane.role)) {
                CopyPlane(picture->GetPlane(i), result->GetPlane(i));
            } else {
                ProcessPlane(plane);
            }
        }
        frame = working == format.pixFmt ? result : InFormat(result, ExpandedFormat(format.pixFmt), this->allocator_);
    }
};

}  // namespace Orvexa::Proc
