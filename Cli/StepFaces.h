// Which faces the steps of a chain operate on: faces given by the user, or faces found in the picture.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Host/Core/Json.h"
#include "Host/Proc/Faces.h"

namespace Kalvatri {

/// The faces of one picture as `kalvatri faces --json` prints them.
struct PictureFaces {
    std::string file;                     ///< empty if it is unknown which picture they belong to
    std::uint32_t width = 0, height = 0;  ///< of that picture; 0 if unknown
    std::vector<Orvexa::Proc::Face> faces;
};

/// The faces given for a step in addition to its settings.
struct FaceChoice {
    std::uint32_t number = 0;  ///< of the only face to process, 1 for the largest; 0 for all
    std::vector<PictureFaces> given;
};

/// Handles the words face=N, face=RECORD and faces=FILE or RECORDS of a step that operates on faces. False if the word
/// belongs to the settings themselves. An invalid word throws `SettingsException`, an invalid file `CommandError`.
bool TakeFaceWord(FaceChoice& choice, const Orvexa::Proc::Settings& settings, std::string_view key,
                  const std::string& value);
/// Adds these words to a step in JSON.
void AddToJson(const FaceChoice& choice, Orvexa::Core::Json& step);

/// Finds the faces of one picture on its way through a chain, and caches them as long as the picture's geometry does
/// not change.
class FaceFinder {
public:
    explicit FaceFinder(Orvexa::Proc::FactoryPtr factory) : factory_(std::move(factory)) {}
    void Forget() { faces_.reset(); }
    /// The faces for a step whose settings carry none, largest first. `file` is where the chain's picture came from.
    std::vector<Orvexa::Proc::Face> GetFaces(const FaceChoice& choice, const Orvexa::Proc::FaceSettings& settings,
                                             const Orvexa::Proc::FramePtr& frame, const std::string& file);

private:
    Orvexa::Proc::FactoryPtr factory_;
    std::optional<std::vector<Orvexa::Proc::Face>> faces_;
    Orvexa::Core::ioPath modelsRoot_;  ///< of the models that found them
};

}  // namespace Kalvatri
