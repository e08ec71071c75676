// What reading and writing share: the start of the library, its errors, its formats.
#pragma once

#include <string>
#include <vector>
#include <vips/vips8>

#include "Host/Io/ImageFiles.h"
#include "Host/Io/Vips/Output.h"

namespace Orvexa::Io::Details {

/// Starts libvips once; call before anything else of it.
void StartVips();

/// Counts the warnings of libvips and the codecs below it, which are kept off stderr.
unsigned GetWarningCount();
/// Those of the calling thread.
unsigned GetOwnWarningCount();

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

/// Empties libvips' error buffer and gives what it said last, in one line. Needs own errors.
std::string TakeVipsError();

/// What reads and writes a format: the start of its loaders' names, and the operation that saves.
struct VipsFormat {
    FileFormat format;
    const char *loader, *saver;
};
inline constexpr VipsFormat kVipsFormats[] = {
    {FileFormat::Jpeg, "VipsForeignLoadJpeg", "jpegsave_target"}, {FileFormat::Png, "VipsForeignLoadPng", "pngsave_target"},
    {FileFormat::Webp, "VipsForeignLoadWebp", "webpsave_target"}, {FileFormat::Tiff, "VipsForeignLoadTiff", "tiffsave_target"},
    {FileFormat::Heic, "VipsForeignLoadHeif", "heifsave_target"}, {FileFormat::Avif, "VipsForeignLoadHeif", "heifsave_target"},
    {FileFormat::Gif, "VipsForeignLoadNsgif", "gifsave_target"},
};

ImageSize ReadVipsSize(vips::VSource source, const ReadOptions& options);
LoadedImage ReadVips(vips::VSource source, const Proc::AllocatorPtr& allocator, const ReadOptions& options);
/// `output` is empty.
Notes WriteVips(Output& output, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options);

/// Writes and reads a small picture.
FormatSupport TryFormat(FileFormat format);

}  // namespace Orvexa::Io::Details
