// Effects that draw, mask, recognise and mend faces: DrawFace, FaceMask, FaceRecognition and AutoGlareRemove.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Photo/SettingsEffectAutoGlareRemove.h"
#include "Host/Settings/Photo/SettingsEffectDrawFace.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognition.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"
#include "Tests/Proc/Faces.h"

namespace Orvexa::Test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Lines = std::vector<std::string>;

// An effect whose host finds these faces.
SpiedEffect CreateWithFaces(const std::string& classId, const std::vector<Face>& faces) {
    SpiedEffect spied{Core::MakeRefCounted<SpyFactory>(), {}};
    LetFind(*spied.factory, faces);
    spied.factory->CreateOneInputEffect(spied.effect, classId, ImplNames::ORVEXA, {});
    return spied;
}

// The lines that start with `start`, without it, up to `end`.
Lines Rest(const Lines& transcript, const std::string& start, const std::string& end = "\n") {
    Lines rest;
    for (const std::string& line : transcript) {
        if (line.starts_with(start)) rest.push_back(line.substr(start.size(), line.find(end) - start.size()));
    }
    return rest;
}

// ---- DrawFace

TEST(DrawFace, DrawsThePartsInTheirOrderAndColours) {
    const Face face = MakeFace(100, 100);
    const Eyes blind(face.GetEyes().GetFirst(), face.GetEyes().GetSecond());
    const Face second(face.GetOutline(), face.GetBrows(), face.GetNose(), blind, face.GetMouth(), {{1, 2}, {30, 40}});
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectDrawFace::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre("create SettingsEffectDrawContours#1"));
    SettingsEffectDrawFace settings;
    settings.SetFaces({face, second});
    settings.SetThickness(3);
    spied.effect->SetSettings(settings);
    FramePtr frame = MakeFrame(PixFmt::Yuv420p, 100, 100);
    spied.effect->ProcessData(frame);
    const Lines transcript = spied.factory->TakeTranscript();
    EXPECT_EQ(transcript.size(), 2u * (8 + 7)) << "without pupils, and without looking for faces";
    const std::string eyes = "contours=29,40,33,37,38,37,42,40,38,43,33,43;58,40,62,37,67,37,71,40,67,43,62,43 ";
    const char* const parts[][2] = {
        {"contours=20,40,21,50,", "#00c853"},
        {"contours=26,32,30,29,35,28,40,29,44,31;56,31,60,29,65,28,70,29,74,32 ", "#ffab00"},
        {"contours=50,40,50,46,50,52,50,57;44,60,47,61,50,62,53,61,56,60 ", "#aa00ff"},
        {eyes.c_str(), "#00b0ff"},
        {"contours=36,40;65,40 ", "#00b0ff"},
        {"contours=38,74,43,71,", "#d50000"},
        {"contours=41,75,47,74,", "#ff80ab"},
        {"contours=15,22,86,22,86,97,15,97 ", "#ffffff"}};
    std::vector<std::string> sets = Rest(transcript, "set SettingsEffectDrawContours#1 ");
    ASSERT_EQ(sets.size(), 15u);
    sets.insert(sets.begin() + 12, std::string(parts[4][0]) + "color=" + parts[4][1] + " lineType=smooth thickness=3");
    for (std::size_t i = 0; i < 16; ++i) {
        const auto& [contours, color] = parts[i % 8];
        const std::string style = std::string("color=") + color + " lineType=smooth thickness=3";
        EXPECT_THAT(sets[i], AllOf(StartsWith(i == 15 ? "contours=1,2,30,2,30,40,1,40 " : contours), HasSubstr(style)))
            << i;
    }
    EXPECT_EQ(Rest(transcript, "run ").size(), 15u);
}

TEST(DrawFace, FindsFacesOnceWhereNoneAreGiven) {
    SpiedEffect spied = CreateWithFaces(SettingsEffectDrawFace::CLASS_ID, {MakeFace(90, 60)});
    SettingsEffectDrawFace settings;
    settings.SetModelsRoot(Core::ioPath("models"));
    spied.effect->SetSettings(settings);
    FramePtr frame = MakeFrame(PixFmt::Rgba, 90, 60);
    const FramePtr original = CloneFrame(*frame, kCloneIndependent);
    spied.effect->ProcessData(frame);
    const Lines transcript = spied.factory->TakeTranscript();
    EXPECT_THAT(Rest(transcript, "set SettingsEffectFaceDetection#1 "), ElementsAre(HasSubstr("modelsRoot=models")));
    EXPECT_THAT(transcript, Contains("run SettingsEffectFaceDetection#1 rgba 90x60 -> rgba 90x60"));
    EXPECT_FALSE(SameFrames(frame, original));
    spied.effect->ProcessData(frame);
    EXPECT_THAT(Rest(spied.factory->TakeTranscript(), "run SettingsEffectFaceDetection"), IsEmpty())
        << "the faces stay in the settings";

    for (const bool hasSettings : {false, true}) {
        const SpiedEffect blind = CreateWithFaces(SettingsEffectDrawFace::CLASS_ID, {});
        if (hasSettings) blind.effect->SetSettings(SettingsEffectDrawFace());
        FramePtr untouched = CloneFrame(*original, kCloneIndependent);
        EXPECT_EQ(MessageOf([&] { blind.effect->ProcessData(untouched); }), "Faces not found!");
        EXPECT_TRUE(SameFrames(untouched, original));
    }
}

// ---- FaceMask

FramePtr MaskOf(const Face& face, std::uint32_t regions, std::uint32_t side, bool useBlur = false) {
    SettingsEffectFaceMask settings(face, static_cast<FaceRegions>(regions));
    settings.SetUseBlur(useBlur);
    return Apply(settings, MakeFrame(PixFmt::Rgb24, side, side));
}

TEST(FaceMask, FillsTheRegionsThatItsModeNames) {
    const Face face = MakeFace(300, 300);
    const struct {
        const char* name;
        std::uint64_t x, y;
        bool inMode[8];  // by the sum of eyes = 1, lips = 2, opening = 4
    } places[] = {{"first eye", 108, 120, {0, 1, 0, 1, 0, 1, 0, 1}},
                  {"second eye", 195, 120, {0, 1, 0, 1, 0, 1, 0, 1}},
                  {"upper lip", 150, 217, {0, 0, 1, 1, 0, 0, 1, 1}},
                  {"lower lip", 150, 240, {0, 0, 1, 1, 0, 0, 1, 1}},
                  {"opening", 150, 229, {0, 0, 0, 0, 1, 1, 1, 1}},
                  {"nose", 150, 160, {}},
                  {"corner", 2, 2, {}}};
    for (std::uint32_t mode = 0; mode < 8; ++mode) {
        const FramePtr mask = MaskOf(face, mode, 300), soft = MaskOf(face, mode, 300, true);
        ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
        ASSERT_EQ(mask->GetFrameInfo(), FrameInfo(300, 300));
        for (const auto& place : places)
            EXPECT_EQ(SampleAt(mask, place.x, place.y), place.inMode[mode] ? 255 : 0) << place.name << " " << mode;
        for (const std::uint8_t value : Bytes(*mask)) ASSERT_TRUE(value == 0 || value == 255);
        EXPECT_EQ(SameFrames(mask, soft), mode == 0) << "softened " << mode;
    }
}

TEST(FaceMask, SeedsTheHeadFromTheFace) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectFaceMask::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre("create SettingsEffectBlur#1", "create SettingsEffectDrawContours#1",
                            "create SettingsEffectSegmentation#1", "create SettingsEffectDrawShape#1",
                            "create SettingsEffectFaceDetection#1",
                            HasSubstr("devX=2 devY=2 kernelLength=2 scaleType=reduced scaleX=2 scaleY=2"),
                            AllOf(StartsWith("set SettingsEffectSegmentation#1 "), HasSubstr("algorithm=host"))));
    spied.effect->SetSettings(SettingsEffectFaceMask(MakeFace(200, 200), static_cast<FaceRegions>(9)));
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 200, 200);
    spied.effect->ProcessData(frame);
    const Lines transcript = spied.factory->TakeTranscript();
    // The line between the ears is 120 pixels long and level.
    const std::string sector = " angle=0 startAngle=150 endAngle=390 color=#0";
    EXPECT_THAT(Rest(transcript, "set SettingsEffectDrawShape#1 ", " lineType"),
                ElementsAre("centerX=100 centerY=80 width=78 height=72" + sector + "20202",
                            "centerX=100 centerY=80 width=54 height=60" + sector + "30303"));
    const auto isEye = [](const char* start, const char* color) {
        return AllOf(StartsWith(start), HasSubstr(std::string("color=") + color));
    };
    EXPECT_THAT(Rest(transcript, "set SettingsEffectDrawContours#1 contours=", " lineType"),
                ElementsAre(AllOf(StartsWith("40,80,41,100,"),
                                  HasSubstr("160,80,148,64,140,58,130,56,120,58,112,62,88,62,80,58,70,56,60,58,52,64 "
                                            "color=#010101")),
                            isEye("58,80,", "#000000"), isEye("116,80,", "#000000"), isEye("76,148,", "#000000"),
                            isEye("82,150,", "#000000"), isEye("58,80,", "#ffffff"), isEye("116,80,", "#ffffff")));
    Lines runs;
    for (const std::string& run : Rest(transcript, "run SettingsEffect", "#")) runs.push_back(run);
    EXPECT_THAT(runs, ElementsAre("DrawShape", "DrawShape", "DrawContours", "DrawContours", "DrawContours",
                                  "DrawContours", "DrawContours", "Segmentation", "DrawContours", "DrawContours"));
    // From the larger ellipse's sides and top to the chin.
    EXPECT_THAT(transcript,
                Contains("run SettingsEffectSegmentation#1 gray8 157x173 + rgb24 157x173 -> gray8 157x173"));

    const Face turned = MakeFace(200, 200, 30);
    spied.effect->SetSettings(SettingsEffectFaceMask(turned, FaceRegions::Head));
    spied.effect->ProcessData(frame = MakeFrame(PixFmt::Rgb24, 200, 200));
    for (const std::string& angle : Rest(spied.factory->TakeTranscript(), "set SettingsEffectDrawShape#1 ", " start"))
        EXPECT_NEAR(std::stod(angle.substr(angle.rfind('=') + 1)), 30, 0.7);
}

TEST(FaceMask, FollowsTheHeadBeyondItsSeeds) {
    // A head that is larger than the face's polygon, reddish before something bluish.
    for (const std::uint32_t side : {200u, 900u}) {
        const double scale = side / 100.0;
        const auto isHead = [&](int x, int y) {
            const double dx = x / scale - 50, dy = y / scale - 40;
            return std::hypot(dx / 32, dy / (dy < 0 ? 32 : 51)) <= 1;
        };
        const FramePtr picture = DrawFrame(PixFmt::Rgb24, side, side, [&](int x, int y, int k) {
            const int head[] = {200, 150, 120}, back[] = {60, 90, 140};
            return (isHead(x, y) ? head[k] : back[k]) + (x * 7 + y * 13) % 11;
        });
        const Face face = MakeFace(side, side);
        const FramePtr mask = Apply(SettingsEffectFaceMask(face, static_cast<FaceRegions>(15)), picture);
        int both = 0, either = 0;
        for (int y = 0; y < static_cast<int>(side); ++y) {
            for (int x = 0; x < static_cast<int>(side); ++x) {
                const bool isMasked =
                    SampleAt(mask, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) == 255;
                both += isMasked && isHead(x, y);
                either += isMasked || isHead(x, y);
            }
        }
        EXPECT_GT(both, either * 0.96) << side << ": " << both << " of " << either;
    }
}

TEST(FaceMask, FindsTheFaceOrSaysThatThereIsNone) {
    const Face large = MakeFace(90, 60), small = MakeFace(30, 20);
    SpiedEffect spied = CreateWithFaces(SettingsEffectFaceMask::CLASS_ID, {large, small});
    SettingsEffectFaceMask settings;
    settings.SetMode(FaceRegions::Eyes);
    settings.SetModelsRoot(Core::ioPath("models"));
    spied.effect->SetSettings(settings);
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 90, 60);
    spied.effect->ProcessData(frame);
    EXPECT_TRUE(
        SameFrames(frame, Apply(SettingsEffectFaceMask(large, FaceRegions::Eyes), MakeFrame(PixFmt::Rgb24, 90, 60))));
    EXPECT_THAT(Rest(spied.factory->TakeTranscript(), "set SettingsEffectFaceDetection#2 "),
                ElementsAre(HasSubstr("modelsRoot=models")));

    const SpiedEffect blind = CreateWithFaces(SettingsEffectFaceMask::CLASS_ID, {});
    const FramePtr original = frame = MakeFrame(PixFmt::Rgb24, 9, 6);
    EXPECT_EQ(MessageOf([&] { blind.effect->ProcessData(frame); }), "Faces not found!");
    EXPECT_EQ(frame, original);
    // A face of which nothing is in the picture.
    const Face outside(Outline({{-90, -90}, {-80, -70}, {-70, -90}}), {}, {}, {}, {}, {{-90, -90}, {-70, -70}});
    EXPECT_EQ(MessageOf([&] { Apply(SettingsEffectFaceMask(outside, FaceRegions::Head), original); }),
              "Mask is empty!");
}

// ---- FaceRecognition

using Trainer = StandIn<SettingsEffectFaceRecognitionTrainer>;

TEST(FaceRecognition, DescribesTheFirstFaceOfItsRectangle) {
    const Face largest = MakeFace(40, 30), other = MakeFace(10, 10);
    SpiedEffect spied{Core::MakeRefCounted<SpyFactory>(), {}};
    LetFind(*spied.factory, {largest, other});
    Trainer::Register(*spied.factory, [&](SettingsEffectFaceRecognitionTrainer& settings, FramePtr& frame) {
        EXPECT_EQ(settings.GetFace(), largest);
        EXPECT_EQ(settings.GetModelsRoot(), Core::ioPath("models"));
        settings.SetDescriptor({static_cast<float>(SampleAt(frame, 0, 0)), static_cast<float>(SampleAt(frame, 0, 0, 1)),
                                static_cast<float>(frame->GetFrameInfo().width)});
    });
    spied.factory->CreateOneInputEffect(spied.effect, SettingsEffectFaceRecognition::CLASS_ID, ImplNames::ORVEXA, {});
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre("create SettingsEffectFaceDetection#1", "create SettingsEffectFaceRecognitionTrainer#1",
                            "create SettingsColorspaceConverter#1",
                            AllOf(StartsWith("set SettingsColorspaceConverter#1 "), HasSubstr("pixFmts=2"))));
    spied.effect->SetSettings(SettingsEffectFaceRecognition({{20, 10}, {60, 40}}, Core::ioPath("models")));
    const FramePtr picture = Converted(MakeCoordinates(100, 80), PixFmt::Bgra);
    const FramePtr before = CloneFrame(*picture, kCloneIndependent);
    FramePtr frame = picture;
    spied.effect->ProcessData(frame);
    EXPECT_EQ(frame, picture) << "the frame itself";
    EXPECT_TRUE(SameFrames(frame, before));
    EXPECT_THAT(Rest(spied.factory->TakeTranscript(), "run Settings"),
                ElementsAre("ColorspaceConverter#1 bgra 100x80 -> rgb24 100x80",
                            "EffectFaceDetection#1 rgb24 40x30 -> rgb24 40x30",
                            "EffectFaceRecognitionTrainer#1 rgb24 40x30 -> rgb24 40x30"));
    const auto descriptor = [&] {
        return dynamic_cast<const SettingsEffectFaceRecognition&>(spied.effect->GetSettingsBase()).GetDescriptor();
    };
    EXPECT_THAT(descriptor(), ElementsAre(20, 10, 40)) << "red is the column, green the row";

    LetFind(*spied.factory, {});
    spied.effect->ProcessData(frame);
    EXPECT_THAT(descriptor(), IsEmpty()) << "nobody there any more";
    EXPECT_EQ(frame, picture);
}

TEST(FaceRecognition, RefusesRectanglesOutsideThePicture) {
    for (const FaceRectangle& rectangle :
         {FaceRectangle(), FaceRectangle{{5, 5}, {5, 9}}, FaceRectangle{{-1, 0}, {5, 5}},
          FaceRectangle{{3, 3}, {21, 9}}, FaceRectangle{{9, 9}, {3, 3}}}) {
        const SettingsEffectFaceRecognition settings(rectangle, {});
        EXPECT_THAT(MessageOf([&] { Apply(settings, MakeFrame(PixFmt::Rgb24, 20, 10)); }), HasSubstr("20 x 10 pixels"));
    }
}

// ---- AutoGlareRemove

struct Box {
    int left, top, width, height;
};

// What the effect is to make of a packed picture with a mask, written plainly: pixels by their places in the picture,
// masks as maps of places.
FramePtr Mended(const FramePtr& picture, const FramePtr& mask, int* rounds) {
    const int width = static_cast<int>(mask->GetFrameInfo().width),
              height = static_cast<int>(mask->GetFrameInfo().height);
    const auto at = [](const FramePtr& frame, int x, int y) {
        return frame->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    };
    Box box{width, height, 0, 0};
    int right = 0, bottom = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (*at(mask, x, y) == 0) continue;
            box.left = std::min(box.left, x), right = std::max(right, x + 1);
            box.top = std::min(box.top, y), bottom = std::max(bottom, y + 1);
        }
    }
    box.width = right - box.left, box.height = bottom - box.top;
    FramePtr work = CloneFrame(*picture, kCloneIndependent);
    const auto lumaOf = [&](const FramePtr& frame) {
        FramePtr part = CloneFrame(*frame, kCloneView);
        part->Crop(static_cast<std::uint32_t>(box.left), static_cast<std::uint32_t>(box.top),
                   static_cast<std::uint32_t>(box.width), static_cast<std::uint32_t>(box.height));
        return Converted(part, PixFmt::Yuv420p);
    };
    using Places = std::vector<std::vector<bool>>;
    const auto forAll = [&](auto&& use) {
        for (int y = 0; y < box.height; ++y) {
            for (int x = 0; x < box.width; ++x) use(x, y);
        }
    };
    const auto isOn = [&](const Places& places, int x, int y) {
        return places[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
    };
    const auto set = [&](Places& places, int x, int y, bool value) {
        places[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = value;
    };
    FramePtr luma = lumaOf(work);
    int sum = 0, count = 0;
    forAll([&](int x, int y) {
        if (*at(mask, box.left + x, box.top + y) == 0) return;
        sum += *at(luma, x, y), ++count;
    });
    const int threshold = (((2 * (sum / count) - 510) / 3 - 1) % 256 + 256) % 256;
    Places bright(static_cast<std::size_t>(box.height), std::vector<bool>(static_cast<std::size_t>(box.width)));
    int now = 0, before = 0;
    forAll([&](int x, int y) {
        const bool isBright = *at(mask, box.left + x, box.top + y) != 0 && *at(luma, x, y) > threshold;
        set(bright, x, y, isBright);
        now += isBright;
    });
    for (const bool isGrowing : {true, false}) {  // closing by 3 x 3
        const Places old = bright;
        forAll([&](int x, int y) {
            bool any = false, all = true;
            for (int i = 0; i < 9; ++i) {
                const bool value = isOn(old, std::clamp(x + i % 3 - 1, 0, box.width - 1),
                                        std::clamp(y + i / 3 - 1, 0, box.height - 1));
                any = any || value, all = all && value;
            }
            set(bright, x, y, isGrowing ? any : all);
        });
    }
    const Places blended = bright;
    for (*rounds = 0; now > 0 && std::abs(before - now) > 10; ++*rounds) {
        forAll([&](int x, int y) {
            if (!isOn(bright, x, y)) return;
            int sums[3] = {}, pixels = 0;
            for (int v = std::max(y - 3, 0); v <= std::min(y + 3, box.height - 1); ++v) {
                for (int u = std::max(x - 3, 0); u <= std::min(x + 3, box.width - 1); ++u, ++pixels) {
                    for (int k = 0; k < 3; ++k) sums[k] += at(work, box.left + u, box.top + v)[k];
                }
            }
            for (int k = 0; k < 3; ++k)
                at(work, box.left + x, box.top + y)[k] = static_cast<std::uint8_t>(sums[k] / pixels);
        });
        luma = lumaOf(work);
        before = now, now = 0;
        forAll([&](int x, int y) {
            set(bright, x, y, isOn(bright, x, y) && *at(luma, x, y) > threshold);
            now += isOn(bright, x, y);
        });
    }
    FramePtr result = CloneFrame(*picture, kCloneIndependent);
    forAll([&](int x, int y) {
        for (int k = 0; k < 3; ++k) {
            const int weight = x + k < box.width && isOn(blended, x + k, y) ? 127 : 0;
            std::uint8_t& under = at(result, box.left + x, box.top + y)[k];
            const int over = at(work, box.left + x, box.top + y)[k];
            under = static_cast<std::uint8_t>(((255 - weight) * under + over * weight) / 255);
        }
    });
    return result;
}

// Skin with a spot of shine of this radius, and one more at the mask's right edge.
FramePtr Skin(PixFmt pixFmt, double radius) {
    return DrawFrame(pixFmt, 90, 70, [=](int x, int y, int k) {
        const double shine =
            std::max(1.4 - std::hypot(x - 40, y - 30) / radius, 1.4 - std::hypot(x - 74, y - 45) / radius);
        const int skin[] = {140, 110, 95, 200};
        return skin[k] + (x * 31 + y * 17 + k * 7) % 23 + (k < 3 ? std::max(shine, 0.0) * 110 : 0);
    });
}

FramePtr RoundMask(std::uint32_t width, std::uint32_t height) {
    return DrawFrame(PixFmt::Gray8, width, height, [](int x, int y, int) {
        return std::hypot((x - 42) / 33.0, (y - 36) / 28.0) <= 1 && std::hypot(x - 30, y - 40) > 4 ? 255 : 0;
    });
}

FramePtr RemoveGlare(const FramePtr& picture, const FramePtr& mask) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    StandIn<SettingsEffectFaceMask>::Register(*factory, [&](SettingsEffectFaceMask& settings, FramePtr& frame) {
        EXPECT_EQ(settings.GetFace(), MakeFace(90, 70));
        EXPECT_EQ(settings.GetMode(), FaceRegions::Head);
        frame = CloneFrame(*mask, kCloneIndependent);
    });
    OneInputPtr effect;
    factory->CreateOneInputEffect(effect, SettingsEffectAutoGlareRemove::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(SettingsEffectAutoGlareRemove(MakeFace(90, 70)));
    FramePtr frame = picture;
    effect->ProcessData(frame);
    return frame;
}

TEST(AutoGlareRemove, MendsWhatIsMuchBrighterThanTheFace) {
    const FramePtr mask = RoundMask(90, 70);
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra2}) {
        for (const double radius : {3.0, 8.0, 14.0}) {
            const FramePtr picture = Skin(pixFmt, radius), mended = RemoveGlare(picture, mask);
            int rounds = 0;
            const FramePtr expected = Mended(picture, mask, &rounds);
            EXPECT_TRUE(SameFrames(mended, expected)) << Name(pixFmt) << " " << radius;
            EXPECT_GE(rounds, radius > 10 ? 2 : 1);
            EXPECT_LT(SampleAt(mended, 40, 30, 1), SampleAt(picture, 40, 30, 1) - 10);
            EXPECT_EQ(SampleAt(mended, 79, 47), SampleAt(picture, 79, 47)) << "outside the mask";
        }
    }
}

TEST(AutoGlareRemove, LeavesFacesAloneThatDoNotShine) {
    const FramePtr mask = RoundMask(90, 70);
    for (const double radius : {0.01, 1.2}) {  // nothing, and fewer pixels than are worth it
        const FramePtr picture = Skin(PixFmt::Rgb24, radius);
        int rounds = -1;
        EXPECT_TRUE(SameFrames(Mended(picture, mask, &rounds), picture));
        EXPECT_EQ(rounds, 0);
        EXPECT_TRUE(SameFrames(RemoveGlare(picture, mask), picture)) << radius;
    }
    const FramePtr picture = Skin(PixFmt::Rgb24, 14), nothing = MakeFrame(PixFmt::Gray8, 90, 70, Color(0, 0, 0));
    EXPECT_TRUE(SameFrames(RemoveGlare(picture, nothing), picture)) << "an empty mask";
}

TEST(AutoGlareRemove, KeepsOtherFormatsAndWhatItDoesNotMend) {
    const FramePtr mask = RoundMask(90, 70);
    for (const PixFmt pixFmt :
         {PixFmt::Gray8, PixFmt::Yuv444p, PixFmt::Yuva420p, PixFmt::Nv12, PixFmt::Argb, PixFmt::Abgr}) {
        const FramePtr picture = Converted(Skin(PixFmt::Rgba, 12), pixFmt);
        const FramePtr mended = RemoveGlare(picture, mask);
        ASSERT_EQ(mended->GetPixFmt(), pixFmt);
        const FramePtr before = Converted(picture, PixFmt::Rgba), after = Converted(mended, PixFmt::Rgba);
        EXPECT_LT(SampleAt(after, 40, 30, 1), SampleAt(before, 40, 30, 1) - 10) << Name(pixFmt);
        for (std::uint64_t x = 0; x < 90; ++x) {
            EXPECT_EQ(SampleAt(after, x, 55, 0), SampleAt(before, x, 55, 0)) << Name(pixFmt) << " no shine there";
            EXPECT_EQ(SampleAt(after, x, 30, 3), SampleAt(before, x, 30, 3)) << Name(pixFmt) << " alpha";
        }
    }
}

TEST(AutoGlareRemove, FollowsItsRecipe) {
    SpiedEffect spied{Core::MakeRefCounted<SpyFactory>(), {}};
    const FramePtr mask = RoundMask(90, 70);
    StandIn<SettingsEffectFaceMask>::Register(*spied.factory, [&](SettingsEffectFaceMask&, FramePtr& frame) {
        frame = CloneFrame(*mask, kCloneIndependent);
    });
    spied.factory->CreateOneInputEffect(spied.effect, SettingsEffectAutoGlareRemove::CLASS_ID, ImplNames::ORVEXA, {});
    EXPECT_THAT(Rest(spied.factory->TakeTranscript(), "create Settings"),
                ElementsAre("EffectFaceMask#1", "EffectMorphology#1", "ColorspaceConverter#1"));
    FramePtr frame = Skin(PixFmt::Rgb24, 3);
    int rounds = 0;
    Mended(frame, mask, &rounds);
    spied.effect->ProcessData(frame);
    // 67 x 57 pixels around the mask, whose luma is looked at before and after every round.
    const std::string luma = "ColorspaceConverter#1 rgb24 67x57 -> yuv420p 67x57";
    Lines expected{"EffectFaceMask#1 rgb24 90x70 -> gray8 90x70", luma,
                   "EffectMorphology#1 gray8 67x57 -> gray8 67x57"};
    expected.insert(expected.end(), static_cast<std::size_t>(rounds), luma);
    EXPECT_EQ(Rest(spied.factory->TakeTranscript(), "run Settings"), expected);
}

}  // namespace
}  // namespace Orvexa::Test
