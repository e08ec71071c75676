// A progress line on the terminal.
#pragma once

#include <string>

namespace Kalvatri {

/// A line on stderr that is overwritten repeatedly; does nothing if stderr is not a terminal.
class ProgressLine {
public:
    explicit ProgressLine(bool isWanted);
    ~ProgressLine() { Clear(); }
    void Show(const std::string& text);
    /// Clears the line so that ordinary output can follow.
    void Clear();

private:
    bool isWanted_;
    std::string shown_;
};

}  // namespace Kalvatri
