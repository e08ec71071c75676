// The commands of the program. They write their result to stdout; failures throw `CommandError`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

/// What every command takes.
struct CommonOptions {
    Orvexa::Core::ioPath module;  ///< empty for the installed one
    bool isVerbose = false;
    bool isQuiet = false;
};

struct ListOptions : CommonOptions {
    bool isJson = false;
};

struct DescribeOptions : CommonOptions {
    std::string effect;
    bool isJson = false;
    bool isMarkdown = false;  ///< the reference page of all effects
};

struct ApplyOptions : CommonOptions {
    std::vector<std::string> inputs;  ///< files; "-" is stdin
    std::string output;               ///< a file, "-" for stdout, or a name with {} for the number of each picture
    std::vector<std::string> chain;
    std::string settingsFile;
    std::string format;
    std::optional<int> pixFmt;
    int quality = Orvexa::Io::WriteOptions().quality;
    Orvexa::Io::ReadOptions read;
    bool isShowingStatistics = false;
};

void RunList(const ListOptions& options);
void RunDescribe(const DescribeOptions& options);
void RunApply(const ApplyOptions& options);

}  // namespace Kalvatri
