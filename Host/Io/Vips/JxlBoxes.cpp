#include "Host/Io/Vips/JxlBoxes.h"

#include <cstdint>

#include "Host/Io/Vips/BigEndian.h"
#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "\0\0\0\x0cJXL \r\n\x87\n"sv;
constexpr std::string_view kFileType =
    "\0\0\0\x14"
    "ftypjxl \0\0\0\0jxl "sv;
constexpr std::string_view kExif = "Exif", kXmp = "xml ", kCompressed = "brob", kPicture = "jxlc";
// A number before the EXIF block tells how many bytes stand between them.
constexpr std::string_view kNoOffset = "\0\0\0\0"sv;

std::string Box(std::string_view type, std::string_view content) {
    constexpr std::size_t kHeader = 8;
    const std::size_t size = content.size() + kHeader;
    std::string box;
    for (int shift = 24; shift >= 0; shift -= 8) box += static_cast<char>(size >> shift & 255);
    return box.append(type).append(content);
}

}  // namespace

bool IsJxl(std::string_view head) { return head.starts_with(kJxlCodestream) || head.starts_with(kSignature); }

JxlMetadata ReadJxlMetadata(const vips::VSource& source, Notes& notes) {
    constexpr int kMaxBoxes = 4096;                                          // far more than any file has
    constexpr std::uint64_t kMaxContent = 64 << 20, kMaxPlace = 1ull << 62;  // bytes
    JxlMetadata metadata;
    std::string bytes;
    if (!ReadAll(source, bytes, kSignature.size()) || bytes != kSignature) return metadata;
    std::uint64_t at = kSignature.size();
    for (int i = 0; i < kMaxBoxes; ++i) {
        if (!ReadAll(source, bytes, 8)) break;
        const std::string type = bytes.substr(4);
        std::uint64_t size = BigEndian(std::string_view(bytes).substr(0, 4)), header = 8;
        if (size == 1) {
            if (!ReadAll(source, bytes, 8)) break;
            header = 16;
            size = std::uint64_t{BigEndian(std::string_view(bytes).substr(0, 4))} << 32 |
                   BigEndian(std::string_view(bytes).substr(4));
        }
        if (size < header || size > kMaxPlace) break;  // 0 stands for a last box that reaches to the end: the picture
        const std::uint64_t content = size - header;
        if ((type == kExif || type == kXmp) && content <= kMaxContent) {
            if (!ReadAll(source, bytes, static_cast<std::size_t>(content))) break;
            if (type == kXmp && metadata.xmp.empty()) metadata.xmp = bytes;
            if (type == kExif && metadata.exif.empty() && bytes.size() > kNoOffset.size())
                metadata.exif = bytes.substr(kNoOffset.size());
        } else if (type == kCompressed && content >= 4 && ReadAll(source, bytes, 4)) {
            if (bytes == kExif) notes.emplace_back("the EXIF data is compressed, which cannot be read");
            if (bytes == kXmp) notes.emplace_back("the XMP data is compressed, which cannot be read");
        }
        at += size;
        if (vips_source_seek(source.get_source(), static_cast<gint64>(at), SEEK_SET) < 0) break;
    }
    return metadata;
}

std::string MakeJxlStart(const JxlMetadata& metadata) {
    std::string start = std::string(kSignature) + std::string(kFileType);
    if (!metadata.exif.empty()) start += Box(kExif, std::string(kNoOffset) + metadata.exif);
    if (!metadata.xmp.empty()) start += Box(kXmp, metadata.xmp);
    return start + std::string(4, '\0') + std::string(kPicture);  // to the end of the file
}

}  // namespace Orvexa::Io::Details
