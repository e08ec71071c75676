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
/// Metadata that is compressed cannot be read, and of an animation the loader gives the last picture; `notes` then say
/// so. The source has to be rewound afterwards.
JxlMetadata ReadJxlMetadata(const vips::VSource& source, Notes& notes);

/// The size of a file's beginning behind which metadata may stand, once enough of it is there, otherwise 0.
std::size_t FindJxlStart(std::string_view bytes);
/// Such a beginning with metadata behind it. A bare picture becomes one in boxes.
std::string InsertJxlMetadata(std::string_view start, const JxlMetadata& metadata);

}  // namespace Orvexa::Io::Details
