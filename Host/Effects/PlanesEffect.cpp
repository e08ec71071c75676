#include "Host/Effects/PlanesEffect.h"

#include "Host/Effects/Transparency.h"

namespace Orvexa::Proc {

PlaneTask::PlaneTask(const IDataVideo& source, IDataVideo& result, std::uint8_t plane)
    : picture(source), index(plane), from(AsMat(source.GetPlane(plane))), to(AsMat(result.GetPlane(plane))) {
    const PixFmtDescription& description = PixFmtDescription::Get(source.GetPixFmt());
    role = description.GetRole(plane);
    shiftX = description.GetShiftX(plane);
    shiftY = description.GetShiftY(plane);
    alpha = role == PlaneRole::Alpha ? 0 : role == PlaneRole::Packed ? description.alpha : -1;
}

cv::Mat PlaneTask::GetOpacity() const {
    return role == PlaneRole::Alpha || !IsTransparent(picture) ? cv::Mat() : AlphaOnGridOf(picture, index);
}

}  // namespace Orvexa::Proc
