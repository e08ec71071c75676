#include "Host/Io/PendingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_set>
#include <utility>

#include "Host/Core/Exception.h"

namespace Orvexa::Io {

namespace {

constexpr char kPart[] = ".part-";

std::string Stem(const std::string& target) { return "." + target.substr(0, 200) + kPart; }

[[noreturn]] void ThrowErrno(const std::string& what) { Throw(what + ": " + std::strerror(errno)); }

// Resolves a link, through further links, even to a file that does not exist yet.
Core::ioPath FollowLinks(Core::ioPath file) {
    constexpr int kMostLinks = 40;  // the system's limit
    std::error_code error;
    for (int links = 0; std::filesystem::is_symlink(file, error); ++links) {
        if (links == kMostLinks) Throw("too many symbolic links");
        const Core::ioPath to = std::filesystem::read_symlink(file, error);
        if (error) Throw("cannot follow the link: " + error.message());
        file = file.parent_path() / to;  // an absolute `to` replaces the whole path
    }
    return file;
}

// Gives an open file the owner, group and permissions of the file that it replaces, but no set-user-ID or set-group-ID
// bits. If that is not permitted, the file keeps the attributes of a new one.
void TakeRights(int descriptor, const struct stat& old) {
    constexpr mode_t kPermissions = 0777;
    (void)!fchown(descriptor, static_cast<uid_t>(-1), old.st_gid);
    (void)!fchown(descriptor, old.st_uid, static_cast<gid_t>(-1));
    fchmod(descriptor, old.st_mode & kPermissions);
}

std::atomic<bool> isAbandoned{false};

// The process is about to end.
void StopIfAbandoned() {
    while (isAbandoned) pause();
}

std::atomic<unsigned> namesMade{0};

std::string LinkTo(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

}  // namespace

// A temporary name in the list of all names of this process, which only grows, so that a signal handler can walk it at
// any time. An abandoned entry is left unchanged, because the handler may still be reading it.
struct PendingFile::Entry {
    enum class State { Free, Filling, Used, Abandoned };

    char name[PATH_MAX];
    pid_t owner;
    std::atomic<State> state{State::Filling};
    Entry* next = nullptr;

    static_assert(std::atomic<State>::is_always_lock_free);
    static inline std::atomic<Entry*> first{nullptr};

    static Entry* Take() {
        for (Entry* entry = first; entry != nullptr; entry = entry->next) {
            State expected = State::Free;
            if (entry->state.compare_exchange_strong(expected, State::Filling)) return entry;
        }
        auto* entry = new Entry;
        entry->next = first;
        while (!first.compare_exchange_weak(entry->next, entry)) {
        }
        return entry;
    }
    void Use(const Core::ioPath& file) {
        const std::string& path = file.native();
        path.copy(name, sizeof name - 1);
        name[std::min(path.size(), sizeof name - 1)] = '\0';  // names longer than PATH_MAX cannot be opened anyway
        owner = getpid();
        state = State::Used;
    }
    // The name is no longer in use.
    void Leave() {
        State expected = State::Used;
        state.compare_exchange_strong(expected, State::Free);
    }
};

PendingFile::PendingFile(const Core::ioPath& target, Naming naming) : target_(FollowLinks(target)) {
    StopIfAbandoned();
    if (naming == Naming::Named || !OpenUnnamed()) {
        MakeNamed("cannot write into the folder", [&](const char* name) {
            descriptor_ = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            return descriptor_ >= 0;
        });
    }
    flock(descriptor_,
          LOCK_EX | LOCK_NB);  // marks the file as in use by a process; released when the process exits
    struct stat old {};
    if (stat(target_.c_str(), &old) == 0) TakeRights(descriptor_, old);
}

PendingFile::~PendingFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (entry_ == nullptr) return;
    unlink(entry_->name);
    entry_->Leave();
}

bool PendingFile::OpenUnnamed() {
    const Core::ioPath folder = target_.has_parent_path() ? target_.parent_path() : ".";
    descriptor_ = open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0666);
    if (descriptor_ < 0) return false;
    if (access(LinkTo(descriptor_).c_str(), F_OK) == 0) return true;  // otherwise it could never be given a name
    close(std::exchange(descriptor_, -1));
    return false;
}

template <class Make>
void PendingFile::MakeNamed(const char* what, Make&& make) {
    while (entry_ == nullptr) {
        Entry* entry = Entry::Take();
        // Entered before the file exists: a name with this process's number is unique to it.
        const std::string suffix = std::to_string(getpid()) + "-" + std::to_string(namesMade++);
        entry->Use(target_.parent_path() / (Stem(target_.filename().string()) + suffix));
        if (make(entry->name)) {
            entry_ = entry;
            if (isAbandoned) unlink(entry->name);
        } else {
            const int error = errno;
            entry->Leave();
            errno = error;
            if (error != EEXIST) ThrowErrno(what);
        }
    }
    StopIfAbandoned();
}

void PendingFile::Commit() {
    StopIfAbandoned();
    // A link cannot replace a file; only renaming can.
    MakeNamed("cannot write", [&](const char* name) {
        return linkat(AT_FDCWD, LinkTo(descriptor_).c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    });
    const int descriptor = std::exchange(descriptor_, -1);
    if (close(descriptor) != 0) ThrowErrno("cannot write");  // network file systems report a full disk here
    if (rename(entry_->name, target_.c_str()) != 0) {
        const int error = errno;
        StopIfAbandoned();
        errno = error;
        ThrowErrno("cannot replace the file");
    }
    entry_->Leave();
    entry_ = nullptr;
}

void PendingFile::AbandonAll() noexcept {
    const int error = errno;
    isAbandoned = true;
    for (Entry* entry = Entry::first; entry != nullptr; entry = entry->next) {
        Entry::State expected = Entry::State::Used;
        if (!entry->state.compare_exchange_strong(expected, Entry::State::Abandoned)) continue;
        if (entry->owner == getpid()) unlink(entry->name);  // not entries of the parent process that forked this one
    }
    errno = error;
}

void PendingFile::RemoveLeftOvers(const Core::ioPath& folder, const std::vector<std::string>& targets) {
    std::unordered_set<std::string> stems;
    for (const std::string& target : targets) stems.insert(Stem(target));
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        const std::size_t mark = name.rfind(kPart);
        if (mark == std::string::npos || !stems.contains(name.substr(0, mark + std::strlen(kPart)))) continue;
        if (name.find_first_not_of("0123456789-", mark + std::strlen(kPart)) != std::string::npos) continue;
        const int descriptor = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) continue;
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) unlink(entry.path().c_str());
        close(descriptor);
    }
}

void WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) ThrowErrno("cannot write");
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void WriteFile(const Core::ioPath& file, std::string_view bytes) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (std::filesystem::is_directory(status)) Throw("this is a folder, not a file");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        return WriteInto(file, bytes.data(), bytes.size());
    PendingFile pending(file);
    WriteAll(pending.GetDescriptor(), bytes);
    pending.Commit();
}

void WriteInto(const Core::ioPath& file, const void* bytes, std::size_t size) {
    std::FILE* stream = std::fopen(file.c_str(), "wb");
    if (stream == nullptr) ThrowErrno("cannot open");
    const bool isWritten = std::fwrite(bytes, 1, size, stream) == size && std::fflush(stream) == 0;
    const int error = errno;
    std::fclose(stream);
    errno = error;
    if (!isWritten) ThrowErrno("cannot write");
}

}  // namespace Orvexa::Io
