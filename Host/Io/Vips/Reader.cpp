#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/BigEndian.h"
#include "Host/Io/Vips/Colors.h"
#include "Host/Io/Vips/JxlBoxes.h"
#include "Host/Io/Vips/Metadata.h"
#include "Host/Io/Vips/RawFile.h"
#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

using vips::VImage;

constexpr int kStripRows =
    32;  // decoded at a time: enough for 90-degree turns to write runs, small enough for the cache

// How a loader tells that a picture which it could read is damaged.
enum class Complaint { Never, InWarnings, InErrorText };

struct Loader {
    FileFormat format;  // one of those it reads
    Complaint complaint;
    bool (*isMeant)(std::string_view head);
    bool isReadWhole = false;  // into memory, before the loader sees it

    const char* GetOperation() const { return GetVipsFormat(format).loader; }
};

bool IsTiff(std::string_view head) {
    constexpr std::string_view kMarks[] = {
        {"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}};  // the latter two of BigTIFF
    return std::any_of(std::begin(kMarks), std::end(kMarks),
                       [&](std::string_view mark) { return head.starts_with(mark); });
}

// ISO base media files, by the brand after the length and type of their first box; films have others.
bool IsHeif(std::string_view head) {
    constexpr std::string_view kBrands[] = {"heic", "heix", "heim", "heis", "hevc", "hevm",
                                            "hevs", "mif1", "msf1", "avif", "avis"};
    return head.size() >= 12 && head.substr(4, 4) == "ftyp" &&
           std::find(std::begin(kBrands), std::end(kBrands), head.substr(8, 4)) != std::end(kBrands);
}

// Formats are told by their first bytes. libvips could find its loader itself, but it knows many more formats, whose
// readers open other files or run scripts, and does not recognise a TIFF file that is cut.
constexpr std::size_t kHeadSize = 12;
constexpr Loader kLoaders[] = {
    {FileFormat::Jpeg, Complaint::InErrorText, [](std::string_view head) { return head.starts_with("\xff\xd8"); }},
    {FileFormat::Png, Complaint::InWarnings,
     [](std::string_view head) { return head.starts_with("\x89PNG\r\n\x1a\n"); }},
    {FileFormat::Webp, Complaint::InWarnings,
     [](std::string_view head) {
         return head.starts_with("RIFF") && head.substr(std::min<std::size_t>(8, head.size())) == "WEBP";
     }},
    {FileFormat::Gif, Complaint::InWarnings, [](std::string_view head) { return head.starts_with("GIF8"); }},
    // Errors and warnings about a TIFF file that can be read concern tags nobody needs, those about HEIF files only
    // that the loader looks for an end beyond the end; damaged ones fail.
    {FileFormat::Tiff, Complaint::Never, IsTiff},
    // A read that fails is an assertion in libheif.
    {FileFormat::Heic, Complaint::Never, IsHeif, true},
    {FileFormat::Jxl, Complaint::Never, IsJxl},
};

std::string ReadHead(const vips::VSource& source, const ByteSource& bytes) {
    unsigned char* data = nullptr;
    const gint64 size = vips_source_sniff_at_most(source.get_source(), &data, kHeadSize);
    bytes.CheckWhole();
    if (size < 0) throw vips::VError();
    if (size == 0) Throw("the file is empty");
    return {reinterpret_cast<const char*>(data), static_cast<std::size_t>(size)};
}

const Loader& FindLoader(std::string_view head) {
    const auto loader = std::find_if(std::begin(kLoaders), std::end(kLoaders),
                                     [&](const Loader& known) { return known.isMeant(head); });
    if (loader == std::end(kLoaders))
        Throw("this is not a " + GetFormatNames() + " picture nor a camera raw file, or its beginning is damaged");
    if (vips_type_find("VipsOperation", loader->GetOperation()) == 0)
        Throw("the image library of this machine cannot read this format");
    return *loader;
}

// libpng takes the memory for a chunk before it has read it, however long the chunk claims to be. That of the pixels is
// read in pieces, and what comes after it does not matter.
void CheckPngChunks(const vips::VSource& source) {
    constexpr std::int64_t kSignatureSize = 8, kFieldSize = 4, kChecksumSize = 4;
    const std::int64_t size = vips_source_length(source.get_source());
    std::string length, type;
    for (std::int64_t at = kSignatureSize; at < size;) {
        if (vips_source_seek(source.get_source(), at, SEEK_SET) < 0 || !ReadAll(source, length, kFieldSize) ||
            !ReadAll(source, type, kFieldSize) || type == "IDAT")
            break;
        at += 2 * kFieldSize + static_cast<std::int64_t>(BigEndian(length)) + kChecksumSize;
        if (at > size) Throw("the picture is truncated or damaged beyond use (a chunk of it is not all there)");
    }
    vips_source_rewind(source.get_source());
}

// Reads no more than the header where the format allows.
VImage OpenImage(const Loader& loader, const vips::VSource& source, bool allowTruncated) {
    if (loader.isReadWhole && vips_source_map(source.get_source(), nullptr) == nullptr) throw vips::VError();
    VImage image;
    VImage::call(loader.GetOperation(), VImage::option()
                                            ->set("source", source)
                                            ->set("out", &image)
                                            ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                            ->set("fail_on", allowTruncated ? VIPS_FAIL_ON_NONE : VIPS_FAIL_ON_ERROR));
    return image;
}

void CheckSize(const VImage& image, const ReadOptions& options) {
    const std::uint64_t pixels = static_cast<std::uint64_t>(image.width()) * static_cast<std::uint64_t>(image.height());
    if (pixels <= options.maxPixels) return;
    Throw("the picture has " + std::to_string(image.width()) + " x " + std::to_string(image.height()) +
          " pixels, more than the limit of " + std::to_string(options.maxPixels) + " (--max-pixels)");
}

std::string DescribeReduction(const VImage& image) {
    return std::to_string(8 * vips_format_sizeof(image.format())) + "-bit samples are reduced to 8 bits";
}

// CMYK is left to `ToEightBits`.
VImage ToSrgb(const VImage& image, Notes& notes) {
    if (!HasProfile(image) || image.guess_interpretation() == VIPS_INTERPRETATION_CMYK) return image;
    try {
        return ConvertToSrgb(image);
    } catch (const vips::VError&) {
        notes.push_back("the colour profile cannot be used (" + TakeVipsError() + "); the colours stay as they are");
        return image;
    }
}

// What the JPEG XL loader gives, with meanings that hold: it takes samples of floating point for linear light, whatever
// the profile says, and grey ones for levels.
VImage FromJxl(const VImage& image) {
    if (image.format() != VIPS_FORMAT_FLOAT) return image;
    constexpr double kWhite = 65535;
    return image.linear(kWhite, 0.5)
        .cast(VIPS_FORMAT_USHORT)
        .copy(VImage::option()->set("interpretation",
                                    image.bands() < 3 ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16));
}

// 1, 3 or 4 bands of 8 bits.
VImage ToEightBits(VImage image, Notes& notes) {
    const VipsInterpretation meaning = image.guess_interpretation();
    const int bands = image.bands();
    const bool isCmyk = meaning == VIPS_INTERPRETATION_CMYK && bands >= 4;
    if (isCmyk) {
        notes.push_back("CMYK is brought to sRGB");
        // The picture's own profile says what its inks are; without one, the library's general CMYK profile.
        image =
            image.icc_transform("srgb", VImage::option()->set("embedded", true)->set("input_profile", "cmyk")).copy();
        image.remove(VIPS_META_ICC_NAME);  // what a picture without a profile is taken for
    } else if (bands == 2 || image.format() != VIPS_FORMAT_UCHAR ||
               (bands >= 3 && meaning != VIPS_INTERPRETATION_sRGB)) {
        const VipsInterpretation target = bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
        image = image.copy(VImage::option()->set("interpretation", meaning)).colourspace(target);
    }
    if (image.format() != VIPS_FORMAT_UCHAR) image = image.cast(VIPS_FORMAT_UCHAR);
    if (image.bands() == 2 || image.bands() > 4)
        Throw(std::to_string(bands) + " channels are not supported; 1 to 4 are");
    return image;
}

// Where the pixels of an upright picture go: pixel (x, y) of the file lies at origin + x * stepX + y * stepY, in bytes.
struct Placement {
    std::uint8_t* origin;
    std::int64_t stepX, stepY;
};

constexpr bool IsTurned(int orientation) { return orientation >= 5; }

// `orientation` counts as the EXIF tag does: 1 upright, 2 mirrored, 3 upside down, 4 both, 5..8 the same with the sides
// swapped.
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

void PlaceStrip(const std::uint8_t* strip, std::size_t stripStride, int width, int rows, std::size_t pixelSize,
                const Placement& to) {
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

// Decodes the rows from the first on and gives how many could be.
int Decode(const VImage& image, const Proc::Plane& plane, int orientation) {
    const vips::VRegion region = VImage(image).region();
    const Placement whole = Place(plane, orientation);
    const auto pixelSize = static_cast<std::size_t>(image.bands());
    for (int top = 0; top < image.height(); top += kStripRows) {
        const VipsRect strip{0, top, image.width(), std::min(kStripRows, image.height() - top)};
        if (vips_region_prepare(region.get_region(), &strip) != 0) return top;
        PlaceStrip(VIPS_REGION_ADDR(region.get_region(), 0, top), VIPS_REGION_LSKIP(region.get_region()), strip.width,
                   strip.height, pixelSize, {whole.origin + top * whole.stepY, whole.stepX, whole.stepY});
    }
    return image.height();
}

// Makes the rows of the file from `top` on black, or transparent where there is alpha.
void ClearRows(const VImage& image, const Proc::Plane& plane, int orientation, int top) {
    const Placement whole = Place(plane, orientation);
    const auto pixelSize = static_cast<std::size_t>(image.bands());
    const std::vector<std::uint8_t> row(static_cast<std::size_t>(image.width()) * pixelSize);
    for (int y = top; y < image.height(); ++y)
        PlaceStrip(row.data(), 0, image.width(), 1, pixelSize,
                   {whole.origin + y * whole.stepY, whole.stepX, whole.stepY});
}

// Whether --allow-truncated would give a part of the picture.
bool IsReadableInPart(const Loader& loader, ByteSource& bytes) {
    if (!bytes.IsRepeatable()) return false;
    try {
        const VImage image = OpenImage(loader, bytes.Open(), true);
        const vips::VRegion region = VImage(image).region();
        const VipsRect strip{0, 0, image.width(), std::min(kStripRows, image.height())};
        return vips_region_prepare(region.get_region(), &strip) == 0;
    } catch (const vips::VError&) {
        return false;
    }
}

// Reading has failed after `rows` rows.
[[noreturn]] void ThrowDamaged(const Loader& loader, ByteSource& bytes, const ReadOptions& options, int rows) {
    const std::string reason = TakeVipsError();
    bytes.CheckWhole();
    const std::string damage = "the picture is truncated or damaged";
    if (!options.allowTruncated && (rows > 0 || IsReadableInPart(loader, bytes)))
        Throw(damage + " (" + reason + "); --allow-truncated reads what there is of it");
    Throw(damage + " beyond use (" + reason + ")");
}

VImage OpenImage(const Loader& loader, const vips::VSource& source, ByteSource& bytes, const ReadOptions& options) {
    if (loader.format == FileFormat::Png && bytes.IsRepeatable()) CheckPngChunks(source);
    try {
        return OpenImage(loader, source, options.allowTruncated);
    } catch (const vips::VError&) {
        ThrowDamaged(loader, bytes, options, 0);
    }
}

}  // namespace

ImageSize ReadVipsSize(ByteSource& bytes, const ReadOptions& options) {
    const vips::VSource source = bytes.Open();
    const std::string head = ReadHead(source, bytes);
    if (IsCameraRaw(head, source)) return ReadRawSize(source, options);
    vips_source_rewind(source.get_source());
    const Loader& loader = FindLoader(head);
    std::optional<SilentCodec> silence;
    if (loader.format == FileFormat::Jxl) silence.emplace();
    const VImage file = OpenImage(loader, source, bytes, options);
    CheckSize(file, options);
    ImageSize size{static_cast<std::uint32_t>(file.width()), static_cast<std::uint32_t>(file.height())};
    if (IsTurned(vips_image_get_orientation(file.get_image()))) std::swap(size.width, size.height);
    return size;
}

namespace {

struct Outcome {
    LoadedImage loaded;
    Complaint complaint;
    bool isCut = false;  // the picture's last rows are missing
};

Outcome ReadAndClose(ByteSource& bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    vips::VSource source = bytes.Open();
    const std::string head = ReadHead(source, bytes);
    if (IsCameraRaw(head, source)) {
        LoadedImage developed = ReadRaw(source, allocator, options);
        bytes.CheckWhole();
        return {std::move(developed), Complaint::Never};
    }
    vips_source_rewind(source.get_source());
    const Loader& loader = FindLoader(head);
    Outcome outcome{{}, loader.complaint};
    LoadedImage& loaded = outcome.loaded;
    MetadataBlocks blocks = ReadMetadataBlocks(source, loader.format, loaded.notes);
    bytes.CheckWhole();
    const bool isJxl = loader.format == FileFormat::Jxl;
    std::optional<ThreadsForCodec> threads;
    std::optional<SilentCodec> silence;
    if (isJxl) {
        threads.emplace();
        silence.emplace();
    }
    const VImage file = OpenImage(loader, source, bytes, options);
    CheckSize(file, options);

    if (const int pages = vips_image_get_n_pages(file.get_image()); pages > 1) {
        loaded.notes.push_back("only the first of its " + std::to_string(pages) + " pictures is read");
    }
    const int orientation = vips_image_get_orientation(file.get_image());
    if (file.format() != VIPS_FORMAT_UCHAR) loaded.notes.push_back(DescribeReduction(file));
    VImage colors = isJxl ? FromJxl(file) : file;
    if (options.toSrgb) {
        colors = ToSrgb(colors, loaded.notes);
    } else if (isJxl && IsLinear(colors)) {
        // Lossy files hold colours in a space of their own. The decoder brings them back to the space that their
        // profile names only if it knows that; otherwise they come in linear light.
        loaded.notes.emplace_back("the decoder gives its colours in linear light; they are brought to sRGB");
        colors = ToSrgb(colors, loaded.notes);
    }
    const VImage picture = ToEightBits(colors, loaded.notes);
    const bool isSrgb = HasProfile(file) && !HasProfile(colors);
    loaded.metadata =
        std::make_shared<PictureMetadata>(std::move(blocks), picture, IsTurned(orientation), isSrgb, loaded.notes);

    Conf::FrameInfo info(static_cast<std::uint32_t>(picture.width()), static_cast<std::uint32_t>(picture.height()));
    if (IsTurned(orientation)) std::swap(info.width, info.height);
    const PixFmt pixFmt = picture.bands() == 1 ? PixFmt::Gray8 : picture.bands() == 3 ? PixFmt::Rgb24 : PixFmt::Rgba;
    loaded.frame = Proc::NewFrame(allocator, pixFmt, info);
    loaded.frame->SetDuration(0);
    loaded.frame->SetTimestamp(0);
    const int rows = Decode(picture, loaded.frame->GetPlane(0), orientation);
    outcome.isCut = rows < picture.height();
    if (outcome.isCut) {
        if (rows == 0 || !options.allowTruncated) ThrowDamaged(loader, bytes, options, rows);
        ClearRows(picture, loaded.frame->GetPlane(0), orientation, rows);
    }
    return outcome;
}

}  // namespace

LoadedImage ReadVips(ByteSource& bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    const unsigned warningsBefore = GetWarningCount();
    Outcome outcome = ReadAndClose(bytes, allocator, options);
    bytes.CheckWhole();
    // The JPEG decoder says all when it is closed, and once more in the error text, where other threads may have
    // overwritten it.
    bool isDamaged = outcome.complaint != Complaint::Never && GetWarningCount() != warningsBefore;
    if (isDamaged && outcome.complaint == Complaint::InErrorText) {
        ErrorGuard::NeedOwnErrors();
        isDamaged = HasVipsError();
    }
    Notes& notes = outcome.loaded.notes;
    if (options.allowTruncated && (isDamaged || outcome.isCut)) {
        notes.push_back("the picture is truncated or damaged; what is missing is left plain");
    } else if (isDamaged && outcome.complaint == Complaint::InErrorText) {
        notes.push_back("the picture may be damaged (" + TakeVipsError() + ")");
    }
    return std::move(outcome.loaded);
}

}  // namespace Orvexa::Io::Details
