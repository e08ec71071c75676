// kalvatri faces, and steps of chains that treat faces, with the models that ship.

#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class FacesOfPictures : public Program {
protected:
    const std::string portrait_ = SourcePath("samples/astronaut.png"), cup_ = SourcePath("samples/coffee.png");

    std::string Out(const std::string& name) const { return folder_.File(name); }
    // Runs an effect on a picture, and returns the result.
    FramePtr Apply(const std::string& picture, const Words& words) const {
        const Outcome outcome = RunKalvatri(Words{"apply", "-q", "-i", picture, "-o", Out("applied.png")} + words);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return Read("applied.png");
    }
};

TEST_F(FacesOfPictures, ArePrintedAndCanBeGivenBack) {
    const Outcome json = RunKalvatri({"faces", "--json", cup_, portrait_});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    const Json pictures = Json::parse(json.out);
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_THAT(pictures[0]["faces"], IsEmpty());
    EXPECT_EQ(pictures[1]["file"], portrait_);
    EXPECT_EQ(pictures[1]["width"], 512);
    ASSERT_EQ(pictures[1]["faces"].size(), 1u);
    const Json& face = pictures[1]["faces"][0];
    EXPECT_EQ(face["outline"].size(), 17u);
    EXPECT_EQ(face["pupils"].size(), 2u);
    EXPECT_THAT(json.out, Not(HasSubstr("descriptor"))) << "nobody asked for it";

    const Outcome text = RunKalvatri({"faces", cup_, portrait_});
    EXPECT_THAT(text.out, AllOf(HasSubstr("coffee.png: no faces\n"), HasSubstr("astronaut.png: 1 face\n  1: ")));

    std::ofstream(Out("faces.json")) << json.out;
    const FramePtr found = Apply(portrait_, {"FaceThinning"});
    EXPECT_TRUE(SameFrames(Apply(portrait_, {"FaceThinning", "faces=" + Out("faces.json")}), found));
    EXPECT_TRUE(SameFrames(Apply(portrait_, {"FaceThinning", "outline=" + face["outline"].dump()}), found));
    EXPECT_TRUE(SameFrames(Apply(portrait_, {"FaceThinning", "outline=" + face.dump()}), found));
    EXPECT_FALSE(SameFrames(Apply(portrait_, {"EmptyEffect"}), found));
}

TEST_F(FacesOfPictures, AreComparedOnRequest) {
    const std::string turned = Out("turned.png");
    ASSERT_EQ(RunKalvatri({"apply", "-q", "-i", portrait_, "-o", turned, "Rotate", "angle=10"}).exitCode, 0);
    const Outcome text = RunKalvatri({"faces", "--compare", portrait_, turned});
    EXPECT_THAT(text.out, AllOf(HasSubstr("  same   "), HasSubstr("person 1: " + turned + " #1\n")));
    EXPECT_THAT(RunKalvatri({"faces", "--compare", "--limit", "0", portrait_, turned}).out,
                AllOf(HasSubstr("  other  "), HasSubstr("person 2: " + turned + " #1\n")));
    const Json pictures = Json::parse(RunKalvatri({"faces", "--compare", "--json", portrait_, turned}).out);
    const Json& face = pictures[0]["faces"][0];
    EXPECT_EQ(face["descriptor"].size(), 128u);
    EXPECT_EQ(face["person"], 1);
    ASSERT_EQ(face["distances"].size(), 1u);
    EXPECT_EQ(face["distances"][0]["file"], turned);
    EXPECT_EQ(face["distances"][0]["face"], 1);
    EXPECT_LT(face["distances"][0]["distance"], 0.35);
}

TEST_F(FacesOfPictures, AreFoundInTheOtherPicturesIfOneCannotBeRead) {
    std::ofstream(Out("none.png")) << "no picture";
    const Outcome outcome = RunKalvatri({"faces", Out("none.png"), portrait_});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.out, HasSubstr("astronaut.png: 1 face\n"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("reading " + Out("none.png") + ": this is not a"),
                                   HasSubstr("1 of 2 pictures could not be used")));
    const std::pair<Words, std::string> cases[] = {
        {{"faces"}, "pictures are missing"},
        {{"faces", "--limit", "x", portrait_}, "--limit"},
        {{"faces", "--threshold", "7", portrait_}, "threshold: \"7\" is not in the range"},
    };
    for (const auto& [words, expected] : cases) {
        const Outcome refused = RunKalvatri(words);
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_THAT(refused.err, HasSubstr(expected));
    }
    const Outcome noModels = RunKalvatri({"faces", "--models", Out("nowhere"), portrait_});
    EXPECT_EQ(noModels.exitCode, 1);
    EXPECT_THAT(noModels.err, HasSubstr(Out("nowhere")));
}

TEST_F(FacesOfPictures, MayBeMissing) {
    const auto apply = [&](const Words& words) {
        return RunKalvatri(Words{"apply", "-i", cup_, "-o", Out("x.png")} + words);
    };
    const Outcome left = apply({"EyeExtending"});
    EXPECT_EQ(left.exitCode, 0);
    EXPECT_THAT(left.err, HasSubstr("note: " + cup_ + ": EyeExtending: no face was found"));
    EXPECT_TRUE(SameFrames(Read("x.png"), Apply(cup_, {"EmptyEffect"})));
    EXPECT_EQ(apply({"--strict", "EyeExtending"}).exitCode, 1);
    const Outcome failed = apply({"DrawFace"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_THAT(failed.err, HasSubstr("running DrawFace: Faces not found!"));
}

TEST_F(FacesOfPictures, GiveWhatEffectsFind) {
    const Outcome outcome = RunKalvatri(
        {"apply", "-q", "-i", portrait_, "-o", Out("x.png"), "--results", Out("found.json"), "FaceRecognition"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    std::ifstream file(Out("found.json"));
    const Json found = Json::parse(file);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]["effect"], "FaceRecognition");
    EXPECT_EQ(found[0]["descriptor"].size(), 128u);
    EXPECT_TRUE(SameFrames(Read("x.png"), Apply(portrait_, {"EmptyEffect"})));
    const Outcome nothing =
        RunKalvatri({"apply", "-q", "-i", portrait_, "-o", Out("x.png"), "--results", "-", "EmptyEffect"});
    EXPECT_EQ(Json::parse(nothing.out), Json::array());
    EXPECT_EQ(
        RunKalvatri({"apply", "-i", portrait_, "-o", "-", "--format", "png", "--results", "-", "EmptyEffect"}).exitCode,
        2);
}

}  // namespace

}  // namespace Orvexa::Test
