// Running face effects when the positions of the faces are unknown.
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

/// Runs `effect` with `settings` for `faces`, as `GetFaceRun` of the settings specifies; faces in the settings
/// themselves are replaced. Without faces the frame stays unchanged, or `EffectException` "Faces not found!" is thrown
/// if the effect requires some. `afterRun`, which may be empty, is called after each run.
void ProcessFaces(IOneInputEffectVideo& effect, const FaceSettings& settings, std::span<const Face> faces,
                  FramePtr& frame, const std::function<void()>& afterRun = {});

/// The same with a new default effect, for the faces in the settings or else for those that `FindFaces` finds. Points
/// outside the picture throw `EffectException`.
void ProcessFaces(const FactoryPtr& factory, const FaceSettings& settings, FramePtr& frame);

}  // namespace Orvexa::Proc
