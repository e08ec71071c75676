// What a preview needs to know about each effect: how much of the picture a part of its result depends on, and whether
// a reduced picture looks like the full one.
#pragma once

#include <optional>
#include <string_view>

#include "Cli/Chain.h"

namespace Kalvatri {

struct EffectTraits {
    /// How far beyond a part of the picture the same part of the result depends on pixels; none if it depends on all
    /// of them.
    using Margin = std::optional<int> (*)(const Orvexa::Proc::Settings& settings);
    /// How further pictures are reduced along with the first one: label masks keep their values.
    enum class Reduction { Areas, Labels };

    std::string_view effect;
    Margin margin;                   ///< null if all pixels count, whatever the settings
    std::string_view approximation;  ///< why a reduced preview is only approximate; empty if it is exact
    double seconds = 0.02;           ///< rough estimate per megapixel on one processor, until measured
    Reduction further = Reduction::Areas;
    bool isPreviewed = true;   ///< whether the result is a picture that can be shown
    bool needsOpaque = false;  ///< the margin is valid only for pictures without alpha
};

/// The traits of an effect; for an unknown one, conservative traits that are right for all.
const EffectTraits& GetTraits(const EffectEntry& effect);
/// Whether the table has traits for this effect.
bool HasTraits(const EffectEntry& effect);

/// The margin of a whole chain on a picture that may have alpha; none if a step depends on all pixels.
std::optional<int> GetMargin(const Chain& chain, bool isOpaque);

/// The number of pictures that the effect takes beyond the first: 0, 1 or, for any number, "many".
Json CountFurtherPictures(const EffectEntry& effect);

}  // namespace Kalvatri
