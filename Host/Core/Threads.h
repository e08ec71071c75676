#pragma once

namespace Orvexa::Core {

/// Sets how many threads the imaging libraries below the host may use for one call, 1 or more; without it, one a processor. A program that
/// runs several effects side by side gives each call one thread. Results do not depend on it.
void SetLibraryThreads(int threads);

}  // namespace Orvexa::Core
