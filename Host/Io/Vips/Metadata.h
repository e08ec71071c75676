// The metadata of a picture on its way from file to file.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Host/Io/Vips/Containers.h"

namespace Orvexa::Io::Details {

/// Each kind of metadata as the bytes that files hold.
struct MetadataBlocks {
    std::string exif;       ///< from the header of its TIFF structure on
    std::string xmp;        ///< one packet
    std::string resources;  ///< Photoshop's image resources, IPTC records among them
    std::string icc;
    std::string comment;
    std::vector<std::pair<std::string, std::string>> texts;  ///< other texts of PNG files, by their keywords
};

/// Reads what libvips does not, or changes, before it opens the source, which is then at its beginning again.
MetadataBlocks ReadMetadataBlocks(vips::VSource& source, FileFormat format, Notes& notes);

class PictureMetadata final : public ImageMetadata {
public:
    /// Takes what is in `blocks` and the rest from the fields of `image`, whose orientation is about to be applied.
    /// `isTurned` tells that this swaps its sides, `isSrgb` that its colours were converted to sRGB. Says in `notes`
    /// what is damaged.
    PictureMetadata(MetadataBlocks blocks, const vips::VImage& image, bool isTurned, bool isSrgb, Notes& notes);

    bool Has(MetadataKind::Bit kind) const override;
    /// Sets what libvips writes on `image`, which is to be saved in a format, and returns what has to be inserted into
    /// the file. Says in `notes` what the format cannot hold. For a format without profiles the image becomes one whose
    /// colours are converted to sRGB.
    InsertedMetadata Attach(vips::VImage& image, const FormatInfo& format, Notes& notes) const;

private:
    void TakeFields(const vips::VImage& image);
    void TakeText(const std::string& keyword, const std::string& text);
    void NoteTexts(const FormatInfo& format, Notes& notes) const;
    std::string MakeExif(const vips::VImage& image, const FormatInfo& format, Notes& notes) const;

    MetadataBlocks blocks_;
    double xres_, yres_;  // pixels per millimetre
    bool hasResolution_;
};

/// Sets the resolution that a picture has which nothing is known of.
void SetDefaultResolution(VipsImage* image);

}  // namespace Orvexa::Io::Details
