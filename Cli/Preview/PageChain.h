// Chains that come from the page, which may name no files.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// The chain that the page sent, of the form of a settings file. Its further pictures are "upload:N" or "photo:ID";
/// whatever else would read a file (folders of models, files with faces) throws `CommandError`, as wrong settings do.
Chain ParsePageChain(const Catalogue& catalogue, const Json& json);
/// The names of its further pictures.
std::vector<std::string> GetPictureNames(const Chain& chain);
/// The chain with other names for them.
void RenamePictures(Chain& chain, const std::function<std::string(const std::string&)>& rename);

/// A name for a new file: no path, and nothing that is hidden. Throws `CommandError`.
void CheckTarget(const std::string& target);

/// A word as a POSIX shell has to be given it.
std::string QuoteForShell(const std::string& word);

}  // namespace Kalvatri
