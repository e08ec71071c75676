// Common options of the commands that run a chain.
#pragma once

#include <string>

#include "Cli/Chain.h"
#include "Cli/Commands.h"

namespace Kalvatri {

/// The chain of the command line or of the settings file.
Chain MakeChain(const Catalogue& catalogue, const ChainOptions& options);
/// Writes that chain to stdout in the form of a settings file. Needs no picture.
void PrintSettings(const ChainOptions& options);
/// Checks the requested pixel format.
void CheckPixFmt(const ChainOptions& options);
/// A picture that was read, converted to the requested pixel format.
Orvexa::Proc::FramePtr Converted(Orvexa::Proc::FramePtr picture, const ChainOptions& options,
                                 const Orvexa::Proc::FactoryPtr& factory);
/// Reports on stderr what was lost, unless that is disabled.
void PrintNotes(const std::string& file, const Orvexa::Io::Notes& notes, const CommonOptions& options);

}  // namespace Kalvatri
