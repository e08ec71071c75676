// The metadata segments of JPEG files (ITU-T T.81 B.1, Exif 2.3 4.7, XMP specification part 3 1.1.3).
#pragma once

#include <string>
#include <string_view>
#include <vector>
#include <vips/vips8>

#include "Host/Io/Formats.h"

namespace Orvexa::Io::Details {

struct JpegSegments {
    std::string exif, xmp, xmpExtension, resources, comment;
};
/// Reads the segments before the picture's data. The source must be at its beginning and may be a pipe; it has to be
/// rewound afterwards.
JpegSegments ReadJpegSegments(const vips::VSource& source);

/// The sizes that one segment can hold at most.
inline constexpr std::size_t kMaxJpegExif = 65527, kMaxJpegXmp = 65502;

/// Segments for a file. `exif` and `xmp` are within the limits above, the others become as many segments as they need.
std::string MakeJpegSegments(const JpegSegments& content, const std::string& extensionGuid);

/// Calls `visit(marker, content)` for the segments between the beginning and the first that is neither APPn nor COM,
/// and returns the place of that one; 0 if `bytes` end before.
template <class Visit>
std::size_t VisitJpegHeader(std::string_view bytes, Visit&& visit) {
    std::size_t at = 2;
    while (at + 4 <= bytes.size()) {
        const auto byteAt = [&](std::size_t place) { return static_cast<unsigned char>(bytes[place]); };
        const unsigned marker = byteAt(at + 1);
        const bool isMetadata = (marker >= 0xe0 && marker <= 0xef) || marker == 0xfe;
        if (byteAt(at) != 0xff || !isMetadata) return at;
        const std::size_t size = static_cast<std::size_t>(byteAt(at + 2)) << 8 | byteAt(at + 3);
        if (size < 2) return at;
        if (at + 2 + size > bytes.size()) break;
        visit(marker, bytes.substr(at + 4, size - 2), bytes.substr(at, size + 2));
        at += size + 2;
    }
    return 0;
}

inline constexpr std::string_view kJpegExifStart("Exif\0\0", 6);

}  // namespace Orvexa::Io::Details
