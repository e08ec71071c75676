// What a preview has to know of each effect: how much of the picture a part of its result needs, and whether a reduced
// picture shows what the full one will.
#pragma once

#include <optional>
#include <string_view>

#include "Cli/Chain.h"

namespace Kalvatri {

struct EffectTraits {
    /// How far beyond a part of the picture the pixels lie that decide on the same part of the result, in pixels; none
    /// where all of them count.
    using Margin = std::optional<int> (*)(const Orvexa::Proc::Settings& settings);
    /// How further pictures are reduced with the first one: masks of labels keep their values.
    enum class Reduction { Areas, Labels };

    std::string_view effect;
    Margin margin;                   ///< null where all pixels count whatever the settings
    std::string_view approximation;  ///< why the result at a reduced size is not the reduced result; empty if it is
    double seconds = 0.02;           ///< that a megapixel takes on one processor, roughly, until it has been measured
    Reduction further = Reduction::Areas;
    bool isPreviewed = true;   ///< whether the result is a picture that can be shown
    bool needsOpaque = false;  ///< whether the margin is that of pictures without alpha
};

/// The traits of an effect; for one that is not known, those that are right for all.
const EffectTraits& GetTraits(const EffectEntry& effect);
/// Whether there are traits for the effect itself.
bool HasTraits(const EffectEntry& effect);

/// The margin of a whole chain on a picture that may have alpha; none where a step needs all pixels.
std::optional<int> GetMargin(const Chain& chain, bool isOpaque);

/// How many pictures the effect takes beyond the first: 0, 1 or, as "many", any number.
Json CountFurtherPictures(const EffectEntry& effect);

}  // namespace Kalvatri
