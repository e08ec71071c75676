#include "Cli/BatchLedger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

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

// The text as a JSON document gives it back: file names may hold bytes that are no UTF-8.
std::string Recorded(const std::string& text) {
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
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
    constexpr std::uint64_t kPrime = 0x100000001b3, kStart = 0xcbf29ce484222325;  // FNV-1a
    std::uint64_t hash = kStart;
    for (const char c : json.dump(-1, ' ', false, Json::error_handler_t::replace))
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

Ledger::Ledger(Core::ioPath folder, Access access) : folder_(std::move(folder)) {
    if (access == Access::Reading) {
        Load();
        return;
    }
    try {
        Lock();
        if (!Load()) Rewrite();
        file_ = open((folder_ / kFileName).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (file_ < 0) ThrowErrno();
    } catch (...) {
        if (lock_ >= 0) close(lock_);
        throw;
    }
}

Ledger::~Ledger() {
    if (file_ >= 0) close(file_);
    if (lock_ >= 0) close(lock_);
}

void Ledger::Lock() {
    lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock_ < 0) ThrowErrno();
    // Workers share their batch's lock, and end a moment after a batch that was killed.
    constexpr std::chrono::milliseconds kPatience{1000}, kPause{20};
    for (auto waited = kPause; flock(lock_, LOCK_EX | LOCK_NB) != 0; waited += kPause) {
        if (errno != EWOULDBLOCK) return;  // some file systems have no locks
        if (waited > kPatience) Throw("another batch is writing into this folder");
        std::this_thread::sleep_for(kPause);
    }
}

bool Ledger::Load() {
    std::ifstream stream(folder_ / kFileName, std::ios::binary);
    std::size_t lines = 0;
    bool isWhole = true;
    for (std::string line; std::getline(stream, line); ++lines) {
        if (stream.eof()) isWhole = false;  // the last line has no end
        try {
            const Json json = ParseJson(line);
            const FileStamp stamp{json.at("inputSize").get<std::uint64_t>(),
                                  json.at("inputModified").get<std::int64_t>()};
            rows_[json.at("output")] = {{json.at("input"), stamp, json.at("chain")},
                                        json.at("outputSize").get<std::uint64_t>()};
        } catch (const Proc::SettingsException&) {
            isWhole = false;
        } catch (const Json::exception&) {
            isWhole = false;
        }
    }
    return isWhole && lines == rows_.size();
}

void Ledger::Rewrite() const {
    Io::PendingFile file(folder_ / kFileName);
    std::string text;
    for (const auto& [output, row] : rows_) text += FormatLine(output, row);
    Io::WriteAll(file.GetDescriptor(), text);
    file.Commit();
}

std::string Ledger::FormatLine(const std::string& output, const Row& row) {
    const Json json = {{"output", output},
                       {"outputSize", row.outputSize},
                       {"input", row.entry.input},
                       {"inputSize", row.entry.inputStamp.size},
                       {"inputModified", row.entry.inputStamp.modified},
                       {"chain", row.entry.chain}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool Ledger::IsUpToDate(const std::string& output, const LedgerEntry& entry) const {
    const auto row = rows_.find(Recorded(output));
    if (row == rows_.end() || row->second.entry != LedgerEntry{Recorded(entry.input), entry.inputStamp, entry.chain})
        return false;
    const std::optional<FileStamp> stamp = StampOf(folder_ / output);
    return stamp && stamp->size == row->second.outputSize;
}

void Ledger::Add(const std::string& output, const LedgerEntry& entry) {
    const std::optional<FileStamp> stamp = StampOf(folder_ / output);
    if (!stamp) ThrowErrno();
    const std::string line = FormatLine(output, {entry, stamp->size});
    const off_t end = lseek(file_, 0, SEEK_END);
    try {
        Io::WriteAll(file_, line);
    } catch (...) {
        // A line that is cut off would take the next one with it; where even that fails, both outputs are rebuilt by
        // the next run.
        if (ftruncate(file_, end) != 0) Io::WriteAll(file_, "\n");
        throw;
    }
}

}  // namespace Kalvatri
