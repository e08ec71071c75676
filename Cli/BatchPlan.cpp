#include "Cli/BatchPlan.h"

#include <optional>
#include <unordered_map>
#include <utility>

#include "Cli/BatchNames.h"
#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kPlanning[] = "planning the batch";

std::string WithoutDot(std::string suffix) {
    if (suffix.starts_with('.')) suffix.erase(0, 1);
    return suffix;
}

// The name given by --name is known only once the pictures are counted, but its format is known here.
NameTemplate MakeNameTemplate(const BatchOptions& options) {
    return WithContext(kReadingCommandLine + std::string(": --name"), ExitCode::WrongUsage, [&] {
        const NameTemplate names(options.nameTemplate.empty() ? "{stem}.{ext}" : options.nameTemplate);
        const std::string suffix = options.format.empty() ? "jpg" : options.format;
        const std::string name = names.Fill({"in/stem", suffix, 1, 1});
        const Io::FileFormat format = Io::FindFormat(Core::ioPath(name).extension().string());
        if (!options.format.empty() && format != Io::FindFormat(options.format))
            Throw("\"" + options.nameTemplate + "\" ends in another format than --format gives");
        return names;
    });
}

class Planner {
public:
    Planner(const BatchOptions& options, std::size_t count)
        : options_(options), names_(MakeNameTemplate(options)), count_(count) {}

    BatchItem MakeItem(BatchInput input) {
        ++number_;
        BatchItem item;
        item.name = (input.subfolder / Core::ioPath(input.file).filename()).string();
        item.error = std::move(input.error);
        if (item.error.empty()) {
            try {
                Name(item, input);
            } catch (const CommandError& error) {
                item.error = error.what();
            }
        }
        if (!item.error.empty()) item.status = BatchStatus::Failed;
        item.input = std::move(input.file);
        return item;
    }

private:
    void Name(BatchItem& item, const BatchInput& input) const {
        const Core::ioPath file(input.file);
        std::error_code ignored;
        if (std::filesystem::status(file, ignored).type() == std::filesystem::file_type::not_found)
            throw CommandError(ExitCode::Failed, "reading " + input.file, Io::DescribeMissing(file));
        const std::string suffix = options_.format.empty() ? WithoutDot(file.extension().string()) : options_.format;
        const Core::ioPath name = names_.Fill({file, suffix, number_, count_});
        if (IsRawSuffix(name.extension().string()))
            throw CommandError(ExitCode::Failed, "choosing the format for " + input.file,
                               "camera raw files can only be read; --format tells what its result is");
        item.format = WithContext("choosing the format for " + input.file + " (--format gives one)",
                                  [&] { return Io::FindFormat(name.extension().string()); });
        item.outputName = (input.subfolder / name).string();
    }

    const BatchOptions& options_;
    const NameTemplate names_;
    const std::size_t count_;
    std::size_t number_ = 0;
};

void CheckOutputs(const std::vector<BatchItem>& items, const Core::ioPath& folder,
                  const std::vector<Core::ioPath>& others) {
    std::unordered_map<std::string, const BatchItem*> outputs;
    std::map<FileId, std::string> sources;
    for (const Core::ioPath& other : others) {
        if (const auto id = GetFileId(other)) sources.emplace(*id, other.string());
    }
    for (const BatchItem& item : items) {
        if (const auto id = GetFileId(item.input)) sources.emplace(*id, item.input);
        if (item.outputName.empty()) continue;
        const auto [earlier, isNew] = outputs.emplace(item.outputName, &item);
        if (!isNew)
            ThrowUsage(kPlanning, earlier->second->input + " and " + item.input + " would both become " +
                                      (folder / item.outputName).string());
    }
    for (const BatchItem& item : items) {
        const auto id = item.outputName.empty() ? std::nullopt : GetFileId(folder / item.outputName);
        const auto source = id ? sources.find(*id) : sources.end();
        if (source != sources.end())
            ThrowUsage(kPlanning, "the result of " + item.input + " would overwrite the input " + source->second +
                                      "; choose another folder");
    }
}

}  // namespace

BatchPlan PlanBatch(const BatchOptions& options, const BatchPart& part, const std::vector<Core::ioPath>& others) {
    if (options.inputs.empty() && options.lists.empty())
        ThrowUsage(kReadingCommandLine, "pictures are missing, or folders with pictures");
    if (options.isForced && options.isKeepingExisting)
        ThrowUsage(kReadingCommandLine,
                   "--force replaces existing files and --no-clobber keeps them; only one of them can be given");
    if (!options.format.empty())
        WithContext(kReadingCommandLine, ExitCode::WrongUsage, [&] { Io::FindFormat(options.format); });
    const Core::ioPath folder(options.outputFolder);
    std::error_code ignored;
    if (std::filesystem::exists(folder, ignored) && !std::filesystem::is_directory(folder, ignored))
        ThrowUsage(kPlanning, options.outputFolder + " is not a directory");
    BatchInputs inputs = FindInputs(options);
    BatchPlan plan{{}, std::move(inputs.others)};
    Planner planner(options, inputs.pictures.size());
    for (BatchInput& input : inputs.pictures) plan.items.push_back(planner.MakeItem(std::move(input)));
    if (plan.items.empty()) {
        const std::string what = DescribeOthers(plan.others);
        ThrowUsage(kPlanning,
                   "there are no pictures in the folders and lists given" + (what.empty() ? what : "; " + what));
    }
    CheckOutputs(plan.items, folder, others);
    std::erase_if(plan.items, [&](const BatchItem& item) { return !part.Contains(item.name); });
    if (part.number > 1) plan.others.clear();
    return plan;
}

}  // namespace Kalvatri
