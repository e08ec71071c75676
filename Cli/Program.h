#pragma once

#include <string>
#include <vector>

namespace Kalvatri {

/// Runs the program with the arguments that follow its name; prints errors to stderr and returns the exit code.
int RunProgram(const std::vector<std::string>& arguments);

}  // namespace Kalvatri
