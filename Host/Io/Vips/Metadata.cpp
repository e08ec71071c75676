#include <string>
#include <string_view>
#include <utility>

#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

constexpr char kExifPrefix[] = "exif-";
constexpr char kOrientationField[] = "exif-ifd0-Orientation";
constexpr char kPreviewPrefix[] = "exif-ifd1-";  // IFD 1 describes the preview picture, which no longer shows what the file shows

// Pixels per millimetre. libvips reads a file without a resolution as 1; 72 per inch is the usual stand-in.
constexpr double kUnknownResolution = 1.0;
constexpr double kDefaultResolution = 72.0 / 25.4;

bool IsKept(std::string_view name) {
    if (name == kOrientationField || name.starts_with(kPreviewPrefix)) return false;
    if (name.starts_with(kExifPrefix)) return true;
    for (const MetadataKind& kind : kMetadataKinds) {
        if (kind.field != nullptr && name == kind.field) return true;
    }
    return false;
}

unsigned KindOf(std::string_view name) {
    for (const MetadataKind& kind : kMetadataKinds) {
        if (kind.field != nullptr && name == kind.field) return kind.bit;
    }
    return MetadataKind::Exif;  // the single EXIF tags
}

// Some programs repeat the orientation in XMP, as tiff:Orientation="6" or <tiff:Orientation>6</tiff:Orientation>.
void ResetOrientation(std::string& xmp) {
    constexpr std::string_view kTag = "tiff:Orientation";
    for (std::size_t at = xmp.find(kTag); at != std::string::npos; at = xmp.find(kTag, at + kTag.size())) {
        const std::size_t value = xmp.find_first_not_of("=\"'> \t\r\n", at + kTag.size());
        if (value != std::string::npos && xmp[value] >= '1' && xmp[value] <= '8') xmp[value] = '1';
    }
}

// IPTC records come bare (in TIFF files) or in the resource block of a JPEG file, which is the form to be written. Of bare ones only what
// is a record counts, as their length in the file is not reliable.
std::string WrapIptc(std::string_view bare) {
    constexpr char kRecordMark = 0x1c;  // IIM 4.2: mark, record, data set, two bytes of length, data
    constexpr std::size_t kHeader = 5;
    const auto byteAt = [&](std::size_t at) { return static_cast<std::size_t>(static_cast<unsigned char>(bare[at])); };
    std::size_t end = 0;
    while (end + kHeader <= bare.size() && bare[end] == kRecordMark) {
        const std::size_t next = end + kHeader + (byteAt(end + 3) << 8 | byteAt(end + 4));
        if (next > bare.size()) break;
        end = next;
    }
    std::string block(
        "Photoshop 3.0\0"
        "8BIM\x04\x04\0\0",
        22);  // resource 0x0404 without a name
    for (int shift = 24; shift >= 0; shift -= 8) block += static_cast<char>(end >> shift & 255);
    block += bare.substr(0, end);
    if (end % 2 != 0) block += '\0';
    return block;
}

void CopyField(VipsImage* from, const char* name, VipsImage* to) {
    GValue value = G_VALUE_INIT;
    if (vips_image_get(from, name, &value) != 0) return;
    vips_image_set(to, name, &value);
    g_value_unset(&value);
}

}  // namespace

VipsMetadata::VipsMetadata(const vips::VImage& image, bool isTurned) : fields_(vips_image_new()) {
    struct Visit {
        VipsImage* to;
        unsigned kinds = 0;
    } visit{fields_.get_image()};
    vips_image_map(
        image.get_image(),
        [](VipsImage* from, const char* name, GValue*, void* data) -> void* {
            if (!IsKept(name)) return nullptr;
            auto& into = *static_cast<Visit*>(data);
            CopyField(from, name, into.to);
            into.kinds |= KindOf(name);
            return nullptr;
        },
        &visit);
    kinds_ = visit.kinds;

    if (Has(MetadataKind::Xmp)) {
        std::string xmp(GetBlob(VIPS_META_XMP_NAME));
        ResetOrientation(xmp);
        vips_image_set_blob_copy(fields_.get_image(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
    }
    if (Has(MetadataKind::Iptc) && GetBlob(VIPS_META_IPTC_NAME).starts_with('\x1c')) {
        const std::string block = WrapIptc(GetBlob(VIPS_META_IPTC_NAME));
        vips_image_set_blob_copy(fields_.get_image(), VIPS_META_IPTC_NAME, block.data(), block.size());
    }

    double xres = image.xres();
    double yres = image.yres();
    if (xres != kUnknownResolution || yres != kUnknownResolution) {
        kinds_ |= MetadataKind::Resolution;
    } else {
        xres = yres = kDefaultResolution;
    }
    if (isTurned) std::swap(xres, yres);
    fields_.get_image()->Xres = xres;
    fields_.get_image()->Yres = yres;
}

bool VipsMetadata::IsProfileFor(bool isGray) const {
    if (!Has(MetadataKind::Icc)) return false;
    // ICC.1:2022, 7.2: bytes 16..19 of the header name the colour space of the data.
    const std::string_view profile = GetBlob(VIPS_META_ICC_NAME);
    return profile.size() >= 20 && profile.substr(16, 4) == (isGray ? "GRAY" : "RGB ");
}

std::string_view VipsMetadata::GetBlob(const char* field) const {
    std::size_t size = 0;
    const void* data = fields_.get_blob(field, &size);
    return {static_cast<const char*>(data), size};
}

void VipsMetadata::CopyTo(VipsImage* image, unsigned kept) const {
    struct Visit {
        VipsImage* to;
        unsigned kept;
    } visit{image, kept};
    vips_image_map(
        fields_.get_image(),
        [](VipsImage* from, const char* name, GValue*, void* data) -> void* {
            const auto& into = *static_cast<Visit*>(data);
            if (IsKept(name) && (KindOf(name) & into.kept) != 0) CopyField(from, name, into.to);
            return nullptr;
        },
        &visit);
    vips_image_set_int(image, VIPS_META_ORIENTATION, 1);  // written over what the EXIF block says
    image->Xres = fields_.xres();
    image->Yres = fields_.yres();
}

}  // namespace Orvexa::Io::Details
