// Names of neural networks and of what runs them.
#pragma once

#include <cstdint>

namespace Orvexa::Proc::Neural {

/// Which implementation runs a network.
enum class ImplName : std::int32_t { Default = 0, OpenCv = 1 };

/// A network that makes a picture of a picture, by its number in the manifest of models.
enum class ModelFileId : std::int32_t {};

}  // namespace Orvexa::Proc::Neural
