// Data shared by the processes of a preview.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Cli/Catalogue.h"
#include "Cli/Commands.h"
#include "Host/Proc/PixelPool.h"

namespace Kalvatri {

struct PreviewWork {
    const PreviewOptions& options;
    const Catalogue& catalogue;
    Orvexa::Proc::FactoryPtr factory;
    std::shared_ptr<Orvexa::Proc::PixelPool> pool;  ///< of the factory's allocator
    std::vector<std::string> photos;                ///< files
};

}  // namespace Kalvatri
