// Effects that ask neural networks. Processors are stood in for; networks that are asked directly are tiny ones.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Photo/SettingsEffectDeepAdjuster.h"
#include "Host/Settings/Photo/SettingsEffectDeepAligner.h"
#include "Host/Settings/Photo/SettingsEffectDeepAutoRetoucher.h"
#include "Host/Settings/Photo/SettingsEffectDeepDenoiser.h"
#include "Host/Settings/Photo/SettingsEffectDeepEnhancer.h"
#include "Host/Settings/Photo/SettingsEffectDeepImageEnhancer.h"
#include "Host/Settings/Photo/SettingsEffectDeepLumaUpscaler.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"
#include "Host/Settings/Photo/SettingsEffectDeepRestorer.h"
#include "Host/Settings/Photo/SettingsEffectDeepRestorerEx.h"
#include "Host/Settings/Photo/SettingsEffectDeepSuperResolutor.h"
#include "Tests/Proc/Faces.h"
#include "Tests/Support/Faces.h"
#include "Tests/Support/TestModels.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

using Lines = std::vector<std::string>;
using Processor = SettingsEffectDeepNeuralProcessor;
using Fragmentor = SettingsEffectDeepNeuralFragmentor;

FramePtr Grey(int level, std::uint32_t width = 6, std::uint32_t height = 4) {
    const auto byte = static_cast<std::uint8_t>(level);
    return MakeFrame(PixFmt::Rgb24, width, height, Color(byte, byte, byte));
}

// An effect whose models do `work`, by default nothing.
SpiedEffect CreateWithModels(const std::string& classId, const std::function<void(int model, FramePtr&)>& work) {
    SpiedEffect spied{Core::MakeRefCounted<SpyFactory>(), {}};
    const auto modelOf = [](const BaseSettingsNeural& settings) { return static_cast<int>(settings.GetModelId()); };
    StandIn<Processor>::Register(*spied.factory, [=](Processor& s, FramePtr& frame) { work(modelOf(s), frame); });
    StandIn<Fragmentor>::Register(*spied.factory, [=](Fragmentor& s, FramePtr& frame) { work(modelOf(s), frame); });
    spied.factory->CreateOneInputEffect(spied.effect, classId, ImplNames::ORVEXA, {});
    return spied;
}

template <class SettingsT>
const SettingsT& FoundBy(const SpiedEffect& spied) {
    return dynamic_cast<const SettingsT&>(spied.effect->GetSettingsBase());
}

// The words of a transcript's settings that tell of models, without those that are at their defaults.
Lines SetLines(const Lines& transcript) {
    Lines lines;
    for (const std::string& line : transcript) {
        if (!line.starts_with("set ")) continue;
        lines.push_back(std::regex_replace(
            line.substr(4),
            std::regex("SettingsEffectDeepNeural| (\\w+=(default|false)|scale=1|max(Width|Height)=4096)(?= |$)"), ""));
    }
    return lines;
}

TEST(NeuralEffects, ChooseModelsWhenSettingsComeAndRunThemInOrder) {
    const struct {
        std::string classId;
        Lines sets;
        std::vector<int> models;
    } cases[] = {
        {SettingsEffectDeepDenoiser::CLASS_ID,
         {"Processor#1 modelsRoot=nets modelId=7", "Processor#2 modelsRoot=nets modelId=6"},
         {7, 6}},
        {SettingsEffectDeepImageEnhancer::CLASS_ID,
         {"Processor#1 modelsRoot=nets modelId=25 hasDynamicSize=true"},
         {25}},
        {SettingsEffectDeepLumaUpscaler::CLASS_ID,
         {"Processor#1 modelsRoot=nets modelId=14 maxWidth=5184 maxHeight=5184"},
         {14}},
        {SettingsEffectDeepRestorer::CLASS_ID,
         {"Processor#1 modelsRoot=nets modelId=16 maxWidth=3072 maxHeight=3072"},
         {16}},
        {SettingsEffectDeepSuperResolutor::CLASS_ID, {"Processor#1 modelsRoot=nets modelId=17 scale=3"}, {17}},
        {SettingsEffectDeepRestorerEx::CLASS_ID,
         {"Fragmentor#1 modelsRoot=nets overlapX=32 overlapY=32 cropInfo=0,0,0,0 modelId=15 tileWidth=256 "
          "tileHeight=256"},
         {15}},
    };
    for (const auto& test : cases) {
        std::vector<int> models;
        const SpiedEffect spied =
            CreateWithModels(test.classId, [&](int model, FramePtr&) { models.push_back(model); });
        spied.factory->TakeTranscript();
        const std::unique_ptr<Settings> settings = SettingsCatalogue::Find(test.classId)->create();
        SetField(*settings, "modelsRoot", "nets");
        for (const char* what : {"new settings", "the same settings again"}) {
            spied.effect->SetSettings(*settings);
            EXPECT_THAT(SetLines(spied.factory->TakeTranscript()), ElementsAreArray(test.sets)) << what;
        }
        FramePtr frame = Grey(90);
        spied.effect->ProcessData(frame);
        EXPECT_EQ(models, test.models) << test.classId;
        EXPECT_THAT(SetLines(spied.factory->TakeTranscript()), IsEmpty()) << "models are not chosen by pictures";
    }
}

TEST(DeepRestorerEx, TakesOverlapsAndThePartAlsoWhereTheModelStays) {
    const SpiedEffect spied = CreateWithModels(SettingsEffectDeepRestorerEx::CLASS_ID, [](int, FramePtr&) {});
    SettingsEffectDeepRestorerEx settings;
    settings.SetOverlapX(8);
    settings.SetOverlapY(24);
    settings.SetCropInfo({1, 20, 2, 30});
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(), Contains(HasSubstr("overlapX=8 overlapY=24 cropInfo=1,20,2,30")));
}

TEST(DeepLumaUpscaler, ReplacesLumaAlone) {
    const SpiedEffect spied = CreateWithModels(SettingsEffectDeepLumaUpscaler::CLASS_ID, [](int, FramePtr& frame) {
        ASSERT_EQ(frame->GetPixFmt(), PixFmt::Gray8);
        MakeWritable(frame);
        const Plane plane = frame->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < plane.GetWidth(); ++x)
                plane.GetRow(y)[x] = static_cast<std::uint8_t>(255 - plane.GetRow(y)[x]);
        }
    });
    spied.effect->SetSettings(SettingsEffectDeepLumaUpscaler());
    const FramePtr picture = MakeFrame(PixFmt::Bgra, 97, 61);
    const ConstFramePtr converted = Converted(picture, PixFmt::Yuv444p);
    FramePtr frame = picture;
    spied.effect->ProcessData(frame);
    ASSERT_EQ(frame->GetPixFmt(), PixFmt::Yuv444p);
    for (std::uint32_t k = 0; k < 3; ++k) {
        for (std::uint32_t y = 0; y < 61; ++y) {
            for (std::uint32_t x = 0; x < 97; ++x) {
                const int before = converted->GetPlane(k).GetRow(y)[x];
                ASSERT_EQ(std::as_const(*frame).GetPlane(k).GetRow(y)[x], k == 0 ? 255 - before : before);
            }
        }
    }
}

TEST(DeepAligner, TurnsBackWhatHasAHorizon) {
    // The mean level is the angle; there is a horizon above 128 of 256.
    const SpiedEffect spied = CreateSpiedEffect(SettingsEffectDeepAligner::CLASS_ID);
    const Models models(R"({"types": {"1": {"outputScale": 0.0625, "outputOffset": -10}}})");
    SettingsEffectDeepAligner settings;
    settings.SetModelsRoot(models.GetRoot());
    spied.effect->SetSettings(settings);
    spied.factory->TakeTranscript();
    const auto run = [&](int level) {
        FramePtr frame = Grey(level, 60, 40);
        const FramePtr before = frame;
        spied.effect->ProcessData(frame);
        return frame != before;
    };
    EXPECT_TRUE(run(240));
    EXPECT_EQ(FoundBy<SettingsEffectDeepAligner>(spied).GetAngle(), 5);
    EXPECT_TRUE(FoundBy<SettingsEffectDeepAligner>(spied).GetHorizonDetected());
    EXPECT_THAT(spied.factory->TakeTranscript(),
                Contains("set SettingsEffectRotate#1 angle=-5 outputSizeMode=inscribed"));
    EXPECT_FALSE(run(100));
    EXPECT_EQ(FoundBy<SettingsEffectDeepAligner>(spied).GetAngle(), 5) << "of the picture before";
    EXPECT_FALSE(FoundBy<SettingsEffectDeepAligner>(spied).GetHorizonDetected());
    EXPECT_THAT(spied.factory->TakeTranscript(), IsEmpty());

    const Models blind(R"({"types": {"6": {"file": "gone.onnx"}}})");
    settings.SetModelsRoot(blind.GetRoot());
    spied.effect->SetSettings(settings);
    EXPECT_TRUE(run(32)) << "as if there were a horizon";
    EXPECT_EQ(FoundBy<SettingsEffectDeepAligner>(spied).GetAngle(), 32);
    EXPECT_FALSE(FoundBy<SettingsEffectDeepAligner>(spied).GetHorizonDetected());
}

// ---- DeepEnhancer

class DeepEnhancer : public testing::Test {
protected:
    // A classifier that allows replacing where the mean level is above `limit`.
    void Start(int limit) {
        models_.emplace(R"({"types": {"5": {"outputScale": 1, "outputOffset": )" + std::to_string(0.5 - limit) + "}}}");
        Configure(*models_);
    }
    void Configure(const Models& models) {
        settings_.SetModelsRoot(models.GetRoot());
        spied_.effect->SetSettings(settings_);
        spied_.factory->TakeTranscript();
    }
    // The level that the picture gets, of its first sample; the model has made it black.
    int Run(const FramePtr& picture) {
        chosen_ = 0;
        FramePtr frame = picture;
        spied_.effect->ProcessData(frame);
        return std::as_const(*frame).GetPlane(0).GetRow(0)[0];
    }

    int chosen_ = 0;
    std::optional<Models> models_;
    SettingsEffectDeepEnhancer settings_;
    SpiedEffect spied_ = CreateWithModels(SettingsEffectDeepEnhancer::CLASS_ID, [this](int model, FramePtr& frame) {
        chosen_ = model;
        frame =
            MakeFrame(frame->GetPixFmt(), frame->GetFrameInfo().width, frame->GetFrameInfo().height, Color(0, 0, 0));
    });
};

TEST_F(DeepEnhancer, SendsDarkPicturesThroughTheLowLightModelWithoutAskingTheClassifier) {
    const Models broken(R"({"types": {"5": {"file": "gone.onnx"}}})");
    Configure(broken);
    for (const int level : {0, 50, 77}) {
        EXPECT_EQ(Run(Grey(level)), 0);
        EXPECT_EQ(chosen_, 9);
    }
    EXPECT_THROW(Run(Grey(78)), EffectException);
}

TEST_F(DeepEnhancer, KeepsTheEnhancingModelUntilSettingsCome) {
    Start(120);
    EXPECT_EQ(Run(Grey(200)), 0) << "replaced";
    EXPECT_EQ(chosen_, 10);
    Run(Grey(20));
    EXPECT_EQ(chosen_, 10);
    Run(Grey(100));
    EXPECT_EQ(chosen_, 10) << "blended, too";
    Configure(*models_);
    Run(Grey(20));
    EXPECT_EQ(chosen_, 9);
}

TEST_F(DeepEnhancer, LaysTheResultOverBrightPicturesWeakly) {
    Start(255);
    // The strength is 255 - mean, at least 127.
    for (const auto& [mean, strength] : {std::pair(78, 177), {100, 155}, {128, 127}, {129, 127}, {200, 127}}) {
        Configure(*models_);
        EXPECT_EQ(Run(Grey(mean)), std::lround(mean * (255.0 - strength) / 255)) << mean;
        EXPECT_EQ(chosen_, 9);
        EXPECT_THAT(spied_.factory->TakeTranscript(),
                    Contains("set SettingsEffectImageBlender#1 positionX=0 positionY=0 strength=" +
                             std::to_string(strength) + " alphaMode=ignore"));
    }
}

TEST_F(DeepEnhancer, MeasuresAllChannelsAfterABlendUntilSettingsCome) {
    Start(255);
    const FramePtr red = MakeFrame(PixFmt::Rgb24, 6, 4, Color(240, 0, 0));  // of luma 72, a mean of 80
    EXPECT_EQ(Run(red), 0) << "dark";
    Run(Grey(200));
    const FramePtr picture = red;
    FramePtr frame = picture;
    spied_.effect->ProcessData(frame);
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Bgr24) << "not dark any more";
    EXPECT_EQ(std::as_const(*frame).GetPlane(0).GetRow(0)[2], std::lround(240 * 80 / 255.0)) << "strength 175";
    Configure(*models_);
    EXPECT_EQ(Run(red), 0);
}

// ---- DeepAutoRetoucher

TEST(DeepAutoRetoucher, RetouchesEachFaceWithItsSurroundings) {
    const struct {
        FaceRectangle face;
        std::uint32_t left, top, width, height;  // of what the model sees
    } cases[] = {
        {{{10, 10}, {110, 110}}, 0, 0, 140, 140},
        {{{100, 100}, {201, 150}}, 70, 85, 160, 80},
        {{{30, 30}, {130, 130}}, 0, 0, 160, 160},  // not farther from the edge than the margin
        {{{31, 30}, {131, 130}}, 1, 0, 160, 160},
        {{{-50, -20}, {50, 40}}, 0, 0, 64, 52},        // 15 and 12 around what is inside
        {{{250, 150}, {400, 400}}, 235, 135, 64, 64},  // 15 before, odd sizes cut
        {{{100, 100}, {105, 115}}, 98, 95, 8, 24},     // 1.5 and 4.5 away from zero
    };
    for (const auto& test : cases) {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> seen;
        const SpiedEffect spied =
            CreateWithModels(SettingsEffectDeepAutoRetoucher::CLASS_ID, [&](int model, FramePtr& frame) {
                EXPECT_EQ(model, 26);
                seen.emplace_back(frame->GetFrameInfo().width, frame->GetFrameInfo().height);
                frame = MakeFrame(PixFmt::Rgb24, frame->GetFrameInfo().width + 2, frame->GetFrameInfo().height + 4,
                                  Color(9, 8, 7));
            });
        const Face face = FaceAt(0, 0);
        SettingsEffectDeepAutoRetoucher settings;
        settings.SetFaces(
            {Face(face.GetOutline(), face.GetBrows(), face.GetNose(), face.GetEyes(), face.GetMouth(), test.face)});
        spied.effect->SetSettings(settings);
        const FramePtr picture = MakeFrame(PixFmt::Rgb24, 300, 200);
        FramePtr frame = picture;
        spied.effect->ProcessData(frame);
        EXPECT_THAT(seen, ElementsAre(std::pair(test.width, test.height)));
        const auto isInside = [&](std::uint32_t x, std::uint32_t y) {
            return x >= test.left && x < test.left + test.width && y >= test.top && y < test.top + test.height;
        };
        const FramePtr expected = DrawFrame(PixFmt::Bgr24, 300, 200, [&](int x, int y, int channel) {
            const auto column = static_cast<std::uint32_t>(x), row = static_cast<std::uint32_t>(y);
            return isInside(column, row) ? 7 + channel
                                         : std::as_const(*picture).GetPlane(0).GetOffsetPtr(column, row)[2 - channel];
        });
        EXPECT_TRUE(SameFrames(frame, expected)) << test.face.first.x << ' ' << test.face.first.y;
    }
}

TEST(DeepAutoRetoucher, ShowsEachFaceWhatTheOneBeforeHasLeft) {
    std::vector<int> seen;
    const SpiedEffect spied = CreateWithModels(SettingsEffectDeepAutoRetoucher::CLASS_ID, [&](int, FramePtr& frame) {
        const int level = *std::as_const(*frame).GetPlane(0).GetRow(0);
        seen.push_back(level);
        const auto next = static_cast<std::uint8_t>(level + 1);
        frame = MakeFrame(PixFmt::Rgb24, frame->GetFrameInfo().width, frame->GetFrameInfo().height,
                          Color(next, next, next));
    });
    SettingsEffectDeepAutoRetoucher settings;
    const FramePtr picture = Grey(50, 30, 30);
    FramePtr frame = picture;
    spied.effect->SetSettings(settings);
    spied.effect->ProcessData(frame);
    EXPECT_EQ(frame, picture) << "no faces: not even converted";
    settings.SetFaces({MakeFace(30, 30), MakeFace(30, 30)});
    spied.effect->SetSettings(settings);
    spied.effect->ProcessData(frame);
    EXPECT_THAT(seen, ElementsAre(50, 51));
    EXPECT_EQ(*std::as_const(*picture).GetPlane(0).GetRow(0), 50) << "the caller's own picture";
    EXPECT_THAT(MessageOf([&] {
                    const Face face = FaceAt(0, 0);
                    settings.SetFaces({Face(face.GetOutline(), face.GetBrows(), face.GetNose(), face.GetEyes(),
                                            face.GetMouth(), {{40, 2}, {60, 20}})});
                    spied.effect->SetSettings(settings);
                    spied.effect->ProcessData(frame);
                }),
                HasSubstr("Crop rectangle is outside the frame!"));
}

// ---- DeepAdjuster

class DeepAdjuster : public testing::Test {
protected:
    // Values are levels times `scale`, in the order of channels; the score is the mean level.
    std::vector<int> Find(const FramePtr& picture, const std::string& scale, int scoreAfter) {
        const Models models(R"({"types": {"0": {"scale": [)" + scale + "," + scale + "," + scale +
                            R"(]}, "7": {"outputScale": 1, "outputOffset": 0}}})");
        StandIn<SettingsEffectColorBalance>::Register(
            *spied_.factory, [=](SettingsEffectColorBalance&, FramePtr& frame) { frame = Grey(scoreAfter); });
        spied_.factory->CreateOneInputEffect(spied_.effect, SettingsEffectDeepAdjuster::CLASS_ID, ImplNames::ORVEXA,
                                             {});
        settings_.SetModelsRoot(models.GetRoot());
        spied_.effect->SetSettings(settings_);
        FramePtr frame = picture;
        const FramePtr before = CloneFrame(*picture, kCloneIndependent);
        spied_.effect->ProcessData(frame);
        EXPECT_EQ(frame, picture);
        EXPECT_TRUE(SameFrames(frame, before));
        return Values();
    }
    std::vector<int> Values() const {
        const auto& found = FoundBy<SettingsEffectDeepAdjuster>(spied_);
        return {found.GetBrightness(), found.GetContrast(), found.GetVibrance(),
                found.GetExposure(),   found.GetShadows(),  found.GetHighlights()};
    }

    SettingsEffectDeepAdjuster settings_;
    SpiedEffect spied_{Core::MakeRefCounted<SpyFactory>(), {}};
};

TEST_F(DeepAdjuster, MapsTheNetworksValuesToSettings) {
    EXPECT_THAT(Find(Grey(100), "0", 100), ElementsAre(30, 30, 40, 15, 50, 70));
    EXPECT_THAT(Find(Grey(100), "0.005", 100), ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_THAT(Find(Grey(100), "0.01", 100), ElementsAre(-30, -30, -40, -15, -50, -70));
    // 30 - 6, 30 - 12, 40 - 24, 15 - 12, 50 - 50, 70 - 84
    EXPECT_THAT(Find(MakeFrame(PixFmt::Rgb24, 2, 1, {10, 30, 50, 20, 40, 60}), "0.01", 255),
                ElementsAre(24, 18, 16, 3, 0, -14));
    EXPECT_THAT(Find(Grey(100), "1e12", 100), testing::Each(testing::Le(-2000000000))) << "as low as an int goes";
}

TEST_F(DeepAdjuster, WeakensWhatMakesThePictureClearlyWorse) {
    const std::vector<int> strong{15, 15, 20, 7, 25, 35}, weak{22, 22, 30, 11, 37, 52};
    EXPECT_EQ(Find(Grey(100), "0.0025", 50), weak) << "half the score, half the values";
    EXPECT_EQ(Find(Grey(100), "0.0025", 95), strong) << "just not worse";
    EXPECT_THAT(Find(Grey(100), "0.0025", 94), ElementsAre(15, 15, 21, 7, 26, 37));
    EXPECT_EQ(Find(Grey(100), "0.0025", 200), strong);
    EXPECT_THAT(Find(Grey(0), "0.0025", 0), ElementsAre(30, 30, 40, 15, 50, 70)) << "no ratio at all";
}

TEST_F(DeepAdjuster, TriesTheValuesInItsOrder) {
    Find(Grey(100), "0.0025", 100);
    Lines lines;
    for (const std::string& line : spied_.factory->TakeTranscript()) {
        const bool isOfSubEffect = line.find("ColorspaceConverter") != std::string::npos;
        if (!line.starts_with("run ") && !isOfSubEffect) lines.push_back(line);
    }
    EXPECT_THAT(lines,
                ElementsAre("create SettingsEffectColorBalance#1", "create SettingsEffectColorBalanceAuto#1",
                            "create SettingsEffectBalanceLuma#1", "create SettingsEffectVibrance#1",
                            "set SettingsEffectVibrance#1 strength=20",
                            "set SettingsEffectBalanceLuma#1 shadows=25 highlights=35 exposure=0 autoContrast=false",
                            "set SettingsEffectColorBalanceAuto#1 whiteBalance=false lightBalance=false exposure=7",
                            "set SettingsEffectColorBalance#1 brightness=15 contrast=15 saturation=0 gamma=0"));
}

TEST_F(DeepAdjuster, KeepsWhatItHasFoundWhileTheModelsStay) {
    const std::vector<int> found = Find(Grey(100), "0.0025", 100);
    settings_.SetBrightness(99);
    spied_.effect->SetSettings(settings_);
    EXPECT_EQ(Values(), found);
    settings_.SetModelsRoot("elsewhere");
    spied_.effect->SetSettings(settings_);
    EXPECT_THAT(Values(), ElementsAre(99, 0, 0, 0, 0, 0));
}

TEST_F(DeepAdjuster, AsksForSettingsFirst) {
    spied_.factory->CreateOneInputEffect(spied_.effect, SettingsEffectDeepAdjuster::CLASS_ID, ImplNames::ORVEXA, {});
    FramePtr frame = Grey(9);
    EXPECT_EQ(MessageOf([&] { spied_.effect->ProcessData(frame); }), "Settings are not set!");
}

}  // namespace
}  // namespace Orvexa::Test
