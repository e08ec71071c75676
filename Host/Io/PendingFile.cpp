#include "Host/Io/PendingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "Host/Core/Exception.h"

namespace Orvexa::Io {

namespace {

[[noreturn]] void ThrowErrno(const std::string& what) { Throw(what + ": " + std::strerror(errno)); }

}  // namespace

PendingFile::PendingFile(const Core::ioPath& target) : target_(target) {
    std::error_code error;
    if (std::filesystem::is_symlink(target, error)) target_ = std::filesystem::weakly_canonical(target, error);
    struct stat old {};
    const bool isReplacing = stat(target_.c_str(), &old) == 0;
    for (int attempt = 0; descriptor_ < 0; ++attempt) {
        const std::string suffix = ".part-" + std::to_string(getpid()) + "-" + std::to_string(attempt);
        temporary_ = target_.parent_path() / ("." + target_.filename().string().substr(0, 200) + suffix);
        descriptor_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ < 0 && errno != EEXIST) ThrowErrno("cannot write into the folder");
    }
    if (isReplacing) fchmod(descriptor_, old.st_mode & 07777);  // at worst the new file has the rights of any new file
}

PendingFile::~PendingFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void PendingFile::Commit() {
    const int descriptor = std::exchange(descriptor_, -1);
    if (close(descriptor) != 0) ThrowErrno("cannot write");  // network file systems report a full disk here
    if (rename(temporary_.c_str(), target_.c_str()) != 0) ThrowErrno("cannot replace the file");
    temporary_.clear();
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
