// The table of the host's own sub-effects: the name of its creator and one row register a sub-effect.

#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Common/SettingsEffectPosterize.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

OneInputCreator CreateAlphaExtractor, CreateAperture, CreateColorspaceConverter, CreateExtraAlphaExtractor, CreatePad, CreatePosterize,
    CreateResizer, CreateSmartBlur;
TwoInputCreator CreateAlphaInserter, CreateImageBlender;

namespace {

template <class SettingsT>
void Add(IEffectFactory& factory, OneInputCreator* creator) {
    factory.RegisterOneInputEffect(SettingsT::CLASS_ID, ImplNames::HOST, creator, 0);
}
template <class SettingsT>
void Add(IEffectFactory& factory, TwoInputCreator* creator) {
    factory.RegisterTwoInputEffect(SettingsT::CLASS_ID, ImplNames::HOST, creator, 0);
}

}  // namespace

void RegisterHostEffects(IEffectFactory& factory) {
    Add<SettingsColorspaceConverter>(factory, CreateColorspaceConverter);
    Add<SettingsEffectAlphaExtractor>(factory, CreateAlphaExtractor);
    Add<SettingsEffectAlphaInserter>(factory, CreateAlphaInserter);
    Add<SettingsEffectExtraAlphaExtractor>(factory, CreateExtraAlphaExtractor);
    Add<SettingsEffectImageBlender>(factory, CreateImageBlender);
    Add<SettingsEffectPad>(factory, CreatePad);
    Add<SettingsEffectPosterize>(factory, CreatePosterize);
    Add<SettingsEffectSmartBlur>(factory, CreateSmartBlur);
    Add<SettingsEffectVideoGenerator>(factory, CreateAperture);
    Add<SettingsResizer>(factory, CreateResizer);
}

}  // namespace Orvexa::Proc
