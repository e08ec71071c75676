#include "Host/Core/Threads.h"

#include <opencv2/core/utility.hpp>

namespace Orvexa::Core {

// The codecs and ImageMagick are held to one thread where they are started.
void SetLibraryThreads(int threads) { cv::setNumThreads(threads); }

}  // namespace Orvexa::Core
