// The face record and its JSON form.

#include <gmock/gmock.h>

#include "Host/Core/Json.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognition.h"
#include "Tests/Support/Faces.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {

using namespace Proc;
using Core::Json;
using testing::HasSubstr;

namespace {

Face Sample() {
    const auto line = [](int x, int y, int count) {
        Contour contour;
        for (int i = 0; i < count; ++i) contour.push_back({x + i, y + i * i});
        return contour;
    };
    return Face(Outline(line(1, 2, 17)), {FaceItemBase(line(3, 4, 5)), FaceItemBase(line(5, 6, 5))},
                {FaceItemBase(line(7, 8, 4)), FaceItemBase(line(9, 10, 5))},
                Eyes(Eye(line(11, 12, 6), {40, 41}), Eye(line(13, 14, 6), {42, 43}), true),
                Mouth(FaceItemBase(line(15, 16, 12)), FaceItemBase(line(17, 18, 8))), {{0, 1}, {30, 300}}, 0.75);
}

Json SampleJson() { return Json::parse(TextCodec<Face>::Format(Sample())); }

TEST(FaceRecord, SurvivesItsJsonForm) {
    for (const Face& face : {Sample(), FaceAt(3, 4), Face()})
        EXPECT_EQ(TextCodec<Face>::Parse(TextCodec<Face>::Format(face)), face);
    const std::vector<Face> faces{Sample(), FaceAt(1, 1)};
    EXPECT_EQ(TextCodec<std::vector<Face>>::Parse(TextCodec<std::vector<Face>>::Format(faces)), faces);
    Json json = SampleJson();
    EXPECT_EQ(json["rectangle"], Json::parse("[0, 1, 30, 300]"));
    EXPECT_EQ(json["pupils"], Json::parse("[[40, 41], [42, 43]]"));
    EXPECT_EQ(json["eyes"][1][0], Json::parse("[13, 14]"));
    json["descriptor"] = Json::array({1, 2});
    EXPECT_EQ(TextCodec<Face>::Parse(json.dump()), Sample()) << "a descriptor is passed over";
}

TEST(FaceRecord, GivesItsParts) {
    const std::string whole = SampleJson().dump();
    EXPECT_EQ(TextCodec<Outline>::Parse(whole), Sample().GetOutline());
    EXPECT_EQ(TextCodec<Eyes>::Parse(whole), Sample().GetEyes());
    EXPECT_EQ(TextCodec<FaceRectangle>::Parse(whole), Sample().GetFullFramePoints());
    EXPECT_EQ(TextCodec<Outline>::Parse("[[1, 2], [3, 4.0]]"), Outline(Contour{{1, 2}, {3, 4}}));
    const Eyes eyes = TextCodec<Eyes>::Parse(SampleJson()["eyes"].dump());
    EXPECT_EQ(eyes.GetSecond().GetContour(), Sample().GetEyes().GetSecond().GetContour());
    EXPECT_FALSE(eyes.HasPupils());
}

TEST(FaceRecord, RefusesWhatIsNoFace) {
    const auto with = [](const char* key, const char* value) {
        Json json = SampleJson();
        json[key] = Json::parse(value);
        return json.dump();
    };
    Json incomplete = SampleJson();
    incomplete.erase("nose");
    const std::pair<std::string, std::string> cases[] = {
        {"[", "unexpected end of input"},
        {"[]", "an object as `kalvatri faces --json` prints it"},
        {incomplete.dump(), "the key \"nose\""},
        {with("outline", "[]"), "outline: expected one or more points"},
        {with("outline", "[[1]]"), "outline: expected points of the form [x, y]"},
        {with("mouthInner", "[[1, 1e9]]"), "mouthInner: expected whole numbers in the range"},
        {with("mouthInner", "[[1, 1.5]]"), "mouthInner: expected whole numbers"},
        {with("mouthOuter", "[[1, \"2\"]]"), "mouthOuter: expected whole numbers, not \"2\""},
        {with("brows", "[[[1, 2]]]"), "brows: expected two contours"},
        {with("eyes", "[[[1, 1], [2, 2], [3, 3]], [[1, 1], [2, 2], [3, 3], [4, 4]]]"), "eyes: expected 4 or more"},
        {with("pupils", "[[1, 1]]"), "pupils: expected two points or none"},
        {with("rectangle", "[0, 0, 1]"), "rectangle: expected the form [x1, y1, x2, y2]"},
        {with("rectangle", "[5, 0, 5, 9]"), "rectangle: expected x1 below x2"},
        {with("score", "2"), "score: expected a number in the range 0..1"},
        {with("chin", "1"), "no key \"chin\""},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_THAT(MessageOf([&] { TextCodec<Face>::Parse(text); }), HasSubstr(expected)) << text;
}

TEST(FaceRecord, IsCheckedAgainstThePicture) {
    EXPECT_NO_THROW(CheckInside(FaceAt(9, 7), 10, 8));
    const std::string outside = "of the face is outside the picture of 10 x 8 pixels!";
    EXPECT_THAT(MessageOf([&] {
                    CheckInside(FaceItemBase(Contour{{0, 0}, {10, 7}}), 10, 8);
                }),
                HasSubstr("The point 10,7 " + outside));
    const Eye inside(Contour{{1, 1}}), above(Contour{{1, -1}});
    EXPECT_THAT(MessageOf([&] { CheckInside(Eyes(inside, above), 10, 8); }), HasSubstr("1,-1 " + outside));
    EXPECT_THAT(MessageOf([&] {
                    CheckInside(Eyes(inside, Eye(Contour{{1, 1}}, {3, 8}), true), 10, 8);
                }),
                HasSubstr("3,8 " + outside));
    for (const FaceRectangle& rectangle :
         {FaceRectangle{{0, 0}, {11, 8}}, FaceRectangle{{-1, 0}, {5, 8}}, FaceRectangle{{5, 0}, {5, 8}}})
        EXPECT_THAT(MessageOf([&] { CheckInside(rectangle, 10, 8); }), HasSubstr("rectangle"));
}

TEST(FaceRegions, AreNamesOrTheirSum) {
    using Codec = TextCodec<FaceRegions>;
    EXPECT_EQ(Codec::Parse("head+eyes"), Codec::Parse("9"));
    for (int regions = 0; regions < 16; ++regions) {
        const auto value = static_cast<FaceRegions>(regions);
        EXPECT_EQ(Codec::Parse(Codec::Format(value)), value) << Codec::Format(value);
    }
    for (const char* text : {"", "16", "nose", "head+", "-1"})
        EXPECT_THROW(Codec::Parse(text), SettingsException) << text;
}

TEST(FaceRecognitionSettings, GiveTheirDescriptorAsAFinding) {
    SettingsEffectFaceRecognition settings({{1, 2}, {3, 4}}, {});
    EXPECT_TRUE(settings.GetFindings().empty());
    settings.SetDescriptor({0.1f, -2});
    const std::vector<Finding> findings = settings.GetFindings();
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].json, "[1,2,3,4]");
    EXPECT_EQ(findings[1].json, "[0.1,-2]");
    settings.Clear();
    EXPECT_TRUE(settings.GetFindings().empty());
}

}  // namespace

}  // namespace Orvexa::Test
