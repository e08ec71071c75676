// The worker processes of a batch, and the messages that they exchange with their parent.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Cli/BatchPlan.h"
#include "Cli/BatchProcess.h"
#include "Cli/Chain.h"
#include "Cli/Commands.h"
#include "Host/Core/Path.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/IEffectFactory.h"
#include "Host/Proc/PixelPool.h"

namespace Kalvatri {

/// Everything that is the same for all pictures. Workers inherit it from their parent in the state at their start.
struct BatchWork {
    const BatchOptions& options;
    const Chain& chain;
    Orvexa::Proc::FactoryPtr factory;
    std::shared_ptr<Orvexa::Proc::PixelPool> pool;  ///< of the factory's allocator
    Orvexa::Core::ioPath folder;
    std::map<Orvexa::Core::ioPath, Orvexa::Proc::ConstFramePtr> furtherPictures;  ///< by their names in the chain
    std::uint64_t furtherPixels = 0;
};

/// The outcome of one picture.
struct BatchReport {
    std::size_t picture = 0;    ///< index into the plan's items
    std::string error, origin;  ///< empty if the output was written; the origin is for developers, several lines
    double seconds = 0;         ///< since the picture was granted its memory
    Orvexa::Io::Notes inputNotes, outputNotes;
};

/// From a parent to its worker: process a picture. It may be read at once if it has up to `grantedPixels`; for a
/// larger one the worker first sends a `MemoryRequest`.
struct Assignment {
    std::size_t picture;
    std::uint64_t grantedPixels;
};
Json ToMessage(const Assignment& assignment);
/// From a worker to its parent: the size of the picture according to its file's header.
Json ToMemoryRequest(std::uint64_t pixels);
/// From a parent to its worker: whether it may proceed, or must hold no memory and wait for the next such message.
Json ToMemoryAnswer(bool isGranted);
Json ToMessage(const BatchReport& report);

/// Interprets a worker's message: the number of pixels of a request, or a report.
std::optional<std::uint64_t> AsMemoryRequest(const Json& message);
BatchReport AsReport(const Json& message);

/// The main loop of a worker: processes the pictures that its parent assigns. `hasPeers`: other workers run beside
/// it.
void WorkOnPictures(Channel& parent, const BatchWork& work, const std::vector<BatchItem>& items, bool hasPeers);

}  // namespace Kalvatri
