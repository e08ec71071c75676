#include "Cli/BatchBudget.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <string_view>

#include "Host/Core/Exception.h"

namespace Kalvatri {

void MemoryBudget::Request(int worker, std::uint64_t bytes) {
    Release(worker);
    waiting_.push_back({worker, bytes});
    GrantWhatFits();
}

void MemoryBudget::Release(int worker) {
    std::erase_if(waiting_, [&](const Wish& wish) { return wish.worker == worker; });
    std::erase(granted_, worker);
    if (const auto share = shares_.find(worker); share != shares_.end()) {
        taken_ -= share->second;
        shares_.erase(share);
    }
    GrantWhatFits();
}

void MemoryBudget::GrantWhatFits() {
    const auto fits = [&](std::uint64_t bytes) { return taken_ <= limit_ && bytes <= limit_ - taken_; };
    while (!waiting_.empty() && (shares_.empty() || fits(waiting_.front().bytes))) {
        const Wish wish = waiting_.front();
        waiting_.pop_front();
        taken_ += wish.bytes;
        shares_.emplace(wish.worker, wish.bytes);
        granted_.push_back(wish.worker);
    }
}

std::uint64_t EstimateMemory(const Chain& chain, std::uint64_t pixels, std::uint64_t furtherPixels) {
    constexpr std::uint64_t kProcessBytes = std::uint64_t{80}
                                            << 20;  // libraries and other memory that does not depend on the picture
    constexpr double kCodecBytesPerPixel =
        12;  // 4 for the picture, plus the coefficients of a progressive JPEG or the planes of a HEIC file
    constexpr std::uint64_t kFurtherBytesPerPixel = 5;  // as read, and as converted for the step
    double most = kCodecBytesPerPixel * static_cast<double>(pixels);
    for (const Step& step : chain) {
        const std::uint64_t result = step.settings->GetResultPixels(pixels);
        most = std::max(most, step.effect->settings->bytesPerPixel * static_cast<double>(std::max(pixels, result)));
        pixels = result;
    }
    most = std::max(most, kCodecBytesPerPixel * static_cast<double>(pixels));
    return kProcessBytes + static_cast<std::uint64_t>(most) + kFurtherBytesPerPixel * furtherPixels;
}

std::uint64_t ParseMemory(const std::string& text) {
    constexpr std::string_view kUnits = "KMGT";
    std::uint64_t bytes = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, bytes);
    std::size_t shift = 0;
    bool isValid = error == std::errc() && bytes > 0 && last - end <= 1;
    if (isValid && end != last) {
        const std::size_t unit = kUnits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(*end))));
        isValid = unit != std::string_view::npos;
        shift = 10 * (unit + 1);
    }
    if (!isValid || bytes > std::numeric_limits<std::uint64_t>::max() >> shift)
        Orvexa::Throw("\"" + text + "\" is not an amount of memory such as 512M or 2G");
    return bytes << shift;
}

std::uint64_t GetDefaultMemory() {
    const auto pages = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)),
               size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return pages * size / 2;
}

}  // namespace Kalvatri
