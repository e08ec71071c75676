#include "Tests/Support/Paths.h"

namespace Orvexa::Test {

const char* const kSourceDirectory = ORVEXA_SOURCE_DIR;
const char* const kKalvatri = KALVATRI_PROGRAM;
const char* const kDiamondVignette = DIAMOND_VIGNETTE_PROGRAM;
const char* const kEndsProcess = ORVEXA_ENDS_PROCESS;

}  // namespace Orvexa::Test
