#include "Host/Io/Vips/Vips.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "Host/Core/Exception.h"
#include "Host/Io/ImageCodecs.h"

namespace Orvexa::Io {

namespace Details {

namespace {

std::atomic<unsigned> warningCount{0};

}  // namespace

void StartVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (vips_init("kalvatri") != 0) Throw("the image library cannot be started: " + TakeVipsError());
        std::atexit(vips_shutdown);
        vips_cache_set_max(0);    // a file that was rewritten must not be answered from memory
        vips_concurrency_set(1);  // decoding and encoding are serial; more threads only take memory
        const auto countWarning = [](const gchar*, GLogLevelFlags, const gchar*, gpointer) { ++warningCount; };
        g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION), countWarning, nullptr);
    });
}

unsigned GetWarningCount() { return warningCount; }

std::string TakeVipsError() {
    // One line an error, the first is the cause; each begins with the name of an operation. A failed system call comes as a
    // line "unix error: reason" and says most.
    std::string text = vips_error_buffer();
    vips_error_clear();
    constexpr std::string_view kSystemError = "unix error: ";
    const std::size_t system = text.find(kSystemError);
    if (system != std::string::npos) {
        text.erase(0, system + kSystemError.size());
    } else if (const std::size_t colon = text.find(": "); colon < text.find('\n')) {
        text.erase(0, colon + 2);
    }
    text.resize(std::min(text.find('\n'), text.size()));
    return text.empty() ? "unknown reason" : text;
}

}  // namespace Details

namespace {

class VipsCodecs final : public ImageCodecs {
public:
    VipsCodecs() { Details::StartVips(); }

    LoadedImage Read(const Core::ioPath& file, const Proc::AllocatorPtr& allocator, const ReadOptions& options) override {
        return Guarded([&] { return Details::ReadVips(vips::VSource::new_from_file(file.c_str()), allocator, options); });
    }
    LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options) override {
        return Guarded([&] { return Details::ReadVips(vips::VSource::new_from_memory(bytes.data(), bytes.size()), allocator, options); });
    }
    Notes Write(int descriptor, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options) override {
        return Guarded([&] { return Details::WriteVips(vips::VTarget::new_to_descriptor(descriptor), format, frame, options); });
    }
    Notes Write(std::vector<std::uint8_t>& bytes, FileFormat format, const Proc::ConstFramePtr& frame,
                const WriteOptions& options) override {
        return Guarded([&] {
            const vips::VTarget target = vips::VTarget::new_to_memory();
            Notes notes = Details::WriteVips(target, format, frame, options);
            VipsBlob* blob = nullptr;
            g_object_get(target.get_target(), "blob", &blob, nullptr);
            std::size_t size = 0;
            const auto* data = static_cast<const std::uint8_t*>(vips_blob_get(blob, &size));
            bytes.assign(data, data + size);
            vips_area_unref(VIPS_AREA(blob));
            return notes;
        });
    }

private:
    template <class Call>
    static auto Guarded(Call&& call) -> decltype(call()) {
        vips_error_clear();
        try {
            return call();
        } catch (const vips::VError&) {
            Throw(Details::TakeVipsError());
        }
    }
};

}  // namespace

}  // namespace Orvexa::Io

extern "C" __attribute__((visibility("default"))) Orvexa::Io::ImageCodecs& GetImageCodecs() {
    static Orvexa::Io::VipsCodecs codecs;
    return codecs;
}
