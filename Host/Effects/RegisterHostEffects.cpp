// The table of the host's own sub-effects: each is registered by the name of its creator and one row.

#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectCLAHE.h"
#include "Host/Settings/Common/SettingsEffectCharcoal.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectCompose.h"
#include "Host/Settings/Common/SettingsEffectCrop.h"
#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Common/SettingsEffectDrawShape.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectMidEqualizer.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Common/SettingsEffectNoiseVideo.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Common/SettingsEffectPosterize.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Common/SettingsEffectResize.h"
#include "Host/Settings/Common/SettingsEffectRotate.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Host/Settings/Common/SettingsEffectSplitToning.h"
#include "Host/Settings/Common/SettingsEffectTrimap.h"
#include "Host/Settings/Common/SettingsEffectVibrance.h"
#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"

namespace Orvexa::Proc {

OneInputCreator CreateAlphaExtractor, CreateAperture, CreateBlur, CreateCLAHE, CreateColorBalance,
    CreateColorspaceConverter, CreateCrop, CreateDrawContours, CreateDrawShape, CreateExtraAlphaExtractor,
    CreateGrayscale, CreateMorphology, CreatePad, CreatePosterize, CreateRemapping, CreateResize, CreateResizer,
    CreateRotate, CreateSmartBlur, CreateSplitToning, CreateTrimap, CreateVibrance;
TwoInputCreator CreateAlphaInserter, CreateCompose, CreateGrabCut, CreateGuidedFilter, CreateImageBlender,
    CreateMidEqualizer;

namespace {

template <class SettingsT>
void Add(IEffectFactory& factory, OneInputCreator* creator) {
    factory.RegisterOneInputEffect(SettingsT::CLASS_ID, ImplNames::HOST, creator, 0);
}
template <class SettingsT>
void Add(IEffectFactory& factory, TwoInputCreator* creator) {
    factory.RegisterTwoInputEffect(SettingsT::CLASS_ID, ImplNames::HOST, creator, 0);
}

// Sub-effects in libraries of their own.
template <class SettingsT>
void AddProvided(IEffectFactory& factory, const std::string& implName, const char* library) {
    factory.RegisterProvider(EffectKind::OneInput, SettingsT::CLASS_ID, implName, library);
}
constexpr char kMagickLibrary[] = "libOrvexaMagick.so", kNeuralLibrary[] = "libOrvexaNeural.so";

}  // namespace

void RegisterHostEffects(IEffectFactory& factory) {
    Add<SettingsColorspaceConverter>(factory, CreateColorspaceConverter);
    Add<SettingsEffectAlphaExtractor>(factory, CreateAlphaExtractor);
    Add<SettingsEffectAlphaInserter>(factory, CreateAlphaInserter);
    Add<SettingsEffectBlur>(factory, CreateBlur);
    Add<SettingsEffectCLAHE>(factory, CreateCLAHE);
    Add<SettingsEffectColorBalance>(factory, CreateColorBalance);
    Add<SettingsEffectCompose>(factory, CreateCompose);
    Add<SettingsEffectCrop>(factory, CreateCrop);
    Add<SettingsEffectDrawContours>(factory, CreateDrawContours);
    Add<SettingsEffectDrawShape>(factory, CreateDrawShape);
    Add<SettingsEffectExtraAlphaExtractor>(factory, CreateExtraAlphaExtractor);
    Add<SettingsEffectGrayscale>(factory, CreateGrayscale);
    Add<SettingsEffectGuidedFilter>(factory, CreateGuidedFilter);
    Add<SettingsEffectImageBlender>(factory, CreateImageBlender);
    Add<SettingsEffectMidEqualizer>(factory, CreateMidEqualizer);
    Add<SettingsEffectMorphology>(factory, CreateMorphology);
    Add<SettingsEffectPad>(factory, CreatePad);
    Add<SettingsEffectPosterize>(factory, CreatePosterize);
    Add<SettingsEffectRemapping>(factory, CreateRemapping);
    Add<SettingsEffectRotate>(factory, CreateRotate);
    Add<SettingsEffectSmartBlur>(factory, CreateSmartBlur);
    Add<SettingsEffectSplitToning>(factory, CreateSplitToning);
    Add<SettingsEffectTrimap>(factory, CreateTrimap);
    Add<SettingsEffectVibrance>(factory, CreateVibrance);
    Add<SettingsEffectVideoGenerator>(factory, CreateAperture);
    Add<SettingsEffectResize>(factory, CreateResize);
    Add<SettingsResizer>(factory, CreateResizer);
    factory.RegisterTwoInputEffect(SettingsEffectSegmentation::CLASS_ID, ImplPhotoNames::OPENCV, CreateGrabCut, 0);
    // Face masks rely on the order of its inputs, which differs from that of the module's effect.
    factory.MarkDefault(EffectKind::TwoInput, SettingsEffectSegmentation::CLASS_ID, ImplPhotoNames::OPENCV);
    AddProvided<SettingsEffectCharcoal>(factory, ImplPhotoNames::IMAGEMAGICK, kMagickLibrary);
    AddProvided<SettingsEffectNoiseVideo>(factory, ImplPhotoNames::IMAGEMAGICK, kMagickLibrary);
    AddProvided<SettingsEffectOilPaint>(factory, ImplPhotoNames::IMAGEMAGICK, kMagickLibrary);
    AddProvided<SettingsEffectDeepNeuralFragmentor>(factory, ImplPhotoNames::OPENCV, kNeuralLibrary);
    AddProvided<SettingsEffectDeepNeuralProcessor>(factory, ImplPhotoNames::OPENCV, kNeuralLibrary);
    AddProvided<SettingsEffectFaceDetection>(factory, ImplPhotoNames::OPENCV, kNeuralLibrary);
    AddProvided<SettingsEffectFaceRecognitionTrainer>(factory, ImplPhotoNames::OPENCV, kNeuralLibrary);
}

}  // namespace Orvexa::Proc
