// Settings of the three effects that move alpha channels.
#pragma once

#include "Host/Conf/PixFmt.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Replaces a frame by its alpha channel as a grey frame, or by an empty pointer if its format has none.
class SettingsEffectAlphaExtractor final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectAlphaExtractor, "", Groups::kHost, "Takes the alpha channel out of a frame.")
    ORVEXA_EQUALITY(SettingsEffectAlphaExtractor)
};

/// Writes the second input, a grey frame, into the alpha channel of the first; a format without alpha passes through.
class SettingsEffectAlphaInserter final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectAlphaInserter, "", Groups::kHost, "Writes a mask into the alpha channel of a frame.")
    ORVEXA_EQUALITY(SettingsEffectAlphaInserter)
};

/// Scales a mask to the size of a format's chroma planes, as extra alpha plane 1 requires.
class SettingsEffectExtraAlphaExtractor final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectExtraAlphaExtractor, "", Groups::kHost,
                    "Scales a mask to the chroma planes of a format.")
    ORVEXA_EQUALITY(SettingsEffectExtraAlphaExtractor)
    ORVEXA_FIELD(PixFmt, PixelFormat, PixFmt::Rgb24, Any(), "", "The format whose chroma planes set the size.")

    SettingsEffectExtraAlphaExtractor() = default;
    explicit SettingsEffectExtraAlphaExtractor(PixFmt pixFmt) { SetPixelFormat(pixFmt); }
};

}  // namespace Orvexa::Proc
