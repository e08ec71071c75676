// What the worker processes of a batch do, and what they say to their parent about it.
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

/// Everything that stays the same for all pictures. Workers have it from their parent, as it was when they were
/// started.
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
    std::size_t picture = 0;    ///< index into the plan's
    std::string error, origin;  ///< empty if the output was written; the origin is for developers, several lines
    double seconds = 0;         ///< since the picture had its memory
    Orvexa::Io::Notes inputNotes, outputNotes;
};

/// From a parent to its worker: work on a picture. One of up to `grantedPixels` may be read at once; for a larger one
/// the worker first sends a `MemoryRequest`.
struct Assignment {
    std::size_t picture;
    std::uint64_t grantedPixels;
};
Json ToMessage(const Assignment& assignment);
/// From a worker to its parent: the size of the picture in its file's header.
Json ToMemoryRequest(std::uint64_t pixels);
/// From a parent to its worker: whether it may go on, or must wait for the next such message and meanwhile hold no
/// memory.
Json ToMemoryAnswer(bool isGranted);
Json ToMessage(const BatchReport& report);

/// What a worker's message is: a request's number of pixels, or a report.
std::optional<std::uint64_t> AsMemoryRequest(const Json& message);
BatchReport AsReport(const Json& message);

/// The work of a worker: what its parent assigns, picture after picture. `hasPeers` tells that others work beside it.
void WorkOnPictures(Channel& parent, const BatchWork& work, const std::vector<BatchItem>& items, bool hasPeers);

}  // namespace Kalvatri
