#include "Host/Io/Vips/GifBlocks.h"

#include <string>
#include <string_view>

#include "Host/Io/Formats.h"
#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

namespace {

constexpr std::size_t kHeader = 13, kDescriptor = 9;
constexpr char kExtension = 0x21, kPicture = 0x2c;
constexpr unsigned char kComment = 0xfe, kApplication = 0xff;
constexpr std::string_view kXmp = "XMP DataXMP", kProfile = "ICCRGBG1012";

// The size of the colour table that the flags announce.
std::size_t TableSize(char flags) { return (flags & 0x80) != 0 ? std::size_t{6} << (flags & 7) : 0; }

class GifBlocks {
public:
    explicit GifBlocks(const vips::VSource& source) : source_(source) {}

    // Ends at the trailer, or where the file ends or is damaged; what was found by then counts.
    unsigned FindMetadata() {
        unsigned kinds = 0;
        if (!Take(kHeader) || !Take(TableSize(bytes_[kHeader - 3]))) return kinds;
        while (Take(1)) {
            const char introducer = bytes_[0];
            if (introducer == kExtension) {
                if (!Take(1)) break;
                const auto label = static_cast<unsigned char>(bytes_[0]);
                if (!TakeSubBlock()) continue;  // an empty extension
                if (label == kComment) kinds |= MetadataKind::Comment;
                if (label == kApplication && bytes_ == kXmp) kinds |= MetadataKind::Xmp;
                if (label == kApplication && bytes_ == kProfile) kinds |= MetadataKind::Icc;
            } else if (introducer != kPicture || !Take(kDescriptor) || !Take(TableSize(bytes_[kDescriptor - 1])) ||
                       !Take(1)) {
                break;
            }
            while (TakeSubBlock()) {
            }
        }
        return kinds;
    }

private:
    bool Take(std::size_t size) { return ReadAll(source_, bytes_, size); }
    // False for the empty one, which is the last.
    bool TakeSubBlock() {
        if (!Take(1)) return false;
        const auto size = static_cast<unsigned char>(bytes_[0]);
        return size != 0 && Take(size);
    }

    const vips::VSource& source_;
    std::string bytes_;
};

}  // namespace

unsigned FindGifMetadata(const vips::VSource& source) { return GifBlocks(source).FindMetadata(); }

}  // namespace Orvexa::Io::Details
