#pragma once

namespace Orvexa::Core {

/// The processors that this process may run on, 1 or more.
int CountProcessors();

/// Sets how many threads one call of an effect may use, 1 or more: the imaging libraries' and those that effects start themselves. Without
/// it, one a processor. A program that runs several effects side by side gives each call one thread. Results do not depend on it.
void SetLibraryThreads(int threads);
/// The number of threads that one call of an effect may use, its caller's included.
int GetLibraryThreads();

}  // namespace Orvexa::Core
