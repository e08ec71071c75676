// Blur: a Gaussian along rows, columns or both. Deviations are in pixels of the picture, and scaled down for subsampled
// planes.

#include <cmath>

#include "Host/Effects/GaussianBlur.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"

namespace Orvexa::Proc {
namespace {

constexpr int kNone = 0, kGaussian = 1;

class Blur : public PlanesEffect<SettingsEffectBlur> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override {
        if (settings_.GetAlgorithm() == kNone) return false;
        if (settings_.GetAlgorithm() != kGaussian) Throw("Blur algorithm is not supported! It must be 0 or 1.");
        return settings_.GetPlanesMask() != 0 &&
               !(AxisOf(settings_.GetDevX(), 1.0, 0).IsNeutral() && AxisOf(settings_.GetDevY(), 1.0, 0).IsNeutral());
    }

    void ProcessPlane(const PlaneTask& plane) const override {
        if ((settings_.GetPlanesMask() >> plane.index & 1) == 0) {
            plane.from.copyTo(plane.to);
            return;
        }
        BlurPlane(plane, AxisOf(settings_.GetDevX(), settings_.GetScaleX(), plane.shiftX),
                  AxisOf(settings_.GetDevY(), settings_.GetScaleY(), plane.shiftY));
    }

private:
    // `shift`: log2 of the plane's subsampling along the axis.
    BlurAxis AxisOf(double deviation, double scale, int shift) const {
        return BlurAxis::Make(std::ldexp(deviation, -shift), settings_.GetKernelLength(),
                              settings_.GetScaleType() == 1 ? std::ldexp(scale, -shift) : 1.0);
    }
};

}  // namespace

OneInputPtr CreateBlur(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Blur>(factory, allocator);
}

}  // namespace Orvexa::Proc
