#include <algorithm>
#include <cstring>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/Metadata.h"
#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

using vips::VImage;

constexpr int kStripRows = 32;  // decoded at a time: enough for 90-degree turns to write runs, small enough for the cache

// The loader of the picture. libvips knows many more formats, and the readers of some open other files or run scripts; those stay closed.
std::string_view CheckLoader(vips::VSource& source) {
    const char* found = vips_foreign_find_load_source(source.get_source());
    const std::string_view loader = found != nullptr ? found : "";
    for (const VipsFormat& known : kVipsFormats) {
        if (loader.starts_with(known.loader)) return loader;
    }
    TakeVipsError();
    Throw("this is not a " + GetFormatNames() + " picture, or its beginning is damaged");
}

// Reads no more than the header where the format allows.
VImage OpenImage(const vips::VSource& source, const ReadOptions& options) {
    const VipsFailOn failOn = options.allowTruncated ? VIPS_FAIL_ON_NONE : VIPS_FAIL_ON_ERROR;
    try {
        return VImage::new_from_source(source, "", VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", failOn));
    } catch (const vips::VError&) {
        Throw("the picture is truncated or damaged beyond use (" + TakeVipsError() + ")");
    }
}

void CheckSize(const VImage& image, const ReadOptions& options) {
    const std::uint64_t pixels = static_cast<std::uint64_t>(image.width()) * static_cast<std::uint64_t>(image.height());
    if (pixels <= options.maxPixels) return;
    Throw("the picture has " + std::to_string(image.width()) + " x " + std::to_string(image.height()) + " pixels, more than the limit of " +
          std::to_string(options.maxPixels) + " (--max-pixels)");
}

std::string DescribeReduction(const VImage& image) {
    return std::to_string(8 * vips_format_sizeof(image.format())) + "-bit samples are reduced to 8 bits";
}

bool HasProfile(const VImage& image) { return vips_image_get_typeof(image.get_image(), VIPS_META_ICC_NAME) != 0; }

// The colours as sRGB has them, without the profile that told what they were. CMYK is left to `ToEightBits`.
VImage ToSrgb(const VImage& image, Notes& notes) {
    if (!HasProfile(image) || image.guess_interpretation() == VIPS_INTERPRETATION_CMYK) return image;
    try {
        VImage converted = image.icc_transform("srgb", VImage::option()->set("embedded", true)->set("black_point_compensation", true));
        const bool isGray = image.bands() == 1;
        if (isGray) converted = converted.extract_band(0).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
        if (image.format() != VIPS_FORMAT_UCHAR) notes.push_back(DescribeReduction(image));
        converted = converted.copy();
        converted.remove(VIPS_META_ICC_NAME);
        return converted;
    } catch (const vips::VError&) {
        notes.push_back("the colour profile cannot be used (" + TakeVipsError() + "); the colours stay as they are");
        return image;
    }
}

// 1, 3 or 4 bands of 8 bits.
VImage ToEightBits(VImage image, Notes& notes) {
    const VipsInterpretation meaning = image.guess_interpretation();
    const int bands = image.bands();
    const bool isCmyk = meaning == VIPS_INTERPRETATION_CMYK && bands >= 4;
    if (image.format() != VIPS_FORMAT_UCHAR) notes.push_back(DescribeReduction(image));
    if (isCmyk) {
        notes.push_back("CMYK is brought to sRGB");
        // The picture's own profile says what its inks are; without one, the library's general CMYK profile.
        image = image.icc_transform("srgb", VImage::option()->set("embedded", true)->set("input_profile", "cmyk")).copy();
        image.remove(VIPS_META_ICC_NAME);  // what a picture without a profile is taken for
    } else if (bands == 2 || image.format() != VIPS_FORMAT_UCHAR || (bands >= 3 && meaning != VIPS_INTERPRETATION_sRGB)) {
        const VipsInterpretation target = bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
        image = image.copy(VImage::option()->set("interpretation", meaning)).colourspace(target);
    }
    if (image.format() != VIPS_FORMAT_UCHAR) image = image.cast(VIPS_FORMAT_UCHAR);
    if (image.bands() == 2 || image.bands() > 4) Throw(std::to_string(bands) + " channels are not supported; 1 to 4 are");
    return image;
}

// Where the pixels of an upright picture go: pixel (x, y) of the file lies at origin + x * stepX + y * stepY, in bytes.
struct Placement {
    std::uint8_t* origin;
    std::int64_t stepX, stepY;
};

constexpr bool IsTurned(int orientation) { return orientation >= 5; }

// `orientation` counts as the EXIF tag does: 1 upright, 2 mirrored, 3 upside down, 4 both, 5..8 the same with the sides swapped.
Placement Place(const Proc::Plane& plane, int orientation) {
    const auto pixel = static_cast<std::int64_t>(plane.GetBytesPerPixel());
    const std::int64_t row = plane.GetStride();
    const std::int64_t lastPixel = static_cast<std::int64_t>(plane.GetWidth()) - pixel;
    const std::int64_t lastRow = static_cast<std::int64_t>(plane.GetHeight() - 1) * row;
    std::uint8_t* data = plane.GetData();
    switch (orientation) {
        case 2: return {data + lastPixel, -pixel, row};
        case 3: return {data + lastPixel + lastRow, -pixel, -row};
        case 4: return {data + lastRow, pixel, -row};
        case 5: return {data, row, pixel};
        case 6: return {data + lastPixel, row, -pixel};
        case 7: return {data + lastPixel + lastRow, -row, -pixel};
        case 8: return {data + lastRow, -row, pixel};
        default: return {data, pixel, row};
    }
}

template <std::size_t Size>
void PlacePixels(const std::uint8_t* strip, std::size_t stripStride, int width, int rows, const Placement& to) {
    constexpr int kTile = 32;  // columns at a time, so that the rows which a turn writes to stay in the cache
    for (int left = 0; left < width; left += kTile) {
        const int right = std::min(left + kTile, width);
        for (int y = 0; y < rows; ++y) {
            const std::uint8_t* source = strip + static_cast<std::size_t>(y) * stripStride;
            for (int x = left; x < right; ++x)
                std::memcpy(to.origin + x * to.stepX + y * to.stepY, source + static_cast<std::size_t>(x) * Size, Size);
        }
    }
}

void PlaceStrip(const std::uint8_t* strip, std::size_t stripStride, int width, int rows, std::size_t pixelSize, const Placement& to) {
    if (to.stepX == static_cast<std::int64_t>(pixelSize)) {
        for (int y = 0; y < rows; ++y) {
            std::memcpy(to.origin + y * to.stepY, strip + static_cast<std::size_t>(y) * stripStride,
                        static_cast<std::size_t>(width) * pixelSize);
        }
        return;
    }
    switch (pixelSize) {
        case 1: PlacePixels<1>(strip, stripStride, width, rows, to); break;
        case 3: PlacePixels<3>(strip, stripStride, width, rows, to); break;
        default: PlacePixels<4>(strip, stripStride, width, rows, to); break;
    }
}

void Decode(const VImage& image, const Proc::Plane& plane, int orientation) {
    const vips::VRegion region = VImage(image).region();
    const Placement whole = Place(plane, orientation);
    const auto pixelSize = static_cast<std::size_t>(image.bands());
    for (int top = 0; top < image.height(); top += kStripRows) {
        const VipsRect strip{0, top, image.width(), std::min(kStripRows, image.height() - top)};
        if (vips_region_prepare(region.get_region(), &strip) != 0) throw vips::VError();
        PlaceStrip(VIPS_REGION_ADDR(region.get_region(), 0, top), VIPS_REGION_LSKIP(region.get_region()), strip.width, strip.height,
                   pixelSize, {whole.origin + top * whole.stepY, whole.stepX, whole.stepY});
    }
}

}  // namespace

ImageSize ReadVipsSize(vips::VSource source, const ReadOptions& options) {
    CheckLoader(source);
    const VImage file = OpenImage(source, options);
    CheckSize(file, options);
    ImageSize size{static_cast<std::uint32_t>(file.width()), static_cast<std::uint32_t>(file.height())};
    if (IsTurned(vips_image_get_orientation(file.get_image()))) std::swap(size.width, size.height);
    return size;
}

namespace {

LoadedImage ReadAndClose(vips::VSource& source, std::string_view loader, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    LoadedImage loaded;
    MetadataBlocks blocks = ReadMetadataBlocks(source, loader, loaded.notes);
    const unsigned warningsBefore = GetWarningCount();
    const VImage file = OpenImage(source, options);
    CheckSize(file, options);

    if (const int pages = vips_image_get_n_pages(file.get_image()); pages > 1) {
        loaded.notes.push_back("only the first of its " + std::to_string(pages) + " pictures is read");
    }
    const int orientation = vips_image_get_orientation(file.get_image());
    const VImage colors = options.toSrgb ? ToSrgb(file, loaded.notes) : file;
    const VImage picture = ToEightBits(colors, loaded.notes);
    const bool isSrgb = HasProfile(file) && !HasProfile(colors);
    loaded.metadata = std::make_shared<PictureMetadata>(std::move(blocks), picture, IsTurned(orientation), isSrgb, loaded.notes);

    Conf::FrameInfo info(static_cast<std::uint32_t>(picture.width()), static_cast<std::uint32_t>(picture.height()));
    if (IsTurned(orientation)) std::swap(info.width, info.height);
    const PixFmt pixFmt = picture.bands() == 1 ? PixFmt::Gray8 : picture.bands() == 3 ? PixFmt::Rgb24 : PixFmt::Rgba;
    loaded.frame = Proc::NewFrame(allocator, pixFmt, info);
    loaded.frame->SetDuration(0);
    loaded.frame->SetTimestamp(0);
    try {
        Decode(picture, loaded.frame->GetPlane(0), orientation);
    } catch (const vips::VError&) {
        const std::string reason = TakeVipsError();
        if (options.allowTruncated) Throw("the picture is truncated or damaged beyond use (" + reason + ")");
        Throw("the picture is truncated or damaged (" + reason + "); --allow-truncated reads what there is of it");
    }
    // The JPEG decoder leaves its complaints in the error buffer; warnings of the others are often about harmless details.
    const bool isDamaged = HasVipsError();
    const bool isIncomplete = options.allowTruncated && (isDamaged || GetWarningCount() != warningsBefore);
    if (isDamaged || isIncomplete) ErrorGuard::NeedOwnErrors();
    if (isIncomplete) {
        loaded.notes.push_back("the picture is truncated or damaged; what is missing is left plain");
    } else if (isDamaged) {
        loaded.notes.push_back("the picture may be damaged (" + TakeVipsError() + ")");
    }
    return loaded;
}

}  // namespace

LoadedImage ReadVips(vips::VSource source, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    const std::string_view loader = CheckLoader(source);
    const bool isJpeg = loader.starts_with("VipsForeignLoadJpeg");
    const unsigned warningsBefore = GetOwnWarningCount();
    LoadedImage loaded = ReadAndClose(source, loader, allocator, options);
    // The decoder, when it is closed, warns of complaints that the error buffer may have lost.
    if (isJpeg && GetOwnWarningCount() != warningsBefore) ErrorGuard::NeedOwnErrors();
    return loaded;
}

}  // namespace Orvexa::Io::Details
