#include "Cli/ProgressLine.h"

#include <unistd.h>

#include <iostream>

namespace Kalvatri {

ProgressLine::ProgressLine(bool isWanted) : isWanted_(isWanted && isatty(STDERR_FILENO) != 0) {}

void ProgressLine::Show(const std::string& text) {
    if (!isWanted_ || text == shown_) return;
    std::cerr << "\r\x1b[K" << text << std::flush;
    shown_ = text;
}

void ProgressLine::Clear() {
    if (shown_.empty()) return;
    std::cerr << "\r\x1b[K" << std::flush;
    shown_.clear();
}

}  // namespace Kalvatri
