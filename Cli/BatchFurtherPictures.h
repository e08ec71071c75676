// The second and further pictures taken by the steps of a batch's chain; all workers share them.
#pragma once

#include <vector>

#include "Cli/BatchWorker.h"
#include "Cli/StopSignals.h"

namespace Kalvatri {

std::vector<Orvexa::Core::ioPath> GetFurtherFiles(const Chain& chain);

/// Reads them into `work` in a separate process: this process uses no codec, because codecs start threads and workers
/// are created by `fork`. Returns early once a signal has arrived. A picture that cannot be read throws `CommandError`.
void ReadFurtherPictures(BatchWork& work, const StopSignals& signals);

}  // namespace Kalvatri
