// The sub-effects in this library.
#pragma once

#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc::Neural {

OneInputCreator CreateFaceDetection, CreateFaceRecognitionTrainer, CreateNeuralFragmentor, CreateNeuralProcessor;

}  // namespace Orvexa::Proc::Neural
