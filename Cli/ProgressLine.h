// One line on the terminal that tells how far the work has come.
#pragma once

#include <string>

namespace Kalvatri {

/// A line behind stderr that is written over again and again; nothing where stderr is no terminal.
class ProgressLine {
public:
    explicit ProgressLine(bool isWanted);
    ~ProgressLine() { Clear(); }
    void Show(const std::string& text);
    /// Makes room for an ordinary line.
    void Clear();

private:
    bool isWanted_;
    std::string shown_;
};

}  // namespace Kalvatri
