#include "Cli/ChainProgress.h"

#include <algorithm>

namespace Kalvatri {

std::string FormatBar(const std::string& stage, std::uint64_t done, std::uint64_t total) {
    constexpr std::uint64_t kCells = 20, kPercent = 100;
    const std::uint64_t part = std::min(done, total), whole = std::max<std::uint64_t>(total, 1);
    const std::uint64_t filled = part * kCells / whole;
    return stage + " [" + std::string(filled, '#') + std::string(kCells - filled, '.') + "] " + std::to_string(part * kPercent / whole) +
           " %";
}

void ChainProgress::SetStage(std::string_view name) {
    const std::lock_guard lock(mutex_);
    line_.Clear();
    stage_ = name;
    done_ = total_ = 0;
}

void ChainProgress::SetTotal(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    done_ = 0;
    total_ = steps;
    line_.Show(FormatBar(stage_, done_, total_));
}

void ChainProgress::Finish() {
    const std::lock_guard lock(mutex_);
    line_.Clear();
}

void ChainProgress::Step(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    done_ += steps;
    line_.Show(FormatBar(stage_, done_, total_));
}

}  // namespace Kalvatri
