// The interface of the library that develops camera raw files.
#pragma once

#include <span>

#include "Host/Io/ImageFiles.h"

namespace Orvexa::Io {

class RawDecoder {
public:
    static constexpr char kLibrary[] = "libOrvexaRaw.so", kFunction[] = "GetRawDecoder";

    virtual ~RawDecoder() = default;
    virtual ImageSize ReadSize(std::span<const std::uint8_t> bytes, const ReadOptions& options) = 0;
    /// The picture upright in sRGB, without metadata.
    virtual LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                             const ReadOptions& options) = 0;
};

}  // namespace Orvexa::Io
