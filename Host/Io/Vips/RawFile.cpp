#include "Host/Io/Vips/RawFile.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <span>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Io/RawDecoder.h"
#include "Host/Io/Vips/ExifBlock.h"
#include "Host/Io/Vips/Exiv2.h"
#include "Host/Io/Vips/Metadata.h"
#include "Host/Io/Vips/Source.h"
#include "Host/Proc/Libraries.h"

namespace Orvexa::Io::Details {

namespace {

using namespace std::string_view_literals;

// Fujifilm, Olympus (three), Panasonic, Minolta, Sigma, Canon's oldest.
constexpr std::string_view kMarks[] = {"FUJIFILM"sv, "IIRO"sv,  "IIRS"sv, "MMOR"sv,
                                       "IIU\0"sv,    "\0MRM"sv, "FOVb"sv, "II\x1a\0\0\0HEAP"sv};

// Most cameras write TIFF files whose picture is that of the sensor. Directories are read until one tells so.
class TiffDirectories {
public:
    explicit TiffDirectories(const vips::VSource& source) : source_(source) {}

    bool HaveSensorPicture() {
        std::string header;
        if (!ReadAt(0, header, 8)) return false;
        isBigEndian_ = header[0] == 'M';
        open_.push_back(Number(header, 4, 4));
        constexpr std::size_t kMaxDirectories = 64;
        while (!open_.empty() && visited_.size() < kMaxDirectories) {
            const std::uint32_t at = open_.back();
            open_.pop_back();
            if (at != 0 && visited_.insert(at).second && IsOfSensor(at)) return true;
        }
        return false;
    }

private:
    bool IsOfSensor(std::uint32_t at) {
        constexpr std::uint32_t kMeaning = 0x106, kSubDirectories = 0x14a, kDngVersion = 0xc612;
        constexpr std::uint32_t kFilterArray = 32803, kLinearRaw = 34892;  // TIFF/EP and DNG
        constexpr std::size_t kEntry = 12;
        std::string bytes;
        if (!ReadAt(at, bytes, 2)) return false;
        const std::size_t count = Number(bytes, 0, 2);
        if (!ReadAt(at + 2, bytes, count * kEntry)) return false;
        std::string next;
        const bool hasNext = ReadAt(at + 2 + count * kEntry, next, 4);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t tag = Number(bytes, i * kEntry, 2), type = Number(bytes, i * kEntry + 2, 2);
            const std::uint32_t values = Number(bytes, i * kEntry + 4, 4);
            const std::uint32_t value = Number(bytes, i * kEntry + 8, type == TagType::kShort ? 2 : 4);
            if (tag == kDngVersion) return true;
            if (tag == kMeaning && (value == kFilterArray || value == kLinearRaw)) return true;
            if (tag == kSubDirectories) AddSubDirectories(values, value);
        }
        if (hasNext) open_.push_back(Number(next, 0, 4));
        return false;
    }

    void AddSubDirectories(std::uint32_t count, std::uint32_t value) {
        constexpr std::uint32_t kMost = 16;
        std::string places;
        if (count == 1) open_.push_back(value);
        if (count < 2 || count > kMost || !ReadAt(value, places, count * 4)) return;
        for (std::uint32_t i = 0; i < count; ++i) open_.push_back(Number(places, i * 4, 4));
    }

    bool ReadAt(std::size_t at, std::string& bytes, std::size_t size) {
        return vips_source_seek(source_.get_source(), static_cast<gint64>(at), SEEK_SET) >= 0 &&
               ReadAll(source_, bytes, size);
    }
    std::uint32_t Number(const std::string& bytes, std::size_t at, std::size_t size) const {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size; ++i)
            number = number << 8 | static_cast<unsigned char>(bytes[at + (isBigEndian_ ? i : size - 1 - i)]);
        return number;
    }

    const vips::VSource& source_;
    bool isBigEndian_ = false;
    std::vector<std::uint32_t> open_;
    std::set<std::uint32_t> visited_;
};

std::span<const std::uint8_t> AllBytes(const vips::VSource& source) {
    std::size_t size = 0;
    const void* bytes = vips_source_map(source.get_source(), &size);
    if (bytes == nullptr) throw vips::VError();
    return {static_cast<const std::uint8_t*>(bytes), size};
}

}  // namespace

bool IsCameraRaw(std::string_view head, const vips::VSource& source) {
    if (std::any_of(std::begin(kMarks), std::end(kMarks), [&](auto mark) { return head.starts_with(mark); }))
        return true;
    if (head.size() >= 12 && head.substr(4) == "ftypcrx ") return true;  // Canon CR3
    const bool isTiff = head.starts_with("II*\0"sv) || head.starts_with("MM\0*"sv);
    if (!isTiff) return false;
    return head.substr(8).starts_with("CR") || TiffDirectories(source).HaveSensorPicture();  // Canon CR2 or others
}

ImageSize ReadRawSize(const vips::VSource& source, const ReadOptions& options) {
    return Proc::GetProvided<RawDecoder>().ReadSize(AllBytes(source), options);
}

LoadedImage ReadRaw(const vips::VSource& source, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    const std::span<const std::uint8_t> bytes = AllBytes(source);
    LoadedImage loaded = Proc::GetProvided<RawDecoder>().Read(bytes, allocator, options);
    MetadataBlocks blocks;
    try {
        blocks.exif = ExtractRawExif(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    } catch (const Proc::EffectException& error) {
        loaded.notes.push_back("the EXIF data is left out (" + Describe(error) + ")");
    }
    const vips::VImage nothingKnown = vips::VImage::black(1, 1);
    loaded.metadata = std::make_shared<PictureMetadata>(std::move(blocks), nothingKnown, false, true, loaded.notes);
    return loaded;
}

}  // namespace Orvexa::Io::Details
