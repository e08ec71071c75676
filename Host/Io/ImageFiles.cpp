#include "Host/Io/ImageFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/AddressSpace.h"
#include "Host/Core/Exception.h"
#include "Host/Io/ImageCodecs.h"
#include "Host/Io/PendingFile.h"
#include "Host/Io/RawDecoder.h"
#include "Host/Proc/Libraries.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Orvexa::Io {

namespace {

// What the codecs and the libraries under them take, in bytes of address space, stacks and heaps of threads included.
// Without memory some of them end the process by a segmentation fault, for example GLib's report that there is none.
constexpr std::uint64_t kLibraries = 144 << 20, kCodec = 64 << 20, kCodecPerPixel = 8;
constexpr std::uint64_t kVideoCodec = 448 << 20, kVideoCodecPerPixel = 48;  // of HEIF, AVIF and JPEG XL

ImageCodecs& Codecs() {
    static ImageCodecs& codecs = [&]() -> ImageCodecs& {
        Core::RequireAddressSpace(kLibraries + kCodec);
        return Proc::GetProvided<ImageCodecs>();
    }();
    return codecs;
}

void RequireMemoryToWrite(FileFormat format, const Proc::IDataVideo& frame) {
    const bool isVideo = format == FileFormat::Heic || format == FileFormat::Avif || format == FileFormat::Jxl;
    const std::uint64_t pixels = std::uint64_t{frame.GetFrameInfo().width} * frame.GetFrameInfo().height;
    Core::RequireAddressSpace(isVideo ? kVideoCodec + pixels * kVideoCodecPerPixel : kCodec + pixels * kCodecPerPixel);
}

// The frame in a format that can be written. The converter leaves the caller's frame alone and gives another.
Proc::FramePtr ToWritable(const Proc::FramePtr& frame, const Proc::FactoryPtr& factory) {
    if (IsWritable(frame->GetPixFmt())) return frame;
    if (factory == nullptr) Throw("Pixel format is not supported!");
    const bool hasAlpha = PixFmtDescription::Get(frame->GetPixFmt()).HasAlpha();
    Proc::OneInputPtr converter;
    factory->CreateOneInputEffect(converter, Proc::SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT, {});
    converter->SetSettings(Proc::SettingsColorspaceConverter(hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24, true));
    Proc::FramePtr converted = frame;
    converter->ProcessData(converted);
    return converted;
}

void CheckInput(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) Throw(std::strerror(errno));
    if (S_ISDIR(status.st_mode)) Throw("this is a folder, not a picture");
    if (S_ISREG(status.st_mode) && status.st_size == 0) Throw("the file is empty");
}

// RFC 3986: a scheme is a letter followed by letters, digits and a few marks.
bool IsUrl(const Core::ioPath& file) {
    const std::string name = file.string(), scheme = name.substr(0, name.find("://"));
    const auto belongs = [](unsigned char c) { return std::isalnum(c) != 0 || c == '+' || c == '-' || c == '.'; };
    return scheme.size() < name.size() && !scheme.empty() && std::isalpha(static_cast<unsigned char>(scheme[0])) != 0 &&
           std::all_of(scheme.begin(), scheme.end(), belongs);
}

// A file that is open for reading as long as the object lives.
class InputFile {
public:
    explicit InputFile(const Core::ioPath& file) : descriptor_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
        if (descriptor_ < 0) Throw(errno == ENOENT ? DescribeMissing(file) : std::strerror(errno));
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile() { close(descriptor_); }

    int GetDescriptor() const { return descriptor_; }

private:
    const int descriptor_;
};

void CheckQuality(const WriteOptions& options) {
    if (options.quality >= WriteOptions::kMinQuality && options.quality <= WriteOptions::kMaxQuality) return;
    Throw("the quality must be from " + std::to_string(WriteOptions::kMinQuality) + " to " +
          std::to_string(WriteOptions::kMaxQuality));
}

}  // namespace

const char* DescribeMissing(const Core::ioPath& file) {
    return IsUrl(file) ? "this is a URL; only files of this machine are read and written, nothing over the network"
                       : "the file does not exist";
}

FileFormat FindFormat(std::string_view suffix) {
    std::string name(suffix.substr(suffix.starts_with('.') ? 1 : 0));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::string known;
    for (const FormatInfo& info : GetFormats()) {
        for (const std::string_view candidate : info.suffixes) {
            if (candidate == name) return info.format;
            known += (known.empty() ? "" : ", ") + std::string(candidate);
        }
    }
    Throw((name.empty() ? "a suffix is missing that tells the file format"
                        : "\"" + name + "\" is not a known file format") +
          "; the formats are " + known);
}

bool CanReadRaw() {
    try {
        Proc::GetProvided<RawDecoder>();
        return true;
    } catch (const Proc::EffectException&) {
        return false;
    }
}

FormatSupport GetFormatSupport(FileFormat format) { return Codecs().GetSupport(format); }

bool IsWritable(PixFmt pixFmt) { return pixFmt == PixFmt::Gray8 || pixFmt == PixFmt::Rgb24 || pixFmt == PixFmt::Rgba; }

LoadedImage ReadImage(const Core::ioPath& file, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    return ReadImageFrom(InputFile(file).GetDescriptor(), allocator, options);
}

LoadedImage ReadImageFrom(int descriptor, const Proc::AllocatorPtr& allocator, const ReadOptions& options) {
    CheckInput(descriptor);
    return Codecs().Read(descriptor, allocator, options);
}

ImageSize ReadImageSize(const Core::ioPath& file, const ReadOptions& options) {
    const InputFile input(file);
    CheckInput(input.GetDescriptor());
    return Codecs().ReadSize(input.GetDescriptor(), options);
}

LoadedImage ReadImage(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                      const ReadOptions& options) {
    if (bytes.empty()) Throw("the file is empty");
    return Codecs().Read(bytes, allocator, options);
}

Notes WriteImage(const Core::ioPath& file, const Proc::FramePtr& frame, const WriteOptions& options,
                 const Proc::FactoryPtr& factory) {
    return WriteImage(file, FindFormat(file.extension().string()), frame, options, factory);
}

Notes WriteImage(const Core::ioPath& file, FileFormat format, const Proc::FramePtr& frame, const WriteOptions& options,
                 const Proc::FactoryPtr& factory) {
    CheckQuality(options);
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (std::filesystem::is_directory(status)) Throw("this is a folder, not a file");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        std::vector<std::uint8_t> bytes;
        Notes notes = EncodeImage(bytes, format, frame, options, factory);
        WriteInto(file, bytes.data(), bytes.size());
        return notes;
    }
    if (IsUrl(file) && !std::filesystem::is_directory(file.parent_path(), error)) Throw(DescribeMissing(file));
    RequireMemoryToWrite(format, *frame);
    PendingFile pending(file);
    Notes notes = Codecs().Write(pending.GetDescriptor(), format, ToWritable(frame, factory), options);
    pending.Commit();
    return notes;
}

Notes EncodeImage(std::vector<std::uint8_t>& bytes, FileFormat format, const Proc::FramePtr& frame,
                  const WriteOptions& options, const Proc::FactoryPtr& factory) {
    CheckQuality(options);
    RequireMemoryToWrite(format, *frame);
    return Codecs().Write(bytes, format, ToWritable(frame, factory), options);
}

}  // namespace Orvexa::Io
