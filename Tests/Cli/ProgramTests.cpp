// The program as its users run it.

#include <cstdlib>
#include <set>
#include <sstream>
#include <utility>

#include "Cli/Commands.h"
#include "Host/Core/Threads.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Settings.h"
#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

TEST_F(Program, ListsTheEffectsInTheirOrder) {
    const Outcome json = RunKalvatri({"list", "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    const Json list = Json::parse(json.out);
    const Outcome text = RunKalvatri({"list"});
    const FactoryPtr factory = MakeHostFactory();
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    std::size_t index = 0;
    for (const Registration& registration : factory->GetRegistrations()) {
        if (registration.implName != ImplNames::ORVEXA) continue;
        const Json& entry = list.at(index);
        const SettingsClass* known = SettingsCatalogue::Find(registration.classId);
        ASSERT_NE(known, nullptr);
        EXPECT_EQ(entry["index"], index);
        EXPECT_EQ(entry["effect"], known->effect);
        EXPECT_EQ(entry["settings"], registration.classId);
        EXPECT_EQ(entry["kind"], registration.kind == EffectKind::OneInput   ? "one-input"
                                 : registration.kind == EffectKind::TwoInput ? "two-input"
                                                                             : "variable-input");
        EXPECT_EQ(entry["group"], known->group);
        EXPECT_EQ(entry["summary"], known->summary);
        EXPECT_THAT(text.out, HasSubstr("\n  " + known->effect + " "));
        ++index;
    }
    // The host's own steps come after the effects.
    std::set<std::string> steps;
    for (std::size_t i = index; i < list.size(); ++i) {
        EXPECT_EQ(list.at(i)["index"], i);
        EXPECT_EQ(list.at(i)["group"], "Host");
        EXPECT_TRUE(steps.insert(list.at(i)["effect"]).second) << list.at(i)["effect"];
    }
    EXPECT_THAT(steps, testing::IsSupersetOf({"Blur", "CLAHE", "Charcoal", "ColorBalance", "Compose", "Crop",
                                              "Grayscale", "GuidedFilter", "Morphology", "Noise", "Original", "Pad",
                                              "Resize", "Rotate", "SmartBlur", "SplitToning", "Trimap", "Vibrance"}));
    EXPECT_THAT(text.out, testing::ContainsRegex("\n  Custom +\\(C\\+\\+ only\\)"));
}

TEST_F(Program, DescribesAnEffect) {
    const Json described = Json::parse(RunKalvatri({"describe", "createvideo", "--json"}).out);
    EXPECT_EQ(described["effect"], "CreateVideo");
    EXPECT_EQ(described["settings"], "SettingsEffectCreateVideo");
    EXPECT_EQ(described["kind"], "one-input");
    const Json& width = described["fields"][0];
    EXPECT_EQ(width.dump(),
              "{\"key\":\"width\",\"type\":\"int\",\"default\":1920,\"min\":1,\"max\":131072,\"values\":[],\"unit\":"
              "\"pixels\","
              "\"summary\":\"Width of the new picture.\"}");
    EXPECT_EQ(described["fields"][2]["default"], "#000000");
    EXPECT_TRUE(described["fields"][2]["min"].is_null());

    const Json bokeh = Json::parse(RunKalvatri({"describe", "BlurBokeh", "--json"}).out);
    const auto shape = std::find_if(bokeh["fields"].begin(), bokeh["fields"].end(),
                                    [](const Json& f) { return f["key"] == "aperture.shape"; });
    ASSERT_NE(shape, bokeh["fields"].end());
    EXPECT_EQ((*shape)["values"][0].dump(), "{\"name\":\"disc\",\"value\":0}");

    const Outcome text = RunKalvatri({"describe", "CreateVideo"});
    EXPECT_THAT(text.out, StartsWith("CreateVideo (one-input): "));
    EXPECT_THAT(text.out, HasSubstr("width=1920    int 1..131072, pixels"));
}

TEST_F(Program, KeepsItsReferenceOfEffectsUpToDate) {
    const FileBytes page = ReadFile(SourcePath("docs/effects.md"));
    const Outcome outcome = RunKalvatri({"describe", "--markdown"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(outcome.out == std::string(page.begin(), page.end()))
        << "docs/effects.md is stale; scripts/docs.sh makes it anew";
    const FileBytes readme = ReadFile(SourcePath("README.md"));
    EXPECT_THAT(std::string(readme.begin(), readme.end()),
                HasSubstr("<!-- effects, made by scripts/docs.sh -->\n" + RunKalvatri({"list", "--markdown"}).out +
                          "<!-- end of the effects -->\n"))
        << "README.md is stale; scripts/docs.sh makes its table anew";
    EXPECT_EQ(RunKalvatri({"describe", "--markdown", "WhiteBalance"}).exitCode, 2);
}

TEST_F(Program, HelpFitsAScreenAndShowsTwoExamples) {
    for (const Words& words : {Words{"--help"}, Words{"apply", "--help"}, Words{"batch", "--help"},
                               Words{"list", "--help"}, Words{"describe", "--help"}, Words{"preview", "--help"}}) {
        const Outcome help = RunKalvatri(words);
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_THAT(help.err, IsEmpty());
        std::istringstream lines(help.out);
        int count = 0, examples = 0;
        for (std::string line; std::getline(lines, line); ++count) {
            EXPECT_LE(line.size(), 80u) << line;
            examples += line.starts_with("  kalvatri ") ? 1 : 0;
        }
        EXPECT_LE(count, words.size() == 2 && (words[0] == "apply" || words[0] == "batch") ? 32 : 24) << help.out;
        EXPECT_EQ(examples, 2) << help.out;
    }
    EXPECT_THAT(RunKalvatri({"--version"}).out, MatchesRegex("kalvatri [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Program, AppliesAChainGivenAsWordsOrAsJson) {
    const std::string input = Make("in.png", MakeFrame(PixFmt::Rgb24, 7, 5));
    const Words files = {"apply", "-i", input, "-o", folder_.File("out.png")};
    // A picture of a translucent colour: exact, and unlike the input.
    const FramePtr expected = MakeFrame(PixFmt::Rgba, 3, 2, Color(16, 32, 48, 64));
    const Outcome words = RunKalvatri(
        files + Words{"whitebalance", "color=#c8b496", "CREATEVIDEO", "width=3", "height=2", "color=#10203040"});
    EXPECT_EQ(words.exitCode, 0) << words.err;
    EXPECT_THAT(words.err, IsEmpty());
    EXPECT_THAT(words.out, IsEmpty());
    EXPECT_TRUE(SameFrames(Read("out.png"), expected));

    std::filesystem::remove(folder_.File("out.png"));
    WriteFile(
        folder_.File("chain.json"),
        std::string(
            R"([{"effect": "WhiteBalance"}, {"effect": "CreateVideo", "width": 3, "height": 2.0, "color": "#10203040"}])"));
    const Outcome json = RunKalvatri(files + Words{"--settings", folder_.File("chain.json")});
    EXPECT_EQ(json.exitCode, 0) << json.err;
    EXPECT_TRUE(SameFrames(Read("out.png"), expected));
    const Outcome piped = RunKalvatri({"apply", "-i", input, "-o", folder_.File("piped.png"), "--settings", "-"},
                                      {.stdinFile = folder_.File("chain.json")});
    EXPECT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_TRUE(SameFrames(Read("piped.png"), expected));
}

TEST_F(Program, PrintsTheChainThatWasTypedAsARecipe) {
    const Words chain = {"blurbokeh", "size=0.09", "aperture.shape=heart", "BlendPalette", "with=no such file.png"};
    const Outcome applied = RunKalvatri(Words{"apply", "--print-settings"} + chain);
    const Outcome batched = RunKalvatri(Words{"batch", "--print-settings", "--"} + chain);
    EXPECT_EQ(applied.exitCode, 0) << applied.err;
    EXPECT_EQ(batched.out, applied.out) << batched.err;
    EXPECT_EQ(Json::parse(applied.out).dump(), R"([{"effect":"BlurBokeh","size":0.09,"aperture":{"shape":"heart"}},)"
                                               R"({"effect":"BlendPalette","with":["no such file.png"]}])");
    WriteFile(folder_.File("recipe.json"), applied.out);
    EXPECT_EQ(RunKalvatri({"apply", "--print-settings", "--settings", folder_.File("recipe.json")}).out, applied.out);
    ExpectRefused({{"apply", "--print-settings"}, 2, "an effect is missing"});
    ExpectRefused({{"apply", "--print-settings", "BlendPalette", "with=\xff.png"}, 1, "not UTF-8"});
}

TEST_F(Program, SetsTheThreadsOfItsLibraries) {
    Kalvatri::ApplyOptions options;
    options.inputs = {Make("in.png", MakeFrame(PixFmt::Rgb24, 9, 7))};
    options.output = folder_.File("out.png");
    options.chain = {"EmptyEffect"};
    options.threads = 3;
    Kalvatri::RunApply(options);
    EXPECT_EQ(Core::GetLibraryThreads(), 3);
}

TEST_F(Program, ServesTheProgramOfItsManual) {
    const FileBytes manual = ReadFile(SourcePath("docs/host-api.md"));
    for (const auto& [language, name] : {std::pair{"cpp", "DiamondVignette.cpp"}, {"cmake", "CMakeLists.txt"}}) {
        const FileBytes source = ReadFile(SourcePath(std::string("Tests/Package/") + name));
        const std::string shown =
            std::string("```") + language + "\n" + std::string(source.begin(), source.end()) + "```\n";
        EXPECT_THAT(std::string(manual.begin(), manual.end()), HasSubstr(shown))
            << "docs/host-api.md does not show " << name;
    }
    const std::string input = Make("white.png", MakeFrame(PixFmt::Rgb24, 100, 100, Color(255, 255, 255)));
    const std::string command = std::string(kDiamondVignette) + " " + input + " " + folder_.File("out.png");
    ASSERT_EQ(std::system(command.c_str()), 0);
    const FramePtr result = Read("out.png");
    const auto redAt = [&](std::size_t x, std::size_t y) {
        return int{std::as_const(*result).GetPlane(0).GetRow(y)[3 * x]};
    };
    EXPECT_EQ(redAt(50, 16), 255) << "inside the diamond's upper corner";
    EXPECT_LT(redAt(74, 74), 255) << "inside the ellipse that the module's own mask has, outside the diamond";
    EXPECT_NEAR(redAt(0, 0), 255 - 220, 1) << "covered as far as the mask's background goes";
}

TEST_F(Program, ReadsStdinWritesStdoutAndReportsStatisticsBesideThem) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 9, 4);
    const std::string input = Make("in.png", frame);
    const Words stats = {"--stats", "EmptyEffect", "EmptyEffect"};
    const Outcome piped = RunKalvatri(Words{"apply", "-i", "-", "-o", "-", "--format", "tiff"} + stats,
                                      {.stdinFile = input, .stdoutFile = folder_.File("out")});
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_TRUE(SameFrames(Read("out"), frame));
    EXPECT_EQ(Json::parse(piped.err)[0]["effect"], "EmptyEffect") << "statistics leave stdout to the picture";
    const Outcome outcome =
        RunKalvatri(Words{"apply", "-i", input, "-o", folder_.File("out.png"), "--pixfmt", "26"} + stats);
    EXPECT_EQ(Read("out.png")->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(Json::parse(outcome.out).at(1)["statistics"]["children"][1].dump(),
              "{\"name\":\"count\",\"value\":\"1\"}");
}

TEST_F(Program, SaysWhatIsLostUnlessQuietAndLogsWhenVerbose) {
    const std::string input = Make("in.png", MakeFrame(PixFmt::Rgba, 8, 8, Color(90, 90, 90, 9)));
    const Words words = {"apply", "-i", input, "-o", folder_.File("out.jpg"), "EmptyEffect"};
    EXPECT_THAT(RunKalvatri(words).err, MatchesRegex("kalvatri: note: [^\n]*out.jpg: [^\n]*transparency[^\n]*\n"));
    EXPECT_THAT(RunKalvatri(words + Words{"-q"}).err, IsEmpty());
    EXPECT_THAT(RunKalvatri(words + Words{"-v"}).err, HasSubstr("SettingsEffectEmpty_Orvexa starts"));

    const std::string strokes = Make("strokes.png", MakeFrame(PixFmt::Gray8, 8, 8, Color(255, 255, 255)));
    const Words oneKind = {"apply", "-i", input, "-o", folder_.File("out.png"), "Segmentation", "with=" + strokes};
    EXPECT_THAT(RunKalvatri(oneKind).err,
                MatchesRegex("kalvatri: note: [^\n]*in.png: Segmentation: [^\n]*strokes[^\n]*\n"));
    EXPECT_THAT(RunKalvatri(oneKind + Words{"-q"}).err, IsEmpty());
}

TEST_F(Program, TellsWhereAFailureComesFromWhenAsked) {
    const Outcome outcome =
        RunKalvatri({"apply", "-v", "-i", folder_.File("missing.png"), "-o", folder_.File("out.png"), "EmptyEffect"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("does not exist\n  thrown at Host/"));
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("? [")));
}

// A picture that shows red on the left and hides cyan on the right.
TEST_F(Program, TransparencyComesThroughEveryEffectOrIsNamed) {
    const std::string input =
        Make("in.png", MakeHalfHidden(PixFmt::Rgba, 64, 48, Color(200, 40, 40), Color(0, 255, 255)));
    const FramePtr before = Read("in.png");
    for (const char* effect :
         {"BlurRadial", "BlurBokeh", "Gradient", "TintTemperature", "OilPaint", "Pixelate", "TiltShift", "Vignette"}) {
        const Outcome outcome = RunKalvatri({"apply", "-i", input, "-o", folder_.File("out.png"), effect});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_THAT(outcome.err, IsEmpty()) << effect;
        const FramePtr after = Read("out.png");
        ASSERT_EQ(after->GetPixFmt(), PixFmt::Rgba) << effect;
        const std::string_view name = effect;
        for (std::uint32_t x = 0; x < 64; ++x) {
            const int alpha = SampleAt(after, x, 24, 3);
            if (name != "Pixelate") {  // whose cells mix alpha, too
                EXPECT_EQ(alpha, SampleAt(before, x, 24, 3)) << effect << ' ' << x;
            }
            // Nothing of the cyan: what shows is a red or a grey. A gradient has colours of its own.
            if (name != "Gradient" && alpha > 0) {
                EXPECT_LE(SampleAt(after, x, 24, 2), SampleAt(after, x, 24, 0) + 1) << effect << ' ' << x;
            }
        }
    }
    const Outcome sketch = RunKalvatri({"apply", "-i", input, "-o", folder_.File("out.png"), "Sketch"});
    EXPECT_THAT(sketch.err,
                MatchesRegex("kalvatri: note: [^\n]*in.png: Sketch: it works without transparency, which is lost\n"));
}

TEST_F(Program, CutsPicturesIntoFilesAndStitchesThem) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 97, 61);
    const std::string input = Make("in.png", picture);
    const Words cut{"Cutter", "patchWidth=40", "patchHeight=40", "overlapX=8", "overlapY=8"};
    const Words stitch{"Stitcher", "frameWidth=97", "frameHeight=61", "overlapX=8", "overlapY=8"};
    ASSERT_EQ(RunKalvatri(Words{"apply", "-i", input, "-o", folder_.File("patch_{}.png")} + cut).exitCode, 0);
    Words patches{"apply", "-o", folder_.File("whole.png")};
    for (int i = 0; i < 6; ++i) patches = patches + Words{"-i", folder_.File("patch_" + std::to_string(i) + ".png")};
    ASSERT_EQ(RunKalvatri(patches + stitch).exitCode, 0);
    EXPECT_TRUE(SameFrames(Read("whole.png"), picture));
    // In one command each patch goes through the steps between; a change of single pixels is the same for a patch and
    // for the whole.
    const Words between{"BalanceLuma", "shadows=50"};
    ASSERT_EQ(RunKalvatri(Words{"apply", "-i", input, "-o", folder_.File("one.png")} + cut + between + stitch).exitCode,
              0);
    ASSERT_EQ(RunKalvatri(Words{"apply", "-i", input, "-o", folder_.File("other.png")} + between).exitCode, 0);
    EXPECT_TRUE(SameFrames(Read("one.png"), Read("other.png")));
    ExpectRefused(
        {Words{"apply", "-i", input, "-o", folder_.File("none.png")} + cut, 2, "a {} in the name takes their numbers"});
}

}  // namespace

}  // namespace Orvexa::Test
