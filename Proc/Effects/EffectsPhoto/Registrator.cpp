// The module's entry: registers every effect with the host's factory, always in this order.

#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Host/Settings/Photo/SettingsEffectWhiteBalance.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {

OneInputCreator CreateBlurBokeh, CreateCreateVideo, CreateCustom, CreateEmptyEffect, CreateWhiteBalance;

namespace {

// One effect under its settings class, by the kind of its creator.
template <class SettingsT>
bool Add(IEffectFactory& factory, OneInputCreator* creator) {
    return factory.RegisterOneInputEffect(SettingsT::CLASS_ID, ImplNames::ORVEXA, creator, 0);
}
template <class SettingsT>
bool Add(IEffectFactory& factory, TwoInputCreator* creator) {
    return factory.RegisterTwoInputEffect(SettingsT::CLASS_ID, ImplNames::ORVEXA, creator, 0);
}
template <class SettingsT>
bool Add(IEffectFactory& factory, VarInputCreator* creator) {
    return factory.RegisterVarInputEffect(SettingsT::CLASS_ID, ImplNames::ORVEXA, creator, 0);
}

}  // namespace
}  // namespace Orvexa::Proc

/// Registers the module's effects; returns what the last registration returned.
extern "C" [[gnu::visibility("default")]] bool Registrator(Orvexa::Proc::IEffectFactory* factory) {
    using namespace Orvexa::Proc;
    Add<SettingsEffectBlurBokeh>(*factory, CreateBlurBokeh);
    Add<SettingsEffectCreateVideo>(*factory, CreateCreateVideo);
    Add<SettingsEffectCustom>(*factory, CreateCustom);
    Add<SettingsEffectEmpty>(*factory, CreateEmptyEffect);
    return Add<SettingsEffectWhiteBalance>(*factory, CreateWhiteBalance);
}
