#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "Host/Core/Threads.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Settings/Common/SettingsEffectRotate.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Messages.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double kSamePerson = 0.35;  // descriptors of one photograph of a face, however it was changed, are nearer
constexpr double kOthers = 0.55;      // those of different faces are farther

FramePtr ReadSample(const std::string& name) {
    return Io::ReadImage(SourcePath("samples/" + name), TestAllocator()).frame;
}

std::vector<Face> Find(FramePtr frame, const SettingsEffectFaceDetection& settings = {}) {
    const OneInputPtr effect = CreateOneInput(settings);
    const FramePtr before = frame;
    effect->ProcessData(frame);
    EXPECT_EQ(frame, before);
    return dynamic_cast<const SettingsEffectFaceDetection&>(effect->GetSettingsBase()).GetFaces();
}

std::vector<float> DescriptorOf(FramePtr frame, const Face& face, const Core::ioPath& root = {}) {
    const OneInputPtr effect = CreateOneInput(SettingsEffectFaceRecognitionTrainer(face, root));
    effect->ProcessData(frame);
    return dynamic_cast<const SettingsEffectFaceRecognitionTrainer&>(effect->GetSettingsBase()).GetDescriptor();
}

double Distance(const std::vector<float>& a, const std::vector<float>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::pow(a[i] - b.at(i), 2);
    return std::sqrt(sum);
}

struct Position {
    double x, y;
};
Position MeanOf(const FaceItemBase& item) {
    Position sum{0, 0};
    const auto count = static_cast<double>(item.GetContour().size());
    for (const Point<int>& point : item.GetContour()) sum = {sum.x + point.x / count, sum.y + point.y / count};
    return sum;
}

// Where the eyes, the middle of the mouth and the chin of the portrait are, as a person sees them.
constexpr Position kEyes[] = {{203, 100}, {246, 102}}, kMouth{223, 147}, kChin{222, 178};

// Whether the face is that of the portrait, which was scaled by `scale` and laid at (x, y).
testing::AssertionResult IsPortrait(const Face& face, double scale = 1, double x = 0, double y = 0,
                                    double tolerance = 4) {
    const Position found[] = {MeanOf(face.GetEyes().GetFirst()),
                              MeanOf(face.GetEyes().GetSecond()),
                              MeanOf(face.GetMouth().GetOuter()),
                              {face.GetOutline().GetContour().at(8).x * 1.0,
                               face.GetOutline().GetContour()[8].y * 1.0}},
                   expected[] = {kEyes[0], kEyes[1], kMouth, kChin};
    for (std::size_t i = 0; i < std::size(found); ++i) {
        const double away = std::hypot(found[i].x - scale * expected[i].x - x, found[i].y - scale * expected[i].y - y);
        if (away > tolerance * scale + 1)
            return testing::AssertionFailure() << "part " << i << " is " << away << " pixels away";
    }
    return testing::AssertionSuccess();
}

FramePtr Scaled(const FramePtr& frame, double scale) {
    SettingsResizer settings(SettingsResizer::ResizeMethods::Area);
    settings.SetCustomScale(scale);
    return RunHost(settings, frame);
}

FramePtr Mirrored(const FramePtr& frame) {
    const std::uint32_t width = frame->GetFrameInfo().width;
    return DrawFrame(PixFmt::Rgb24, width, frame->GetFrameInfo().height, [&](int x, int y, int channel) {
        return SampleAt(frame, width - 1 - static_cast<std::uint32_t>(x), static_cast<std::uint64_t>(y), channel);
    });
}

FramePtr WithGamma(const FramePtr& frame, double gamma) {
    const FrameInfo& info = frame->GetFrameInfo();
    return DrawFrame(PixFmt::Rgb24, info.width, info.height, [&](int x, int y, int channel) {
        return 255 *
               std::pow(SampleAt(frame, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), channel) / 255.0,
                        gamma);
    });
}

FramePtr Compressed(const FramePtr& frame, int quality) {
    std::vector<std::uint8_t> bytes;
    Io::EncodeImage(bytes, Io::FindFormat("jpg"), frame, {quality, {}}, HostFactory());
    return Io::ReadImage(bytes, TestAllocator()).frame;
}

FramePtr Part(const FramePtr& frame, std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
    const FramePtr part = CloneFrame(*frame, kCloneView);
    part->Crop(x, y, width, height);
    return part;
}

TEST(Faces, AreFoundWithAllTheirParts) {
    const FramePtr portrait = ReadSample("astronaut.png");
    const std::vector<Face> faces = Find(portrait);
    ASSERT_THAT(faces, SizeIs(1));
    const Face& face = faces.front();
    EXPECT_TRUE(IsPortrait(face));
    EXPECT_GT(face.GetScore(), 0.6);
    EXPECT_LE(face.GetScore(), 1);
    ASSERT_TRUE(face.GetEyes().HasPupils());
    const Pupil& first = face.GetEyes().GetFirst().GetPupil();
    const Pupil& second = face.GetEyes().GetSecond().GetPupil();
    EXPECT_LT(std::hypot(first.x - 203, first.y - 99.5), 2);
    EXPECT_LT(std::hypot(second.x - 246.5, second.y - 102.5), 2);

    // From left to right, and from the brows down to the chin.
    const Contour& outline = face.GetOutline().GetContour();
    ASSERT_THAT(outline, SizeIs(17));
    EXPECT_LT(outline.front().x, MeanOf(face.GetEyes().GetFirst()).x);
    EXPECT_GT(outline.back().x, MeanOf(face.GetEyes().GetSecond()).x);
    EXPECT_TRUE(std::is_sorted(outline.begin(), outline.end(), [](const auto& a, const auto& b) { return a.x < b.x; }));
    const FaceItemBase* const eyes[] = {&face.GetEyes().GetFirst(), &face.GetEyes().GetSecond()};
    for (std::size_t side : {0, 1}) {
        const Contour& brow = face.GetBrows()[side].GetContour();
        const Contour& eye = eyes[side]->GetContour();
        ASSERT_THAT(brow, SizeIs(5));
        ASSERT_THAT(eye, SizeIs(6));
        EXPECT_LT(brow.front().x, brow.back().x);
        EXPECT_LT(MeanOf(face.GetBrows()[side]).y, MeanOf(*eyes[side]).y);
        for (const std::size_t i : {1, 2, 4, 5}) {
            EXPECT_GT(eye[i].x, eye[0].x);
            EXPECT_LT(eye[i].x, eye[3].x) << "points 0 and 3 are the corners";
        }
        EXPECT_LT(eye[1].y, eye[5].y) << "over the upper lid";
    }
    ASSERT_THAT(face.GetNose()[0].GetContour(), SizeIs(4));
    ASSERT_THAT(face.GetNose()[1].GetContour(), SizeIs(5));
    EXPECT_LT(face.GetNose()[0].GetContour().front().y, face.GetNose()[0].GetContour().back().y);
    EXPECT_LT(face.GetNose()[1].GetContour().front().x, face.GetNose()[1].GetContour().back().x);
    ASSERT_THAT(face.GetMouth().GetOuter().GetContour(), SizeIs(12));
    ASSERT_THAT(face.GetMouth().GetInner().GetContour(), SizeIs(8));

    // The rectangle is a tenth wider on each side than the points; its lower right corner is outside.
    const auto& [from, to] = face.GetFullFramePoints();
    const int top = std::min(face.GetBrows()[0].GetContour()[2].y, face.GetBrows()[1].GetContour()[2].y);
    const int bottom = outline[8].y, height = bottom - top;
    EXPECT_NEAR(from.y, top - 0.1 * height, 3);
    EXPECT_NEAR(to.y, bottom + 0.1 * height, 3);
    EXPECT_NEAR(from.x, outline.front().x - 0.1 * (outline.back().x - outline.front().x), 3);
}

TEST(Faces, AreNotFoundWhereNoneAre) {
    // A ring with two dots and a bar.
    const FramePtr drawing = DrawFrame(PixFmt::Rgb24, 400, 400, [](int x, int y, int) {
        const auto near = [&](int u, int v, int radius) { return std::hypot(x - u, y - v) < radius; };
        const bool isLine = (near(200, 200, 150) && !near(200, 200, 140)) || near(140, 160, 14) || near(260, 160, 14) ||
                            (y > 270 && y < 280 && x > 140 && x < 260);
        return isLine ? 0 : 255;
    });
    const std::pair<const char*, FramePtr> pictures[] = {
        {"cat", ReadSample("chelsea.png")},
        {"cat, large", Scaled(ReadSample("chelsea.png"), 4)},
        {"coffee", ReadSample("coffee.png")},
        {"rocket", ReadSample("rocket.jpg")},
        {"drawing", drawing},
        {"wall", MakeFrame(PixFmt::Rgb24, 900, 700, Color(180, 170, 160))},
        {"noise", MakeFrame(PixFmt::Rgb24, 900, 700)},
        {"pixel", MakeFrame(PixFmt::Rgb24, 1, 1)},
        {"column", MakeFrame(PixFmt::Yuv420p, 1, 3000)},
        {"row", MakeFrame(PixFmt::Gray8, 3000, 2)},
        {"small", MakeFrame(PixFmt::Rgba, 33, 17)},
    };
    for (const auto& [name, picture] : pictures) EXPECT_THAT(Find(picture), IsEmpty()) << name;
    // A run finds nothing of the run before.
    const OneInputPtr effect = CreateOneInput(SettingsEffectFaceDetection());
    FramePtr portrait = ReadSample("astronaut.png"), wall = pictures[5].second;
    effect->ProcessData(portrait);
    effect->ProcessData(wall);
    EXPECT_THAT(dynamic_cast<const SettingsEffectFaceDetection&>(effect->GetSettingsBase()).GetFaces(), IsEmpty());
}

TEST(Faces, AreFoundInAnyFormat) {
    const FramePtr portrait = ReadSample("astronaut.png");
    const Face face = Find(portrait).at(0);
    const std::vector<float> descriptor = DescriptorOf(portrait, face);
    for (const PixFmtDescription& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        FramePtr frame;
        if (description.pixFmt == PixFmt::Pal8) {
            frame = MakeFrame(PixFmt::Pal8, 512, 512);
            CopyPlane(std::as_const(*Converted(portrait, PixFmt::Gray8)).GetPlane(0), frame->GetPlane(0));
            for (int i = 0; i < 256; ++i)
                std::fill_n(frame->GetPlane(1).GetData() + 4 * i, 4, static_cast<std::uint8_t>(i));
            for (int i = 0; i < 256; ++i) frame->GetPlane(1).GetData()[4 * i + 3] = 255;
        } else {
            frame = Converted(portrait, description.pixFmt);
        }
        const std::vector<std::uint8_t> before = Bytes(*frame);
        const std::vector<Face> faces = Find(frame);
        ASSERT_THAT(faces, SizeIs(1)) << description.name;
        EXPECT_TRUE(IsPortrait(faces[0])) << description.name;
        EXPECT_LT(Distance(DescriptorOf(frame, faces[0]), descriptor), kSamePerson) << description.name;
        EXPECT_TRUE(Bytes(*frame) == before) << description.name;
    }
}

// Calls `paint(u, v, row)` for the pixels of an eye: u from -1 to 1 from corner to corner, v the same unit downwards.
template <class Paint>
void PaintEye(const FramePtr& frame, const FaceItemBase& eye, const Paint& paint) {
    const Point<int>&left = eye.GetContour()[0], &right = eye.GetContour()[3];
    const double half = (right.x - left.x) / 2.0, x0 = (left.x + right.x) / 2.0, y0 = MeanOf(eye).y;
    for (int y = static_cast<int>(y0 - half); y < y0 + half; ++y) {
        for (int x = left.x; x <= right.x; ++x)
            paint((x - x0) / half, (y - y0) / half,
                  frame->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
    }
}

TEST(Faces, HavePupilsWhereTheEyesLook) {
    const FramePtr large = Scaled(ReadSample("astronaut.png"), 4);
    const Face face = Find(large).at(0);
    const FaceItemBase* const eyes[] = {&face.GetEyes().GetFirst(), &face.GetEyes().GetSecond()};
    for (const double look : {-0.35, 0.0, 0.35}) {
        const FramePtr painted = CloneFrame(*large, kCloneIndependent);
        for (const FaceItemBase* eye : eyes) {
            PaintEye(painted, *eye, [&](double u, double v, std::uint8_t* pixel) {
                if (u * u + 6 * v * v > 1) return;  // the opening
                std::fill_n(pixel, 3, std::hypot(u - look, v) < 0.36 ? 40 : 215);
            });
        }
        const std::vector<Face> found = Find(painted);
        ASSERT_THAT(found, SizeIs(1));
        ASSERT_TRUE(found[0].GetEyes().HasPupils()) << look;
        const Pupil pupils[] = {found[0].GetEyes().GetFirst().GetPupil(), found[0].GetEyes().GetSecond().GetPupil()};
        for (std::size_t i : {0, 1}) {
            const Contour& contour = eyes[i]->GetContour();
            const double half = (contour[3].x - contour[0].x) / 2.0, x = contour[0].x + half * (1 + look);
            EXPECT_NEAR(pupils[i].x, x, 0.12 * half) << look;
            EXPECT_NEAR(pupils[i].y, MeanOf(*eyes[i]).y, 0.2 * half) << look;
        }
    }
    // One eye without an iris: neither pupil is valid.
    const FramePtr blind = CloneFrame(*large, kCloneIndependent);
    PaintEye(blind, *eyes[1], [](double u, double v, std::uint8_t* pixel) {
        const std::uint8_t skin[] = {214, 170, 150};
        if (u * u + 1.5 * v * v < 1.2) std::copy_n(skin, 3, pixel);
    });
    const std::vector<Face> found = Find(blind);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_FALSE(found[0].GetEyes().HasPupils());
    EXPECT_EQ(found[0].GetEyes().GetFirst().GetPupil(), Pupil());
}

TEST(Faces, AreFoundInPartsOfAPicture) {
    const FramePtr portrait = ReadSample("astronaut.png");
    const Face face = Find(portrait).at(0);
    const auto& [from, to] = face.GetFullFramePoints();
    // As `FaceRecognition` looks for a face: in nothing but its rectangle.
    for (const PixFmt format : {PixFmt::Rgb24, PixFmt::Yuv420p}) {
        for (const double scale : {1.0, 0.5, 4.0}) {
            const auto scaled = [&](int at) { return static_cast<std::uint32_t>(at * scale); };
            const FramePtr part = Part(Converted(Scaled(portrait, scale), format), scaled(from.x), scaled(from.y),
                                       scaled(to.x - from.x), scaled(to.y - from.y));
            const std::vector<Face> faces = Find(part);
            ASSERT_THAT(faces, SizeIs(1)) << scale;
            EXPECT_TRUE(IsPortrait(faces[0], scale, -from.x * scale, -from.y * scale)) << scale;
            const auto& [first, last] = faces[0].GetFullFramePoints();
            EXPECT_TRUE(first.x >= 0 && first.y >= 0 && last.x <= static_cast<int>(part->GetFrameInfo().width) &&
                        last.y <= static_cast<int>(part->GetFrameInfo().height));
        }
    }
    // A face that the picture's edge cuts: every point is moved inside.
    for (const Face& cut : Find(Part(portrait, 190, 40, 300, 300)))
        EXPECT_EQ(MessageOf([&] { CheckInside(cut, 300, 300); }), "nothing");
    // A frame in the middle of another: nothing beside it is read.
    const FramePtr part = Part(portrait, 100, 20, 301, 257), copy = CloneFrame(*part, kCloneIndependent);
    EXPECT_EQ(Find(part), Find(copy));
}

// The portrait's head, 190 x 180 pixels of which the face is about 95 high.
struct Pasted {
    double scale;
    int x, y;
    bool isMirrored;
    double gamma;
};

FramePtr MakeGroup(const std::vector<Pasted>& heads, std::uint32_t width, std::uint32_t height) {
    // Soft waves: nothing of them is a face, and they are not flat.
    const FramePtr group = DrawFrame(PixFmt::Rgb24, width, height, [](int x, int y, int channel) {
        return 128 + 50 * std::sin(x / (37.0 + 9 * channel)) * std::cos(y / 53.0) + (x * 7 + y * 13) % 11;
    });
    const FramePtr portrait = ReadSample("astronaut.png"), head = Part(portrait, 130, 20, 190, 180);
    CopyDataVideo(ReadSample("chelsea.png"), group, 10, 600);
    for (const Pasted& paste : heads) {
        FramePtr pasted = Scaled(WithGamma(head, paste.gamma), paste.scale);
        if (paste.isMirrored) pasted = Mirrored(pasted);
        CopyDataVideo(pasted, group, paste.x, paste.y);
    }
    return group;
}

TEST(Faces, AreFoundInGroupsLargestFirst) {
    const FramePtr portrait = ReadSample("astronaut.png");
    const std::vector<float> descriptor = DescriptorOf(portrait, Find(portrait).at(0));
    constexpr std::uint32_t kWidth = 2400, kHeight = 1600;
    // The smallest are a little above a sixtieth of 2400 high; some are where tiles meet.
    const std::vector<Pasted> heads = {{4.0, 60, 850, false, 1.0},   {2.0, 1950, 60, true, 1.0},
                                       {1.0, 1000, 100, false, 0.6}, {0.7, 1700, 1200, true, 1.5},
                                       {0.5, 1180, 780, false, 1.0}, {0.46, 2280, 1500, false, 1.0},
                                       {0.45, 775, 535, false, 1.0}};
    const FramePtr group = MakeGroup(heads, kWidth, kHeight);
    for (const FramePtr& picture : {group, Compressed(group, 60)}) {
        const std::vector<Face> faces = Find(picture);
        ASSERT_THAT(faces, SizeIs(heads.size()));
        for (std::size_t i = 0; i < heads.size(); ++i) {
            const Pasted& head = heads[i];
            const auto& [from, to] = faces[i].GetFullFramePoints();
            // The middle of the portrait's face is at (92, 113) of the head.
            const double middle = head.isMirrored ? 190 - 92 : 92;
            EXPECT_NEAR((from.x + to.x) / 2.0, head.x + head.scale * middle, 8 * head.scale) << i;
            EXPECT_NEAR((from.y + to.y) / 2.0, head.y + head.scale * 113, 8 * head.scale) << i;
            EXPECT_LT(Distance(DescriptorOf(picture, faces[i]), descriptor), kSamePerson) << i;
        }
    }
    // Only those that are as large as asked for.
    SettingsEffectFaceDetection settings;
    settings.SetMinFace(0.06);
    EXPECT_THAT(Find(group, settings), SizeIs(2));
    settings.SetMinFace(0.3);
    EXPECT_THAT(Find(group, settings), IsEmpty());
    settings = {};
    settings.SetThreshold(0.05);
    const std::vector<Face> doubtful = Find(group, settings);
    for (const Pasted& head : heads) {
        const double x = head.x + head.scale * 95, y = head.y + head.scale * 113;
        const auto holds = [&](const Face& face) {
            const auto& [from, to] = face.GetFullFramePoints();
            return from.x < x && x < to.x && from.y < y && y < to.y;
        };
        EXPECT_EQ(std::count_if(doubtful.begin(), doubtful.end(), holds), 1) << "a face is found once";
    }
    settings.SetThreshold(0.99);
    EXPECT_THAT(Find(group, settings), IsEmpty());
}

TEST(Faces, AreTheSameWhateverTheThreads) {
    const FramePtr group = MakeGroup({{2.0, 50, 40, false, 1.0}, {0.6, 900, 500, true, 1.0}}, 1400, 900);
    const int before = Core::GetLibraryThreads();
    Core::SetLibraryThreads(1);
    const std::vector<Face> alone = Find(group);
    ASSERT_THAT(alone, SizeIs(2));
    const std::vector<float> descriptor = DescriptorOf(group, alone[1]);
    for (const int threads : {2, 5}) {
        Core::SetLibraryThreads(threads);
        EXPECT_EQ(Find(group), alone) << threads;
        EXPECT_EQ(DescriptorOf(group, alone[1]), descriptor) << threads;
    }
    Core::SetLibraryThreads(before);
}

TEST(Descriptors, StayNearWhenAPhotographIsChanged) {
    const FramePtr portrait = ReadSample("astronaut.png");
    const std::vector<float> descriptor = DescriptorOf(portrait, Find(portrait).at(0));
    ASSERT_THAT(descriptor, SizeIs(128));
    SettingsEffectRotate turn;
    turn.SetAngle(25);
    const std::pair<const char*, FramePtr> changes[] = {
        {"mirrored", Mirrored(portrait)},         {"brighter", WithGamma(portrait, 0.6)},
        {"darker", WithGamma(portrait, 1.8)},     {"half the size", Scaled(portrait, 0.5)},
        {"compressed", Compressed(portrait, 30)}, {"turned", RunHost(turn, portrait)},
        {"larger", Scaled(portrait, 5)},          {"grey", Converted(portrait, PixFmt::Gray8)},
    };
    for (const auto& [change, picture] : changes) {
        const std::vector<Face> faces = Find(picture);
        ASSERT_THAT(faces, SizeIs(1)) << change;
        EXPECT_LT(Distance(DescriptorOf(picture, faces[0]), descriptor), kSamePerson) << change;
    }
    // The cat's eyes and mouth, as a person sees them.
    const Face cat(Outline({{60, 100}, {170, 280}, {250, 100}}), {}, {},
                   Eyes(Eye({{105, 122}, {115, 112}, {125, 112}, {137, 124}, {125, 132}, {115, 132}}),
                        Eye({{180, 118}, {190, 108}, {200, 108}, {212, 116}, {200, 128}, {190, 128}})),
                   Mouth(FaceItemBase({{140, 190}, {165, 180}, {190, 190}, {165, 205}}), {}), {{60, 80}, {250, 250}});
    EXPECT_GT(Distance(DescriptorOf(ReadSample("chelsea.png"), cat), descriptor), kOthers);
}

TEST(Descriptors, RefuseWhatIsNoFace) {
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 100, 80);
    const Outline outline({{10, 10}, {50, 70}, {90, 10}});
    const Eye left({{20, 30}, {30, 30}}), right({{60, 30}, {70, 30}}), away({{60, 30}, {70, 80}});
    const Mouth mouth(FaceItemBase({{40, 60}, {50, 60}}), {});
    const FaceRectangle rectangle{{5, 5}, {95, 75}};
    const auto describe = [&](const Face& face) { return MessageOf([&] { DescriptorOf(frame, face); }); };
    EXPECT_EQ(describe(Face(outline, {}, {}, Eyes(left, right), mouth, rectangle)), "nothing");
    EXPECT_EQ(describe(Face()), "There is no face to describe!");
    EXPECT_EQ(describe(Face(outline, {}, {}, Eyes(left, {}), mouth, rectangle)),
              "The face cannot be described: it must have two eyes and a mouth!");
    EXPECT_EQ(describe(Face(outline, {}, {}, Eyes(left, right), {}, rectangle)),
              "The face cannot be described: it must have two eyes and a mouth!");
    const FaceItemBase there({{20, 30}, {30, 30}});
    EXPECT_EQ(describe(Face(outline, {}, {}, Eyes(left, left), Mouth(there, {}), rectangle)),
              "The face cannot be described: its eyes and its mouth are at the same place!");
    EXPECT_THAT(describe(Face(outline, {}, {}, Eyes(left, away), mouth, rectangle)), HasSubstr("80"));
}

TEST(Faces, UseTheModelsOfAFolder) {
    const FramePtr frame = ReadSample("astronaut.png");
    const TempFolder folder;
    const auto find = [&](const std::string& faces) {
        WriteFile(folder.GetPath() / "models.json", R"({"faces": {)" + faces + "}}");
        return MessageOf([&] { EXPECT_THAT(Find(frame, SettingsEffectFaceDetection(folder.GetPath())), SizeIs(1)); });
    };
    const auto entry = [](const std::string& name, const std::string& file, int side, const char* output = "floats") {
        return "\"" + name + R"(": {"file": ")" + file + R"(", "width": )" + std::to_string(side) + R"(, "height": )" +
               std::to_string(side) + R"(, "channels": "rgb", "mean": [0, 0, 0], "scale": [1, 1, 1], "output": ")" +
               output + R"(", "licence": "none"})";
    };
    for (const char* file : {"mean.onnx", "flat-color.onnx"})
        std::filesystem::copy_file(Core::ioPath(SourcePath("Tests/Support/Models")) / file, folder.GetPath() / file);
    WriteFile(folder.GetPath() / "damaged.onnx", FileBytes(100));
    EXPECT_EQ(find(""), "nothing") << "what the folder lacks is installed";
    EXPECT_THAT(find(entry("detector", "none.onnx", 0)), HasSubstr("none.onnx does not exist!"));
    EXPECT_THAT(find(entry("detector", "damaged.onnx", 0)),
                HasSubstr("damaged.onnx cannot be loaded, it must be an ONNX model with one output"));
    EXPECT_THAT(find(entry("detector", "mean.onnx", 0)),
                HasSubstr("mean.onnx gives 1 x 1 x 1 x 1 values; a face detector must give 1 x 25 x "));
    EXPECT_THAT(find(entry("detector", "mean.onnx", 512)),
                HasSubstr(R"(must have 0 as "width" and "height": it takes pictures of several sizes!)"));
    EXPECT_THAT(find(entry("landmarks", "mean.onnx", 112)), HasSubstr("mean.onnx gives 1 values; it must give 136!"));
    EXPECT_THAT(find(entry("landmarks", "mean.onnx", 0)), HasSubstr(R"(must have a "width" and "height" above 0!)"));
    EXPECT_THAT(find(entry("descriptor", "mean.onnx", 150, "bytes")), HasSubstr(R"(must have "floats" as "output"!)"));
    WriteFile(folder.GetPath() / "models.json", R"({"faces": {)" + entry("descriptor", "mean.onnx", 150) + "}}");
    EXPECT_THAT(MessageOf([&] { DescriptorOf(frame, Find(frame).at(0), folder.GetPath()); }),
                HasSubstr("mean.onnx gives 1 values; it must give 128!"));
    SettingsEffectFaceDetection settings;
    settings.SetMinFace(0);
    EXPECT_EQ(MessageOf([&] { Find(frame, settings); }), "Faces to look for must have a size above 0!");
}

}  // namespace
}  // namespace Orvexa::Test
