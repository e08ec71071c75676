#include "Cli/BatchProgress.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Kalvatri {

namespace {

template <class... Values>
std::string Format(const char* format, Values... values) {
    char text[96];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

}  // namespace

std::string FormatDuration(double seconds) {
    constexpr std::uint64_t kMinute = 60, kHour = 3600;
    constexpr double kLongest = 1e9;  // about 30 years, well within the range of the conversion
    const auto whole = static_cast<std::uint64_t>(std::ceil(std::fmin(std::fmax(seconds, 0.0), kLongest)));
    if (whole < kMinute) return std::to_string(whole) + " s";
    if (whole < kHour)
        return Format("%d min %02d s", static_cast<int>(whole / kMinute), static_cast<int>(whole % kMinute));
    return Format("%d h %02d min", static_cast<int>(whole / kHour), static_cast<int>(whole % kHour / kMinute));
}

std::string FormatProgress(const BatchTotals& totals) {
    std::string text = std::to_string(totals.GetFinished()) + " of " + std::to_string(totals.inputs);
    const std::size_t worked = totals.GetFinished() - totals.finishedAtStart;
    if (worked == 0 || !(totals.seconds > 0)) return text;
    const double rate = static_cast<double>(worked) / totals.seconds;
    text += Format(rate >= 10 ? ", %.0f files/s, " : rate >= 0.1 ? ", %.1f files/s, " : ", %.3f files/s, ", rate);
    return text + FormatDuration(static_cast<double>(totals.inputs - totals.GetFinished()) / rate) + " left";
}

std::string FormatSummary(const BatchTotals& totals) {
    std::string text = std::to_string(totals.inputs) + (totals.inputs == 1 ? " picture: " : " pictures: ") +
                       std::to_string(totals.done) + " done, " + std::to_string(totals.skipped) + " skipped";
    if (totals.existing > 0)
        text += " (" + std::to_string(totals.existing) + (totals.existing == 1 ? " exists" : " exist") + " already)";
    return text + ", " + std::to_string(totals.failed) + " failed in " + FormatDuration(totals.seconds);
}

}  // namespace Kalvatri
