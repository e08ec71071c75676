// CLAHE: contrast limited adaptive histogram equalisation of luma (K. Zuiderveld, "Contrast limited adaptive histogram
// equalization", Graphics Gems IV, 1994) on 8 x 8 tiles. Chroma and alpha are unchanged; so are hidden pixels, which
// count as pixels of the mean luma.

#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectCLAHE.h"

namespace Orvexa::Proc {
namespace {

constexpr int kTiles = 8;

class CLAHE : public PlanesEffect<SettingsEffectCLAHE> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override { return settings_.GetClip() > 0.0; }

    PixFmt GetWorkingFormat(const PixFmtDescription& format) const override {
        return format.GetRole(0) == PlaneRole::Luma ? format.pixFmt : format.GetFinestPlanar();
    }
    bool IsKept(PlaneRole role) const override { return role != PlaneRole::Luma; }

    void ProcessPlane(const PlaneTask& plane) const override {
        const auto equalizer = cv::createCLAHE(settings_.GetClip(), cv::Size(kTiles, kTiles));
        const cv::Mat opacity = plane.GetOpacity();
        if (opacity.empty()) {
            equalizer->apply(plane.from, plane.to);
            return;
        }
        cv::Mat luma = plane.from.clone();
        luma.setTo(cv::mean(luma, opacity), opacity == 0);
        equalizer->apply(luma, plane.to);
        plane.from.copyTo(plane.to, opacity == 0);
    }
};

}  // namespace

OneInputPtr CreateCLAHE(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<CLAHE>(factory, allocator);
}

}  // namespace Orvexa::Proc
