// Metadata that libvips does not write into files, or not byte by byte, put there while the file is written.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/Io/Vips/Exiv2.h"
#include "Host/Io/Vips/Output.h"

namespace Orvexa::Io::Details {

/// What goes into a file as it stands; each may be empty. A file keeps what libvips writes in place of an empty one.
struct InsertedMetadata {
    std::string exif;       ///< a block; in JPEG files within the limit of a segment
    SplitXmp xmp;           ///< in JPEG and JPEG XL files; libvips writes it into the others
    std::string resources;  ///< Photoshop's image resources, in JPEG and PNG files
    std::string comment;    ///< in JPEG and PNG files
    std::vector<std::pair<std::string, std::string>> texts;  ///< in PNG files, by their keywords
};

/// For JPEG, PNG, WebP, HEIF, AVIF and JPEG XL; null if there is nothing to insert. `Change` throws `EffectException`
/// when the file is not as expected.
std::unique_ptr<HeaderFilter> MakeMetadataFilter(FileFormat format, InsertedMetadata metadata);

/// Bytes as other programs keep them in texts of PNG files, under the keyword "Raw profile type " and a kind, and back;
/// empty if they cannot be read.
std::string ParseRawProfile(std::string_view text);
inline constexpr std::string_view kRawProfile("Raw profile type ");

}  // namespace Orvexa::Io::Details
