#include "Host/Io/PendingFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
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

bool PendingFile::IsLeftOver(const std::string& name, const std::string& target) {
    const std::string stem = Stem(target);
    if (!name.starts_with(stem)) return false;
    const std::string rest = name.substr(stem.size());
    pid_t process = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), process);
    return error == std::errc() && process > 0 && *end == '-' && kill(process, 0) != 0 && errno == ESRCH;
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
