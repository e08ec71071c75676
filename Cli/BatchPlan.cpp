#include "Cli/BatchPlan.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>

#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kPlanning[] = "planning the batch";

// What makes a file the same under all its names.
using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> IdOf(const Core::ioPath& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return std::nullopt;
    return FileId(status.st_dev, status.st_ino);
}

bool HasPictureSuffix(const Core::ioPath& file) {
    try {
        Io::FindFormat(file.extension().string());
        return true;
    } catch (const Proc::EffectException&) {
        return false;
    }
}

std::vector<std::string> PicturesIn(const Core::ioPath& folder) {
    std::vector<std::string> pictures;
    While("reading the folder " + folder.string(), [&] {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const bool isHidden = entry.path().filename().string().starts_with('.');
            if (!isHidden && entry.is_regular_file() && HasPictureSuffix(entry.path())) pictures.push_back(entry.path().string());
        }
    });
    std::sort(pictures.begin(), pictures.end());
    return pictures;
}

BatchItem MakeItem(std::string input, std::string suffix) {
    BatchItem item;
    const Core::ioPath file(input);
    if (suffix.empty()) suffix = file.extension().string();
    if (suffix.starts_with('.')) suffix.erase(0, 1);
    try {
        std::error_code ignored;
        if (std::filesystem::status(file, ignored).type() == std::filesystem::file_type::not_found)
            throw CommandError(ExitCode::Failed, "reading " + input, "the file does not exist");
        item.format = While("choosing the format for " + input + " (--format gives one)", [&] { return Io::FindFormat(suffix); });
        item.outputName = file.stem().string() + "." + suffix;
    } catch (const CommandError& error) {
        item.status = BatchStatus::Failed;
        item.error = error.what();
    }
    item.input = std::move(input);
    return item;
}

void CheckOutputs(const std::vector<BatchItem>& items, const Core::ioPath& folder, const std::vector<Core::ioPath>& others) {
    std::unordered_map<std::string, const BatchItem*> outputs;
    std::map<FileId, std::string> sources;
    for (const Core::ioPath& other : others) {
        if (const auto id = IdOf(other)) sources.emplace(*id, other.string());
    }
    for (const BatchItem& item : items) {
        if (const auto id = IdOf(item.input)) sources.emplace(*id, item.input);
        if (item.outputName.empty()) continue;
        const auto [earlier, isNew] = outputs.emplace(item.outputName, &item);
        if (!isNew)
            ThrowUsage(kPlanning,
                       earlier->second->input + " and " + item.input + " would both become " + (folder / item.outputName).string());
    }
    for (const BatchItem& item : items) {
        const auto id = item.outputName.empty() ? std::nullopt : IdOf(folder / item.outputName);
        const auto source = id ? sources.find(*id) : sources.end();
        if (source != sources.end())
            ThrowUsage(kPlanning,
                       "the result of " + item.input + " would overwrite the input " + source->second + "; choose another folder");
    }
}

}  // namespace

std::vector<BatchItem> PlanBatch(const BatchOptions& options, const std::vector<Core::ioPath>& others) {
    if (options.inputs.empty()) ThrowUsage(kReadingCommandLine, "pictures are missing, or folders with pictures");
    if (!options.format.empty()) While(kReadingCommandLine, ExitCode::WrongUsage, [&] { Io::FindFormat(options.format); });
    std::vector<BatchItem> items;
    for (const std::string& input : options.inputs) {
        std::error_code ignored;
        if (std::filesystem::is_directory(input, ignored)) {
            for (std::string& picture : PicturesIn(input)) items.push_back(MakeItem(std::move(picture), options.format));
        } else {
            items.push_back(MakeItem(input, options.format));
        }
    }
    if (items.empty()) ThrowUsage(kPlanning, "there are no pictures in the folders given");
    const Core::ioPath folder(options.outputFolder);
    std::error_code ignored;
    if (std::filesystem::exists(folder, ignored) && !std::filesystem::is_directory(folder, ignored))
        ThrowUsage(kPlanning, options.outputFolder + " is no folder");
    CheckOutputs(items, folder, others);
    return items;
}

}  // namespace Kalvatri
