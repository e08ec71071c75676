#include "Cli/StopSignals.h"

#include <cstdlib>
#include <iostream>
#include <vector>

#include "Cli/Errors.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

void RemoveIncompleteFilesOnSignals() {
    // The signals of POSIX and Linux whose default action ends the process, except SIGKILL.
    std::vector<int> signals = {SIGHUP,  SIGINT,    SIGQUIT, SIGILL,  SIGTRAP, SIGABRT, SIGBUS,  SIGFPE,
                                SIGUSR1, SIGSEGV,   SIGUSR2, SIGPIPE, SIGALRM, SIGTERM, SIGXCPU, SIGSTKFLT,
                                SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO,   SIGPWR,  SIGSYS};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) signals.push_back(signal);
    for (const int signal : signals) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_DFL) continue;  // ignored, or handled by a sanitizer
        action.sa_handler = [](int received) {
            Orvexa::Io::PendingFile::AbandonAll();
            raise(received);  // takes effect when the handler returns
        };
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

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
    std::cerr << "kalvatri: " << ToLine(text) << '\n';
    std::cout.flush();
    constexpr int kSignalExitCode = 128;
    std::_Exit(kSignalExitCode + signal);
}

}  // namespace Kalvatri
