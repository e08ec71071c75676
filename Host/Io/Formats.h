// The file formats of pictures: their names, and what each can hold.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Orvexa::Io {

enum class FileFormat { Jpeg, Png, Webp, Tiff, Heic, Avif, Gif, Jxl };

/// A kind of metadata; the bits make sets of kinds.
struct MetadataKind {
    enum Bit : unsigned { Exif = 1, Xmp = 2, Iptc = 4, Icc = 8, Resolution = 16, Comment = 32 };
    Bit bit;
    const char* name;  ///< such as "ICC profile"
    const char* text;  ///< the same within a sentence, with its article
};
std::span<const MetadataKind> GetMetadataKinds();

struct FormatInfo {
    FileFormat format;
    const char* name;
    std::vector<std::string_view> suffixes;  ///< lower case, without the dot; the first is the usual one
    std::uint32_t maxSide;                   ///< in pixels
    bool hasAlpha;
    unsigned metadata;    ///< the kinds that are read from files of this format and written into them
    bool isSrgb = false;  ///< whether pictures with a profile are converted to sRGB, in which such files are written
};
/// All formats, in the order of `FileFormat`.
std::span<const FormatInfo> GetFormats();
const FormatInfo& GetFormatInfo(FileFormat format);
/// The names of all formats as an enumeration: "A, B or C".
std::string GetFormatNames();

/// What the image library of this machine can do with a format; some of its codecs may not be installed.
struct FormatSupport {
    bool canRead = false, canWrite = false;
};
/// Tries it out, which takes some milliseconds.
FormatSupport GetFormatSupport(FileFormat format);

/// The suffixes of cameras' raw files, lower case, without the dot. Such files are only read, and told by their
/// contents; of their metadata the EXIF data is.
std::span<const std::string_view> GetRawSuffixes();
/// Whether the library that develops them is there.
bool CanReadRaw();

}  // namespace Orvexa::Io
