// Names of neural networks and of their runtimes.
#pragma once

#include <cstdint>

namespace Orvexa::Proc::Neural {

/// The runtime of a network.
enum class ImplName : std::int32_t { Default = 0, OpenCv = 1 };

/// A network that maps a picture to a picture, by its number in the model manifest.
enum class ModelFileId : std::int32_t {};

}  // namespace Orvexa::Proc::Neural
