#include "Host/Io/Vips/ExifBlock.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace Orvexa::Io::Details {

namespace {

constexpr std::size_t kHeaderSize = 8, kEntrySize = 12, kInlineSize = 4;
constexpr std::string_view kLittleEndian("II\x2a\0", 4), kBigEndian("MM\0\x2a", 4);
constexpr std::string_view kJpegStart("\xff\xd8");

bool IsHeader(std::string_view bytes) {
    return bytes.size() >= kHeaderSize && (bytes.starts_with(kLittleEndian) || bytes.starts_with(kBigEndian));
}

TiffBytes ViewOf(std::string& block) { return {block.data(), block.size()}; }

// Overwrites the preview picture of IFD 1, and IFD 1 itself. Cameras put the preview last, so that the block can mostly
// be cut there.
void RemovePreview(std::string& block) {
    TiffBytes view = ViewOf(block);
    const std::size_t link = view.GetLinkAt(view.GetFirstDirectory());
    const std::size_t preview = link != 0 ? view.GetLong(link) : 0;
    if (preview == 0) return;
    view.SetLong(link, 0);
    std::size_t begin = 0, size = 0;
    for (const auto& [at, length] :
         {std::pair{Tag::kThumbnail, Tag::kThumbnailLength}, {Tag::kStripOffsets, Tag::kStripByteCounts}}) {
        const auto entry = view.Find(preview, at), lengthEntry = view.Find(preview, length);
        if (!entry || !lengthEntry || entry->count != 1) continue;
        begin = view.GetNumber(*entry);
        size = view.GetNumber(*lengthEntry);
        // A wrong place must not cost other tags: a preview begins like a JPEG file, or lies behind its directory.
        if (!view.GetBytes(begin, kJpegStart.size()).starts_with(kJpegStart) && begin < preview) size = 0;
        view.Clear(begin, size);
    }
    if (const std::size_t end = view.GetLinkAt(preview); end != 0) view.Clear(preview, end + 4 - preview);
    if (size > 0 && begin > preview && begin + size >= block.size() && begin <= block.size()) block.resize(begin);
}

}  // namespace

std::size_t GetTypeSize(std::uint16_t type) {
    constexpr std::size_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};  // from BYTE, 1, to IFD, 13
    return type < std::size(kSizes) ? kSizes[type] : 0;
}

bool IsAboutPixels(std::uint16_t tag) {
    static const std::set<std::uint16_t> tags = {
        0xfe,  0xff,  0x100, 0x101,  0x102,  0x103,  0x106,  0x107,  0x108,  0x109,  0x10a,  0x111, 0x115,
        0x116, 0x117, 0x118, 0x119,  0x11c,  0x120,  0x121,  0x122,  0x123,  0x124,  0x125,  0x13d, 0x140,
        0x142, 0x143, 0x144, 0x145,  0x14a,  0x14c,  0x14d,  0x14e,  0x150,  0x152,  0x153,  0x154, 0x155,
        0x156, 0x15b, 0x200, 0x201,  0x202,  0x203,  0x205,  0x206,  0x207,  0x208,  0x209,  0x211, 0x212,
        0x213, 0x214, 0x2bc, 0x828d, 0x828e, 0x83bb, 0x8649, 0x8773, 0x935c, 0x87af, 0x87b0, 0x87b1};
    return tags.contains(tag);
}

TiffBytes::TiffBytes(char* data, std::size_t size) : data_(data), size_(size) {
    const std::string_view bytes(data, size);
    isValid_ = IsHeader(bytes);
    isBigEndian_ = isValid_ && bytes.starts_with(kBigEndian);
}

std::uint32_t TiffBytes::Get(std::size_t at, std::size_t bytes) const {
    if (!Holds(at, bytes)) return 0;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::size_t place = at + (isBigEndian_ ? i : bytes - 1 - i);
        number = number << 8 | static_cast<unsigned char>(data_[place]);
    }
    return number;
}

void TiffBytes::Set(std::size_t at, std::size_t bytes, std::uint32_t number) {
    if (!Holds(at, bytes)) return;
    const std::string text = TiffWriter(isBigEndian_).Number(number, bytes);
    std::copy(text.begin(), text.end(), data_ + at);
}

std::size_t TiffBytes::GetLinkAt(std::size_t directory) const {
    if (directory == 0 || !Holds(directory, 2)) return 0;
    const std::size_t link = directory + 2 + GetShort(directory) * kEntrySize;
    return Holds(link, 4) ? link : 0;
}

std::size_t TiffBytes::GetSubDirectory(std::size_t directory, std::uint16_t tag) const {
    const auto entry = Find(directory, tag);
    return entry ? GetNumber(*entry) : 0;
}

std::vector<TiffEntry> TiffBytes::GetEntries(std::size_t directory) const {
    std::vector<TiffEntry> entries;
    if (directory == 0) return entries;
    const std::size_t count = GetShort(directory);
    for (std::size_t i = 0; i < count; ++i) {
        TiffEntry entry{};
        entry.at = directory + 2 + i * kEntrySize;
        if (!Holds(entry.at, kEntrySize)) break;
        entry.tag = static_cast<std::uint16_t>(GetShort(entry.at));
        entry.type = static_cast<std::uint16_t>(GetShort(entry.at + 2));
        entry.count = GetLong(entry.at + 4);
        entry.valueSize = GetTypeSize(entry.type) * entry.count;
        entry.valueAt = entry.valueSize <= kInlineSize ? entry.at + 8 : GetLong(entry.at + 8);
        if (entry.valueSize > 0 && Holds(entry.valueAt, entry.valueSize)) entries.push_back(entry);
    }
    return entries;
}

std::optional<TiffEntry> TiffBytes::Find(std::size_t directory, std::uint16_t tag) const {
    for (const TiffEntry& entry : GetEntries(directory)) {
        if (entry.tag == tag) return entry;
    }
    return std::nullopt;
}

std::uint32_t TiffBytes::GetNumber(const TiffEntry& entry) const {
    if (entry.type == TagType::kShort) return GetShort(entry.valueAt);
    constexpr std::uint16_t kIfd = 13;
    return entry.type == TagType::kLong || entry.type == kIfd ? GetLong(entry.valueAt) : 0;
}

void TiffBytes::ReplaceNumber(std::size_t directory, std::uint16_t tag, std::uint32_t number) {
    const auto entry = Find(directory, tag);
    if (!entry || entry->count != 1 || (entry->type != TagType::kShort && entry->type != TagType::kLong)) return;
    if (entry->type == TagType::kShort && number <= 0xffff) {
        SetShort(entry->valueAt, number);
    } else {  // a single SHORT has room for a LONG
        SetShort(entry->at + 2, TagType::kLong);
        SetLong(entry->valueAt, number);
    }
}

void TiffBytes::Clear(std::size_t at, std::size_t size) {
    if (Holds(at, size)) std::fill_n(data_ + at, size, '\0');
}

std::string_view TiffBytes::GetBytes(std::size_t at, std::size_t size) const {
    return Holds(at, size) ? std::string_view(data_ + at, size) : std::string_view();
}

std::string_view FindExifBlock(std::string_view bytes) {
    constexpr std::size_t kMaxPrefix = 16;  // "Exif", two zero bytes, and in HEIF files up to four bytes more
    for (std::size_t start = 0; start <= kMaxPrefix && start < bytes.size(); ++start) {
        if (IsHeader(bytes.substr(start))) return bytes.substr(start);
    }
    return {};
}

void MakeUpright(std::string& block, bool isTurned) {
    TiffBytes view = ViewOf(block);
    const std::size_t main = view.GetFirstDirectory();
    view.ReplaceNumber(main, Tag::kOrientation, 1);
    const auto x = view.Find(main, Tag::kXResolution), y = view.Find(main, Tag::kYResolution);
    if (isTurned && x && y && x->type == y->type && x->count == y->count) {
        const std::uint32_t value = view.GetLong(x->at + 8);
        view.SetLong(x->at + 8, view.GetLong(y->at + 8));
        view.SetLong(y->at + 8, value);
    }
    RemovePreview(block);
}

void SetSrgb(std::string& block) {
    TiffBytes view = ViewOf(block);
    const std::size_t exif = view.GetSubDirectory(view.GetFirstDirectory(), Tag::kExif);
    view.ReplaceNumber(exif, Tag::kColorSpace, 1);
    // DCF 2.0 tells Adobe RGB by an interoperability index of R03; that of sRGB is R98.
    constexpr std::uint16_t kIndex = 1;
    const auto index = view.Find(view.GetSubDirectory(exif, Tag::kInterop), kIndex);
    if (!index || index->type != TagType::kAscii ||
        view.GetBytes(index->valueAt, index->valueSize) != std::string_view("R03\0", 4))
        return;
    block.replace(index->valueAt, 3, "R98");
}

void SetSize(std::string& block, std::uint32_t width, std::uint32_t height) {
    TiffBytes view = ViewOf(block);
    const std::size_t main = view.GetFirstDirectory(), exif = view.GetSubDirectory(main, Tag::kExif);
    view.ReplaceNumber(main, Tag::kWidth, width);
    view.ReplaceNumber(main, Tag::kHeight, height);
    view.ReplaceNumber(exif, Tag::kPixelWidth, width);
    view.ReplaceNumber(exif, Tag::kPixelHeight, height);
}

void AddResolution(std::string& block, double x, double y) {
    const TiffBytes view = ViewOf(block);
    const std::size_t main = view.GetFirstDirectory();
    if (view.Find(main, Tag::kXResolution) || view.Find(main, Tag::kYResolution)) return;
    const TiffWriter writer(view.IsBigEndian());
    const auto rational = [&](double number) {
        constexpr std::uint32_t kParts = 100;
        const auto parts = static_cast<std::uint32_t>(std::clamp(std::round(number * kParts), 1.0, 4e9));
        return parts % kParts == 0 ? writer.Number(parts / kParts, 4) + writer.Number(1, 4)
                                   : writer.Number(parts, 4) + writer.Number(kParts, 4);
    };
    constexpr std::uint32_t kInches = 2;
    std::vector<TiffWriter::Field> fields = GetFields(view, main);
    std::erase_if(fields, [](const auto& field) { return field.tag == Tag::kResolutionUnit; });
    fields.push_back({Tag::kXResolution, TagType::kRational, 1, rational(x), {}});
    fields.push_back({Tag::kYResolution, TagType::kRational, 1, rational(y), {}});
    fields.push_back({Tag::kResolutionUnit, TagType::kShort, 1, writer.Number(kInches, 2), {}});
    // The directory has no room for more, so a longer one is appended; all other tags stay where they are.
    if (block.size() % 2 != 0) block += '\0';
    const std::string directory = writer.Directory(std::move(fields), block.size());
    block.replace(4, 4, writer.Number(static_cast<std::uint32_t>(block.size()), 4));
    block += directory;
}

std::string TiffWriter::Number(std::uint32_t number, std::size_t bytes) const {
    std::string text(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i, number >>= 8)
        text[isBigEndian_ ? bytes - 1 - i : i] = static_cast<char>(number & 255);
    return text;
}

std::string TiffWriter::Directory(std::vector<Field> fields, std::size_t at) const {
    std::stable_sort(fields.begin(), fields.end(), [](const Field& a, const Field& b) { return a.tag < b.tag; });
    std::string entries = Number(static_cast<std::uint32_t>(fields.size()), 2), values;
    const std::size_t valuesAt = at + 2 + fields.size() * kEntrySize + 4;
    for (const Field& field : fields) {
        entries += Number(field.tag, 2) + Number(field.type, 2) + Number(field.count, 4);
        if (field.valueAt) {
            entries += Number(*field.valueAt, 4);
        } else if (field.value.size() <= kInlineSize) {
            entries += field.value + std::string(kInlineSize - field.value.size(), '\0');
        } else {
            entries += Number(static_cast<std::uint32_t>(valuesAt + values.size()), 4);
            values += field.value;
            if (values.size() % 2 != 0) values += '\0';
        }
    }
    return entries + Number(0, 4) + values;
}

std::vector<TiffWriter::Field> GetFields(const TiffBytes& bytes, std::size_t directory) {
    std::vector<TiffWriter::Field> fields;
    for (const TiffEntry& entry : bytes.GetEntries(directory)) {
        TiffWriter::Field field{entry.tag, entry.type, entry.count, {}, {}};
        if (entry.valueSize <= kInlineSize) {
            field.value = bytes.GetBytes(entry.valueAt, entry.valueSize);
        } else {
            field.valueAt = static_cast<std::uint32_t>(entry.valueAt);
        }
        fields.push_back(std::move(field));
    }
    return fields;
}

}  // namespace Orvexa::Io::Details
