#include "Host/Io/Formats.h"

namespace Orvexa::Io {

namespace {

constexpr unsigned kExif = MetadataKind::Exif, kXmp = MetadataKind::Xmp, kIptc = MetadataKind::Iptc,
                   kIcc = MetadataKind::Icc, kResolution = MetadataKind::Resolution, kComment = MetadataKind::Comment;
constexpr std::uint32_t kUnlimited = 0x7fffffff;

constexpr MetadataKind kMetadataKinds[] = {
    {MetadataKind::Exif, "EXIF", "the EXIF data"},
    {MetadataKind::Xmp, "XMP", "the XMP data"},
    {MetadataKind::Iptc, "IPTC", "the IPTC data"},
    {MetadataKind::Icc, "ICC profile", "the colour profile"},
    {MetadataKind::Resolution, "resolution", "the resolution"},
    {MetadataKind::Comment, "comment", "the comment"},
};

constexpr std::string_view kRawSuffixes[] = {"3fr", "ari", "arw", "bay", "cap", "cr2", "cr3", "crw", "dcr", "dcs",
                                             "dng", "drf", "eip", "erf", "fff", "gpr", "iiq", "k25", "kdc", "mdc",
                                             "mef", "mos", "mrw", "nef", "nrw", "orf", "pef", "ptx", "pxn", "r3d",
                                             "raf", "raw", "rw2", "rwl", "rwz", "sr2", "srf", "srw", "x3f"};

}  // namespace

std::span<const std::string_view> GetRawSuffixes() { return kRawSuffixes; }

std::span<const MetadataKind> GetMetadataKinds() { return kMetadataKinds; }

std::span<const FormatInfo> GetFormats() {
    // WebP, HEIF, AVIF and JPEG XL have no resolution of their own, but it is among the EXIF tags.
    static const std::vector<FormatInfo> formats = {
        {FileFormat::Jpeg, "JPEG", {"jpg", "jpeg"}, 65500, false, kExif | kXmp | kIptc | kIcc | kResolution | kComment},
        {FileFormat::Png, "PNG", {"png"}, kUnlimited, true, kExif | kXmp | kIptc | kIcc | kResolution | kComment},
        {FileFormat::Webp, "WebP", {"webp"}, 16383, true, kExif | kXmp | kIcc | kResolution},
        {FileFormat::Tiff, "TIFF", {"tif", "tiff"}, kUnlimited, true, kExif | kXmp | kIptc | kIcc | kResolution},
        {FileFormat::Heic, "HEIF", {"heic", "heif"}, 16384, true, kExif | kXmp | kIcc | kResolution},
        {FileFormat::Avif, "AVIF", {"avif"}, 16384, true, kExif | kXmp | kIcc | kResolution},
        {FileFormat::Gif, "GIF", {"gif"}, 65535, true, 0},
        {FileFormat::Jxl, "JPEG XL", {"jxl"}, 0x3fffffff, true, kExif | kXmp | kResolution, true},
    };
    return formats;
}

const FormatInfo& GetFormatInfo(FileFormat format) { return GetFormats()[static_cast<std::size_t>(format)]; }

std::string GetFormatNames() {
    std::string names;
    for (const FormatInfo& info : GetFormats()) {
        const bool isLast = &info == &GetFormats().back();
        names += (names.empty() ? "" : isLast ? " or " : ", ") + std::string(info.name);
    }
    return names;
}

}  // namespace Orvexa::Io
