// What the commands that run a chain do with their common options.
#pragma once

#include <string>

#include "Cli/Chain.h"
#include "Cli/Commands.h"

namespace Kalvatri {

/// The chain of the command line or of the settings file.
Chain MakeChain(const Catalogue& catalogue, const ChainOptions& options);
/// Writes that chain to stdout in the form of a settings file. No picture is needed.
void PrintSettings(const ChainOptions& options);
/// Checks the pixel format that is asked for.
void CheckPixFmt(const ChainOptions& options);
/// A picture that was read, in the pixel format that is asked for.
Orvexa::Proc::FramePtr Converted(Orvexa::Proc::FramePtr picture, const ChainOptions& options,
                                 const Orvexa::Proc::FactoryPtr& factory);
/// Says on stderr what was lost, unless that is not wanted.
void PrintNotes(const std::string& file, const Orvexa::Io::Notes& notes, const CommonOptions& options);

}  // namespace Kalvatri
