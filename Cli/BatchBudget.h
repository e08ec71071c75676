// The memory that pictures processed in parallel may take.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// Divides a number of bytes among workers, which are identified by numbers that the caller chooses. Not thread safe.
class MemoryBudget {
public:
    explicit MemoryBudget(std::uint64_t bytes) : limit_(bytes) {}

    /// Requests `bytes` for `worker`, replacing its current share. Requests are granted in the order in which they
    /// arrive, so that small ones cannot starve a large one; one that exceeds the whole budget is granted when nobody
    /// else has a share.
    void Request(int worker, std::uint64_t bytes);
    /// Releases the share that `worker` has or is waiting for.
    void Release(int worker);

    /// The workers whose requests have been granted since the last call.
    std::vector<int> TakeGranted() { return std::exchange(granted_, {}); }
    bool IsAnyoneWaiting() const { return !waiting_.empty(); }

private:
    struct Wish {
        int worker;
        std::uint64_t bytes;
    };
    void GrantWhatFits();

    const std::uint64_t limit_;
    std::uint64_t taken_ = 0;
    std::map<int, std::uint64_t> shares_;
    std::deque<Wish> waiting_;
    std::vector<int> granted_;
};

/// The memory in bytes that a process needs to take a picture of `pixels` from file to file through `chain`: the
/// process itself, the maximum over decoding, the steps (`SettingsClass::bytesPerPixel`) and encoding, and the chain's
/// further pictures, which total `furtherPixels` and are held throughout.
std::uint64_t EstimateMemory(const Chain& chain, std::uint64_t pixels, std::uint64_t furtherPixels);

/// Parses "512M" or "2G" to bytes: a whole number, optionally followed by K, M, G or T for powers of 1024. Anything
/// else, and 0, throws `EffectException`.
std::uint64_t ParseMemory(const std::string& text);

/// Half of the machine's memory in bytes.
std::uint64_t GetDefaultMemory();

}  // namespace Kalvatri
