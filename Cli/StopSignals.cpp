#include "Cli/StopSignals.h"

#include <cstdlib>
#include <iostream>

namespace Kalvatri {

StopSignals::StopSignals() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = [](int received) { seen = received; };
        sigaction(kSignals[i], &action, nullptr);
    }
}

StopSignals::~StopSignals() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before_[i], nullptr);
}

void EndBySignal(int signal, const std::string& text) {
    std::cerr << "kalvatri: " << text << '\n';
    std::cout.flush();
    constexpr int kSignalExitCode = 128;
    std::_Exit(kSignalExitCode + signal);
}

}  // namespace Kalvatri
