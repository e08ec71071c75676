// A block of EXIF data: a small TIFF file without pixels, whose directories hold tags (CIPA DC-008, TIFF 6.0).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Orvexa::Io::Details {

namespace Tag {
inline constexpr std::uint16_t kWidth = 0x100, kHeight = 0x101, kStripOffsets = 0x111, kOrientation = 0x112,
                               kStripByteCounts = 0x117, kXResolution = 0x11a, kYResolution = 0x11b,
                               kResolutionUnit = 0x128, kTileOffsets = 0x144, kThumbnail = 0x201,
                               kThumbnailLength = 0x202, kXmp = 0x2bc, kIptc = 0x83bb, kPhotoshop = 0x8649,
                               kExif = 0x8769, kGps = 0x8825, kColorSpace = 0xa001, kPixelWidth = 0xa002,
                               kPixelHeight = 0xa003, kInterop = 0xa005;
}
/// Field types of TIFF.
namespace TagType {
inline constexpr std::uint16_t kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7;
}
/// Bytes of one element of a field type, 0 for unknown types.
std::size_t GetTypeSize(std::uint16_t type);

/// Whether a tag of IFD 0 tells how a file's pixels are stored, or travels by other ways than among the EXIF tags
/// (TIFF 6.0 and its supplements).
bool IsAboutPixels(std::uint16_t tag);

/// An entry of a directory. Its value lies within the bytes.
struct TiffEntry {
    std::size_t at;  ///< of the entry itself
    std::uint16_t tag, type;
    std::uint32_t count;
    std::size_t valueAt, valueSize;
};

/// Reads and changes TIFF structures in memory, which may be damaged or hostile: what lies outside does not exist.
class TiffBytes {
public:
    /// A view of `size` bytes, which outlive it.
    TiffBytes(char* data, std::size_t size);

    /// Whether the bytes begin with the header of a TIFF file.
    bool IsValid() const { return isValid_; }
    bool IsBigEndian() const { return isBigEndian_; }

    std::uint32_t GetShort(std::size_t at) const { return Get(at, 2); }
    std::uint32_t GetLong(std::size_t at) const { return Get(at, 4); }
    void SetShort(std::size_t at, std::uint32_t number) { Set(at, 2, number); }
    void SetLong(std::size_t at, std::uint32_t number) { Set(at, 4, number); }

    /// The place of the first directory (IFD 0); 0 if there is none.
    std::size_t GetFirstDirectory() const { return isValid_ ? GetLong(4) : 0; }
    /// The place of the number that tells where the next directory is.
    std::size_t GetLinkAt(std::size_t directory) const;
    /// The directory that a tag points to; 0 if there is none.
    std::size_t GetSubDirectory(std::size_t directory, std::uint16_t tag) const;
    std::vector<TiffEntry> GetEntries(std::size_t directory) const;
    std::optional<TiffEntry> Find(std::size_t directory, std::uint16_t tag) const;

    /// The first number of a SHORT or LONG; 0 for other types.
    std::uint32_t GetNumber(const TiffEntry& entry) const;
    /// Replaces a single SHORT or LONG where the tag exists.
    void ReplaceNumber(std::size_t directory, std::uint16_t tag, std::uint32_t number);
    /// Writes zeros over a range.
    void Clear(std::size_t at, std::size_t size);
    std::string_view GetBytes(std::size_t at, std::size_t size) const;

private:
    std::uint32_t Get(std::size_t at, std::size_t bytes) const;
    void Set(std::size_t at, std::size_t bytes, std::uint32_t number);
    bool Holds(std::size_t at, std::size_t size) const { return at <= size_ && size <= size_ - at; }

    char* data_;
    std::size_t size_;
    bool isValid_ = false, isBigEndian_ = false;
};

/// Takes away what may stand before the block's header; empty when there is no header, so that nothing can be made of
/// the bytes.
std::string_view FindExifBlock(std::string_view bytes);

/// Marks the picture as upright and removes the preview picture. `isTurned` tells that the picture's sides are swapped.
void MakeUpright(std::string& block, bool isTurned);
/// Says that the colours are sRGB.
void SetSrgb(std::string& block);
/// Brings the tags of the picture's size up to date, where they exist.
void SetSize(std::string& block, std::uint32_t width, std::uint32_t height);
/// Adds the resolution, in pixels per inch, to a block that has none.
void AddResolution(std::string& block, double x, double y);

/// Numbers in the byte order of a block, and directories, to be appended to it.
class TiffWriter {
public:
    explicit TiffWriter(bool isBigEndian) : isBigEndian_(isBigEndian) {}
    std::string Number(std::uint32_t number, std::size_t bytes) const;

    struct Field {
        std::uint16_t tag, type;
        std::uint32_t count;
        std::string value;                     ///< its bytes, in this byte order
        std::optional<std::uint32_t> valueAt;  ///< in place of `value` where the bytes are in the file already
    };
    /// A directory without a successor, with the values behind it; `at` is where it will be, an even number.
    std::string Directory(std::vector<Field> fields, std::size_t at) const;

private:
    bool isBigEndian_;
};

/// The fields of a directory as they are, to be written into another.
std::vector<TiffWriter::Field> GetFields(const TiffBytes& bytes, std::size_t directory);

}  // namespace Orvexa::Io::Details
