// The module's entry: registers every effect with the host's factory, always in this order.

#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"
#include "Host/Settings/Photo/SettingsEffectBlackWhite.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Host/Settings/Photo/SettingsEffectColorReduce.h"
#include "Host/Settings/Photo/SettingsEffectColoredGlass.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectCutter.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Host/Settings/Photo/SettingsEffectGradient.h"
#include "Host/Settings/Photo/SettingsEffectGradientPosterize.h"
#include "Host/Settings/Photo/SettingsEffectHistogram.h"
#include "Host/Settings/Photo/SettingsEffectImplode.h"
#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Host/Settings/Photo/SettingsEffectShapeMask.h"
#include "Host/Settings/Photo/SettingsEffectSketch.h"
#include "Host/Settings/Photo/SettingsEffectStitcher.h"
#include "Host/Settings/Photo/SettingsEffectTiltShift.h"
#include "Host/Settings/Photo/SettingsEffectTintTemperature.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"
#include "Host/Settings/Photo/SettingsEffectWhiteBalance.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {

OneInputCreator CreateBalanceLuma, CreateBlackWhite, CreateBlurBokeh, CreateBlurRadial, CreateColorBalanceAuto,
    CreateColoredGlass, CreateColorReduce, CreateCreateVideo, CreateCustom, CreateDirectionalAreaDeformation,
    CreateEmptyEffect, CreateGradient, CreateGradientPosterize, CreateHistogram, CreateImplode, CreateOilPaint,
    CreatePixelate, CreateShapeMask, CreateSketch, CreateTiltShift, CreateTintTemperature, CreateVignette,
    CreateWhiteBalance;
TwoInputCreator CreateBlendPalette, CreateSegmentation;
VarInputCreator CreateCutter, CreateStitcher;

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
    Add<SettingsEffectBalanceLuma>(*factory, CreateBalanceLuma);
    Add<SettingsEffectBlackWhite>(*factory, CreateBlackWhite);
    Add<SettingsEffectBlendPalette>(*factory, CreateBlendPalette);
    Add<SettingsEffectBlurBokeh>(*factory, CreateBlurBokeh);
    Add<SettingsEffectBlurRadial>(*factory, CreateBlurRadial);
    Add<SettingsEffectColorBalanceAuto>(*factory, CreateColorBalanceAuto);
    Add<SettingsEffectColoredGlass>(*factory, CreateColoredGlass);
    Add<SettingsEffectColorReduce>(*factory, CreateColorReduce);
    Add<SettingsEffectCreateVideo>(*factory, CreateCreateVideo);
    Add<SettingsEffectCustom>(*factory, CreateCustom);
    Add<SettingsEffectCutter>(*factory, CreateCutter);
    Add<SettingsEffectDirectionalAreaDeformation>(*factory, CreateDirectionalAreaDeformation);
    Add<SettingsEffectEmpty>(*factory, CreateEmptyEffect);
    Add<SettingsEffectGradient>(*factory, CreateGradient);
    Add<SettingsEffectGradientPosterize>(*factory, CreateGradientPosterize);
    Add<SettingsEffectHistogram>(*factory, CreateHistogram);
    Add<SettingsEffectImplode>(*factory, CreateImplode);
    Add<SettingsEffectOilPaint>(*factory, CreateOilPaint);
    Add<SettingsEffectPixelate>(*factory, CreatePixelate);
    Add<SettingsEffectSegmentation>(*factory, CreateSegmentation);
    Add<SettingsEffectShapeMask>(*factory, CreateShapeMask);
    Add<SettingsEffectSketch>(*factory, CreateSketch);
    Add<SettingsEffectStitcher>(*factory, CreateStitcher);
    Add<SettingsEffectTiltShift>(*factory, CreateTiltShift);
    Add<SettingsEffectTintTemperature>(*factory, CreateTintTemperature);
    Add<SettingsEffectVignette>(*factory, CreateVignette);
    return Add<SettingsEffectWhiteBalance>(*factory, CreateWhiteBalance);
}
