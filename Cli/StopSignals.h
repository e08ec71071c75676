// Signals that ask the program to end.
#pragma once

#include <csignal>
#include <iterator>
#include <string>

namespace Kalvatri {

/// Lets no signal that ends the process leave incomplete files behind, as far as it can be caught.
void RemoveIncompleteFilesOnSignals();

/// Interrupt, terminate and hang-up are noted instead of obeyed as long as the object lives, unless they are ignored,
/// as in the background.
class StopSignals {
public:
    StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals();

    int GetSeen() const { return seen; }  ///< the last signal; 0 for none

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    static inline volatile std::sig_atomic_t seen = 0;
    struct sigaction before_[std::size(kSignals)]{};
};

/// Says `text` and ends the process from among its working threads, which cannot be stopped in the middle of an effect;
/// their incomplete files must have been abandoned. The exit code is that of a process that `signal` ended: 130 for an
/// interrupt.
[[noreturn]] void EndBySignal(int signal, const std::string& text);

}  // namespace Kalvatri
