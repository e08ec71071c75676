// What the library of neural networks offers.
#pragma once

#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Neural {

class NeuralRuntime {
public:
    virtual ~NeuralRuntime() = default;
    virtual std::shared_ptr<NeuralBase> Create(NeuralType type, const Core::ioPath& modelsRoot) = 0;
    virtual std::shared_ptr<NeuralBase> Create(ModelFileId id, const Core::ioPath& modelsRoot,
                                               const AllocatorPtr& allocator) = 0;
};

/// The type of the library's one function, whose result lives as long as the process.
using GetNeuralRuntimeFunction = NeuralRuntime&();
inline constexpr char kGetNeuralRuntime[] = "GetNeuralRuntime";
inline constexpr char kNeuralLibrary[] = "libOrvexaNeural.so";

}  // namespace Orvexa::Proc::Neural
