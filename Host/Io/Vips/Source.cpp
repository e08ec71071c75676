#include "Host/Io/Vips/Source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>

#include "Host/Core/Exception.h"

namespace Orvexa::Io::Details {

namespace {

// What a stream may hold: four channels of 32 bits a pixel, the most that any of the formats needs, and room for
// metadata.
std::int64_t MaxStreamSize(std::uint64_t maxPixels) {
    constexpr std::uint64_t kBytesPerPixel = 16, kMetadata = 64 << 20;
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(
        maxPixels > (kMost - kMetadata) / kBytesPerPixel ? kMost : maxPixels * kBytesPerPixel + kMetadata);
}

}  // namespace

ByteSource::ByteSource(int descriptor, const ReadOptions& options)
    : descriptor_(descriptor), maxPixels_(options.maxPixels) {
    struct stat status {};
    const off_t position =
        fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) ? lseek(descriptor, 0, SEEK_CUR) : -1;
    isFile_ = position >= 0;
    begin_ = isFile_ ? position : 0;
    size_ = isFile_ ? std::max<std::int64_t>(status.st_size - position, 0) : MaxStreamSize(options.maxPixels);
}

vips::VSource ByteSource::Open() {
    if (descriptor_ < 0) return vips::VSource::new_from_memory(bytes_.data(), bytes_.size());
    position_ = 0;
    isShortened_ = false;
    VipsSourceCustom* source = vips_source_custom_new();
    const auto read = static_cast<std::int64_t (*)(VipsSourceCustom*, void*, std::int64_t, void*)>(Read);
    g_signal_connect(source, "read", reinterpret_cast<GCallback>(read), this);
    // Without this libvips takes the source for a pipe.
    if (isFile_) g_signal_connect(source, "seek", reinterpret_cast<GCallback>(Seek), this);
    return vips::VSource(VIPS_SOURCE(source));
}

void ByteSource::CheckWhole() const {
    if (isShortened_) Throw("the file was shortened while it was read");
    if (isEndless_) {
        Throw("there is no end after " + std::to_string(size_) + " bytes, more than a picture of " +
              std::to_string(maxPixels_) + " pixels needs (--max-pixels)");
    }
}

std::int64_t ByteSource::Read(VipsSourceCustom*, void* buffer, std::int64_t size, void* self) {
    return static_cast<ByteSource*>(self)->Read(buffer, size);
}

std::int64_t ByteSource::Read(void* buffer, std::int64_t size) {
    // Never beyond the size that was told: libvips has no room for what a file has gained since.
    const std::int64_t wanted = std::min(size, size_ - position_);
    if (wanted <= 0 && isFile_) return 0;
    if (wanted <= 0) {
        isEndless_ = true;
        errno = EFBIG;
        return -1;
    }
    // As much as there is: some loaders take less for the end.
    std::int64_t filled = 0;
    while (filled < wanted) {
        std::uint8_t* to = static_cast<std::uint8_t*>(buffer) + filled;
        const auto missing = static_cast<std::size_t>(wanted - filled);
        const ssize_t got =
            isFile_ ? pread(descriptor_, to, missing, begin_ + position_) : read(descriptor_, to, missing);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        filled += got;
        position_ += got;
    }
    if (filled == wanted || !isFile_) return filled;
    // An error rather than an early end, at which libvips would go on with memory that was never filled.
    isShortened_ = true;
    errno = EIO;
    return -1;
}

std::int64_t ByteSource::Seek(VipsSourceCustom*, std::int64_t offset, int origin, void* self) {
    auto& source = *static_cast<ByteSource*>(self);
    const std::int64_t base = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? source.position_ : source.size_;
    if (offset < -base || offset > std::numeric_limits<std::int64_t>::max() - base) return -1;
    return source.position_ = base + offset;
}

bool ReadAll(const vips::VSource& source, std::string& bytes, std::size_t size) {
    bytes.resize(size);
    for (std::size_t done = 0; done < size;) {
        const auto read = vips_source_read(source.get_source(), bytes.data() + done, size - done);
        if (read <= 0) return false;
        done += static_cast<std::size_t>(read);
    }
    return true;
}

}  // namespace Orvexa::Io::Details
