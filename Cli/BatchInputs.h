// The files that a batch is given: on the command line, in lists and in folders.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Cli/Commands.h"
#include "Host/Core/Path.h"

namespace Kalvatri {

/// What makes a file the same under all its names; none for a file that is not there.
using FileId = std::pair<dev_t, ino_t>;
std::optional<FileId> GetFileId(const Orvexa::Core::ioPath& file);

/// Whether the suffix, with its dot, letter case ignored, is that of a camera's own format, which can only be read.
bool IsRawSuffix(const std::string& suffix);

struct BatchInput {
    std::string file;
    Orvexa::Core::ioPath
        subfolder;      ///< in which it was found, relative to the folder that was given; empty for that folder itself
    std::string error;  ///< why it is none, a line; empty for a good one
};

struct BatchInputs {
    std::vector<BatchInput> pictures;
    std::map<std::string, std::size_t>
        others;  ///< how many files in the folders are no pictures, by suffix without dot in small letters
};

/// The inputs in the order in which they are given. A folder stands for the pictures in it by name, with `isRecursive`
/// then for those in its sub-folders by name; hidden ones and the output folder are left out, and each folder is
/// visited once, however many links lead to it. A sub-folder that cannot be read becomes a bad input; a folder that was
/// given, or a list, throws `CommandError`. Camera raw files in folders count as pictures where `options` tell the
/// results' format.
BatchInputs FindInputs(const BatchOptions& options);

/// "3 camera raw files (cr2, nef) left out; --format takes them in; 14 other files are no pictures (12 xmp, 2 txt)";
/// empty for none.
std::string DescribeOthers(const std::map<std::string, std::size_t>& others);

}  // namespace Kalvatri
