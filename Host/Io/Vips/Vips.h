// What reading and writing share: the start of the library, its errors, its metadata fields.
#pragma once

#include <string>
#include <vector>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

/// Starts libvips once; call before anything else of it.
void StartVips();

/// Counts the warnings that libvips and the codecs below it gave in the calling thread; they are kept off stderr.
unsigned GetWarningCount();

/// Runs a call of the codecs. libvips has one error text for the whole process, into which every thread writes and which sniffing at a file
/// may clear. So calls run side by side only as long as nothing fails: one that throws is run once more while no other runs.
class ErrorGuard {
public:
    template <class Call>
    static auto Run(Call&& call) {
        {
            const SideBySide others;
            try {
                return call();
            } catch (const std::exception&) {  // comes again
            }
        }
        return RunAlone(call);
    }
    /// For calls that cannot be repeated, such as those that read from a pipe.
    template <class Call>
    static auto RunAlone(Call&& call) {
        const Alone nobody;
        return call();
    }
    /// For what can be told only by the error text: makes `Run` repeat a call that does not run alone.
    static void NeedOwnErrors();

private:
    struct SideBySide {
        SideBySide();
        ~SideBySide();
    };
    struct Alone {
        Alone();
        ~Alone();
    };
};

/// Whether libvips' error buffer holds something; of any thread's unless the call runs alone.
bool HasVipsError();

/// Empties libvips' error buffer and gives the reason of the last failure, in one line. Needs own errors.
std::string TakeVipsError();

/// A kind of metadata and where libvips keeps it.
struct MetadataKind {
    enum Bit : unsigned { Exif = 1, Xmp = 2, Iptc = 4, Icc = 8, Resolution = 16 };
    Bit bit;
    const char* name;   ///< for people
    const char* field;  ///< null where it is no field of its own
};
inline constexpr MetadataKind kMetadataKinds[] = {
    {MetadataKind::Exif, "the EXIF data", VIPS_META_EXIF_NAME}, {MetadataKind::Xmp, "the XMP data", VIPS_META_XMP_NAME},
    {MetadataKind::Iptc, "the IPTC data", VIPS_META_IPTC_NAME}, {MetadataKind::Icc, "the colour profile", VIPS_META_ICC_NAME},
    {MetadataKind::Resolution, "the resolution", nullptr},
};

/// Metadata as the fields of an image without pixels. Read only once made, so several threads may write pictures with it.
class VipsMetadata : public ImageMetadata {
public:
    /// Takes the metadata of a picture whose orientation is about to be applied; `isTurned` tells that this swaps its sides.
    VipsMetadata(const vips::VImage& image, bool isTurned);

    bool Has(MetadataKind::Bit bit) const { return (kinds_ & bit) != 0; }
    /// Whether the colour profile is made for pictures in grey or in RGB; false without a profile.
    bool IsProfileFor(bool isGray) const;
    /// Sets the fields of the `kept` kinds and the resolution on `image`.
    void CopyTo(VipsImage* image, unsigned kept) const;

private:
    std::string_view GetBlob(const char* field) const;

    vips::VImage fields_;
    unsigned kinds_ = 0;
};

ImageSize ReadVipsSize(ByteSource& bytes, const ReadOptions& options);
LoadedImage ReadVips(ByteSource& bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options);
Notes WriteVips(vips::VTarget target, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options);

}  // namespace Orvexa::Io::Details
