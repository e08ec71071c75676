#include <algorithm>
#include <cstring>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

using vips::VImage;
using vips::VOption;

// What a file format can hold.
struct FormatTraits {
    FileFormat format;
    const char* name;
    const char* saver;
    bool hasAlpha;
    std::uint32_t maxSide;
    unsigned metadata;
};
constexpr unsigned kExif = MetadataKind::Exif, kXmp = MetadataKind::Xmp, kIptc = MetadataKind::Iptc, kIcc = MetadataKind::Icc,
                   kResolution = MetadataKind::Resolution;
// libvips writes neither EXIF nor IPTC to TIFF files that other programs could read.
// WebP, HEIF and AVIF have no resolution of their own, but it is among the EXIF tags that are written.
constexpr FormatTraits kFormats[] = {
    {FileFormat::Jpeg, "JPEG", "jpegsave_target", false, 65500, kExif | kXmp | kIptc | kIcc | kResolution},
    {FileFormat::Png, "PNG", "pngsave_target", true, 0x7fffffff, kExif | kXmp | kIcc | kResolution},
    {FileFormat::Webp, "WebP", "webpsave_target", true, 16383, kExif | kXmp | kIcc | kResolution},
    {FileFormat::Tiff, "TIFF", "tiffsave_target", true, 0x7fffffff, kXmp | kIcc | kResolution},
    {FileFormat::Heic, "HEIF", "heifsave_target", true, 16384, kExif | kXmp | kIcc | kResolution},
    {FileFormat::Avif, "AVIF", "heifsave_target", true, 16384, kExif | kXmp | kIcc | kResolution},
    {FileFormat::Gif, "GIF", "gifsave_target", true, 65535, 0},
};

const FormatTraits& TraitsOf(FileFormat format) {
    return *std::find_if(std::begin(kFormats), std::end(kFormats), [&](const FormatTraits& traits) { return traits.format == format; });
}

VOption* OptionsFor(FileFormat format, const WriteOptions& options) {
    VOption* list = VImage::option();
    switch (format) {
        case FileFormat::Jpeg:
        case FileFormat::Webp: return list->set("Q", options.quality);
        case FileFormat::Heic: return list->set("Q", options.quality)->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_HEVC);
        case FileFormat::Avif: return list->set("Q", options.quality)->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_AV1);
        case FileFormat::Tiff:
            return list->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE)
                ->set("predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL);
        case FileFormat::Png:  // filtered rows make photographs a quarter smaller; more effort than 4 gains next to nothing
            return list->set("compression", 4)->set("filter", VIPS_FOREIGN_PNG_FILTER_ALL);
        case FileFormat::Gif: break;
    }
    return list;
}

// Blends a row of RGBA over white, rounded to the nearest level.
void FlattenRow(const std::uint8_t* from, std::uint8_t* to, int pixels) {
    for (int i = 0; i < pixels; ++i, from += 4, to += 3) {
        const int alpha = from[3];
        for (int k = 0; k < 3; ++k) to[k] = static_cast<std::uint8_t>((from[k] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
}

struct FrameSource {
    Proc::ConstPlane plane;
    bool isFlattened;
};

int FillRegion(VipsRegion* out, void*, void* data, void*, gboolean*) {
    const auto& source = *static_cast<const FrameSource*>(data);
    const VipsRect& area = out->valid;
    const auto pixel = static_cast<std::uint64_t>(source.plane.GetBytesPerPixel());
    for (int y = area.top; y < area.top + area.height; ++y) {
        const std::uint8_t* from = source.plane.GetOffsetPtr(static_cast<std::uint64_t>(area.left), static_cast<std::uint64_t>(y));
        std::uint8_t* to = VIPS_REGION_ADDR(out, area.left, y);
        if (source.isFlattened) {
            FlattenRow(from, to, area.width);
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(area.width) * pixel);
        }
    }
    return 0;
}

// The frame as an image whose rows are copied when the encoder asks for them; `source` must outlive it.
VImage ImageOf(FrameSource& source, const Proc::FrameInfo& info) {
    const auto pixel = static_cast<int>(source.plane.GetBytesPerPixel());
    const int bands = source.isFlattened ? 3 : pixel;
    VImage image(vips_image_new());
    VipsImage* raw = image.get_image();
    vips_image_init_fields(raw, static_cast<int>(info.width), static_cast<int>(info.height), bands, VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
                           bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB, 1.0, 1.0);
    if (vips_image_pipelinev(raw, VIPS_DEMAND_STYLE_THINSTRIP, nullptr) != 0 ||
        vips_image_generate(raw, nullptr, FillRegion, nullptr, &source, nullptr) != 0) {
        throw vips::VError();
    }
    return image;
}

void Attach(const VipsMetadata& metadata, const FormatTraits& traits, bool isGray, VipsImage* image, Notes& notes) {
    unsigned kept = traits.metadata;
    for (const MetadataKind& kind : kMetadataKinds) {
        if (metadata.Has(kind.bit) && (kept & kind.bit) == 0)
            notes.push_back(std::string(kind.name) + " cannot be kept in " + traits.name + " files");
    }
    if (metadata.Has(MetadataKind::Icc) && (kept & MetadataKind::Icc) != 0 && !metadata.IsProfileFor(isGray)) {
        notes.push_back(std::string("the colour profile is not for ") + (isGray ? "grey" : "RGB") + " pictures and cannot be kept");
        kept &= ~static_cast<unsigned>(MetadataKind::Icc);
    }
    metadata.CopyTo(image, kept);
}

}  // namespace

Notes WriteVips(vips::VTarget target, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options) {
    const FormatTraits& traits = TraitsOf(format);
    const Proc::FrameInfo& info = frame->GetFrameInfo();
    if (std::max(info.width, info.height) > traits.maxSide) {
        Throw(std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels are too many for " + traits.name +
              " files; a side has at most " + std::to_string(traits.maxSide));
    }
    if (vips_type_find("VipsOperation", traits.saver) == 0)
        Throw("the image library of this machine cannot write " + std::string(traits.name));

    Notes notes;
    const bool hasAlpha = frame->GetPixFmt() == PixFmt::Rgba;
    FrameSource source{frame->GetPlane(0), hasAlpha && !traits.hasAlpha};
    const VImage image = ImageOf(source, info);
    if (source.isFlattened) notes.push_back(std::string(traits.name) + " files cannot keep transparency, the picture is laid on white");
    if (format == FileFormat::Gif) notes.push_back("GIF files hold 256 colours, the picture is reduced to them");
    if (const auto* metadata = dynamic_cast<const VipsMetadata*>(options.metadata.get())) {
        Attach(*metadata, traits, image.bands() == 1, image.get_image(), notes);
    } else {
        VipsMetadata(image, false).CopyTo(image.get_image(), 0);  // sets the default resolution
    }
    VImage::call(traits.saver, OptionsFor(format, options)->set("in", image)->set("target", target));
    return notes;
}

}  // namespace Orvexa::Io::Details
