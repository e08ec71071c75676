// Camera raw files, which a library of its own develops.
#pragma once

#include <string_view>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"

namespace Orvexa::Io::Details {

/// Whether a file is a camera's own, by its first bytes, or where those are a TIFF file's by its directories. The
/// source has to be rewound afterwards.
bool IsCameraRaw(std::string_view head, const vips::VSource& source);

ImageSize ReadRawSize(const vips::VSource& source, const ReadOptions& options);
LoadedImage ReadRaw(const vips::VSource& source, const Proc::AllocatorPtr& allocator, const ReadOptions& options);

}  // namespace Orvexa::Io::Details
