#include "Host/Providers/Neural/NeuralEffects.h"

#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"

namespace Orvexa::Proc::Neural {

namespace {

template <class SettingsT>
void Add(IEffectFactory& factory, OneInputCreator* creator) {
    factory.RegisterOneInputEffect(SettingsT::CLASS_ID, ImplPhotoNames::OPENCV, creator, 0);
}

}  // namespace

}  // namespace Orvexa::Proc::Neural

extern "C" [[gnu::visibility("default")]] void RegisterProvider(Orvexa::Proc::IEffectFactory* factory) {
    using namespace Orvexa::Proc;
    Neural::Add<SettingsEffectDeepNeuralFragmentor>(*factory, Neural::CreateNeuralFragmentor);
    Neural::Add<SettingsEffectDeepNeuralProcessor>(*factory, Neural::CreateNeuralProcessor);
    Neural::Add<SettingsEffectFaceDetection>(*factory, Neural::CreateFaceDetection);
    Neural::Add<SettingsEffectFaceRecognitionTrainer>(*factory, Neural::CreateFaceRecognitionTrainer);
}
