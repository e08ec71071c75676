// Effects that treat faces, for callers that do not know where the faces are.
//
//     SettingsEffectEyeExtending settings;
//     settings.SetStrength(0.6);
//     ProcessFaces(factory, settings, frame);
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "Host/Proc/IEffectFactory.h"
#include "Host/Settings/Photo/FaceSettings.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"

namespace Orvexa::Proc {

/// The faces of a picture, largest first, found by the host's detector. The frame is not modified.
std::vector<Face> FindFaces(const FactoryPtr& factory, const FramePtr& frame,
                            const SettingsEffectFaceDetection& settings = {});

/// Runs `effect` with `settings` for `faces`, in the way that `GetFaceRun` of the settings says; the faces that the
/// settings carry themselves are replaced. Without faces the frame stays as it is, or `EffectException` "Faces not
/// found!" is thrown if the effect requires some. `afterRun`, which may be empty, is called after each run.
void ProcessFaces(IOneInputEffectVideo& effect, const FaceSettings& settings, std::span<const Face> faces,
                  FramePtr& frame, const std::function<void()>& afterRun = {});

/// The same with a fresh default effect, for the faces that the settings carry or else for those that `FindFaces`
/// finds. Points outside the picture throw `EffectException`.
void ProcessFaces(const FactoryPtr& factory, const FaceSettings& settings, FramePtr& frame);

}  // namespace Orvexa::Proc
