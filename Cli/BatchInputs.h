// The input files of a batch: from the command line, from lists and from folders.
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

/// Identifies a file under all its names; none for a file that does not exist.
using FileId = std::pair<dev_t, ino_t>;
std::optional<FileId> GetFileId(const Orvexa::Core::ioPath& file);

/// Whether the suffix (with its dot, case-insensitive) is that of a camera raw format, which can only be read.
bool IsRawSuffix(const std::string& suffix);

struct BatchInput {
    std::string file;
    Orvexa::Core::ioPath
        subfolder;      ///< the sub-folder it was found in, relative to the given folder; empty for that folder itself
    std::string error;  ///< one line saying why the input is bad; empty for a good one
};

struct BatchInputs {
    std::vector<BatchInput> pictures;
    std::map<std::string, std::size_t>
        others;  ///< number of files in the folders that are not pictures, by lower-case suffix without dot
};

/// The inputs in the order in which they are given. A folder stands for the pictures in it, sorted by name, followed
/// with `isRecursive` by those in its sub-folders, sorted by name; hidden ones and the output folder are skipped, and
/// each folder is visited once, however many links lead to it. A sub-folder that cannot be read becomes a bad input; a
/// given folder or list that cannot be read throws `CommandError`. Camera raw files in folders count as pictures if
/// `options` specify the format of the results.
BatchInputs FindInputs(const BatchOptions& options);

/// "3 camera raw files (cr2, nef) left out; --format takes them in; 14 other files are no pictures (12 xmp, 2 txt)";
/// empty for none.
std::string DescribeOthers(const std::map<std::string, std::size_t>& others);

}  // namespace Kalvatri
