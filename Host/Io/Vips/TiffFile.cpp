#include "Host/Io/Vips/TiffFile.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <set>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/ExifBlock.h"
#include "Host/Io/Vips/Exiv2.h"

namespace Orvexa::Io::Details {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kMaxValues = std::size_t{64} << 20;  // bytes of metadata, more than any file has

// As much memory as a file has bytes, all zero. The system provides only what is written to.
class SparseBytes {
public:
    explicit SparseBytes(std::size_t size) : size_(size) {
        void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) Throw(std::strerror(errno));
        data_ = static_cast<char*>(memory);
    }
    SparseBytes(const SparseBytes&) = delete;
    SparseBytes& operator=(const SparseBytes&) = delete;
    ~SparseBytes() { munmap(data_, size_); }

    char* GetData() const { return data_; }
    std::size_t GetSize() const { return size_; }

private:
    char* data_ = nullptr;
    std::size_t size_;
};

// A copy of a TIFF file with its directories and the values of their tags, but without pixels.
class TiffSkeleton {
public:
    TiffSkeleton(const vips::VSource& source, std::size_t size) : source_(source), bytes_(size) {
        Copy(0, kHeaderSize);
        CopyDirectory(GetView().GetFirstDirectory());
    }
    TiffBytes GetView() const { return {bytes_.GetData(), bytes_.GetSize()}; }
    const SparseBytes& GetBytes() const { return bytes_; }

private:
    bool Copy(std::size_t at, std::size_t size) {
        if (at > bytes_.GetSize() || size > bytes_.GetSize() - at || size > kMaxValues - copied_) return false;
        copied_ += size;
        VipsSource* source = source_.get_source();
        if (vips_source_seek(source, static_cast<gint64>(at), SEEK_SET) < 0) return false;
        for (std::size_t done = 0; done < size;) {
            const auto read = vips_source_read(source, bytes_.GetData() + at + done, size - done);
            if (read <= 0) return false;
            done += static_cast<std::size_t>(read);
        }
        return true;
    }

    void CopyDirectory(std::size_t at) {
        if (at == 0 || !visited_.insert(at).second || !Copy(at, 2)) return;
        if (!Copy(at + 2, GetView().GetShort(at) * std::size_t{12})) return;
        for (const TiffEntry& entry : GetView().GetEntries(at)) {
            // These are taken by libvips.
            constexpr std::uint16_t kProfile = 0x8773;
            const bool isTaken = entry.tag == Tag::kXmp || entry.tag == Tag::kIptc || entry.tag == Tag::kPhotoshop ||
                                 entry.tag == kProfile;
            if (entry.valueSize > 4 && !isTaken) Copy(entry.valueAt, entry.valueSize);
        }
        for (const std::uint16_t tag : {Tag::kExif, Tag::kGps, Tag::kInterop})
            CopyDirectory(GetView().GetSubDirectory(at, tag));
    }

    const vips::VSource& source_;
    SparseBytes bytes_;
    std::set<std::size_t> visited_;
    std::size_t copied_ = 0;
};

// The elements of a value in another byte order.
std::string Swapped(std::string value, std::size_t elementSize) {
    for (std::size_t at = 0; at + elementSize <= value.size(); at += elementSize)
        std::reverse(value.begin() + static_cast<std::ptrdiff_t>(at),
                     value.begin() + static_cast<std::ptrdiff_t>(at + elementSize));
    return value;
}

// Reads the directory that libvips wrote `base` bytes into the output, for a file in the byte order of `writer`.
class PictureDirectory {
public:
    PictureDirectory(Output& output, std::int64_t base, bool isBigEndian, const TiffWriter& writer)
        : output_(output), base_(base), isBigEndian_(isBigEndian), writer_(writer) {}

    std::vector<TiffWriter::Field> Read() const {
        std::string header = ReadAt(output_, base_, kHeaderSize);
        const TiffBytes view(header.data(), header.size());
        if (!view.IsValid()) Throw("the image library wrote no TIFF file");
        const std::size_t at = view.GetFirstDirectory();
        std::string count = ReadAt(output_, base_ + static_cast<std::int64_t>(at), 2);
        const bool isSwapped = view.IsBigEndian() != isBigEndian_;
        const auto number = [&](const std::string& bytes) {
            std::uint32_t result = 0;
            for (std::size_t i = 0; i < bytes.size(); ++i)
                result = result << 8 | static_cast<unsigned char>(bytes[view.IsBigEndian() ? i : bytes.size() - 1 - i]);
            return result;
        };
        const std::size_t entries = number(count);
        const std::string directory = ReadAt(output_, base_ + static_cast<std::int64_t>(at) + 2, entries * 12);
        std::vector<TiffWriter::Field> fields;
        for (std::size_t i = 0; i < entries; ++i) {
            const std::string entry = directory.substr(i * 12, 12);
            TiffWriter::Field field{static_cast<std::uint16_t>(number(entry.substr(0, 2))),
                                    static_cast<std::uint16_t>(number(entry.substr(2, 2))),
                                    number(entry.substr(4, 4)),
                                    {},
                                    {}};
            const std::size_t size = GetTypeSize(field.type) * field.count;
            const std::uint32_t valueAt = number(entry.substr(8, 4)) + static_cast<std::uint32_t>(base_);
            // A rational is two numbers.
            const std::size_t element = field.type == TagType::kRational ? 4 : GetTypeSize(field.type);
            if (size > 4 && element == 1) {
                field.valueAt = valueAt;
            } else {
                field.value = size > 4 ? ReadAt(output_, valueAt, size) : entry.substr(8, size);
                if (field.tag == Tag::kStripOffsets || field.tag == Tag::kTileOffsets) {
                    field.value = Moved(field.value, element, number);
                    field.type = TagType::kLong;
                } else if (isSwapped) {
                    field.value = Swapped(std::move(field.value), element);
                }
            }
            fields.push_back(std::move(field));
        }
        return fields;
    }

private:
    template <class Number>
    std::string Moved(const std::string& offsets, std::size_t element, const Number& number) const {
        std::string moved;
        for (std::size_t at = 0; at + element <= offsets.size(); at += element)
            moved += writer_.Number(number(offsets.substr(at, element)) + static_cast<std::uint32_t>(base_), 4);
        return moved;
    }

    Output& output_;
    const std::int64_t base_;
    const bool isBigEndian_;
    const TiffWriter& writer_;
};

}  // namespace

std::string ReadTiffExif(const vips::VSource& source) {
    const gint64 size = vips_source_length(source.get_source());
    if (size < static_cast<gint64>(kHeaderSize) || size > std::numeric_limits<std::uint32_t>::max()) return {};
    const TiffSkeleton skeleton(source, static_cast<std::size_t>(size));
    if (!skeleton.GetView().IsValid()) Throw("files of this kind, such as BigTIFF, are not supported");
    return ExtractExif(skeleton.GetBytes().GetData(), skeleton.GetBytes().GetSize());
}

TiffAssembly::TiffAssembly(Output& output, const std::string& exif, std::string iptc, std::string resources)
    : output_(output), beginning_(exif), iptc_(std::move(iptc)), resources_(std::move(resources)) {
    if (beginning_.empty() && iptc_.empty() && resources_.empty()) return;
    if (beginning_.empty()) beginning_ = std::string("II\x2a\0\0\0\0\0", kHeaderSize);
    constexpr std::size_t kAlignment = 16;
    beginning_.resize((beginning_.size() + kAlignment - 1) / kAlignment * kAlignment);
    WriteAt(output_, 0, beginning_);
}

void TiffAssembly::Finish() {
    if (beginning_.empty()) return;
    const TiffBytes block(beginning_.data(), beginning_.size());
    const TiffWriter writer(block.IsBigEndian());
    std::int64_t end = output_.GetSize();
    if (end % 2 != 0) WriteAt(output_, end++, std::string(1, '\0'));
    constexpr std::size_t kRoomForDirectory = std::size_t{16} << 20;
    if (end > static_cast<std::int64_t>(std::numeric_limits<std::uint32_t>::max() - kRoomForDirectory - iptc_.size() -
                                        resources_.size()))
        Throw("the picture is too large for a TIFF file");

    std::vector<TiffWriter::Field> fields = PictureDirectory(output_, GetBase(), block.IsBigEndian(), writer).Read();
    const std::vector<TiffWriter::Field> exif = GetFields(block, block.GetFirstDirectory());
    // Where both have a tag, the picture knows best, but the resolution keeps its unit.
    const auto has = [](const std::vector<TiffWriter::Field>& list, std::uint16_t tag) {
        return std::any_of(list.begin(), list.end(), [tag](const auto& field) { return field.tag == tag; });
    };
    if (has(exif, Tag::kXResolution) && has(exif, Tag::kYResolution)) {
        std::erase_if(fields, [](const auto& field) {
            return field.tag == Tag::kXResolution || field.tag == Tag::kYResolution ||
                   field.tag == Tag::kResolutionUnit;
        });
    }
    for (const TiffWriter::Field& field : exif) {
        if (!has(fields, field.tag) && !IsAboutPixels(field.tag)) fields.push_back(field);
    }
    for (const auto& [tag, value] : {std::pair{Tag::kIptc, &iptc_}, {Tag::kPhotoshop, &resources_}}) {
        if (value->empty()) continue;
        fields.push_back({tag, TagType::kUndefined, static_cast<std::uint32_t>(value->size()), *value, {}});
    }
    WriteAt(output_, end, writer.Directory(std::move(fields), static_cast<std::size_t>(end)));
    WriteAt(output_, 4, writer.Number(static_cast<std::uint32_t>(end), 4));
}

}  // namespace Orvexa::Io::Details
