// Signals that ask the program to end.
#pragma once

#include <csignal>
#include <iterator>
#include <string>

namespace Kalvatri {

/// Ensures that no catchable signal that ends the process leaves incomplete files behind.
void RemoveIncompleteFilesOnSignals();

/// During the object's lifetime, interrupt, terminate and hang-up signals are recorded instead of ending the process,
/// unless they are ignored, as for background jobs.
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

/// Prints `text` and ends the process while its worker threads are still running, since they cannot be stopped in the
/// middle of an effect; their incomplete files must have been abandoned. The exit code is that of a process ended by
/// `signal`: 130 for an interrupt.
[[noreturn]] void EndBySignal(int signal, const std::string& text);

}  // namespace Kalvatri
