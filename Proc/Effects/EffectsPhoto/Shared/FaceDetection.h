// Face detection by the host.
#pragma once

#include <vector>

#include "Host/Proc/IEffect.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"

namespace Orvexa::Proc::Shared {

/// The faces that the host's detector finds in a frame, largest first. The list is valid until the detector's next run.
inline const std::vector<Face>& DetectFaces(IOneInputEffectVideo& detector, FramePtr frame) {
    detector.ProcessData(frame);
    return dynamic_cast<const SettingsEffectFaceDetection&>(detector.GetSettingsBase()).GetFaces();
}

inline constexpr char kNoFaces[] = "Faces not found!";

}  // namespace Orvexa::Proc::Shared
