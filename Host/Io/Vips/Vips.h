// What reading and writing share: the start of the library, its errors, its formats.
#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Host/Io/Vips/Output.h"
#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

/// Starts libvips once; call before anything else of it.
void StartVips();

/// While an object lives, codecs may use as many threads as effects. Of ours only that of JPEG XL gains by it.
struct ThreadsForCodec {
    ThreadsForCodec();
    ~ThreadsForCodec();
    ThreadsForCodec(const ThreadsForCodec&) = delete;
    ThreadsForCodec& operator=(const ThreadsForCodec&) = delete;
};

/// While an object lives, nothing is written through the C library's `stderr`: Debian's JPEG XL codec tells there, in
/// words for its developers, whatever is wrong with a file. The program's own messages go other ways.
struct SilentCodec {
    SilentCodec();
    ~SilentCodec();
    SilentCodec(const SilentCodec&) = delete;
    SilentCodec& operator=(const SilentCodec&) = delete;
};

/// Counts the warnings that libvips and the codecs below it gave in the calling thread; they are kept off stderr.
unsigned GetWarningCount();

/// Runs a call of the codecs. libvips has one error text for the whole process, into which every thread writes and
/// which sniffing at a file may clear. So calls run side by side only as long as nothing fails: one that throws is run
/// once more while no other runs.
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
    /// Call before reading libvips' error text; a call that does not run alone is then repeated by `Run` exclusively.
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

/// The operations that read and write a format.
struct VipsFormat {
    FileFormat format;
    const char *loader, *saver;
};
inline constexpr VipsFormat kVipsFormats[] = {
    {FileFormat::Jpeg, "jpegload_source", "jpegsave_target"}, {FileFormat::Png, "pngload_source", "pngsave_target"},
    {FileFormat::Webp, "webpload_source", "webpsave_target"}, {FileFormat::Tiff, "tiffload_source", "tiffsave_target"},
    {FileFormat::Heic, "heifload_source", "heifsave_target"}, {FileFormat::Avif, "heifload_source", "heifsave_target"},
    {FileFormat::Gif, "gifload_source", "gifsave_target"},    {FileFormat::Jxl, "jxlload_source", "jxlsave_target"},
};
constexpr const VipsFormat& GetVipsFormat(FileFormat format) {
    return *std::find_if(std::begin(kVipsFormats), std::end(kVipsFormats),
                         [&](const VipsFormat& known) { return known.format == format; });
}

ImageSize ReadVipsSize(ByteSource& bytes, const ReadOptions& options);
LoadedImage ReadVips(ByteSource& bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options);
/// `output` is empty.
Notes WriteVips(Output& output, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options);

/// Writes and reads a small picture.
FormatSupport TryFormat(FileFormat format);

}  // namespace Orvexa::Io::Details
