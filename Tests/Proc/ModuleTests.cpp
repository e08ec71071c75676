// The module itself, its simplest effects, and what effects hold at their peak.

#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Host/Settings/Settings.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

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

TEST(EmptyEffect, PassesTheVeryFrameThrough) {
    FramePtr frame = MakeFrame(PixFmt::Yuv420p, 7, 5);
    const std::vector<std::uint8_t> before = Bytes(*frame);
    IDataVideo* const same = frame.get();
    frame = Apply(SettingsEffectEmpty(), frame);
    EXPECT_EQ(frame.get(), same);
    EXPECT_EQ(Bytes(*frame), before);
}

TEST(Custom, RunsTheFunctionOrReportsThatThereIsNone) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectCustom::CLASS_ID);
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 2);
    frame->SetTimestamp(9);
    EXPECT_THROW(effect->ProcessData(frame), std::bad_function_call);
    EXPECT_NE(frame, nullptr);
    EXPECT_EQ(CountOf(*effect), "0");

    effect->SetSettings(SettingsEffectCustom([](FramePtr& f) { f = MakeFrame(PixFmt::Rgb24, 3, 1); }));
    effect->ProcessData(frame);
    EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(3, 1));
    EXPECT_EQ(frame->GetTimestamp(), 9);

    // A function may even give its own effect other settings.
    effect->SetSettings(SettingsEffectCustom([effect = effect.get()](FramePtr& f) {
        effect->SetSettings(SettingsEffectCustom([](FramePtr& g) { g->Fill(Color(9, 9, 9)); }));
        f->Fill(Color(7, 7, 7));
    }));
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(*frame)[0], 7);
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(*frame)[0], 9);

    effect->SetSettings(SettingsEffectCustom([](FramePtr&) { Throw("no"); }));
    EXPECT_THROW(effect->ProcessData(frame), EffectException);
    EXPECT_EQ(CountOf(*effect), "3");
}

TEST(CreateVideo, MakesAPlainPictureWithAlphaOnlyForColoursThatAreNotOpaque) {
    for (const auto& [color, pixFmt] :
         {std::pair{Color(10, 20, 30, 255), PixFmt::Bgr24}, {Color(10, 20, 30, 254), PixFmt::Bgra}}) {
        SettingsEffectCreateVideo settings;
        settings.SetWidth(13);
        settings.SetHeight(4);
        settings.SetColor(color);
        FramePtr input = MakeFrame(PixFmt::Gray8, 2, 2);
        input->SetTimestamp(5);
        input->SetDuration(6);
        const FramePtr created = Apply(settings, input);
        EXPECT_TRUE(SameFrames(created, MakeFrame(pixFmt, 13, 4, color)));
        EXPECT_EQ(created->GetFrameInfo().aspect, (Conf::Rational{1, 1}));
        EXPECT_EQ(created->GetTimestamp(), 5) << "the base keeps the input's timing";
        EXPECT_EQ(created->GetDuration(), 6);
    }
}

TEST(CreateVideo, RefusesSizesThatNoFrameCanHave) {
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, 200000}}) {
        SettingsEffectCreateVideo settings;
        settings.SetWidth(width);
        settings.SetHeight(height);
        EXPECT_THROW(Apply(settings, MakeFrame(PixFmt::Gray8, 2, 2)), EffectException) << width << 'x' << height;
    }
}

// What effects hold at their peak, as it is handed out by the pool that their frames come from.
TEST(Memory, OfEffectsOnAPictureOfTheirOwnIsBounded) {
    const std::pair<const char*, double> cases[] = {
        // in RGB pictures
        {"SettingsEffectWhiteBalance", 1.0},
        {"SettingsEffectBlackWhite", 1.4},       // RGB and grey; grey and indices; indices and RGB
        {"SettingsEffectTintTemperature", 2.4},  // two pictures and the luma
        {"SettingsEffectGradient", 2.4},
        {"SettingsEffectTiltShift", 2.4},  // two pictures and the mask
    };
    const FrameInfo info(3000, 2000);
    for (const auto& [classId, pictures] : cases) {
        const auto allocator = Core::MakeRefCounted<FrameAllocator>();
        const FactoryPtr factory = MakeModuleFactory(allocator);
        OneInputPtr effect;
        factory->CreateOneInputEffect(effect, classId, ImplNames::ORVEXA, {});
        effect->SetSettings(*SettingsCatalogue::Find(classId)->create());
        FramePtr frame = NewFrame(allocator, PixFmt::Rgb24, info);
        frame->Fill(Color(100, 150, 200));
        const double picture = static_cast<double>(allocator->GetPool()->GetMostTakenBytes());
        effect->ProcessData(frame);
        EXPECT_LE(static_cast<double>(allocator->GetPool()->GetMostTakenBytes()), pictures * picture) << classId;
    }
}

}  // namespace
}  // namespace Orvexa::Test
