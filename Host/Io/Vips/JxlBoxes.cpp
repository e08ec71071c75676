#include "Host/Io/Vips/JxlBoxes.h"

#include <array>
#include <cstdint>

#include "Host/Io/Vips/BigEndian.h"
#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kCodestream("\xff\x0a", 2);  // what every bare picture begins with
constexpr std::string_view kSignature = "\0\0\0\x0cJXL \r\n\x87\n"sv;
constexpr std::string_view kFileType =
    "\0\0\0\x14"
    "ftypjxl \0\0\0\0jxl "sv;
constexpr std::string_view kExif = "Exif", kXmp = "xml ", kCompressed = "brob", kLevel = "jxll", kPicture = "jxlc",
                           kPart = "jxlp";
constexpr std::size_t kPartNumber = 4;  // bytes before a part of the picture
// A number before the EXIF block tells how many bytes stand between them.
constexpr std::string_view kNoOffset = "\0\0\0\0"sv;

std::string Box(std::string_view type, std::string_view content) {
    constexpr std::size_t kHeader = 8;
    const std::size_t size = content.size() + kHeader;
    std::string box;
    for (int shift = 24; shift >= 0; shift -= 8) box += static_cast<char>(size >> shift & 255);
    return box.append(type).append(content);
}

// The fields of a bare picture's header (ISO/IEC 18181-1), which begin with the lowest bit of each byte.
class HeaderBits {
public:
    explicit HeaderBits(std::string_view bytes) : bytes_(bytes) {}

    /// 0 beyond the end.
    unsigned Take(unsigned count) {
        unsigned value = 0;
        for (unsigned i = 0; i < count; ++i, ++at_) {
            if (at_ / 8 < bytes_.size()) value |= (static_cast<unsigned char>(bytes_[at_ / 8]) >> at_ % 8 & 1u) << i;
        }
        return value;
    }
    bool TakeFlag() { return Take(1) != 0; }
    /// A number in one of four widths, which two bits choose.
    void SkipNumber(const std::array<unsigned, 4>& widths) { Take(widths[Take(2)]); }

    /// Two sides, or one and their ratio.
    void SkipSize() {
        const bool isSmall = TakeFlag();
        SkipSides([&] { isSmall ? static_cast<void>(Take(5)) : SkipNumber({9, 13, 18, 30}); });
    }
    void SkipPreviewSize() {
        const bool isSmall = TakeFlag();
        SkipSides([&] { isSmall ? SkipNumber({0, 0, 5, 9}) : SkipNumber({6, 8, 10, 12}); });
    }

private:
    template <class SkipSide>
    void SkipSides(SkipSide&& skipSide) {
        skipSide();
        if (Take(3) == 0) skipSide();
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
};

bool IsAnimated(std::string_view picture) {
    if (!picture.starts_with(kCodestream)) return false;
    HeaderBits bits(picture.substr(kCodestream.size()));
    bits.SkipSize();
    const bool isUsual = bits.TakeFlag();
    if (isUsual || !bits.TakeFlag()) return false;  // without fields beyond depth and colours
    bits.Take(3);                                   // the orientation
    if (bits.TakeFlag()) bits.SkipSize();           // at which the picture is meant to be shown
    if (bits.TakeFlag()) bits.SkipPreviewSize();
    return bits.TakeFlag();
}

}  // namespace

bool IsJxl(std::string_view head) { return head.starts_with(kCodestream) || head.starts_with(kSignature); }

JxlMetadata ReadJxlMetadata(const vips::VSource& source, Notes& notes) {
    constexpr std::size_t kHeader = 32;  // bytes, more than the fields take that tell of an animation
    constexpr int kMaxBoxes = 4096;      // far more than any file has
    constexpr std::uint64_t kMaxContent = 64 << 20, kMaxPlace = 1ull << 62;  // bytes
    JxlMetadata metadata;
    std::string bytes;
    const auto noteAnimation = [&](std::size_t begin) {
        std::string rest;
        if (begin + kHeader > bytes.size()) ReadAll(source, rest, begin + kHeader - bytes.size());  // or zeros
        if (IsAnimated((bytes + rest).substr(begin))) notes.emplace_back("only the last of its pictures is read");
    };
    ReadAll(source, bytes, kSignature.size());
    if (bytes != kSignature) {
        noteAnimation(0);
        return metadata;
    }
    bool hasPicture = false;
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
        if ((type == kPicture || type == kPart) && !hasPicture) {
            hasPicture = true;
            bytes.clear();
            noteAnimation(type == kPart ? kPartNumber : 0);
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

// The encoder puts pictures in boxes that need a higher level, because a side or their area is very large; the box that
// tells the level has to follow that of the file type.
std::size_t FindJxlStart(std::string_view bytes) {
    constexpr std::size_t kBeforeLevel = kSignature.size() + kFileType.size(), kLevelBox = 9, kTypeAt = 4;
    if (bytes.starts_with(kCodestream)) return kCodestream.size();
    if (!bytes.starts_with(kSignature) || bytes.size() < kBeforeLevel + kLevelBox) return 0;
    return bytes.substr(kBeforeLevel + kTypeAt).starts_with(kLevel) ? kBeforeLevel + kLevelBox : kBeforeLevel;
}

std::string InsertJxlMetadata(std::string_view start, const JxlMetadata& metadata) {
    std::string boxes;
    if (!metadata.exif.empty()) boxes += Box(kExif, std::string(kNoOffset) + metadata.exif);
    if (!metadata.xmp.empty()) boxes += Box(kXmp, metadata.xmp);
    if (start != kCodestream) return std::string(start) + boxes;
    // A size of 0 reaches to the end of the file.
    return std::string(kSignature) + std::string(kFileType) + boxes + std::string(4, '\0') + std::string(kPicture) +
           std::string(start);
}

}  // namespace Orvexa::Io::Details
