// Steps that treat faces: where the faces come from, and how often a step runs.

#include <gmock/gmock.h>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Proc/Faces.h"
#include "Tests/Cli/ChainEffects.h"
#include "Tests/Support/Faces.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

using Kalvatri::CommandError;
using Kalvatri::Json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// Sets the pixel under each face's outline, as a step of each kind.
template <FaceRun kRun>
class TestFaceSettings : public Settings, public FaceSettings {
public:
    bool HasFaces() const override { return !faces.empty(); }
    void TakeFaces(std::span<const Face> given) override { faces.assign(given.begin(), given.end()); }
    FaceRun GetFaceRun() const override { return kRun; }
    bool RequiresFaces() const override { return kRun == FaceRun::Merged; }
    void CheckFacesInside(std::uint32_t, std::uint32_t) const override {}
    // The outline's place of each face that the last run was for.
    std::vector<Finding> GetFindings() const override {
        std::string places;
        for (const Face& face : faces)
            places += (places.empty() ? "" : ",") + std::to_string(face.GetOutline().GetContour().front().x);
        return {{"places", "[" + places + "]"}};
    }

    std::vector<Face> faces;
};

#define TEST_FACE_SETTINGS(Class, Name, Run)              \
    class Class final : public TestFaceSettings<Run> {    \
        ORVEXA_SETTINGS(Class, Name, "Test", "Of faces.") \
    };
TEST_FACE_SETTINGS(SettingsTestFaceInTurn, "TestFaceInTurn", FaceRun::InTurn)
TEST_FACE_SETTINGS(SettingsTestFacesTogether, "TestFacesTogether", FaceRun::Together)
TEST_FACE_SETTINGS(SettingsTestFaceMask, "TestFaceMask", FaceRun::Merged)

// Adds 1 to the pixels of its faces; as a mask all others become 0.
template <class SettingsT, bool kIsMask>
class Marks : public EffectBaseOneInput<SettingsT> {
public:
    using EffectBaseOneInput<SettingsT>::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        MakeWritable(frame);
        std::uint8_t* const row = frame->GetPlane(0).GetRow(0);
        for (std::uint32_t x = 0; x < frame->GetFrameInfo().width; ++x) {
            bool isMarked = false;
            for (const Face& face : this->settings_.faces)
                isMarked |= face.GetOutline().GetContour().front().x == static_cast<int>(x);
            row[x] = static_cast<std::uint8_t>(isMarked ? row[x] + 1 : kIsMask ? 0 : row[x]);
        }
    }
};

// Finds a face at every sample of 200 and more, and counts its runs.
int detections = 0;
class Detector : public EffectBaseOneInput<SettingsEffectFaceDetection> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        ++detections;
        std::vector<Face> faces;
        const std::vector<std::uint8_t> samples = Bytes(*frame);
        for (std::size_t x = 0; x < samples.size(); ++x) {
            if (samples[x] >= 200) faces.push_back(FaceAt(static_cast<int>(x), 0));
        }
        settings_.SetFaces(std::move(faces));
    }
};

class StepFaces : public testing::Test {
protected:
    StepFaces() {
        const std::string& impl = ImplNames::ORVEXA;
        factory_->RegisterOneInputEffect(SettingsEffectFaceDetection::CLASS_ID, impl, Create<Detector, OneInputPtr>, 0);
        factory_->RegisterOneInputEffect(SettingsTestFaceInTurn::CLASS_ID, impl,
                                         Create<Marks<SettingsTestFaceInTurn, false>, OneInputPtr>, 0);
        factory_->RegisterOneInputEffect(SettingsTestFacesTogether::CLASS_ID, impl,
                                         Create<Marks<SettingsTestFacesTogether, false>, OneInputPtr>, 0);
        factory_->RegisterOneInputEffect(SettingsTestFaceMask::CLASS_ID, impl,
                                         Create<Marks<SettingsTestFaceMask, true>, OneInputPtr>, 0);
        catalogue_.emplace(*factory_);
        detections = 0;
    }

    // The samples that the words make of a row of samples, and what was found and noted on the way.
    std::vector<int> Run(const std::vector<std::string>& words, const std::vector<int>& samples,
                         const std::string& file = "a.png", bool isStrict = false) {
        const Kalvatri::Chain chain = Kalvatri::ParseChain(*catalogue_, words);
        Kalvatri::ChainRunner runner(factory_, chain, {}, {}, {file, isStrict});
        const auto width = static_cast<std::uint32_t>(samples.size());
        std::vector<int> results;
        for (const FramePtr& picture : runner.Run({MakeFrame(PixFmt::Gray8, width, 1, samples)})) {
            for (const std::uint8_t sample : Bytes(*picture)) results.push_back(sample);
        }
        findings_ = runner.GetFindings();
        notes_ = runner.GetNotes();
        return results;
    }
    std::string ErrorOf(const std::vector<std::string>& words, const std::vector<int>& samples, bool isStrict = false,
                        const std::string& file = "a.png") {
        try {
            Run(words, samples, file, isStrict);
        } catch (const CommandError& error) {
            return error.what();
        }
        return "no error";
    }

    FactoryPtr factory_ = TestFactory();
    std::optional<Kalvatri::Catalogue> catalogue_;
    Json findings_;
    std::vector<std::string> notes_;
};

std::string Record(const Face& face) { return TextCodec<Face>::Format(face); }

TEST_F(StepFaces, RunAStepForTheFacesThatAreFound) {
    EXPECT_THAT(Run({"TestFaceInTurn"}, {200, 1, 210}), ElementsAre(201, 1, 211));
    EXPECT_EQ(findings_, Json::parse(R"([{"effect": "TestFaceInTurn", "places": [0]},
                                         {"effect": "TestFaceInTurn", "places": [2]}])"));
    EXPECT_THAT(Run({"TestFacesTogether"}, {200, 1, 210}), ElementsAre(201, 1, 211));
    EXPECT_EQ(findings_, Json::parse(R"([{"effect": "TestFacesTogether", "places": [0, 2]}])"));
    EXPECT_THAT(Run({"TestFaceMask"}, {200, 1, 210}), ElementsAre(201, 0, 211)) << "masks of all faces in one";
    EXPECT_THAT(Run({"TestFaceInTurn", "face=2"}, {200, 1, 210}), ElementsAre(200, 1, 211));
    EXPECT_THAT(Run({"TestFaceMask", "face=1"}, {200, 1, 210}), ElementsAre(201, 0, 0));
}

TEST_F(StepFaces, LookForFacesOncePerPicture) {
    EXPECT_THAT(Run({"TestFaceInTurn", "TestFacesTogether"}, {200, 1}), ElementsAre(202, 1));
    EXPECT_EQ(detections, 1);
    // Another effect may have moved everything.
    EXPECT_THAT(Run({"TestFaceInTurn", "Crop", "x=1", "width=2", "TestFaceInTurn"}, {9, 9, 200}), ElementsAre(9, 202));
    EXPECT_EQ(detections, 3);
    EXPECT_THAT(Run({"TestColumns", "TestFaceInTurn", "TestFaceInTurn", "TestBeside"}, {1, 200, 210}),
                ElementsAre(212, 202, 1));
    EXPECT_EQ(detections, 6);
    EXPECT_THAT(findings_, testing::SizeIs(4));
}

TEST_F(StepFaces, LeaveAPictureWithoutFacesAloneUnlessTheyAreNeeded) {
    EXPECT_THAT(Run({"TestFaceInTurn"}, {1, 2}), ElementsAre(1, 2));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("TestFaceInTurn: no face was found")));
    EXPECT_THAT(Run({"TestFaceInTurn", "face=2"}, {200, 2}), ElementsAre(200, 2));
    EXPECT_THAT(notes_, ElementsAre(HasSubstr("there is no face number 2")));
    EXPECT_THAT(ErrorOf({"TestFaceInTurn"}, {1, 2}, true), HasSubstr("running TestFaceInTurn: no face was found"));
    EXPECT_THAT(ErrorOf({"TestFaceMask"}, {1, 2}), HasSubstr("Faces not found!"));
}

TEST_F(StepFaces, TakeFacesThatAreGiven) {
    const std::string record = Record(FaceAt(1, 0)), other = Record(FaceAt(0, 0));
    EXPECT_THAT(Run({"TestFaceInTurn", "face=" + record}, {1, 2}), ElementsAre(1, 3));
    EXPECT_THAT(Run({"TestFaceInTurn", "faces=[" + record + "," + other + "]"}, {1, 2}), ElementsAre(2, 3));
    EXPECT_THAT(Run({"TestFaceInTurn", "face=2", "faces=[" + record + "," + other + "]"}, {1, 2}), ElementsAre(2, 2));
    const TempFolder folder;
    const std::string file = folder.File("faces.json");
    std::ofstream(file) << R"([{"file": "photos/a.png", "width": 2, "height": 1, "faces": [)" << record
                        << R"(]}, {"file": "b.png", "faces": []}])";
    EXPECT_THAT(Run({"TestFaceInTurn", "faces=" + file}, {1, 2}, "elsewhere/a.png"), ElementsAre(1, 3));
    EXPECT_THAT(Run({"TestFaceInTurn", "faces=" + file}, {1, 2}, "b.png"), ElementsAre(1, 2));
    EXPECT_EQ(detections, 0);
    EXPECT_THAT(ErrorOf({"TestFaceInTurn", "faces=" + file}, {1, 2}, false, "c.png"),
                HasSubstr("None of the faces given are of c.png!"));
    EXPECT_THAT(ErrorOf({"TestFaceInTurn", "faces=" + file}, {1, 2, 3}), HasSubstr("of 2 x 1 pixels, not of 3 x 1"));
    EXPECT_THAT(ErrorOf({"TestFaceInTurn", "face=" + Record(FaceAt(2, 0))}, {1, 2}),
                HasSubstr("not inside the picture"));
    // As a settings file has them, too.
    const std::vector<std::string> words{"TestFaceInTurn", "face=2", "faces=" + file};
    const Json json = Kalvatri::ChainToJson(Kalvatri::ParseChain(*catalogue_, words));
    EXPECT_EQ(Kalvatri::ChainToJson(Kalvatri::ParseChain(*catalogue_, json)), json);
    EXPECT_EQ(json.at(0).at("faces").size(), 2u);
}

TEST_F(StepFaces, RefuseWordsThatAreNoFaces) {
    const std::pair<std::string, std::string> cases[] = {
        {"face=0", "face: 0 is not in the range 1..1000"},
        {"face=99999999999", "face: 99999999999 is not in the range"},
        {"face=largest", "face: \"largest\" is neither the number of a face, 1 for the largest"},
        {"face={}", "the key \"rectangle\""},
        {"faces=[1]", "an object as"},
        {"faces=no/such/file.json", "reading no/such/file.json"},
        {"faces=[{\"faces\": [], \"width\": -1}]", "width: expected a size"},
        {"faces=[{\"faces\": []}, 5]", "expected pictures"},
    };
    for (const auto& [word, expected] : cases)
        EXPECT_THAT(ErrorOf({"TestFaceInTurn", word}, {1}), HasSubstr(expected)) << word;
    EXPECT_THAT(ErrorOf({"TestTone", "face=1"}, {1}), HasSubstr("face")) << "a step that treats no faces";
}

TEST_F(StepFaces, ServeCppCallersInOneCall) {
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 1, {200, 1});
    ProcessFaces(factory_, SettingsTestFaceInTurn(), frame);
    EXPECT_THAT(Bytes(*frame), ElementsAre(201, 1));
    SettingsTestFaceInTurn given;
    given.faces = {FaceAt(1, 0)};
    ProcessFaces(factory_, given, frame);
    EXPECT_THAT(Bytes(*frame), ElementsAre(201, 2));
    EXPECT_EQ(detections, 1);
}

}  // namespace

}  // namespace Orvexa::Test
