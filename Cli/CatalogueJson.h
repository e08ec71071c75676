// The catalogue of effects as JSON, as `list` and `describe` print it.
#pragma once

#include "Cli/Catalogue.h"
#include "Cli/SettingsJson.h"

namespace Kalvatri {

/// All effects, as `kalvatri list --json` prints them.
Json ListToJson(const Catalogue& catalogue);
/// One effect, as `kalvatri describe EFFECT --json` prints it.
Json DescribeToJson(const EffectEntry& effect);
/// An effect's entry in the list: index, name, kind, group and summary.
Json EntryToJson(const EffectEntry& entry);
/// The settings fields, an array with one object per field.
Json FieldsToJson(const Orvexa::Proc::Settings& defaults);

}  // namespace Kalvatri
