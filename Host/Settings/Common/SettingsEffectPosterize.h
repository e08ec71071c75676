#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class PosterizeMode : std::int32_t {
    Picture = 0,     ///< the picture with its samples reduced to the number of levels
    LevelIndex = 1,  ///< plane 0 holds the index of each pixel's luma level, 0 .. number - 1
};

class SettingsEffectPosterize final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectPosterize, "", Groups::kHost, "Reduces the levels of a picture.")
    ORVEXA_EQUALITY(SettingsEffectPosterize)
    ORVEXA_FIELD(std::uint8_t, ColorsNumber, 8, Range(1, 255), "", "Number of levels.")
    ORVEXA_FIELD(PosterizeMode, Mode, PosterizeMode::Picture, Named("picture=0 index=1"), "",
                 "Whether the picture or the level indices are wanted.")
};

}  // namespace Orvexa::Proc
