#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCapacities.h"

#include <limits>
#include <string>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc::GridGraph {

namespace {

bool Overflows(Capacity capacity, Capacity opposite) {
    return capacity + opposite > std::numeric_limits<Capacity>::max();
}

}  // namespace

void Capacities::Check(std::uint32_t width, std::uint32_t height) const {
    const std::size_t pixels = std::size_t{width} * height;
    for (const auto* array : {&source, &sink, &left, &right, &up, &down}) {
        if (array->size() == pixels) continue;
        Throw("Capacities of " + std::to_string(array->size()) + " pixels were given for a graph of " +
              std::to_string(pixels));
    }
    bool overflows = false;
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t row = y * width;
        for (std::size_t p = row; p + 1 < row + width; ++p) overflows |= Overflows(right[p], left[p + 1]);
        if (y + 1 == height) break;
        for (std::size_t p = row; p < row + width; ++p) overflows |= Overflows(down[p], up[p + width]);
    }
    if (overflows) Throw("The capacities of two opposite edges must not add up to more than 65535");
}

}  // namespace Orvexa::Proc::GridGraph
