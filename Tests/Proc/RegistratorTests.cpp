#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Tests/Support/Effects.h"

namespace Orvexa::Test {
namespace {

// The order in which the effects of the module are registered, complete. Two of the kinds differ from one-input.
const std::vector<std::string> kOrder{"SettingsEffectAutoEnhance",
                                      "SettingsEffectAutoGlareRemove",
                                      "SettingsEffectBalanceLuma",
                                      "SettingsEffectBiColorToning",
                                      "SettingsEffectBlackWhite",
                                      "SettingsEffectBlendPalette",
                                      "SettingsEffectBlurBokeh",
                                      "SettingsEffectBlurRadial",
                                      "SettingsEffectColorBalanceAuto",
                                      "SettingsEffectColoredGlass",
                                      "SettingsEffectColorReduce",
                                      "SettingsEffectCreateVideo",
                                      "SettingsEffectCustom",
                                      "SettingsEffectCutter",
                                      "SettingsEffectDeepAdjuster",
                                      "SettingsEffectDeepAligner",
                                      "SettingsEffectDeepAutoRetoucher",
                                      "SettingsEffectDeepDenoiser",
                                      "SettingsEffectDeepEnhancer",
                                      "SettingsEffectDeepImageEnhancer",
                                      "SettingsEffectDeepLumaUpscaler",
                                      "SettingsEffectDeepRestorer",
                                      "SettingsEffectDeepRestorerEx",
                                      "SettingsEffectDeepSuperResolutor",
                                      "SettingsEffectDetailsEnhance",
                                      "SettingsEffectDirectionalAreaDeformation",
                                      "SettingsEffectDrawFace",
                                      "SettingsEffectEdgeRemove",
                                      "SettingsEffectEmpty",
                                      "SettingsEffectEyeExtending",
                                      "SettingsEffectGradient",
                                      "SettingsEffectGradientPosterize",
                                      "SettingsEffectFaceMask",
                                      "SettingsEffectFaceRecognition",
                                      "SettingsEffectFaceThinning",
                                      "SettingsEffectHistogram",
                                      "SettingsEffectImplode",
                                      "SettingsEffectMatting",
                                      "SettingsEffectOilPaint",
                                      "SettingsEffectPixelate",
                                      "SettingsEffectReduceLocalLuma",
                                      "SettingsEffectRemoveBackground",
                                      "SettingsEffectReplaceChroma",
                                      "SettingsEffectSegmentation",
                                      "SettingsEffectShapeMask",
                                      "SettingsEffectSketch",
                                      "SettingsEffectStitcher",
                                      "SettingsEffectTiltShift",
                                      "SettingsEffectTintTemperature",
                                      "SettingsEffectVignette",
                                      "SettingsEffectWhiteBalance"};
const std::vector<std::string> kTwoInput{"SettingsEffectBlendPalette", "SettingsEffectReduceLocalLuma",
                                         "SettingsEffectSegmentation"};
const std::vector<std::string> kVarInput{"SettingsEffectCutter", "SettingsEffectEdgeRemove", "SettingsEffectMatting",
                                         "SettingsEffectRemoveBackground", "SettingsEffectStitcher"};

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

TEST(Registrator, RegistersItsEffectsInTheFixedOrderUnderOneName) {
    const auto factory = Core::MakeRefCounted<EffectFactory>();
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    const std::vector<Registration> registrations = factory->GetRegistrations();
    ASSERT_FALSE(registrations.empty());
    auto next = kOrder.begin();
    for (const Registration& registration : registrations) {
        EXPECT_EQ(registration.implName, ImplNames::ORVEXA);
        const auto place = std::find(next, kOrder.end(), registration.classId);
        ASSERT_NE(place, kOrder.end()) << registration.classId << " is unknown or comes too late";
        next = place + 1;
        const EffectKind kind = Contains(kTwoInput, registration.classId)   ? EffectKind::TwoInput
                                : Contains(kVarInput, registration.classId) ? EffectKind::VarInput
                                                                            : EffectKind::OneInput;
        EXPECT_EQ(registration.kind, kind) << registration.classId;
    }
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    EXPECT_EQ(factory->GetRegistrations().size(), registrations.size()) << "a second call registers the same again";
}

// By the names that their effects carry in their statistics.
TEST(Registrator, MakesTheModulesEffectsTheDefaultButForTheHostsSegmentation) {
    OneInputPtr painter;
    ModuleFactory()->CreateOneInputEffect(painter, SettingsEffectOilPaint::CLASS_ID, ImplNames::DEFAULT, {});
    EXPECT_NE(painter->GetStatistic().GetName().find("EffectBase<"), std::string::npos) << "with its limit of size";
    TwoInputPtr segmentation;
    ModuleFactory()->CreateTwoInputEffect(segmentation, SettingsEffectSegmentation::CLASS_ID, ImplNames::DEFAULT, {});
    EXPECT_EQ(segmentation->GetStatistic().GetName(),
              SettingsEffectSegmentation::CLASS_ID + "_" + ImplPhotoNames::OPENCV);
}

TEST(Registrator, LetsTheExceptionOfAFactoryThrough) {
    class Refusing : public EffectFactory {
        bool RegisterOneInputEffect(const std::string&, const std::string&, OneInputCreator*, std::uintptr_t) override {
            Throw("full");
        }
    };
    const auto factory = Core::MakeRefCounted<Refusing>();
    EXPECT_THROW(LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
