// The memory that pictures worked on side by side may take.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "Cli/Chain.h"

namespace Kalvatri {

class MemoryBudget {
public:
    /// A part of the budget, given back with the object.
    class Share {
    public:
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share();

    private:
        friend MemoryBudget;
        Share(MemoryBudget& budget, std::uint64_t bytes) : budget_(budget), bytes_(bytes) {}
        MemoryBudget& budget_;
        const std::uint64_t bytes_;
    };

    explicit MemoryBudget(std::uint64_t bytes) : limit_(bytes) {}

    /// Waits until `bytes` fit into what is left; more than the whole budget fit when nothing else is taken. Requests are served in the
    /// order in which they come, so that small ones do not keep a large one waiting for ever.
    Share Take(std::uint64_t bytes);

private:
    const std::uint64_t limit_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t taken_ = 0, shares_ = 0;
    std::uint64_t nextTicket_ = 0, servedTickets_ = 0;
};

/// The memory in bytes that a process needs to take a picture of `pixels` from a file through `chain` to a file: the process itself, what
/// the hungriest of decoding, the steps (`SettingsClass::bytesPerPixel`) and encoding takes, and the chain's further pictures, which have
/// `furtherPixels` together and are held all the time.
std::uint64_t EstimateMemory(const Chain& chain, std::uint64_t pixels, std::uint64_t furtherPixels);

/// "512M" or "2G" in bytes: a whole number, then K, M, G or T for powers of 1024, or nothing. Anything else and 0 throw `EffectException`.
std::uint64_t ParseMemory(const std::string& text);

/// Half of the machine's memory in bytes.
std::uint64_t GetDefaultMemory();

}  // namespace Kalvatri
