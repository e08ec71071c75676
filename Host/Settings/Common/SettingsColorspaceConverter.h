#pragma once

#include "Host/Conf/PixFmt.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Converts a frame to one of the listed pixel formats: a frame in a listed format passes through unchanged, any other
/// is converted to the listed format that loses least.
class SettingsColorspaceConverter final : public Settings {
    ORVEXA_SETTINGS(SettingsColorspaceConverter, "", Groups::kHost,
                    "Converts a frame into one of the listed pixel formats.")
    ORVEXA_EQUALITY(SettingsColorspaceConverter)
    ORVEXA_FIELD(std::vector<PixFmt>, PixFmts, {}, Any(), "", "Formats to choose from, the first among equals wins.")
    ORVEXA_FIELD(bool, Accurate, true, Any(), "", "Whether chroma is interpolated and rounded accurately.")

    SettingsColorspaceConverter() = default;
    SettingsColorspaceConverter(PixFmt pixFmt, bool accurate)
        : SettingsColorspaceConverter(std::vector{pixFmt}, accurate) {}
    SettingsColorspaceConverter(const std::vector<PixFmt>& pixFmts, bool accurate) {
        SetPixFmts(pixFmts);
        SetAccurate(accurate);
    }
    SettingsColorspaceConverter& AddPixFmt(PixFmt pixFmt) {
        valuePixFmts_.push_back(pixFmt);
        return *this;
    }
};

}  // namespace Orvexa::Proc
