// A chain of effects, as given on the command line or in a JSON file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Cli/Catalogue.h"
#include "Cli/SettingsJson.h"
#include "Cli/StepFaces.h"
#include "Host/Core/Path.h"
#include "Host/Io/Formats.h"

namespace Kalvatri {

struct Step {
    const EffectEntry* effect;  ///< from the catalogue that the chain was parsed with, which must outlive it
    std::unique_ptr<Orvexa::Proc::Settings> settings;
    std::vector<Orvexa::Core::ioPath> with;  ///< further pictures of a two-input or variable-input effect
    FaceChoice faces;                        ///< for an effect that operates on faces
};
using Chain = std::vector<Step>;

/// Parses words of the form EFFECT key=value... with=FILE... EFFECT ... Files with faces are read.
Chain ParseChain(const Catalogue& catalogue, const std::vector<std::string>& words);
/// Parses an array of objects: the effect's name under "effect", further pictures under "with", settings under their
/// keys.
Chain ParseChain(const Catalogue& catalogue, const Json& json);
/// The chain in that form, with each effect's settings that differ from its starting point. A file name that is not
/// valid UTF-8 cannot be represented.
Json ChainToJson(const Chain& chain);
/// The chain in the form of words, again with the settings that differ.
std::vector<std::string> ChainToWords(const Chain& chain);
/// Checks the number of pictures given to each step. These functions throw `CommandError` for wrong usage.
void CheckPictures(const Chain& chain, std::size_t inputs);
/// Throws `EffectException` if the format cannot hold the very purpose of the chain, transparency.
void CheckFormat(const Chain& chain, Orvexa::Io::FileFormat format);

}  // namespace Kalvatri
