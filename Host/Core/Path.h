#pragma once

#include <filesystem>

namespace Orvexa::Core {

/// A location in the file system; empty or made from a string.
using ioPath = std::filesystem::path;

}  // namespace Orvexa::Core
