// Chains sent by the page, which may not name files.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// Parses the chain sent by the page, in the form of a settings file. Its further pictures are "upload:N" or
/// "photo:ID"; anything else that would read a file (folders of models, files with faces) throws `CommandError`, as
/// wrong settings do.
Chain ParsePageChain(const Catalogue& catalogue, const Json& json);
/// The names of its further pictures.
std::vector<std::string> GetPictureNames(const Chain& chain);
/// Renames its further pictures.
void RenamePictures(Chain& chain, const std::function<std::string(const std::string&)>& rename);

/// Throws `CommandError` unless `target` is a plain name for a new file: no path, and not hidden.
void CheckTarget(const std::string& target);

/// Quotes a word for a POSIX shell.
std::string QuoteForShell(const std::string& word);

}  // namespace Kalvatri
