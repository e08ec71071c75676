#include "Host/Io/Vips/Metadata.h"

#include <algorithm>
#include <cstdio>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/Colors.h"
#include "Host/Io/Vips/ExifBlock.h"
#include "Host/Io/Vips/Exiv2.h"
#include "Host/Io/Vips/GifBlocks.h"
#include "Host/Io/Vips/ImageResources.h"
#include "Host/Io/Vips/JpegSegments.h"
#include "Host/Io/Vips/JxlBoxes.h"
#include "Host/Io/Vips/TiffFile.h"
#include "Host/Io/Vips/Vips.h"
#include "Host/Io/Vips/Xmp.h"

namespace Orvexa::Io::Details {

namespace {

// Pixels per millimetre. libvips reads a file without a resolution as 1; 72 per inch is the usual stand-in.
constexpr double kUnknownResolution = 1.0;
constexpr double kMillimetresInInch = 25.4;
constexpr double kDefaultResolution = 72.0 / kMillimetresInInch;

constexpr char kPngText[] = "png-comment-", kHeifItem[] = "heif-mime-";

// libvips frees some blobs with the picture whose fields they are, so that they must not be shared.
std::string CopyBlob(VipsImage* image, const char* field) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (vips_image_get_typeof(image, field) != VIPS_TYPE_BLOB || vips_image_get_blob(image, field, &data, &size) != 0)
        return {};
    return {static_cast<const char*>(data), size};
}

void SetBlob(VipsImage* image, const char* field, const std::string& bytes) {
    if (!bytes.empty()) vips_image_set_blob_copy(image, field, bytes.data(), bytes.size());
}

bool IsXmp(std::string_view text) {
    return text.find("<x:xmpmeta") != std::string_view::npos || text.find("<rdf:RDF") != std::string_view::npos;
}

template <class Call>
void OrNote(const std::string& what, Notes& notes, Call&& call) {
    try {
        call();
    } catch (const Proc::EffectException& error) {
        notes.push_back(what + " (" + Describe(error) + ")");
    }
}

template <class Visit>
void ForEachField(const vips::VImage& image, Visit&& visit) {
    gchar** names = vips_image_get_fields(image.get_image());
    for (gchar** name = names; name != nullptr && *name != nullptr; ++name) visit(std::string(*name));
    g_strfreev(names);
}

// Leaves no profile on the image. Whether its colours are those of sRGB now.
bool UseProfile(vips::VImage& image, const FormatInfo& format, Notes& notes) {
    bool isSrgb = true;
    try {
        if (FindProfileKind(image) != ProfileKind::Srgb) {
            image = ConvertToSrgb(image);
            notes.push_back(std::string(format.name) + " files are written in sRGB, the colours are converted");
        }
    } catch (const vips::VError&) {
        notes.push_back("the colour profile cannot be used (" + TakeVipsError() +
                        ") and is left out; the colours stay as they are");
        isSrgb = false;
    }
    vips_image_remove(image.get_image(), VIPS_META_ICC_NAME);
    return isSrgb;
}

// ICC.1:2022, 7.2: bytes 16..19 of the header name the colour space of the data.
bool IsProfileFor(std::string_view profile, bool isGray) {
    return profile.size() >= 20 && profile.substr(16, 4) == (isGray ? "GRAY" : "RGB ");
}

}  // namespace

MetadataBlocks ReadMetadataBlocks(vips::VSource& source, FileFormat format, Notes& notes) {
    MetadataBlocks blocks;
    vips_source_rewind(source.get_source());  // whoever looked for the loader has read some
    if (format == FileFormat::Jpeg) {
        JpegSegments segments = ReadJpegSegments(source);
        blocks = {std::move(segments.exif),      std::move(segments.xmp),
                  std::move(segments.resources), {},
                  std::move(segments.comment),   {}};
        if (!segments.xmpExtension.empty()) {
            OrNote("the extension of the XMP data is left out", notes,
                   [&] { blocks.xmp = JoinXmp(blocks.xmp, segments.xmpExtension); });
        }
    } else if (format == FileFormat::Tiff) {
        OrNote("the EXIF data is left out", notes, [&] { blocks.exif = ReadTiffExif(source); });
    } else if (format == FileFormat::Jxl) {
        JxlMetadata metadata = ReadJxlMetadata(source, notes);
        blocks.exif = std::move(metadata.exif);
        blocks.xmp = std::move(metadata.xmp);
    } else if (format == FileFormat::Gif) {
        const unsigned found = FindGifMetadata(source);
        for (const MetadataKind& kind : GetMetadataKinds())
            if ((found & kind.bit) != 0) notes.push_back(std::string(kind.text) + " cannot be read from GIF files");
    }
    vips_source_rewind(source.get_source());
    return blocks;
}

PictureMetadata::PictureMetadata(MetadataBlocks blocks, const vips::VImage& image, bool isTurned, bool isSrgb,
                                 Notes& notes)
    : blocks_(std::move(blocks)), xres_(image.xres()), yres_(image.yres()) {
    TakeFields(image);
    if (!blocks_.exif.empty() && FindExifBlock(blocks_.exif).empty())
        notes.push_back("the EXIF data is damaged and left out");
    blocks_.exif = FindExifBlock(blocks_.exif);
    blocks_.resources = CleanResources(blocks_.resources);
    if (isTurned) std::swap(xres_, yres_);
    MakeUpright(blocks_.exif, isTurned);
    MakeXmpUpright(blocks_.xmp);
    if (isSrgb) {
        SetSrgb(blocks_.exif);
        SetXmpSrgb(blocks_.xmp);
    }
    hasResolution_ = xres_ != kUnknownResolution || yres_ != kUnknownResolution;
}

// Only what was not found in the file itself.
void PictureMetadata::TakeFields(const vips::VImage& image) {
    VipsImage* raw = image.get_image();
    const auto take = [](std::string& block, std::string&& other) {
        if (block.empty()) block = std::move(other);
    };
    blocks_.icc = CopyBlob(raw, VIPS_META_ICC_NAME);
    ForEachField(image, [&](const std::string& name) {
        if (name.starts_with(kHeifItem)) {
            std::string item = CopyBlob(raw, name.c_str());
            if (IsXmp(item)) take(blocks_.xmp, std::move(item));
        } else if (name.starts_with(kPngText)) {
            const char* text = nullptr;
            const std::size_t dash = name.find('-', sizeof kPngText - 1);  // a number stands before it
            if (dash == std::string::npos || vips_image_get_string(raw, name.c_str(), &text) != 0) return;
            TakeText(name.substr(dash + 1), text);
        }
    });
    const bool isTiff = vips_image_get_typeof(raw, VIPS_META_PHOTOSHOP_NAME) != 0 ||
                        CopyBlob(raw, VIPS_META_IPTC_NAME).starts_with('\x1c');
    if (isTiff) {
        take(blocks_.resources,
             WrapIptc(CopyBlob(raw, VIPS_META_IPTC_NAME)) + WithoutIptc(CopyBlob(raw, VIPS_META_PHOTOSHOP_NAME)));
    }
    take(blocks_.exif, CopyBlob(raw, VIPS_META_EXIF_NAME));
    take(blocks_.xmp, CopyBlob(raw, VIPS_META_XMP_NAME));
}

void PictureMetadata::TakeText(const std::string& keyword, const std::string& text) {
    if (keyword == "Comment") {
        blocks_.comment += (blocks_.comment.empty() ? "" : "\n") + text;
    } else if (!keyword.starts_with(kRawProfile)) {
        blocks_.texts.emplace_back(keyword, text);
    } else {
        const std::string kind = keyword.substr(kRawProfile.size());
        std::string bytes = ParseRawProfile(text);
        if (kind == "exif" || kind == "APP1")
            (IsXmp(bytes) ? blocks_.xmp : blocks_.exif) = std::move(bytes);
        else if (kind == "iptc" || kind == "8bim")
            blocks_.resources += bytes.starts_with('\x1c') ? WrapIptc(bytes) : bytes;
        else if (kind == "xmp")
            blocks_.xmp = std::move(bytes);
    }
}

bool PictureMetadata::Has(MetadataKind::Bit kind) const {
    switch (kind) {
        case MetadataKind::Exif: return !blocks_.exif.empty();
        case MetadataKind::Xmp: return !blocks_.xmp.empty();
        case MetadataKind::Iptc: return !FindIptc(blocks_.resources).empty();
        case MetadataKind::Icc: return !blocks_.icc.empty();
        case MetadataKind::Resolution: return hasResolution_;
        case MetadataKind::Comment: return !blocks_.comment.empty();
    }
    return false;
}

std::string PictureMetadata::MakeExif(const vips::VImage& image, const FormatInfo& format, Notes& notes) const {
    std::string exif = blocks_.exif;
    SetSize(exif, static_cast<std::uint32_t>(image.width()), static_cast<std::uint32_t>(image.height()));
    const bool hasOwnResolution = format.format == FileFormat::Png || format.format == FileFormat::Tiff;
    if (hasResolution_ && !hasOwnResolution)
        AddResolution(exif, xres_ * kMillimetresInInch, yres_ * kMillimetresInInch);
    if (format.format == FileFormat::Jpeg && exif.size() > kMaxJpegExif) {
        exif = ShrinkExif(exif);
        notes.push_back("JPEG files hold 64 kilobytes of EXIF data; the largest tags are left out");
    }
    return exif;
}

void PictureMetadata::NoteTexts(const FormatInfo& format, Notes& notes) const {
    std::string keywords;
    for (const auto& [keyword, text] : blocks_.texts) {
        if (keyword.starts_with("date:"))
            continue;  // the dates of files on their way, which some programs leave behind
        keywords += (keywords.empty() ? "" : ", ") + keyword;
    }
    if (!keywords.empty())
        notes.push_back("the texts of the PNG file (" + keywords + ") cannot be kept in " + format.name + " files");
}

InsertedMetadata PictureMetadata::Attach(vips::VImage& image, const FormatInfo& format, Notes& notes) const {
    VipsImage* raw = image.get_image();
    for (const MetadataKind& kind : GetMetadataKinds()) {
        const bool isUsedUp = format.isSrgb && kind.bit == MetadataKind::Icc;
        if (Has(kind.bit) && (format.metadata & kind.bit) == 0 && !isUsedUp)
            notes.push_back(std::string(kind.text) + " cannot be kept in " + format.name + " files");
    }
    if (format.format != FileFormat::Png) NoteTexts(format, notes);
    const auto isKept = [&](MetadataKind::Bit kind) { return Has(kind) && (format.metadata & kind) != 0; };
    raw->Xres = hasResolution_ ? xres_ : kDefaultResolution;
    raw->Yres = hasResolution_ ? yres_ : kDefaultResolution;

    const bool isGray = image.bands() == 1;
    bool isSrgb = false;
    if (Has(MetadataKind::Icc) && (isKept(MetadataKind::Icc) || format.isSrgb)) {
        if (IsProfileFor(blocks_.icc, isGray)) {
            SetBlob(raw, VIPS_META_ICC_NAME, blocks_.icc);
            if (format.isSrgb) isSrgb = UseProfile(image, format, notes);
        } else {
            notes.push_back(std::string("the colour profile is not for ") + (isGray ? "grey" : "RGB") +
                            " pictures and cannot be kept");
        }
    }
    InsertedMetadata inserted;
    if (isKept(MetadataKind::Exif)) {
        OrNote("the EXIF data is too large for JPEG files", notes,
               [&] { inserted.exif = MakeExif(image, format, notes); });
        if (isSrgb) SetSrgb(inserted.exif);
    }
    if (isKept(MetadataKind::Xmp)) {
        std::string xmp = blocks_.xmp;
        if (isSrgb) SetXmpSrgb(xmp);
        SetXmpSize(xmp, static_cast<std::uint32_t>(image.width()), static_cast<std::uint32_t>(image.height()));
        if (format.format != FileFormat::Jpeg && format.format != FileFormat::Jxl) {
            SetBlob(image.get_image(), VIPS_META_XMP_NAME, xmp);
        } else if (format.format == FileFormat::Jxl || xmp.size() <= kMaxJpegXmp) {
            inserted.xmp.main = std::move(xmp);
        } else {
            OrNote("the XMP data is too large for JPEG files", notes,
                   [&] { inserted.xmp = DivideXmp(xmp, kMaxJpegXmp); });
        }
    }
    if ((format.metadata & MetadataKind::Iptc) != 0) inserted.resources = blocks_.resources;
    if (isKept(MetadataKind::Comment)) inserted.comment = blocks_.comment;
    if (format.format == FileFormat::Png) inserted.texts = blocks_.texts;
    return inserted;
}

void SetDefaultResolution(VipsImage* image) { image->Xres = image->Yres = kDefaultResolution; }

}  // namespace Orvexa::Io::Details
