// The memory that pictures worked on side by side may take.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// Shares a number of bytes out among workers, which are told apart by numbers that the caller chooses. For one thread.
class MemoryBudget {
public:
    explicit MemoryBudget(std::uint64_t bytes) : limit_(bytes) {}

    /// Asks for `bytes` for `worker` in place of what it has. Requests are granted in the order in which they come, so
    /// that small ones do not keep a large one waiting for ever; one for more than the whole budget is granted when
    /// nobody else has a share.
    void Request(int worker, std::uint64_t bytes);
    /// Takes back what `worker` has or waits for.
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

/// The memory in bytes that a process needs to take a picture of `pixels` from a file through `chain` to a file: the
/// process itself, what the hungriest of decoding, the steps (`SettingsClass::bytesPerPixel`) and encoding takes, and
/// the chain's further pictures, which have `furtherPixels` together and are held all the time.
std::uint64_t EstimateMemory(const Chain& chain, std::uint64_t pixels, std::uint64_t furtherPixels);

/// "512M" or "2G" in bytes: a whole number, then K, M, G or T for powers of 1024, or nothing. Anything else and 0 throw
/// `EffectException`.
std::uint64_t ParseMemory(const std::string& text);

/// Half of the machine's memory in bytes.
std::uint64_t GetDefaultMemory();

}  // namespace Kalvatri
