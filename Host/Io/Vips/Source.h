// Where the bytes of a picture come from.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"

namespace Orvexa::Io::Details {

/// The bytes of a picture: memory, a file, or a pipe or device. libvips gets them through read calls only: it would map
/// files of some formats, and a mapped file that is shortened meanwhile ends the process by SIGBUS.
class ByteSource {
public:
    explicit ByteSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    /// Reads from the descriptor's present position on. A pipe or a device is read no further than a picture of
    /// `options` could need.
    ByteSource(int descriptor, const ReadOptions& options);

    /// Whether the bytes can be read again; those of pipes and devices cannot.
    bool IsRepeatable() const { return descriptor_ < 0 || isFile_; }
    /// A source of libvips that reads from the beginning. This object must outlive it; it ends the use of earlier ones.
    vips::VSource Open();
    /// Throws when the bytes could not be trusted to be all: the file was shortened while it was read, or the pipe was
    /// endless.
    void CheckWhole() const;

private:
    static std::int64_t Read(VipsSourceCustom*, void* buffer, std::int64_t size, void* self);
    static std::int64_t Seek(VipsSourceCustom*, std::int64_t offset, int origin, void* self);
    std::int64_t Read(void* buffer, std::int64_t size);

    std::span<const std::uint8_t> bytes_;
    int descriptor_ = -1;
    bool isFile_ = false;
    std::int64_t begin_ = 0;     // of a file: where the picture starts in it
    std::int64_t size_ = 0;      // of a file: the picture's size when it was opened; otherwise the most that is read
    std::int64_t position_ = 0;  // of the next byte, counted from `begin_`
    std::uint64_t maxPixels_ = 0;
    bool isShortened_ = false, isEndless_ = false;
};

/// Takes the next `size` bytes of a source; false if there are fewer.
bool ReadAll(const vips::VSource& source, std::string& bytes, std::size_t size);

}  // namespace Orvexa::Io::Details
