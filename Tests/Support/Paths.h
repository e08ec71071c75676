// Where the tests find what is beside them.
#pragma once

#include <string>

namespace Orvexa::Test {

/// The root of the source tree.
extern const char* const kSourceDirectory;
/// Programs and modules of the build tree.
extern const char *const kKalvatri, *const kDiamondVignette, *const kEndsProcess;

inline std::string SourcePath(const std::string& path) { return std::string(kSourceDirectory) + "/" + path; }

}  // namespace Orvexa::Test
