#include "Host/Io/Vips/Output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "Host/Core/Exception.h"

namespace Orvexa::Io::Details {

std::int64_t FileOutput::Write(std::int64_t at, const void* data, std::size_t size) {
    return pwrite(descriptor_, data, size, at);
}

std::int64_t FileOutput::Read(std::int64_t at, void* data, std::size_t size) {
    return pread(descriptor_, data, size, at);
}

std::int64_t FileOutput::GetSize() {
    struct stat status {};
    return fstat(descriptor_, &status) == 0 ? status.st_size : -1;
}

std::int64_t MemoryOutput::Write(std::int64_t at, const void* data, std::size_t size) {
    const auto begin = static_cast<std::size_t>(at);
    try {
        if (begin + size > bytes_.size()) bytes_.resize(begin + size);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return -1;
    }
    std::memcpy(bytes_.data() + begin, data, size);
    return static_cast<std::int64_t>(size);
}

std::int64_t MemoryOutput::Read(std::int64_t at, void* data, std::size_t size) {
    const auto begin = std::min(static_cast<std::size_t>(at), bytes_.size());
    const std::size_t there = std::min(size, bytes_.size() - begin);
    if (there > 0) std::memcpy(data, bytes_.data() + begin, there);
    return static_cast<std::int64_t>(there);
}

EncoderTarget::EncoderTarget(Output& output, std::int64_t base, const HeaderFilter* filter)
    : output_(output), base_(base), position_(base), filter_(filter), target_(VIPS_TARGET(vips_target_custom_new())) {
    using Self = EncoderTarget*;
    const auto write = +[](VipsTargetCustom*, const void* data, gint64 size, gpointer self) -> gint64 {
        return static_cast<Self>(self)->Contained([&] { return static_cast<Self>(self)->Write(data, size); });
    };
    const auto read = +[](VipsTargetCustom*, void* data, gint64 size, gpointer self) -> gint64 {
        auto& target = *static_cast<Self>(self);
        const std::int64_t count = target.output_.Read(target.position_, data, static_cast<std::size_t>(size));
        target.position_ += std::max<std::int64_t>(count, 0);
        return count;
    };
    const auto seek = +[](VipsTargetCustom*, gint64 offset, int whence, gpointer self) -> gint64 {
        return static_cast<Self>(self)->Seek(offset, whence);
    };
    const auto end = +[](VipsTargetCustom*, gpointer self) -> int {
        return static_cast<int>(static_cast<Self>(self)->Contained([&] { return static_cast<Self>(self)->End(); }));
    };
    g_signal_connect(target_.get_target(), "write", G_CALLBACK(write), this);
    g_signal_connect(target_.get_target(), "read", G_CALLBACK(read), this);
    g_signal_connect(target_.get_target(), "seek", G_CALLBACK(seek), this);
    g_signal_connect(target_.get_target(), "end", G_CALLBACK(end), this);
}

// The handlers are called from C, which exceptions must not reach.
template <class Call>
std::int64_t EncoderTarget::Contained(Call&& call) {
    try {
        return call();
    } catch (const std::exception&) {
        error_ = std::current_exception();
        errno = EIO;
        return -1;
    }
}

void EncoderTarget::RethrowError() const {
    if (error_ != nullptr) std::rethrow_exception(error_);
}

std::int64_t EncoderTarget::Write(const void* data, std::int64_t size) {
    const std::string_view bytes(static_cast<const char*>(data), static_cast<std::size_t>(size));
    if (filter_ == nullptr) {
        const std::int64_t written = output_.Write(position_, bytes.data(), bytes.size());
        position_ += std::max<std::int64_t>(written, 0);
        return written;
    }
    header_ += bytes;
    const std::size_t headerSize = filter_->FindEnd(header_, false);
    if (headerSize == 0) return size;
    const std::string changed = filter_->Change(std::string_view(header_).substr(0, headerSize));
    filter_ = nullptr;
    const std::string rest = std::exchange(header_, {}).substr(headerSize);
    return WriteAll(changed) == 0 && WriteAll(rest) == 0 ? size : -1;
}

std::int64_t EncoderTarget::Seek(std::int64_t offset, int whence) {
    const std::int64_t from = whence == SEEK_SET ? base_ : whence == SEEK_CUR ? position_ : output_.GetSize();
    if (from + offset < base_) {
        errno = EINVAL;
        return -1;
    }
    position_ = from + offset;
    return position_ - base_;
}

int EncoderTarget::End() {
    if (filter_ == nullptr) return 0;
    const std::size_t headerSize = filter_->FindEnd(header_, true);
    const std::string changed = filter_->Change(std::string_view(header_).substr(0, headerSize));
    filter_ = nullptr;
    return WriteAll(changed + header_.substr(headerSize));
}

int EncoderTarget::WriteAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::int64_t written = output_.Write(position_, bytes.data(), bytes.size());
        if (written <= 0) return -1;
        position_ += written;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

void WriteAt(Output& output, std::int64_t at, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::int64_t written = output.Write(at, bytes.data(), bytes.size());
        if (written <= 0) Throw(std::strerror(errno));
        at += written;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string ReadAt(Output& output, std::int64_t at, std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t done = 0; done < size;) {
        const std::int64_t read = output.Read(at + static_cast<std::int64_t>(done), bytes.data() + done, size - done);
        if (read <= 0) Throw(read < 0 ? std::strerror(errno) : "the file ends too early");
        done += static_cast<std::size_t>(read);
    }
    return bytes;
}

}  // namespace Orvexa::Io::Details
