// Any bytes as an image file; what can be read is written, with its metadata, and read again.

#include <algorithm>
#include <numeric>

#include "Host/Core/Exception.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/VideoFrame.h"
#include "Tests/Fuzz/Fuzz.h"
#include "Tests/Support/Frames.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Proc;

constexpr std::uint64_t kMaxPixels = 1u << 14;  // small, for many inputs a second

void RequireOneLine(const Io::Notes& notes) {
    for (const std::string& note : notes) Fuzz::Require(note.find('\n') == std::string::npos, "a note is one line");
}

// In a format that the bytes choose, but those whose encoders are slow only for small pictures.
void WriteAndReadAgain(const Io::LoadedImage& image, std::size_t choice) {
    constexpr std::uint64_t kSlowPixels = 64 * 64;
    const FrameInfo& info = image.frame->GetFrameInfo();
    Io::FileFormat format = Io::GetFormats()[choice % Io::GetFormats().size()].format;
    const bool isSlow = format == Io::FileFormat::Heic || format == Io::FileFormat::Avif;
    if (isSlow && std::uint64_t{info.width} * info.height > kSlowPixels) format = Io::FileFormat::Jpeg;
    if (std::max(info.width, info.height) > Io::GetFormatInfo(format).maxSide) format = Io::FileFormat::Png;
    std::vector<std::uint8_t> bytes;
    RequireOneLine(Io::EncodeImage(bytes, format, image.frame, {.quality = 50, .metadata = image.metadata}, nullptr));
    const Io::LoadedImage again = Io::ReadImage(bytes, Test::TestAllocator());
    Fuzz::Require(again.frame->GetFrameInfo() == info, "what was written is read again");
}

void Read(std::span<const std::uint8_t> bytes, bool allowTruncated) {
    bool isRead = false;
    try {
        const Io::LoadedImage image =
            Io::ReadImage(bytes, Test::TestAllocator(), {.maxPixels = kMaxPixels, .allowTruncated = allowTruncated});
        const FrameInfo& info = image.frame->GetFrameInfo();
        Fuzz::Require(info.width > 0 && info.height > 0 && std::uint64_t{info.width} * info.height <= kMaxPixels,
                      "the size is within the limit");
        Fuzz::Require(Io::IsWritable(image.frame->GetPixFmt()), "what was read can be written");
        RequireOneLine(image.notes);
        // What cannot be written is a fault, unlike what cannot be read.
        isRead = true;
        WriteAndReadAgain(image, std::accumulate(bytes.begin(), bytes.end(), std::size_t{0}));
    } catch (const EffectException& exception) {
        if (isRead) std::fprintf(stderr, "%s\n", Describe(exception).c_str());
        Fuzz::Require(!isRead, "what was read can be written and read again");
        Fuzz::Require(Describe(exception).find('\n') == std::string::npos, "an error is one line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const bool allowTruncated : {false, true}) Read({data, size}, allowTruncated);
    return 0;
}
