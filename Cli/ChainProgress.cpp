#include "Cli/ChainProgress.h"

#include <algorithm>

namespace Kalvatri {

namespace {

constexpr std::uint64_t kUnits = 100;  // of the bar, per picture

}  // namespace

std::string FormatBar(const std::string& stage, std::uint64_t done, std::uint64_t total) {
    constexpr std::uint64_t kCells = 20, kPercent = 100;
    const std::uint64_t part = std::min(done, total), whole = std::max<std::uint64_t>(total, 1);
    const std::uint64_t filled = part * kCells / whole;
    return stage + " [" + std::string(filled, '#') + std::string(kCells - filled, '.') + "] " +
           std::to_string(part * kPercent / whole) + " %";
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

SharedProgress::SharedProgress(Orvexa::Core::ProgressPtr whole, std::size_t pictures, std::size_t steps)
    : whole_(std::move(whole)), steps_(steps) {
    if (whole_ != nullptr) whole_->SetTotal(pictures * kUnits);
}

void SharedProgress::Part::SetTotal(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    done_ = 0;
    total_ = steps;
}

void SharedProgress::Part::Step(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    done_ = std::min(done_ + steps, total_);
    Report();
}

void SharedProgress::Part::FinishStep() {
    const std::lock_guard lock(mutex_);
    ++finished_;
    done_ = total_ = 0;
    Report();
}

// Never moves backwards: an effect may announce a new total for its next stage.
void SharedProgress::Part::Report() {
    const std::uint64_t unit = std::max<std::uint64_t>(total_, 1);
    const std::uint64_t reached = kUnits * (finished_ * unit + done_) / (steps_ * unit);
    if (whole_ == nullptr || reached <= reported_) return;
    whole_->Step(reached - reported_);
    reported_ = reached;
}

}  // namespace Kalvatri
