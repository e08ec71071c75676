// The second and further pictures that steps of a batch's chain take; all workers share them.
#pragma once

#include <vector>

#include "Cli/BatchWorker.h"
#include "Cli/StopSignals.h"

namespace Kalvatri {

std::vector<Orvexa::Core::ioPath> GetFurtherFiles(const Chain& chain);

/// Reads them into `work`, by a process of its own: this one uses no codec, because codecs start threads, and workers
/// are made by `fork`. Returns early once a signal has been seen. A picture that cannot be read throws `CommandError`.
void ReadFurtherPictures(BatchWork& work, const StopSignals& signals);

}  // namespace Kalvatri
