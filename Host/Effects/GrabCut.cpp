// GrabCut: segmentation by iterated graph cuts with colour models of both sides (C. Rother, V. Kolmogorov, A. Blake,
// "GrabCut", ACM Transactions on Graphics 23(3), 2004), as implemented in OpenCV.
//
// It has two forms. Given a picture with a grey seed mask: pixels with the foreground or the background value are
// certain, all others are probable background; the picture is replaced by a mask of both values. Given a grey frame of
// labels (0 background, 1 foreground, 2 probable background, 3 probable foreground) with a colour picture: the labels
// are overwritten with 0 or 255. Cuts take seconds per megapixel, so labels of a large area are cut at a smaller scale,
// and a guided filter restores the edge to the picture's own edges.

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"

namespace Orvexa::Proc {
namespace {

constexpr int kIterations = 5;
constexpr std::uint8_t kLabelForeground = 255, kLabelBackground = 0;
constexpr int kLongestSide = 320;       // pixels, of labels to cut
constexpr double kReachOfEdge = 2.0;    // search radius for an edge, in pixels of the smaller scale
constexpr double kEdgeContrast = 0.02;  // minimum contrast of an edge, relative to the range of luma

bool IsForeground(std::uint8_t label) { return (label & 1) != 0; }

void CheckSizes(const IDataVideo& a, const IDataVideo& b) {
    if (a.GetFrameInfo().width != b.GetFrameInfo().width || a.GetFrameInfo().height != b.GetFrameInfo().height) {
        Throw("The picture and its mask must have the same size!");
    }
}

// Replaces labels 2 and 3. If either side has no labels at all, the two cannot be distinguished, and the labels are
// kept.
void Cut(const cv::Mat& picture, cv::Mat& labels) {
    const auto has = [&](bool isForeground) { return cv::countNonZero((labels & 1) == (isForeground ? 1 : 0)) > 0; };
    if (!has(true) || !has(false)) return;
    // Clustering starts from random numbers, whose state is per thread.
    cv::theRNG().state = 1;
    cv::Mat background, foreground;
    cv::grabCut(picture, labels, cv::Rect(), background, foreground, kIterations, cv::GC_INIT_WITH_MASK);
}

class GrabCut : public HostTwoInput<SettingsEffectSegmentation> {
public:
    using HostTwoInput::HostTwoInput;

protected:
    const std::string& GetImplName() const override { return ImplPhotoNames::OPENCV; }

    void Process(FramePtr& frame, const ConstFramePtr& second) override {
        CheckSizes(*frame, *second);
        if (second->GetPixFmt() == PixFmt::Gray8) {
            frame = CutBySeeds(*frame, second->GetPlane(0));
        } else if (frame->GetPixFmt() == PixFmt::Gray8) {
            CutByLabels(frame->GetPlane(0), *second);
        } else {
            Throw("Segmentation needs a grey mask beside the picture!");
        }
    }

private:
    cv::Mat ColorsOf(const IDataVideo& picture) const {
        return AsMat(std::as_const(*ConvertPixFmt(picture, PixFmt::Bgr24, allocator_)).GetPlane(0)).clone();
    }

    FramePtr CutBySeeds(const IDataVideo& picture, const ConstPlane& seeds) const {
        const FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, picture.GetFrameInfo());
        const Plane plane = mask->GetPlane(0);
        const std::uint8_t foreground = settings_.GetForeground(), background = settings_.GetBackground();
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) {
                const std::uint8_t seed = seeds.GetRow(y)[x];
                plane.GetRow(y)[x] = seed == foreground ? cv::GC_FGD : seed == background ? cv::GC_BGD : cv::GC_PR_BGD;
            }
        }
        CutLabels(plane, picture, foreground, background);
        return mask;
    }

    void CutByLabels(const Plane& labels, const IDataVideo& picture) const {
        for (std::uint64_t y = 0; y < labels.GetHeight(); ++y) {
            const std::uint8_t* const row = labels.GetRow(y);
            if (std::any_of(row, row + labels.GetWidth(), [](std::uint8_t label) { return label > cv::GC_PR_FGD; }))
                Throw("Segmentation labels must be 0..3!");
        }
        const FrameInfo& info = picture.GetFrameInfo();
        const double scale = static_cast<double>(std::max(info.width, info.height)) / kLongestSide;
        if (scale > 1.0) {
            CutReduced(labels, picture, scale);
        } else {
            CutLabels(labels, picture, kLabelForeground, kLabelBackground);
        }
    }

    void CutReduced(const Plane& labels, const IDataVideo& picture, double scale) const {
        const auto reduced = [&](std::uint32_t side) {
            return std::max(static_cast<int>(std::lround(side / scale)), 1);
        };
        const FrameInfo& info = picture.GetFrameInfo();
        const cv::Size size(reduced(info.width), reduced(info.height));
        cv::Mat colors, cut;
        cv::resize(AsMat(std::as_const(*InFormat(ConstFramePtr(&picture), PixFmt::Bgr24, allocator_)).GetPlane(0)),
                   colors, size, 0, 0, cv::INTER_AREA);
        cv::resize(AsMat(ConstPlane(labels)), cut, size, 0, 0, cv::INTER_NEAREST);
        Cut(colors, cut);
        cut = (cut & 1) * 255;

        FramePtr smooth = NewFrame(allocator_, PixFmt::Gray8, info);
        cv::Mat enlarged = AsMat(smooth->GetPlane(0));
        cv::resize(cut, enlarged, enlarged.size(), 0, 0, cv::INTER_LINEAR);
        SettingsEffectGuidedFilter toEdges;
        toEdges.SetRadius(static_cast<int>(std::ceil(scale * kReachOfEdge)));
        toEdges.SetEpsilon(kEdgeContrast * kEdgeContrast);
        CreateTwoInput(toEdges)->ProcessData(smooth, ConstFramePtr(&picture));
        for (std::uint64_t y = 0; y < labels.GetHeight(); ++y) {
            std::uint8_t* const row = labels.GetRow(y);
            const std::uint8_t* const level = smooth->GetPlane(0).GetRow(y);
            for (std::uint64_t x = 0; x < labels.GetWidth(); ++x) {
                const bool isCertain = row[x] == cv::GC_FGD || row[x] == cv::GC_BGD;
                row[x] = (isCertain ? IsForeground(row[x]) : level[x] > 127) ? kLabelForeground : kLabelBackground;
            }
        }
    }

    void CutLabels(const Plane& labels, const IDataVideo& picture, std::uint8_t foreground,
                   std::uint8_t background) const {
        cv::Mat cut = AsMat(labels).clone();
        Cut(ColorsOf(picture), cut);
        for (std::uint64_t y = 0; y < labels.GetHeight(); ++y) {
            const std::uint8_t* label = cut.ptr(static_cast<int>(y));
            for (std::uint64_t x = 0; x < labels.GetWidth(); ++x)
                labels.GetRow(y)[x] = IsForeground(label[x]) ? foreground : background;
        }
    }
};

}  // namespace

TwoInputPtr CreateGrabCut(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<GrabCut>(factory, allocator);
}

}  // namespace Orvexa::Proc
