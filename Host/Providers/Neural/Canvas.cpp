#include "Host/Providers/Neural/Canvas.h"

#include <opencv2/imgproc.hpp>
#include <utility>

#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/Mats.h"
#include "Host/Effects/Transparency.h"

namespace Orvexa::Proc::Neural {

namespace {

using Kind = PixFmtDescription::Kind;

bool HasHiddenPixels(const IDataVideo& frame) {
    if (!IsTransparent(frame)) return false;
    const ConstChannel alpha = GetChannel(frame, ChannelKind::Alpha);
    for (int y = 0; y < alpha.height; ++y) {
        const std::uint8_t* sample = alpha.GetRow(y);
        for (int x = 0; x < alpha.width; ++x, sample += alpha.step) {
            if (*sample == 0) return true;
        }
    }
    return false;
}

// A format whose plane 0 holds the network's input, and which keeps everything else in the picture.
PixFmt WorkingFormat(PixFmt format, const Model& model, int enlarges) {
    const PixFmtDescription& description = PixFmtDescription::Get(ExpandedFormat(format));
    if (description.kind == Kind::Gray) return description.pixFmt;
    if (model.channels != Channels::Grey) {
        if (description.kind == Kind::Packed) return description.pixFmt;
        return description.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24;
    }
    const bool isKept = enlarges == 1 && description.kind != Kind::Packed;
    return isKept ? description.pixFmt : description.GetFinestPlanar();
}

template <class PlaneT>
Samples<PlaneT> SamplesIn(const PlaneT& plane, PixFmt format, const Model& model) {
    const PixFmtDescription& description = PixFmtDescription::Get(format);
    if (description.kind != Kind::Packed) return {plane, {0, 0, 0}};
    const std::array<int, 3> bytes = {description.red, description.green, description.blue};
    return {plane, model.channels == Channels::Bgr ? std::array{bytes[2], bytes[1], bytes[0]} : bytes};
}

// Copies a channel of the picture, scaled to the size of the result.
void CopyScaled(const IDataVideo& picture, ChannelKind kind, IDataVideo& result) {
    const ConstChannel from = GetChannel(picture, kind);
    const Channel to = GetChannel(result, kind);
    if (from.width == to.width && from.height == to.height) {
        CopyChannel(from, to);
        return;
    }
    cv::Mat small(from.height, from.width, CV_8U), large;
    CopyChannel(from, {small.data, static_cast<std::int64_t>(small.step), 1, small.cols, small.rows});
    cv::resize(small, large, cv::Size(to.width, to.height), 0, 0, cv::INTER_CUBIC);
    CopyChannel({large.data, static_cast<std::int64_t>(large.step), 1, large.cols, large.rows}, to);
}

}  // namespace

Canvas::Canvas(const ConstFramePtr& frame, const Model& model, int enlarges, const FactoryPtr& factory,
               const AllocatorPtr& allocator)
    : model_(model), allocator_(allocator), format_(ExpandedFormat(frame->GetPixFmt())), picture_(frame) {
    const PixFmt working = WorkingFormat(frame->GetPixFmt(), model, enlarges);
    if (HasHiddenPixels(*frame)) {
        // A network cannot weight colours by alpha, so hidden colours must resemble the visible ones around them.
        const bool isPacked = PixFmtDescription::Get(format_).kind == Kind::Packed;
        const FramePtr filled =
            isPacked ? CloneFrame(*frame, kCloneIndependent) : ConvertPixFmt(*frame, PixFmt::Rgba, allocator);
        FillHiddenPixels(*filled, factory);
        picture_ = filled;
    }
    picture_ = InFormat(picture_, working, allocator);
    const FrameInfo& info = picture_->GetFrameInfo();
    const auto scale = static_cast<std::uint32_t>(enlarges);
    result_ = NewFrame(allocator, working, FrameInfo(info.width * scale, info.height * scale, info.aspect));
    const PixFmtDescription& description = PixFmtDescription::Get(working);
    if (description.HasAlpha()) CopyScaled(*picture_, ChannelKind::Alpha, *result_);
    if (description.kind == Kind::Planar || description.kind == Kind::SemiPlanar) {
        CopyScaled(*picture_, ChannelKind::Cb, *result_);
        CopyScaled(*picture_, ChannelKind::Cr, *result_);
    }
    output_ = SamplesIn(result_->GetPlane(0), working, model);
    isGreyOfColors_ = description.kind == Kind::Gray && model.channels != Channels::Grey;
}

ConstSamples Canvas::GetInput(const IDataVideo& frame) const {
    return SamplesIn(frame.GetPlane(0), frame.GetPixFmt(), model_);
}

void Canvas::CopyPicture() const {
    const Plane to = output_.plane;
    const ConstPlane from = picture_->GetPlane(0);
    if (from.GetWidth() == to.GetWidth() && from.GetHeight() == to.GetHeight()) {
        CopyPlane(from, to);
        return;
    }
    cv::Mat enlarged = AsMat(to);
    cv::resize(AsMat(from), enlarged, enlarged.size(), 0, 0, cv::INTER_CUBIC);
}

void Canvas::Write(const cv::Mat& values, const cv::Point& from, const cv::Rect& to) const {
    const auto scale = static_cast<float>(model_.outputScale), offset = static_cast<float>(model_.outputOffset);
    for (int y = 0; y < to.height; ++y) {
        const float* rows[3] = {};
        for (int c = 0; c < values.size[1]; ++c) rows[c] = values.ptr<float>(0, c, from.y + y) + from.x;
        WriteRow(to.y + y, to.x, to.width, [&](int x, int c) { return rows[c][x] * scale + offset; });
    }
}

FramePtr Canvas::GetResult() const { return InFormat(result_, format_, allocator_); }

}  // namespace Orvexa::Proc::Neural
