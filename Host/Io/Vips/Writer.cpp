#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/Containers.h"
#include "Host/Io/Vips/ImageResources.h"
#include "Host/Io/Vips/Metadata.h"
#include "Host/Io/Vips/Output.h"
#include "Host/Io/Vips/TiffFile.h"
#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

using vips::VImage;
using vips::VOption;

VOption* OptionsFor(FileFormat format, const WriteOptions& options) {
    VOption* list = VImage::option();
    switch (format) {
        case FileFormat::Jpeg:
        case FileFormat::Webp:
        case FileFormat::Jxl: return list->set("Q", options.quality);
        case FileFormat::Heic:
            return list->set("Q", options.quality)->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_HEVC);
        case FileFormat::Avif:
            return list->set("Q", options.quality)->set("compression", VIPS_FOREIGN_HEIF_COMPRESSION_AV1);
        case FileFormat::Tiff:
            return list->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE)
                ->set("predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL);
        case FileFormat::Png:  // filtered rows make photographs a quarter smaller; more effort than 4 gains next to
                               // nothing
            return list->set("compression", 4)->set("filter", VIPS_FOREIGN_PNG_FILTER_ALL);
        case FileFormat::Gif: break;
    }
    return list;
}

// Blends a row of RGBA over white, rounded to the nearest level.
void FlattenRow(const std::uint8_t* from, std::uint8_t* to, int pixels) {
    for (int i = 0; i < pixels; ++i, from += 4, to += 3) {
        const int alpha = from[3];
        for (int k = 0; k < 3; ++k)
            to[k] = static_cast<std::uint8_t>((from[k] * alpha + 255 * (255 - alpha) + 127) / 255);
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
        const std::uint8_t* from =
            source.plane.GetOffsetPtr(static_cast<std::uint64_t>(area.left), static_cast<std::uint64_t>(y));
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
    vips_image_init_fields(raw, static_cast<int>(info.width), static_cast<int>(info.height), bands, VIPS_FORMAT_UCHAR,
                           VIPS_CODING_NONE, bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB, 1.0, 1.0);
    if (vips_image_pipelinev(raw, VIPS_DEMAND_STYLE_THINSTRIP, nullptr) != 0 ||
        vips_image_generate(raw, nullptr, FillRegion, nullptr, &source, nullptr) != 0) {
        throw vips::VError();
    }
    return image;
}

}  // namespace

Notes WriteVips(Output& output, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options) {
    const FormatInfo& about = GetFormatInfo(format);
    const Proc::FrameInfo& info = frame->GetFrameInfo();
    if (std::max(info.width, info.height) > about.maxSide) {
        Throw(std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels are too many for " +
              about.name + " files; a side has at most " + std::to_string(about.maxSide));
    }
    if (vips_type_find("VipsOperation", GetVipsFormat(format).saver) == 0)
        Throw("the image library of this machine cannot write " + std::string(about.name));

    Notes notes;
    const bool hasAlpha = frame->GetPixFmt() == PixFmt::Rgba;
    FrameSource source{frame->GetPlane(0), hasAlpha && !about.hasAlpha};
    VImage image = ImageOf(source, info);
    if (source.isFlattened)
        notes.push_back(std::string(about.name) + " files cannot keep transparency, the picture is laid on white");
    if (format == FileFormat::Gif) notes.push_back("GIF files hold 256 colours, the picture is reduced to them");

    SetDefaultResolution(image.get_image());
    InsertedMetadata inserted;
    if (const auto* metadata = dynamic_cast<const PictureMetadata*>(options.metadata.get()))
        inserted = metadata->Attach(image, about, notes);
    vips_image_set_int(image.get_image(), VIPS_META_ORIENTATION, 1);
    std::optional<TiffAssembly> assembly;
    if (format == FileFormat::Tiff)
        assembly.emplace(output, inserted.exif, FindIptc(inserted.resources), WithoutIptc(inserted.resources));
    const auto filter = MakeMetadataFilter(format, std::move(inserted));
    EncoderTarget target(output, assembly ? assembly->GetBase() : 0, filter.get());
    std::optional<ThreadsForCodec> threads;
    if (format == FileFormat::Jxl) threads.emplace();
    try {
        VImage::call(GetVipsFormat(format).saver,
                     OptionsFor(format, options)->set("in", image)->set("target", target.Get()));
    } catch (const vips::VError&) {
        target.RethrowError();
        throw;
    }
    if (assembly) assembly->Finish();
    return notes;
}

FormatSupport TryFormat(FileFormat format) {
    const auto succeeds = [](auto&& call) {
        try {
            return call();
        } catch (const std::exception&) {
            vips_error_clear();
            return false;
        }
    };
    FormatSupport support;
    std::vector<std::uint8_t> bytes;
    support.canWrite = succeeds([&] {
        constexpr int kSide = 64;  // enough for every codec's blocks
        const VImage picture = VImage::black(kSide, kSide, VImage::option()->set("bands", 3))
                                   .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
        MemoryOutput output(bytes);
        const EncoderTarget target(output, 0, nullptr);
        VImage::call(GetVipsFormat(format).saver,
                     OptionsFor(format, {})->set("in", picture)->set("target", target.Get()));
        return true;
    });
    support.canRead = succeeds([&] {
        if (!support.canWrite) {  // nothing to try it on
            return vips_type_find("VipsOperation", GetVipsFormat(format).loader) != 0;
        }
        VImage::new_from_source(vips::VSource::new_from_memory(bytes.data(), bytes.size()), "").avg();
        return true;
    });
    return support;
}

}  // namespace Orvexa::Io::Details
