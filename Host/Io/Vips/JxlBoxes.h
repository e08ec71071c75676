// Metadata in JPEG XL files (ISO/IEC 18181-2): boxes beside that of the picture. A file without metadata may be the
// bare picture.
#pragma once

#include <string>
#include <string_view>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"

namespace Orvexa::Io::Details {

bool IsJxl(std::string_view head);

struct JxlMetadata {
    std::string exif, xmp;
};
/// Metadata that is compressed cannot be read, which `notes` then say. The source has to be rewound afterwards.
JxlMetadata ReadJxlMetadata(const vips::VSource& source, Notes& notes);

/// What a file with metadata begins with, in front of the bare picture.
std::string MakeJxlStart(const JxlMetadata& metadata);

/// What every bare picture begins with.
inline constexpr std::string_view kJxlCodestream("\xff\x0a", 2);

}  // namespace Orvexa::Io::Details
