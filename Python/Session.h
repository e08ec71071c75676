// State shared by the module's functions.
#pragma once

#include "Cli/Catalogue.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri::Python {

/// The effects, loaded on first use. They stay loaded until the process ends.
struct Session {
    boost::intrusive_ptr<Orvexa::Proc::FrameAllocator> allocator;
    Orvexa::Proc::FactoryPtr factory;
    Catalogue catalogue;
};
const Session& GetSession();

}  // namespace Kalvatri::Python
