// Any bytes as an image file.

#include "Host/Core/Exception.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/VideoFrame.h"
#include "Tests/Fuzz/Fuzz.h"
#include "Tests/Support/Frames.h"

namespace {

using namespace Orvexa;
using namespace Orvexa::Proc;

constexpr std::uint64_t kMaxPixels = 1u << 14;  // small, for many inputs a second

void Read(std::span<const std::uint8_t> bytes, bool allowTruncated) {
    try {
        const Io::LoadedImage image =
            Io::ReadImage(bytes, Test::TestAllocator(), {.maxPixels = kMaxPixels, .allowTruncated = allowTruncated});
        const FrameInfo& info = image.frame->GetFrameInfo();
        Fuzz::Require(info.width > 0 && info.height > 0 && std::uint64_t{info.width} * info.height <= kMaxPixels,
                      "the size is within the limit");
        Fuzz::Require(Io::IsWritable(image.frame->GetPixFmt()), "what was read can be written");
    } catch (const EffectException& exception) {
        Fuzz::Require(Describe(exception).find('\n') == std::string::npos, "an error is one line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const bool allowTruncated : {false, true}) Read({data, size}, allowTruncated);
    return 0;
}
