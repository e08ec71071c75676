#include "Cli/Preview/Uploads.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

Upload::Upload(std::string kind, std::string bytes)
    : kind_(std::move(kind)), bytes_(std::move(bytes)), descriptor_(memfd_create("kalvatri-upload", MFD_CLOEXEC)) {
    if (descriptor_ < 0) Throw(std::strerror(errno));
    Io::WriteAll(descriptor_, bytes_);
}

Upload::~Upload() {
    if (descriptor_ >= 0) close(descriptor_);
}

std::string Upload::GetPath() const {
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(descriptor_);
}

std::string Uploads::Add(UploadPtr upload) {
    constexpr std::size_t kMaxNumber = 32, kMaxTotal = std::size_t{64} << 20;
    const std::lock_guard lock(mutex_);
    bytes_ += upload->GetBytes().size();
    entries_.push_back({"upload:" + std::to_string(++last_), std::move(upload)});
    while (entries_.size() > 1 && (entries_.size() > kMaxNumber || bytes_ > kMaxTotal)) {
        bytes_ -= entries_.front().upload->GetBytes().size();
        entries_.pop_front();
    }
    return entries_.back().name;
}

UploadPtr Uploads::Find(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.name == name; });
    return found == entries_.end() ? nullptr : found->upload;
}

}  // namespace Kalvatri
