#include "Host/Io/Vips/Containers.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/ExifBlock.h"
#include "Host/Io/Vips/JpegSegments.h"
#include "Host/Io/Vips/JxlBoxes.h"

namespace Orvexa::Io::Details {

namespace {

enum class Order { Little, Big };

std::string Number(std::uint64_t number, std::size_t bytes, Order order) {
    std::string text(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i, number >>= 8)
        text[order == Order::Big ? bytes - 1 - i : i] = static_cast<char>(number & 255);
    return text;
}

std::uint64_t ToNumber(std::string_view bytes, Order order) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[order == Order::Big ? i : bytes.size() - 1 - i]);
    return number;
}

class MetadataFilter : public HeaderFilter {
public:
    explicit MetadataFilter(InsertedMetadata metadata) : metadata_(std::move(metadata)) {}

protected:
    const InsertedMetadata metadata_;
};

class JpegFilter final : public MetadataFilter {
public:
    using MetadataFilter::MetadataFilter;
    std::size_t FindEnd(std::string_view bytes, bool isComplete) const override {
        const std::size_t end = VisitJpegHeader(bytes, [](unsigned, std::string_view, std::string_view) {});
        return end == 0 && isComplete ? bytes.size() : end;
    }
    std::string Change(std::string_view header) const override {
        const JpegSegments content{metadata_.exif, metadata_.xmp.main, metadata_.xmp.extension, metadata_.resources,
                                   metadata_.comment};
        std::string first, others;
        VisitJpegHeader(header, [&](unsigned, std::string_view segmentContent, std::string_view segment) {
            const bool isExif = segmentContent.starts_with(kJpegExifStart);
            if (!isExif) others += segment;
            if (isExif && content.exif.empty()) first += segment;
        });
        return std::string(header.substr(0, 2)) + first + MakeJpegSegments(content, metadata_.xmp.guid) + others;
    }
};

// PNG specification, third edition: chunks are length, type, data and a checksum over type and data.
class PngFilter final : public MetadataFilter {
public:
    using MetadataFilter::MetadataFilter;
    std::size_t FindEnd(std::string_view bytes, bool) const override {
        constexpr std::size_t kSignatureAndHeader = 8 + 25;
        return bytes.size() >= kSignatureAndHeader ? kSignatureAndHeader : 0;
    }
    std::string Change(std::string_view header) const override {
        std::string changed(header);
        if (!metadata_.exif.empty()) changed += Chunk("eXIf", metadata_.exif);
        if (!metadata_.resources.empty()) changed += RawProfile("iptc", metadata_.resources);
        if (!metadata_.comment.empty()) changed += Text("Comment", metadata_.comment);
        for (const auto& [keyword, text] : metadata_.texts) changed += Text(keyword, text);
        return changed;
    }

private:
    static std::string Chunk(const std::string& type, const std::string& data) {
        const std::string body = type + data;
        const auto sum = crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
        return Number(data.size(), 4, Order::Big) + body + Number(sum, 4, Order::Big);
    }
    // A tEXt chunk is in Latin-1, an iTXt chunk in UTF-8.
    static std::string Text(const std::string& keyword, const std::string& text) {
        const bool isAscii =
            std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (isAscii || !g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr))
            return Chunk("tEXt", keyword + '\0' + text);
        return Chunk("iTXt",
                     keyword + std::string(5, '\0') + text);  // not compressed, no language, no translated keyword
    }
    static std::string RawProfile(const std::string& kind, const std::string& bytes) {
        constexpr std::size_t kBytesInLine = 36;
        constexpr std::size_t kSizeWidth = 8;
        std::string size = std::to_string(bytes.size());
        size.insert(0, kSizeWidth - std::min(kSizeWidth, size.size()), ' ');
        std::string text = "\n" + kind + "\n" + size;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            constexpr char kDigits[] = "0123456789abcdef";
            if (i % kBytesInLine == 0) text += '\n';
            text += kDigits[static_cast<unsigned char>(bytes[i]) >> 4];
            text += kDigits[bytes[i] & 15];
        }
        return Text(std::string(kRawProfile) + kind, text + "\n");
    }
};

class JxlFilter final : public MetadataFilter {
public:
    using MetadataFilter::MetadataFilter;
    std::size_t FindEnd(std::string_view bytes, bool) const override { return FindJxlStart(bytes); }
    std::string Change(std::string_view header) const override {
        if (header.empty()) Throw("the metadata cannot be placed in the file that the image library made");
        return InsertJxlMetadata(header, {metadata_.exif, metadata_.xmp.main});
    }
};

// Filters of files that libvips hands over as a whole, with an EXIF block of its own, which is exchanged.
class WholeFileFilter : public MetadataFilter {
public:
    using MetadataFilter::MetadataFilter;
    std::size_t FindEnd(std::string_view bytes, bool isComplete) const override {
        return isComplete ? bytes.size() : 0;
    }

protected:
    [[noreturn]] static void Refuse() {
        Throw("the EXIF data cannot be placed in the file that the image library made");
    }
};

// WebP container specification: RIFF chunks of type, length and data, padded to an even length.
class WebpFilter final : public WholeFileFilter {
public:
    using WholeFileFilter::WholeFileFilter;
    std::string Change(std::string_view file) const override {
        constexpr std::size_t kStart = 12, kChunkHeader = 8;
        for (std::size_t at = kStart; at + kChunkHeader <= file.size();) {
            const std::uint64_t size = ToNumber(file.substr(at + 4, 4), Order::Little);
            const std::uint64_t next = at + kChunkHeader + size + size % 2;
            if (file.substr(at, 4) == "EXIF" && next <= file.size()) {
                std::string chunk = "EXIF" + Number(metadata_.exif.size(), 4, Order::Little) + metadata_.exif;
                if (chunk.size() % 2 != 0) chunk += '\0';
                std::string changed =
                    std::string(file.substr(0, at)) + chunk + std::string(file.substr(static_cast<std::size_t>(next)));
                return changed.replace(4, 4, Number(changed.size() - 8, 4, Order::Little));
            }
            if (next > file.size()) break;
            at = static_cast<std::size_t>(next);
        }
        Refuse();
    }
};

// ISO/IEC 14496-12 (boxes), 23008-12 (items): the `meta` box tells in `iinf` which items there are and in `iloc` where.
// The new EXIF item is appended in a box of its own, and the old one's location is changed.
class HeifFilter final : public WholeFileFilter {
public:
    using WholeFileFilter::WholeFileFilter;
    std::string Change(std::string_view file) const override {
        std::string changed(file);
        constexpr std::size_t kFullBox = 4;  // version and flags
        const auto meta = FindBox(file, {0, file.size()}, "meta");
        if (!meta) Refuse();
        const Range children{meta->begin + kFullBox, meta->end};
        const auto infos = FindBox(file, children, "iinf"), locations = FindBox(file, children, "iloc");
        if (!infos || !locations) Refuse();

        constexpr std::size_t kBoxHeader = 8;
        // The place of the block's header within the item, behind this number, comes first.
        const std::string item =
            Number(kJpegExifStart.size(), 4, Order::Big) + std::string(kJpegExifStart) + metadata_.exif;
        Relocate(changed, *locations, FindExifItem(file, *infos), file.size() + kBoxHeader, item.size());
        return changed + Number(item.size() + kBoxHeader, 4, Order::Big) + "mdat" + item;
    }

private:
    struct Range {
        std::size_t begin, end;
    };

    // Takes big-endian numbers one after the other.
    class Cursor {
    public:
        Cursor(std::string_view bytes, Range range) : bytes_(bytes.substr(0, range.end)), at_(range.begin) {}
        std::uint64_t Take(std::size_t size) {
            if (at_ > bytes_.size() || size > bytes_.size() - at_) Refuse();
            at_ += size;
            return ToNumber(bytes_.substr(at_ - size, size), Order::Big);
        }
        std::size_t GetPlace() const { return at_; }

    private:
        std::string_view bytes_;
        std::size_t at_;
    };

    // The content of the first box of a type.
    static std::optional<Range> FindBox(std::string_view file, Range in, std::string_view type) {
        for (std::size_t at = in.begin; at + 8 <= in.end;) {
            std::uint64_t size = ToNumber(file.substr(at, 4), Order::Big);
            std::size_t header = 8;
            if (size == 0) size = in.end - at;
            if (size == 1 && at + 16 <= in.end) {
                size = ToNumber(file.substr(at + 8, 8), Order::Big);
                header = 16;
            }
            if (size < header || size > in.end - at) break;
            if (file.substr(at + 4, 4) == type) return Range{at + header, at + static_cast<std::size_t>(size)};
            at += static_cast<std::size_t>(size);
        }
        return std::nullopt;
    }

    static std::uint64_t FindExifItem(std::string_view file, Range infos) {
        Cursor cursor(file, infos);
        const std::uint64_t version = cursor.Take(1);
        cursor.Take(3);
        cursor.Take(version == 0 ? 2 : 4);
        Range rest{cursor.GetPlace(), infos.end};
        while (const auto info = FindBox(file, rest, "infe")) {
            Cursor entry(file, *info);
            const std::uint64_t infoVersion = entry.Take(1);
            entry.Take(3);
            const std::uint64_t id = entry.Take(infoVersion == 2 ? 2 : 4);
            entry.Take(2);
            constexpr std::uint64_t kExif = 0x45786966;
            if (entry.Take(4) == kExif) return id;
            rest.begin = info->end;
        }
        Refuse();
    }

    static void Relocate(std::string& file, Range locations, std::uint64_t wanted, std::size_t at, std::size_t size) {
        const std::string original = file;
        Cursor cursor(original, locations);
        const std::uint64_t version = cursor.Take(1);
        cursor.Take(3);
        const std::uint64_t sizes = cursor.Take(1), moreSizes = cursor.Take(1);
        const std::size_t offsetSize = sizes >> 4, lengthSize = sizes & 15, baseSize = moreSizes >> 4,
                          indexSize = version > 0 ? moreSizes & 15 : 0;
        const auto put = [&](std::size_t place, std::size_t bytes, std::uint64_t number) {
            file.replace(place, bytes, Number(number, bytes, Order::Big));
        };
        std::uint64_t items = cursor.Take(version < 2 ? 2 : 4);
        for (; items > 0; --items) {
            const bool isWanted = cursor.Take(version < 2 ? 2 : 4) == wanted;
            const std::size_t methodAt = cursor.GetPlace();
            if (version > 0) cursor.Take(2);
            cursor.Take(2);
            const std::size_t baseAt = cursor.GetPlace();
            cursor.Take(baseSize);
            const std::uint64_t extents = cursor.Take(2);
            if (isWanted) {
                constexpr std::size_t kEnough = 4;
                if (extents != 1 || lengthSize < kEnough || std::max(offsetSize, baseSize) < kEnough ||
                    at + size > 0xffffffff)
                    Refuse();
                const std::size_t offsetAt = cursor.GetPlace() + indexSize;
                cursor.Take(indexSize + offsetSize + lengthSize);
                if (version > 0) put(methodAt, 2, 0);  // a place in the file
                put(baseAt, baseSize, baseSize >= kEnough ? at : 0);
                put(offsetAt, offsetSize, baseSize >= kEnough ? 0 : at);
                put(offsetAt + offsetSize, lengthSize, size);
                return;
            }
            for (std::uint64_t i = 0; i < extents; ++i) cursor.Take(indexSize + offsetSize + lengthSize);
        }
        Refuse();
    }
};

}  // namespace

std::unique_ptr<HeaderFilter> MakeMetadataFilter(FileFormat format, InsertedMetadata metadata) {
    const bool hasExif = !metadata.exif.empty();
    const bool hasAny = hasExif || !metadata.xmp.main.empty() || !metadata.resources.empty() ||
                        !metadata.comment.empty() || !metadata.texts.empty();
    if (format == FileFormat::Jpeg && hasAny) return std::make_unique<JpegFilter>(std::move(metadata));
    if (format == FileFormat::Png && hasAny) return std::make_unique<PngFilter>(std::move(metadata));
    if (format == FileFormat::Jxl && hasAny) return std::make_unique<JxlFilter>(std::move(metadata));
    if (format == FileFormat::Webp && hasExif) return std::make_unique<WebpFilter>(std::move(metadata));
    const bool isHeif = format == FileFormat::Heic || format == FileFormat::Avif;
    if (isHeif && hasExif) return std::make_unique<HeifFilter>(std::move(metadata));
    return nullptr;
}

std::string ParseRawProfile(std::string_view text) {
    // A line with the kind, one with the size, and the bytes in hexadecimal digits.
    for (int line = 0; line < 2; ++line) {
        const std::size_t begin = text.find_first_not_of("\n ");
        const std::size_t end = begin == std::string_view::npos ? begin : text.find('\n', begin);
        if (end == std::string_view::npos) return {};
        text.remove_prefix(end);
    }
    std::string bytes;
    int high = -1;
    for (const char c : text) {
        const int digit = g_ascii_xdigit_value(c);
        if (digit < 0) continue;
        if (high >= 0) bytes += static_cast<char>(high << 4 | digit);
        high = high >= 0 ? -1 : digit;
    }
    return bytes;
}

}  // namespace Orvexa::Io::Details
