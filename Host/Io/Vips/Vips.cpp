#include "Host/Io/Vips/Vips.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <string_view>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Io/ImageCodecs.h"

namespace Orvexa::Io {

namespace Details {

namespace {

thread_local unsigned warningCount = 0;
thread_local std::string lastWarning;  // of the present call

std::mutex turn;  // taken on the way to `calls`, so that a call which waits to run alone is not overtaken for ever
std::shared_mutex calls;  // shared by calls that run side by side
bool isAlone = false;     // guarded by `calls`

constexpr int kSerial = 1;  // decoding and encoding are serial; more threads only take memory

class NotAlone : public std::exception {};

void KeepWarning(const gchar*, GLogLevelFlags, const gchar* text, gpointer) {
    ++warningCount;
    constexpr std::string_view kConsequence = "error in tile";  // comes after the warning that says why
    if (!std::string_view(text).starts_with(kConsequence)) lastWarning = text;
}

// GLib ends the process after this. It does so only where it gets no memory.
void SayFatal(const gchar*, GLogLevelFlags, const gchar*, gpointer) {
    constexpr std::string_view kText = "kalvatri: not enough memory\n";
    (void)!write(STDERR_FILENO, kText.data(), kText.size());
}

}  // namespace

void StartVips() {
    static std::once_flag once;
    std::call_once(once, [] {
        g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_RECURSION), KeepWarning,
                          nullptr);
        g_log_set_handler("GLib",
                          static_cast<GLogLevelFlags>(G_LOG_LEVEL_ERROR | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
                          SayFatal, nullptr);
        if (vips_init("kalvatri") != 0)
            Throw(std::string("the image library cannot be started: ") + vips_error_buffer());
        std::atexit(vips_shutdown);
        vips_cache_set_max(0);  // a file that was rewritten must not be answered from memory
        vips_concurrency_set(kSerial);
        vips_pipe_read_limit_set(-1);  // ByteSource has its own
    });
}

// The codec asks once, when it starts. That another picture's, which starts meanwhile, may use threads, too, changes no
// byte.
ThreadsForCodec::ThreadsForCodec() { vips_concurrency_set(Core::GetLibraryThreads()); }
ThreadsForCodec::~ThreadsForCodec() { vips_concurrency_set(kSerial); }

// The GNU C library lets `stderr` be set like any other variable; elsewhere the codec's words are printed.
#ifdef __GLIBC__
namespace {

std::mutex silence;
unsigned silentCount = 0;         // guarded by `silence`, as is the next
std::FILE* keptStderr = nullptr;  // while something is silent

}  // namespace

SilentCodec::SilentCodec() {
    static std::FILE* const nowhere = std::fopen("/dev/null", "we");
    const std::lock_guard lock(silence);
    if (silentCount++ > 0) return;
    keptStderr = stderr;
    if (nowhere != nullptr) stderr = nowhere;
}
SilentCodec::~SilentCodec() {
    const std::lock_guard lock(silence);
    if (--silentCount == 0) stderr = keptStderr;
}
#else
SilentCodec::SilentCodec() = default;
SilentCodec::~SilentCodec() = default;
#endif

ErrorGuard::SideBySide::SideBySide() {
    const std::lock_guard fair(turn);
    calls.lock_shared();
    lastWarning.clear();
}
ErrorGuard::SideBySide::~SideBySide() { calls.unlock_shared(); }

ErrorGuard::Alone::Alone() {
    const std::lock_guard fair(turn);
    calls.lock();
    isAlone = true;
    vips_error_clear();
    lastWarning.clear();
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

std::string TakeVipsError() {
    ErrorGuard::NeedOwnErrors();
    // One line an error, the first is the cause; each begins with the name of an operation. A failed system call comes
    // as a line "unix error: reason" and says most.
    constexpr std::string_view kSystemError = "unix error: ", kBadSeek = "bad seek to", kPngError = "libpng read error",
                               kNoName = "source input: ";
    std::string text;
    std::istringstream lines(vips_error_buffer());
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kSystemError)) {
            text = line.substr(kSystemError.size());
            break;
        }
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos) line.erase(0, colon + 2);
        if (line.starts_with(kNoName)) line.erase(0, kNoName.size());
        // Loaders try where a file ends; what they say after that is the error.
        if (text.empty() || text.starts_with(kBadSeek)) text = line;
    }
    vips_error_clear();
    if (text.starts_with(kBadSeek)) text = "it ends too early";
    // The PNG loader says what is wrong in warnings only.
    if ((text.empty() || text == kPngError) && !lastWarning.empty()) text = lastWarning;
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

    LoadedImage Read(int descriptor, const Proc::AllocatorPtr& allocator, const ReadOptions& options) override {
        return Read(Details::ByteSource(descriptor, options), allocator, options);
    }
    LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                     const ReadOptions& options) override {
        return Read(Details::ByteSource(bytes), allocator, options);
    }
    ImageSize ReadSize(int descriptor, const ReadOptions& options) override {
        Details::ByteSource bytes(descriptor, options);
        return Guarded([&] { return Details::ReadVipsSize(bytes, options); }, bytes.IsRepeatable());
    }
    Notes Write(int descriptor, FileFormat format, const Proc::ConstFramePtr& frame,
                const WriteOptions& options) override {
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

private:
    static LoadedImage Read(Details::ByteSource bytes, const Proc::AllocatorPtr& allocator,
                            const ReadOptions& options) {
        return Guarded([&] { return Details::ReadVips(bytes, allocator, options); }, bytes.IsRepeatable());
    }
};

}  // namespace

}  // namespace Orvexa::Io

extern "C" __attribute__((visibility("default"))) Orvexa::Io::ImageCodecs& GetImageCodecs() {
    static Orvexa::Io::VipsCodecs codecs;
    return codecs;
}
