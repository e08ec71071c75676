// What settings classes have in common that carry a face or a part of one.
#pragma once

#include <span>

#include "Host/Settings/Photo/Face.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// How a step is run that treats faces which the host has found.
enum class FaceRun : std::uint8_t {
    Together,  ///< once, with all faces
    InTurn,    ///< once for each face, each time on the last result
    Merged,    ///< once for each face, each time on the picture; the masks are merged by the larger value
};

/// What the settings of an effect that treats faces, or a part of a face, are beside `Settings`.
class FaceSettings {
public:
    virtual ~FaceSettings() = default;
    /// Whether the caller has given what the effect needs, so that no face has to be found.
    virtual bool HasFaces() const = 0;
    /// Takes what the effect needs from `faces`; classes that treat one face at a time take the first.
    virtual void TakeFaces(std::span<const Face> faces) = 0;
    virtual FaceRun GetFaceRun() const { return FaceRun::InTurn; }
    /// Whether the effect fails without a face, rather than leave the picture alone.
    virtual bool RequiresFaces() const { return false; }
    /// The folder of models to find faces with; empty for the installed one.
    virtual Core::ioPath GetFaceModelsRoot() const { return {}; }
    /// Throws `EffectException` if what the caller has given is not inside a picture of this size.
    virtual void CheckFacesInside(std::uint32_t width, std::uint32_t height) const = 0;
};

}  // namespace Orvexa::Proc
