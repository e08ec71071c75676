#include "Host/Io/Vips/Vips.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string_view>

#include "Host/Core/Exception.h"
#include "Host/Io/ImageCodecs.h"

namespace Orvexa::Io {

namespace Details {

namespace {

std::atomic<unsigned> warningCount{0};
thread_local unsigned ownWarningCount = 0;

std::mutex turn;          // taken on the way to `calls`, so that a call which waits to run alone is not overtaken for ever
std::shared_mutex calls;  // shared by calls that run side by side
bool isAlone = false;     // guarded by `calls`

class NotAlone : public std::exception {};

}  // namespace

void StartVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (vips_init("kalvatri") != 0) Throw(std::string("the image library cannot be started: ") + vips_error_buffer());
        std::atexit(vips_shutdown);
        vips_cache_set_max(0);    // a file that was rewritten must not be answered from memory
        vips_concurrency_set(1);  // decoding and encoding are serial; more threads only take memory
        const auto countWarning = [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {
            ++warningCount;
            ++ownWarningCount;
        };
        g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION), countWarning, nullptr);
    });
}

ErrorGuard::SideBySide::SideBySide() {
    const std::lock_guard fair(turn);
    calls.lock_shared();
}
ErrorGuard::SideBySide::~SideBySide() { calls.unlock_shared(); }

ErrorGuard::Alone::Alone() {
    const std::lock_guard fair(turn);
    calls.lock();
    isAlone = true;
    vips_error_clear();
}
ErrorGuard::Alone::~Alone() {
    vips_error_clear();
    isAlone = false;
    calls.unlock();
}

void ErrorGuard::NeedOwnErrors() {
    if (!isAlone) throw NotAlone();
}

bool HasVipsError() { return *vips_error_buffer() != '\0'; }

unsigned GetWarningCount() { return warningCount; }
unsigned GetOwnWarningCount() { return ownWarningCount; }

std::string TakeVipsError() {
    ErrorGuard::NeedOwnErrors();
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

template <class Call>
auto Guarded(Call&& call, bool isRepeatable = true) {
    const auto told = [&] {
        try {
            return call();
        } catch (const vips::VError&) {
            Throw(Details::TakeVipsError());
        }
    };
    return isRepeatable ? Details::ErrorGuard::Run(told) : Details::ErrorGuard::RunAlone(told);
}

class VipsCodecs final : public ImageCodecs {
public:
    VipsCodecs() { Details::StartVips(); }

    LoadedImage Read(const Core::ioPath& file, const Proc::AllocatorPtr& allocator, const ReadOptions& options) override {
        const auto read = [&] { return Details::ReadVips(vips::VSource::new_from_file(file.c_str()), allocator, options); };
        return Guarded(read, std::filesystem::is_regular_file(file));
    }
    LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator, const ReadOptions& options) override {
        return Guarded([&] { return Details::ReadVips(vips::VSource::new_from_memory(bytes.data(), bytes.size()), allocator, options); });
    }
    ImageSize ReadSize(const Core::ioPath& file, const ReadOptions& options) override {
        return Guarded([&] { return Details::ReadVipsSize(vips::VSource::new_from_file(file.c_str()), options); },
                       std::filesystem::is_regular_file(file));
    }
    Notes Write(int descriptor, FileFormat format, const Proc::ConstFramePtr& frame, const WriteOptions& options) override {
        return Guarded([&] {
            // What a failed attempt has written goes.
            if (ftruncate(descriptor, 0) != 0) Throw(std::strerror(errno));
            Details::FileOutput output(descriptor);
            return Details::WriteVips(output, format, frame, options);
        });
    }
    Notes Write(std::vector<std::uint8_t>& bytes, FileFormat format, const Proc::ConstFramePtr& frame,
                const WriteOptions& options) override {
        return Guarded([&] {
            bytes.clear();
            Details::MemoryOutput output(bytes);
            return Details::WriteVips(output, format, frame, options);
        });
    }
    FormatSupport GetSupport(FileFormat format) override {
        return Details::ErrorGuard::RunAlone([&] { return Details::TryFormat(format); });
    }
};

}  // namespace

}  // namespace Orvexa::Io

extern "C" __attribute__((visibility("default"))) Orvexa::Io::ImageCodecs& GetImageCodecs() {
    static Orvexa::Io::VipsCodecs codecs;
    return codecs;
}
