// The commands of the program. They write their result to stdout; failures throw `CommandError`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"

namespace Kalvatri {

/// Stands for stdin or stdout where a file name is expected.
inline constexpr char kStdStream[] = "-";

/// Options of every command.
struct CommonOptions {
    Orvexa::Core::ioPath module;  ///< empty for the installed one
    bool isVerbose = false;
    bool isQuiet = false;
};

struct ListOptions : CommonOptions {
    bool isJson = false;
    bool isMarkdown = false;  ///< as a table
};

struct DescribeOptions : CommonOptions {
    std::string effect;
    bool isJson = false;
    bool isMarkdown = false;  ///< the reference page of all effects
};

struct FormatsOptions : CommonOptions {
    bool isJson = false;
};

struct FacesOptions : CommonOptions {
    std::vector<std::string> inputs;  ///< files; "-" for stdin
    bool isJson = false;
    bool areDescriptorsWanted = false;  ///< include them in the JSON
    bool isComparing = false;
    double limit = 0.55;  ///< faces closer than this belong to one person
    Orvexa::Proc::SettingsEffectFaceDetection detection;
    Orvexa::Io::ReadOptions read;
};

struct SuggestOptions : CommonOptions {
    std::string input;                ///< a file; "-" for stdin
    std::string output;               ///< a file for the chain; empty for stdout
    Orvexa::Core::ioPath modelsRoot;  ///< empty for the installed models
    bool isJson = false;              ///< also print the analysis, not only the chain
    Orvexa::Io::ReadOptions read;
};

/// A chain of effects, and how pictures are read and written.
struct ChainOptions : CommonOptions {
    static constexpr std::int64_t kMaxMaxPixels = std::int64_t{1}
                                                  << 40;  ///< a byte count for this many still fits into 64 bits
    std::vector<std::string> chain;
    std::string settingsFile;         ///< "-" for stdin
    bool isPrintingSettings = false;  ///< instead of running the chain
    std::string format;               ///< a suffix; empty for that of the file's name
    std::optional<int> pixFmt;
    int quality = Orvexa::Io::WriteOptions().quality;
    bool isStrict = false;  ///< fail if a step that operates on faces finds none
    Orvexa::Io::ReadOptions read;
};

struct ApplyOptions : ChainOptions {
    static constexpr int kMaxThreads = 1024;
    std::vector<std::string> inputs;  ///< files; "-" for stdin
    std::string output;               ///< a file, "-" for stdout, or a name with {} for the number of each picture
    int threads = 0;                  ///< working on one picture; 0 for the number of processors
    bool isShowingStatistics = false;
    std::string results;  ///< a file for what effects find, "-" for stdout; empty for none
};

struct BatchOptions : ChainOptions {
    static constexpr int kMaxJobs = 1024;
    std::vector<std::string> inputs;  ///< files, or folders for the pictures in them
    std::vector<std::string> lists;   ///< files with further inputs, one per line; "-" for stdin
    bool isRecursive = false;         ///< include the pictures in sub-folders
    std::string outputFolder;
    std::string nameTemplate;  ///< such as {stem}-web.{ext}; empty for the input's name
    int jobs = 0;              ///< in parallel; 0 for the number of processors
    std::string memory;        ///< such as 512M; empty for half of the machine's
    std::string part;          ///< such as 3/8; empty for all pictures
    bool isForced = false;
    bool isKeepingExisting = false;  ///< leave existing outputs alone
    bool isDryRun = false;
    bool isJson = false;
};

struct PreviewOptions : CommonOptions {
    std::vector<std::string> inputs;  ///< files, or folders for the pictures in them
    int port = 0;                     ///< 0 for any free port
    bool isOpening = true;            ///< open the page in a browser
    std::string outputFolder = ".";   ///< where results are written
    int threads = 0;                  ///< 0 for the number of processors
    Orvexa::Io::ReadOptions read;
};

void RunList(const ListOptions& options);
void RunDescribe(const DescribeOptions& options);
void RunFaces(const FacesOptions& options);
void RunSuggest(const SuggestOptions& options);
void RunFormats(const FormatsOptions& options);
void RunApply(const ApplyOptions& options);
void RunBatch(const BatchOptions& options);
void RunPreview(const PreviewOptions& options);

}  // namespace Kalvatri
