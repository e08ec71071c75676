// Common interface of settings classes that hold a face or a part of one.
#pragma once

#include <span>

#include "Host/Settings/Photo/Face.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// How often a step runs on the faces that the host has found.
enum class FaceRun : std::uint8_t {
    Together,  ///< once, with all faces
    InTurn,    ///< once for each face, each time on the previous result
    Merged,    ///< once for each face, each time on the original picture; the masks are merged by their maximum
};

/// Additional interface of the settings of an effect that operates on faces or parts of a face.
class FaceSettings {
public:
    virtual ~FaceSettings() = default;
    /// Whether the caller has supplied what the effect needs, so that no face has to be detected.
    virtual bool HasFaces() const = 0;
    /// Takes what the effect needs from `faces`; classes for one face at a time take the first.
    virtual void TakeFaces(std::span<const Face> faces) = 0;
    virtual FaceRun GetFaceRun() const { return FaceRun::InTurn; }
    /// Whether the effect fails without a face instead of leaving the picture unchanged.
    virtual bool RequiresFaces() const { return false; }
    /// The models folder for face detection; empty for the installed one.
    virtual Core::ioPath GetFaceModelsRoot() const { return {}; }
    /// Throws `EffectException` unless what the caller has supplied is inside a picture of this size.
    virtual void CheckFacesInside(std::uint32_t width, std::uint32_t height) const = 0;
};

}  // namespace Orvexa::Proc
