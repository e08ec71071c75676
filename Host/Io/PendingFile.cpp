#include "Host/Io/PendingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>

#include "Host/Core/Exception.h"

namespace Orvexa::Io {

namespace {

constexpr char kPart[] = ".part-";

// The incomplete files of this process. Never destroyed, because threads may outlive static objects.
struct Registry {
    std::mutex mutex;
    std::set<Core::ioPath> files;
};
Registry& Incomplete() {
    static Registry& registry = *new Registry;
    return registry;
}

std::string Stem(const std::string& target) { return "." + target.substr(0, 200) + kPart; }

[[noreturn]] void ThrowErrno(const std::string& what) { Throw(what + ": " + std::strerror(errno)); }

}  // namespace

PendingFile::PendingFile(const Core::ioPath& target) : target_(target) {
    std::error_code error;
    if (std::filesystem::is_symlink(target, error)) target_ = std::filesystem::weakly_canonical(target, error);
    struct stat old {};
    const bool isReplacing = stat(target_.c_str(), &old) == 0;
    const std::lock_guard lock(Incomplete().mutex);
    for (int attempt = 0; descriptor_ < 0; ++attempt) {
        const std::string suffix = std::to_string(getpid()) + "-" + std::to_string(attempt);
        temporary_ = target_.parent_path() / (Stem(target_.filename().string()) + suffix);
        descriptor_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) ThrowErrno("cannot write into the folder");
    }
    flock(descriptor_, LOCK_EX | LOCK_NB);  // tells others that the file is being worked on; it ends with the process however that ends
    Incomplete().files.insert(temporary_);
    if (isReplacing) fchmod(descriptor_, old.st_mode & 07777);  // at worst the new file has the rights of any new file
}

PendingFile::~PendingFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (temporary_.empty()) return;
    const std::lock_guard lock(Incomplete().mutex);
    unlink(temporary_.c_str());
    Incomplete().files.erase(temporary_);
}

void PendingFile::Commit() {
    const int descriptor = std::exchange(descriptor_, -1);
    if (close(descriptor) != 0) ThrowErrno("cannot write");  // network file systems report a full disk here
    const std::lock_guard lock(Incomplete().mutex);
    if (rename(temporary_.c_str(), target_.c_str()) != 0) ThrowErrno("cannot replace the file");
    Incomplete().files.erase(temporary_);
    temporary_.clear();
}

void PendingFile::AbandonAll() {
    Incomplete().mutex.lock();  // for good
    for (const Core::ioPath& file : Incomplete().files) unlink(file.c_str());
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
