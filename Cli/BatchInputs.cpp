#include "Cli/BatchInputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>
#include <istream>
#include <set>
#include <string_view>

#include "Cli/Errors.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

// Without the dot, in lower case.
std::string NormalizeSuffix(std::string suffix) {
    if (suffix.starts_with('.')) suffix.erase(0, 1);
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return suffix;
}

bool IsPictureSuffix(const std::string& suffix) {
    try {
        Io::FindFormat(suffix);
        return true;
    } catch (const Proc::EffectException&) {
        return false;
    }
}

// Whether the format of the results is specified, independently of the inputs' suffixes.
bool HasOutputFormat(const BatchOptions& options) {
    const std::string suffix = Core::ioPath(options.nameTemplate).extension().string();
    return !options.format.empty() || (suffix.size() > 1 && suffix.find('{') == std::string::npos);
}

// Searches one of the given folders.
class FolderSearch {
public:
    FolderSearch(const BatchOptions& options, BatchInputs& found)
        : isRecursive_(options.isRecursive),
          takesRaws_(HasOutputFormat(options)),
          outputFolder_(GetFileId(options.outputFolder)),
          found_(found) {}

    void Run(const Core::ioPath& folder) {
        Visit({folder, {}});
        // Links come last, so that a folder that is also reachable without one is found under its own name.
        for (; !links_.empty(); links_.pop_front()) TryVisit(links_.front());
    }

private:
    struct Folder {
        Core::ioPath path;
        Core::ioPath subfolder;  // the same, relative to the given folder
    };

    void TryVisit(const Folder& folder) {
        if (GetFileId(folder.path) == outputFolder_ && outputFolder_) return;
        try {
            Visit(folder);
        } catch (const CommandError& error) {
            found_.pictures.push_back({folder.path.string(), folder.subfolder, error.what()});
        }
    }

    void Visit(const Folder& folder) {
        if (const auto id = GetFileId(folder.path); id && !visited_.insert(*id).second) return;
        const std::vector<std::filesystem::directory_entry> entries = List(folder.path);
        std::vector<Folder> subfolders;
        for (const std::filesystem::directory_entry& entry : entries) {
            std::error_code error;
            if (!entry.is_directory(error)) {
                AddFile(entry, folder.subfolder);
            } else if (isRecursive_) {
                Folder subfolder{entry.path(), folder.subfolder / entry.path().filename()};
                (entry.is_symlink(error) ? links_.emplace_back() : subfolders.emplace_back()) = std::move(subfolder);
            }
        }
        for (const Folder& subfolder : subfolders) TryVisit(subfolder);
    }

    // Entries that are not hidden, sorted by name.
    static std::vector<std::filesystem::directory_entry> List(const Core::ioPath& folder) {
        std::vector<std::filesystem::directory_entry> entries;
        WithContext("reading the folder " + folder.string(), [&] {
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                if (!entry.path().filename().string().starts_with('.')) entries.push_back(entry);
            }
        });
        std::sort(entries.begin(), entries.end(),
                  [](const auto& a, const auto& b) { return a.path().string() < b.path().string(); });
        return entries;
    }

    void AddFile(const std::filesystem::directory_entry& entry, const Core::ioPath& subfolder) {
        std::error_code error;
        const bool isBrokenLink = entry.is_symlink(error) && !entry.exists(error);
        if (!entry.is_regular_file(error) && !isBrokenLink) return;
        const std::string suffix = NormalizeSuffix(entry.path().extension().string());
        if (IsPictureSuffix(suffix) || (takesRaws_ && IsRawSuffix(suffix))) {
            found_.pictures.push_back({entry.path().string(), subfolder, {}});
        } else {
            ++found_.others[suffix];
        }
    }

    const bool isRecursive_, takesRaws_;
    const std::optional<FileId> outputFolder_;
    BatchInputs& found_;
    std::set<FileId> visited_;
    std::deque<Folder> links_;
};

// One name per line; empty lines are ignored.
std::vector<std::string> ReadList(const std::string& file) {
    const bool isStdin = file == "-";
    return WithContext("reading the list " + (isStdin ? "from stdin" : file), [&] {
        std::ifstream stream;
        if (!isStdin) {
            if (std::error_code error; std::filesystem::is_directory(file, error))
                Throw("this is a folder, not a list");
            stream.open(file, std::ios::binary);
            if (!stream.is_open()) Throw(std::strerror(errno));
        }
        std::vector<std::string> names;
        std::istream& lines = isStdin ? std::cin : stream;
        for (std::string line; std::getline(lines, line);) {
            if (line.ends_with('\r')) line.pop_back();
            if (line.find('\0') != std::string::npos)
                Throw("it has characters with the code 0; it must have one name a line");
            if (!line.empty()) names.push_back(std::move(line));
        }
        if (lines.bad()) Throw(std::strerror(errno));
        return names;
    });
}

}  // namespace

std::optional<FileId> GetFileId(const Core::ioPath& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return std::nullopt;
    return FileId(status.st_dev, status.st_ino);
}

bool IsRawSuffix(const std::string& suffix) {
    const auto known = Io::GetRawSuffixes();
    return std::find(known.begin(), known.end(), NormalizeSuffix(suffix)) != known.end();
}

BatchInputs FindInputs(const BatchOptions& options) {
    std::vector<std::string> names = options.inputs;
    for (const std::string& list : options.lists) {
        std::vector<std::string> listed = ReadList(list);
        names.insert(names.end(), std::make_move_iterator(listed.begin()), std::make_move_iterator(listed.end()));
    }
    BatchInputs found;
    for (std::string& name : names) {
        std::error_code error;
        if (std::filesystem::is_directory(name, error)) {
            FolderSearch(options, found).Run(name);
        } else {
            found.pictures.push_back({std::move(name), {}, {}});
        }
    }
    return found;
}

std::string DescribeOthers(const std::map<std::string, std::size_t>& others) {
    std::size_t raws = 0, rest = 0;
    std::string rawKinds, restKinds;
    const auto list = [](std::string& kinds, const std::string& kind) { kinds += (kinds.empty() ? "" : ", ") + kind; };
    for (const auto& [suffix, count] : others) {
        if (IsRawSuffix(suffix)) {
            raws += count;
            list(rawKinds, suffix);
        } else {
            rest += count;
            list(restKinds, std::to_string(count) + " " + (suffix.empty() ? "without a suffix" : suffix));
        }
    }
    std::string text;
    if (raws > 0)
        text = std::to_string(raws) + " camera raw file" + (raws == 1 ? "" : "s") + " (" + rawKinds +
               ") left out; --format takes them in";
    if (raws > 0 && rest > 0) text += "; ";
    if (rest > 0)
        text += std::to_string(rest) + (rest == 1 ? " other file is no picture (" : " other files are no pictures (") +
                restKinds + ")";
    return text;
}

}  // namespace Kalvatri
