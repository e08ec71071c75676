// The interface of the codec library.
#pragma once

#include "Host/Io/ImageFiles.h"

namespace Orvexa::Io {

class ImageCodecs {
public:
    static constexpr char kLibrary[] = "libOrvexaImageFiles.so", kFunction[] = "GetImageCodecs";

    virtual ~ImageCodecs() = default;
    /// Reads from an open file, pipe or device, from its current position on.
    virtual LoadedImage Read(int descriptor, const Proc::AllocatorPtr& allocator, const ReadOptions& options) = 0;
    virtual LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                             const ReadOptions& options) = 0;
    virtual ImageSize ReadSize(int descriptor, const ReadOptions& options) = 0;
    /// Writes a frame of a format that `IsWritable`. `descriptor` is an empty file, open for reading and writing.
    virtual Notes Write(int descriptor, FileFormat format, const Proc::ConstFramePtr& frame,
                        const WriteOptions& options) = 0;
    virtual Notes Write(std::vector<std::uint8_t>& bytes, FileFormat format, const Proc::ConstFramePtr& frame,
                        const WriteOptions& options) = 0;
    virtual FormatSupport GetSupport(FileFormat format) = 0;
};

}  // namespace Orvexa::Io
