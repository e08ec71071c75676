// The interface of the neural network library.
#pragma once

#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Neural {

class NeuralRuntime {
public:
    static constexpr char kLibrary[] = "libOrvexaNeural.so", kFunction[] = "GetNeuralRuntime";

    virtual ~NeuralRuntime() = default;
    virtual std::shared_ptr<NeuralBase> Create(NeuralType type, const Core::ioPath& modelsRoot) = 0;
};

}  // namespace Orvexa::Proc::Neural
