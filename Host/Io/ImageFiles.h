// Image files to frames and back, with their metadata.
//
// The codecs live in a library that is loaded with the first picture. All functions may be called from several threads
// at once. A program that writes pictures should ignore SIGXFSZ, so that a file size limit is reported like a full disk
// instead of ending the process.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Io/Formats.h"
#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Io {

/// The format that a file name's suffix stands for, letter case ignored, with or without the dot. Suffixes that
/// `GetFormats` does not list throw `EffectException`.
FileFormat FindFormat(std::string_view suffix);

/// The metadata of a picture that was read, to be handed to the picture that is written: the kinds of
/// `GetMetadataKinds`, byte by byte except for what would be wrong of the new picture (orientation, size, preview
/// pictures).
class ImageMetadata {
public:
    virtual ~ImageMetadata() = default;
    virtual bool Has(MetadataKind::Bit kind) const = 0;
};
using MetadataPtr = std::shared_ptr<const ImageMetadata>;

/// What was lost on the way, one sentence each.
using Notes = std::vector<std::string>;

/// How camera raw files are developed.
struct RawOptions {
    static constexpr double kMinBrightness = 0.01, kMaxBrightness = 100;
    enum class WhiteBalance { Camera, Daylight, Auto };
    WhiteBalance whiteBalance = WhiteBalance::Camera;  ///< as the camera noted it, for daylight, or by the grey mean
    std::optional<double> brightness;  ///< a factor; without one, what makes one pixel in a hundred white
    bool operator==(const RawOptions&) const = default;
};

struct ReadOptions {
    std::uint64_t maxPixels = std::uint64_t{1} << 28;  ///< a larger picture is refused before memory is taken for it
    bool allowTruncated = false;                       ///< whether a damaged file is read as far as it goes
    bool toSrgb = false;  ///< whether a picture with a colour profile is converted to sRGB, losing the profile
    RawOptions raw = {};
};

/// The size of an upright picture in pixels.
struct ImageSize {
    std::uint32_t width = 0, height = 0;
    std::uint64_t GetPixels() const { return std::uint64_t{width} * height; }
};

struct LoadedImage {
    Proc::FramePtr frame;  ///< upright; `Gray8`, `Rgb24`, or `Rgba` for a picture with alpha
    MetadataPtr metadata;  ///< without the orientation, which is applied, and without preview pictures
    Notes notes;
};

struct WriteOptions {
    static constexpr int kMinQuality = 1, kMaxQuality = 100;
    int quality = 90;      ///< of the lossy formats
    MetadataPtr metadata;  ///< may be empty
};

/// Why a file that does not exist cannot be read or written: a name that looks like a URL is answered with a sentence
/// of its own.
const char* DescribeMissing(const Core::ioPath& file);

/// Reads a picture into a frame of `allocator`; of several pictures in a file, the first. Whatever prevents it throws
/// `EffectException`.
LoadedImage ReadImage(const Core::ioPath& file, const Proc::AllocatorPtr& allocator, const ReadOptions& options = {});
LoadedImage ReadImage(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                      const ReadOptions& options = {});
/// The same from an open file, pipe or device, from its present position on. A pipe or a device that goes on for longer
/// than a picture of `options.maxPixels` could need is refused.
LoadedImage ReadImageFrom(int descriptor, const Proc::AllocatorPtr& allocator, const ReadOptions& options = {});

/// Reads no more than a file's header where the format allows. Errors as `ReadImage`; success does not guarantee that
/// reading succeeds.
ImageSize ReadImageSize(const Core::ioPath& file, const ReadOptions& options = {});

/// Writes a frame in the format that the suffix of `file` stands for; it must be a format that `IsWritable` unless
/// `factory` is given, whose colour-space converter then brings it into one. The file appears when it is complete:
/// after a failure, which throws `EffectException`, an older file of that name is as it was.
Notes WriteImage(const Core::ioPath& file, const Proc::FramePtr& frame, const WriteOptions& options,
                 const Proc::FactoryPtr& factory);
/// The same in a given format.
Notes WriteImage(const Core::ioPath& file, FileFormat format, const Proc::FramePtr& frame, const WriteOptions& options,
                 const Proc::FactoryPtr& factory);
/// The same into memory.
Notes EncodeImage(std::vector<std::uint8_t>& bytes, FileFormat format, const Proc::FramePtr& frame,
                  const WriteOptions& options, const Proc::FactoryPtr& factory);

/// Whether pictures of this format are written as they are: `Gray8`, `Rgb24` and `Rgba`.
bool IsWritable(PixFmt pixFmt);

}  // namespace Orvexa::Io
