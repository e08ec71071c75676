#include "Cli/BatchLedger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <thread>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

[[noreturn]] void ThrowErrno() { Throw(std::strerror(errno)); }

// The text as a JSON document returns it: file names may contain bytes that are not valid UTF-8.
std::string Recorded(const std::string& text) {
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
}

constexpr char kFileStart[] = ".kalvatri-batch", kFileEnd[] = ".jsonl";
constexpr char kPart[] = "part", kChain[] = "chain";

std::int64_t TimeOfRecord() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

// Holds the lock as long as the descriptor is open. Workers inherit their batch's locks, and end shortly after a batch
// that was killed.
void Lock(int descriptor, int kind, const char* refusal) {
    constexpr std::chrono::milliseconds kPatience{1000}, kPause{20};
    for (auto waited = kPause; flock(descriptor, kind | LOCK_NB) != 0; waited += kPause) {
        if (errno != EWOULDBLOCK) return;  // some file systems have no locks
        if (waited > kPatience) Throw(refusal);
        std::this_thread::sleep_for(kPause);
    }
}

bool IsLockedByAnother(const Core::ioPath& file) {
    const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool isLocked = flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(descriptor);
    return isLocked;
}

}  // namespace

std::optional<FileStamp> StampOf(const Core::ioPath& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return std::nullopt;
    constexpr std::int64_t kSecond = 1'000'000'000;
    return FileStamp{static_cast<std::uint64_t>(status.st_size),
                     status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec};
}

std::string Fingerprint(const Json& json) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx",
                  static_cast<unsigned long long>(HashText(json.dump(-1, ' ', false, Json::error_handler_t::replace))));
    return text;
}

std::string Ledger::GetFileName(const BatchPart& part) {
    if (part.IsAll()) return kFileStart + std::string(kFileEnd);
    return kFileStart + ("." + std::to_string(part.number) + "-of-" + std::to_string(part.count)) + kFileEnd;
}

Ledger::Ledger(Core::ioPath folder, const BatchPart& part, std::string chain, Access access)
    : folder_(std::move(folder)), name_(GetFileName(part)), part_(part), chain_(std::move(chain)) {
    if (access == Access::Reading) {
        own_ = Load(folder_ / name_).rows;
        LoadOthers();
        return;
    }
    try {
        LockFolder();
        if (!part_.IsAll()) LockPart();
        Content content = Load(folder_ / name_);
        own_ = std::move(content.rows);
        LoadOthers();
        if (!content.isClean || (!part_.IsAll() && content.chain != chain_)) Rewrite();
        file_ = open((folder_ / name_).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (file_ < 0) ThrowErrno();
    } catch (...) {
        Close();
        throw;
    }
}

Ledger::~Ledger() { Close(); }

void Ledger::Close() {
    for (const int descriptor : {file_, partLock_, folderLock_}) {
        if (descriptor >= 0) close(descriptor);
    }
}

// Parts share the folder with each other, but not with a batch without parts.
void Ledger::LockFolder() {
    folderLock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderLock_ < 0) ThrowErrno();
    Lock(folderLock_, part_.IsAll() ? LOCK_EX : LOCK_SH, "another batch is writing into this folder");
}

void Ledger::LockPart() {
    partLock_ = open((folder_ / name_).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (partLock_ < 0) ThrowErrno();
    Lock(partLock_, LOCK_EX,
         ("part " + part_.GetName() + " of a batch is being written into this folder already").c_str());
}

Ledger::Content Ledger::Load(const Core::ioPath& file) {
    Content content;
    std::ifstream stream(file, std::ios::binary);
    std::size_t lines = 0;
    for (std::string line; std::getline(stream, line);) {
        if (stream.eof()) content.isClean = false;  // the last line is incomplete
        try {
            const Json json = ParseJson(line);
            if (json.contains(kPart)) {
                content.part = json.at(kPart);
                content.chain = json.at(kChain);
                continue;
            }
            ++lines;
            const FileStamp stamp{json.at("inputSize").get<std::uint64_t>(),
                                  json.at("inputModified").get<std::int64_t>()};
            content.rows[json.at("output")] = {{json.at("input"), stamp, json.at(kChain)},
                                               json.at("outputSize").get<std::uint64_t>(),
                                               json.value("recorded", std::int64_t{0})};
        } catch (const Proc::SettingsException&) {
            content.isClean = false;
        } catch (const Json::exception&) {
            content.isClean = false;
        }
    }
    if (lines != content.rows.size()) content.isClean = false;
    return content;
}

void Ledger::LoadOthers() {
    all_ = own_;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
        const std::string name = entry.path().filename().string();
        if (name == name_ || !name.starts_with(kFileStart) || !name.ends_with(kFileEnd)) continue;
        const Content other = Load(entry.path());
        for (const auto& [output, row] : other.rows) {
            Row& latest = all_[output];
            if (latest.entry.chain.empty() || latest.recorded < row.recorded) latest = row;
        }
        const bool isSibling = !part_.IsAll() && other.part.ends_with("/" + std::to_string(part_.count));
        if (!isSibling || other.chain == chain_) continue;
        if (IsLockedByAnother(entry.path()))
            Throw("part " + other.part + " of a batch with another chain or other options is being written into this " +
                  "folder; choose another folder, or wait for its end");
        partsOfOtherChains_.push_back(other.part);
    }
    std::sort(partsOfOtherChains_.begin(), partsOfOtherChains_.end());
}

void Ledger::Rewrite() {
    Io::PendingFile file(folder_ / name_);
    std::string text;
    if (!part_.IsAll()) {
        // The lock is transferred to the file that replaces the locked one.
        if (flock(file.GetDescriptor(), LOCK_EX | LOCK_NB) == 0) {
            close(partLock_);
            partLock_ = fcntl(file.GetDescriptor(), F_DUPFD_CLOEXEC, 0);
        }
        text = Json{{kPart, part_.GetName()}, {kChain, chain_}}.dump() + "\n";
    }
    for (const auto& [output, row] : own_) text += FormatLine(output, row);
    Io::WriteAll(file.GetDescriptor(), text);
    file.Commit();
}

std::string Ledger::FormatLine(const std::string& output, const Row& row) {
    const Json json = {{"output", output},
                       {"outputSize", row.outputSize},
                       {"input", row.entry.input},
                       {"inputSize", row.entry.inputStamp.size},
                       {"inputModified", row.entry.inputStamp.modified},
                       {kChain, row.entry.chain},
                       {"recorded", row.recorded}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool Ledger::IsUpToDate(const std::string& output, const LedgerEntry& entry) const {
    const auto row = all_.find(Recorded(output));
    if (row == all_.end() || row->second.entry != LedgerEntry{Recorded(entry.input), entry.inputStamp, entry.chain})
        return false;
    const std::optional<FileStamp> stamp = StampOf(folder_ / output);
    return stamp && stamp->size == row->second.outputSize;
}

void Ledger::Add(const std::string& output, const LedgerEntry& entry) {
    const std::optional<FileStamp> stamp = StampOf(folder_ / output);
    if (!stamp) ThrowErrno();
    const std::string line = FormatLine(output, {entry, stamp->size, TimeOfRecord()});
    const off_t end = lseek(file_, 0, SEEK_END);
    try {
        Io::WriteAll(file_, line);
    } catch (...) {
        // A truncated line would corrupt the next one; if even the newline fails, the next run rebuilds both outputs.
        if (ftruncate(file_, end) != 0) Io::WriteAll(file_, "\n");
        throw;
    }
}

}  // namespace Kalvatri
