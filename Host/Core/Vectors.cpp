#include "Host/Core/Vectors.h"

#include <hwy/targets.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace Orvexa::Core {

void ChooseVectors() {
    [[maybe_unused]] static const bool isChosen = [] {
        const char* const choice = std::getenv("ORVEXA_VECTORS");
        if (choice != nullptr && std::string_view(choice) == "baseline") hwy::DisableTargets(~std::int64_t{0});
        return true;
    }();
}

}  // namespace Orvexa::Core
