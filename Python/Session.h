// What the module's functions share.
#pragma once

#include "Cli/Catalogue.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri::Python {

/// The effects, loaded with the first one that is asked for. They stay until the process ends.
struct Session {
    boost::intrusive_ptr<Orvexa::Proc::FrameAllocator> allocator;
    Orvexa::Proc::FactoryPtr factory;
    Catalogue catalogue;
};
const Session& GetSession();

}  // namespace Kalvatri::Python
