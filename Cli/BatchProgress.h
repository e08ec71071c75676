// Progress and summary texts of a batch.
#pragma once

#include <cstddef>
#include <string>

namespace Kalvatri {

struct BatchTotals {
    std::size_t inputs = 0;
    std::size_t done = 0, skipped = 0, failed = 0;
    std::size_t existing = 0;         ///< the skipped ones whose output exists and must not be replaced
    std::size_t finishedAtStart = 0;  ///< before any work began
    double seconds = 0;               ///< since the work began

    std::size_t GetFinished() const { return done + skipped + failed; }
};

/// "45 s", "3 min 20 s" or "2 h 05 min".
std::string FormatDuration(double seconds);
/// "12 of 340, 3.4 files/s, 1 min 36 s left"; pictures that were finished at the start do not count for the speed.
std::string FormatProgress(const BatchTotals& totals);
/// "340 pictures: 300 done, 38 skipped (5 exist already), 2 failed in 1 min 40 s"
std::string FormatSummary(const BatchTotals& totals);

}  // namespace Kalvatri
