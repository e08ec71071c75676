// The program as its users run it.

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/SettingsJson.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Settings.h"
#include "Tests/Cli/KalvatriProcess.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

namespace {

using Kalvatri::Json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

using Words = std::vector<std::string>;

Words operator+(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class Program : public testing::Test {
protected:
    std::string Make(const std::string& name, const FramePtr& frame) const {
        Io::WriteImage(folder_.File(name), frame, {}, {});
        return folder_.File(name);
    }
    FramePtr Read(const std::string& name) const {
        return Io::ReadImage(Core::ioPath(folder_.File(name)), TestAllocator()).frame;
    }

    TempFolder folder_;
};

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
    EXPECT_EQ(list.size(), index);
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
    EXPECT_EQ(RunKalvatri({"describe", "--markdown", "WhiteBalance"}).exitCode, 2);
}

TEST_F(Program, HelpFitsAScreenAndShowsTwoExamples) {
    for (const Words& words : {Words{"--help"}, Words{"apply", "--help"}, Words{"batch", "--help"},
                               Words{"list", "--help"}, Words{"describe", "--help"}}) {
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

TEST_F(Program, OutputThatIsNotTakenIsAFailure) {
    for (const Words& words : {Words{"--help"}, Words{"apply", "--help"}, Words{"--version"}, Words{"list"}})
        EXPECT_EQ(RunKalvatri(words, {.stdoutFile = "/dev/full"}).exitCode, 1) << testing::PrintToString(words);
}

TEST(ToLine, MakesTextFitForATerminal) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain \\ text", "plain \\ text"},
        {"two\r\nlines", "two  lines"},
        {"\x1b]0;title\a\t\x7f", "\\x1b]0;title\\x07\\x09\\x7f"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"Gr\u00f6\u00dfe \u20ac \U0001f468\u200d\U0001f469", "Gr\u00f6\u00dfe \u20ac \U0001f468\u200d\U0001f469"},
        {"a\u009b31m \u202egnp.exe \u2028", "a\\u009b31m \\u202egnp.exe \\u2028"},
        // A byte that begins nothing, a cut character, an overlong one, a surrogate, one beyond Unicode.
        {"\x80 \xe2\x82 \xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80 \xff",
         "\\x80 \\xe2\\x82 \\xc0\\xaf \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80 \\xff"},
    };
    for (const auto& [text, line] : cases) {
        EXPECT_EQ(Kalvatri::ToLine(text), line);
        EXPECT_EQ(Kalvatri::ToLine(line), line);
    }
    for (const char* character : {"x", "\u00f6", "\u20ac", "\x1b"}) {
        std::string text = "beginning ";
        while (text.size() < 1000000) text += character;
        const std::string line = Kalvatri::ToLine(text + " end");
        EXPECT_THAT(line, StartsWith("beginning "));
        EXPECT_THAT(line, testing::EndsWith(" end"));
        EXPECT_THAT(line, testing::AllOf(HasSubstr(" bytes ...] "), testing::SizeIs(testing::Lt(20000u))));
        EXPECT_EQ(line.find("\\xc3") + line.find("\\xe2"), 2 * std::string::npos) << "cut between characters";
    }
}

// In a process of its own for each signal, with a file that has a name before it is complete.
TEST_F(Program, NoSignalLeavesIncompleteFiles) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTRAP, SIGABRT, SIGUSR1, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM,
                             SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSYS, SIGRTMIN, SIGRTMAX}) {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            Kalvatri::RemoveIncompleteFilesOnSignals();
            const Io::PendingFile incomplete(folder_.File("incomplete"), Io::PendingFile::Naming::Named);
            raise(signal);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << ": it still ends the process";
        EXPECT_THAT(folder_.List(), IsEmpty()) << signal;
    }
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

// Every file that is opened would otherwise get the number of a closed stream, and with it the messages.
TEST_F(Program, MessagesWithoutStreamsGoNowhere) {
    Make("good.png", MakeFrame(PixFmt::Rgb24, 8, 8));
    WriteFile(folder_.File("bad.png"), std::string("no picture"));
    const Words inputs = {folder_.File("bad.png"), folder_.File("good.png"), "--", "EmptyEffect"};
    ASSERT_EQ(RunKalvatri(Words{"batch", "-o", folder_.File("expected")} + inputs).exitCode, 1);
    for (const std::vector<int>& closed : {std::vector{0, 1, 2}, {0, 2}, {1, 2}, {2}}) {
        SCOPED_TRACE(testing::PrintToString(closed));
        std::filesystem::remove_all(folder_.File("out"));
        EXPECT_EQ(
            RunKalvatri(Words{"batch", "-j", "1", "-o", folder_.File("out")} + inputs, {.closed = closed}).exitCode, 1);
        EXPECT_EQ(ReadFile(folder_.File("out/good.png")), ReadFile(folder_.File("expected/good.png")));
        EXPECT_EQ(ReadFile(folder_.File("out/.kalvatri-batch.jsonl")),
                  ReadFile(folder_.File("expected/.kalvatri-batch.jsonl")));
    }
    const Words apply = {"apply", "-i", folder_.File("good.png"), "-o"};
    EXPECT_EQ(RunKalvatri(apply + Words{folder_.File("out.png"), "EmptyEffect"}, {.closed = {0, 1, 2}}).exitCode, 0);
    EXPECT_EQ(RunKalvatri(apply + Words{"-", "--format", "png", "EmptyEffect"}, {.closed = {0, 1}}).exitCode, 1)
        << "a result is lost";
}

TEST_F(Program, GivesTheSameBytesWithAnyNumberOfThreads) {
    const std::string input = Make("in.png", MakeFrame(PixFmt::Rgb24, 301, 207));
    const Words chain = {"TiltShift", "BlurBokeh", "OilPaint", "Sketch"};
    for (const char* threads : {"1", "7"}) {
        const Outcome outcome = RunKalvatri(
            Words{"apply", "-i", input, "-o", folder_.File(std::string(threads) + ".png"), "--threads", threads} +
            chain);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    }
    EXPECT_EQ(ReadFile(folder_.File("1.png")), ReadFile(folder_.File("7.png")));

    Kalvatri::ApplyOptions options;
    options.inputs = {input};
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

TEST_F(Program, ReadsStdinAndWritesStdout) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 9, 4);
    const std::string input = Make("in.png", frame), output = folder_.File("out");
    const Outcome outcome = RunKalvatri({"apply", "-i", "-", "-o", "-", "--format", "tiff", "EmptyEffect", "--stats"},
                                        {.stdinFile = input, .stdoutFile = output});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(SameFrames(Read("out"), frame));
    EXPECT_EQ(Json::parse(outcome.err)[0]["effect"], "EmptyEffect") << "statistics leave stdout to the picture";
}

TEST_F(Program, ConvertsTheInputAndReportsStatistics) {
    const std::string input = Make("in.png", MakeFrame(PixFmt::Rgb24, 8, 8, Color(90, 90, 90)));
    const Outcome outcome = RunKalvatri({"apply", "-i", input, "-o", folder_.File("out.png"), "--pixfmt", "26",
                                         "--stats", "EmptyEffect", "EmptyEffect"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(SameFrames(Read("out.png"), MakeFrame(PixFmt::Rgba, 8, 8, Color(90, 90, 90))));
    const Json statistics = Json::parse(outcome.out);
    ASSERT_EQ(statistics.size(), 2u);
    EXPECT_EQ(statistics[1]["statistics"]["children"][1].dump(), "{\"name\":\"count\",\"value\":\"1\"}");
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

// Each: one line on stderr with the reason, the exit code, no new file, and an old output as it was.
TEST_F(Program, BadInputIsAnsweredWithOneLineAndHarmsNothing) {
    const std::string good = Make("good.png", MakeFrame(PixFmt::Rgb24, 64, 64));
    const FileBytes goodBytes = ReadFile(good);
    WriteFile(folder_.File("text.jpg"), std::string("no picture"));
    WriteFile(folder_.File("empty.jpg"), std::string());
    WriteFile(folder_.File("cut.png"), FileBytes(goodBytes.begin(), goodBytes.begin() + 5000));
    WriteFile(folder_.File("bad.json"), std::string("[{\"effect\": "));
    WriteFile(folder_.File("object.json"), std::string("{\"effect\": \"EmptyEffect\"}"));
    WriteFile(folder_.File("key.json"), std::string("[{\"effect\": \"WhiteBalance\", \"colour\": 1}]"));
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    WriteFile(folder_.File("deep.json"), "[{\"effect\": \"WhiteBalance\", \"color\": " + deep + "}]");
    WriteFile(folder_.File("huge.json"), std::string("[{\"effect\": \"WhiteBalance\", \"color\": 1e999}]"));
    WriteFile(folder_.File("twice.json"), std::string("[{\"effect\": \"WhiteBalance\", \"effect\": \"Sketch\"}]"));
    WriteFile(folder_.File("long.json"),
              "[{\"effect\": \"WhiteBalance\", \"color\": \"" + std::string(1 << 20, 'A') + "\"}]");
    const std::string old = Make("old.png", MakeFrame(PixFmt::Rgb24, 2, 2));
    const FileBytes oldBytes = ReadFile(old);
    const std::set<std::string> before = folder_.List();

    const Words apply = {"apply", "-i", good, "-o", old};
    const auto from = [&](const char* name) {
        return Words{"apply", "-i", folder_.File(name), "-o", old, "EmptyEffect"};
    };
    const auto to = [&](const std::string& output) { return Words{"apply", "-i", good, "-o", output, "EmptyEffect"}; };
    const BadCommand cases[] = {
        {{}, 2, "a command is missing; the commands are list, describe, formats, apply, batch"},
        {{"aply"}, 2, "did you mean apply?"},
        {{"list", "--jsn"}, 2, "--jsn"},
        {{"describe"}, 2, "name is missing"},
        {{"describe", "BlurBoke"}, 2, "did you mean BlurBokeh?"},
        {{"apply", "-o", old, "EmptyEffect"}, 2, "--input is required"},
        {{"apply", "-i", good, "EmptyEffect"}, 2, "--output is required"},
        {apply, 2, "an effect is missing"},
        {apply + Words{"WhiteBalanse"}, 2, "did you mean WhiteBalance?"},
        {apply + Words{"zzzzzzzzzzzzzz"}, 2, "`kalvatri list` shows the effects"},
        {apply + Words{"color=#ffffff", "WhiteBalance"}, 2, "stands before any effect"},
        {apply + Words{"WhiteBalance", "colour=#ffffff"}, 2, "did you mean color?"},
        {apply + Words{"WhiteBalance", "color=white"}, 2, "#RRGGBB"},
        {apply + Words{"CreateVideo", "width=0"}, 2, "in the range 1..131072"},
        {apply + Words{"CreateVideo", "width=many"}, 2, "is not a whole number in the range 1..131072"},
        {apply + Words{"Histogram", "heightLevel=0"}, 2, "in the range 1.."},
        {apply + Words{"Histogram", "width=0"}, 2, "in the range 1.."},
        {apply + Words{"GradientPosterize", "colorCount=0"}, 2, "in the range 1.."},
        {apply + Words{"BlackWhite", "threshold=1.5"}, 2, "in the range 0..1"},
        {apply + Words{"ColorReduce", "threshold=-0.1"}, 2, "in the range 0.."},
        {apply + Words{"Gradient", "stops=9:#000000,9:#ffffff"}, 2, "its key was given before"},
        {apply + Words{"Gradient", "stops=300:#000000"}, 2, "in the range 0.."},
        {apply + Words{"BlendPalette", "with=" + good, "palette=256:#ff0000ff"}, 2, "in the range 0..255"},
        {apply + Words{"BlendPalette"}, 2, "with="},
        {apply + Words{"EmptyEffect", "with=" + good}, 2, "takes one picture"},
        {apply + Words{"-i", good, "EmptyEffect"}, 2, "takes one -i"},
        {apply + Words{"Custom"}, 2, "takes a C++ function and is not available on the command line"},
        {apply + Words{"EmptyEffect", "--quality", "101"}, 2,
         "--quality: \"101\" is not a whole number in the range 1..100"},
        {apply + Words{"EmptyEffect", "--quality", ""}, 2, "in the range 1..100"},
        {apply + Words{"EmptyEffect", "--quality", "0x10"}, 2, "in the range 1..100"},
        {apply + Words{"EmptyEffect", "--threads", "0"}, 2, "in the range 1..1024"},
        {apply + Words{"EmptyEffect", "--max-pixels", "-1"}, 2, "in the range 1..1099511627776"},
        {apply + Words{"EmptyEffect", "--max-pixels", "18446744073709551616"}, 2, "in the range 1.."},
        {apply + Words{"EmptyEffect", "--max-pixels", ""}, 2, "in the range 1.."},
        {apply + Words{"EmptyEffect", "--pixfmt", ""}, 2, "--pixfmt: \"\" is not a whole number in the range 0.."},
        {apply + Words{"EmptyEffect", "--pixfmt", "1"}, 2, "the formats are 0, 2, 3"},
        {{"batch", "-o", folder_.File("out"), "-j", "0x2", good, "--", "EmptyEffect"}, 2, "in the range 1..1024"},
        {{"batch", "-o", folder_.File("out"), "--memory", "", good, "--", "EmptyEffect"},
         2,
         "--memory: the value is empty"},
        {apply + Words{"EmptyEffect", "--format", "bmp"}, 2, "the formats are jpg"},
        {apply + Words{"EmptyEffect", "--settings", folder_.File("bad.json")}, 2, "not in both"},
        {apply + Words{"--settings", folder_.File("bad.json")}, 2, "parse error at line 1"},
        {apply + Words{"--settings", folder_.File("object.json")}, 2, "array of objects"},
        {apply + Words{"--settings", folder_.File("key.json")}, 2, "did you mean color?"},
        {apply + Words{"--settings", folder_.File("deep.json")}, 2, "more than 64 deep"},
        {apply + Words{"--settings", folder_.File("huge.json")}, 2, "huge.json: the number '1e999' is too large"},
        {apply + Words{"--settings", folder_.File("twice.json")}, 2, "the key \"effect\" is given twice"},
        {apply + Words{"--settings", folder_.File("")}, 1, "it is a folder"},
        {apply + Words{"--settings", ""}, 2, "--settings: the value is empty"},
        {{"apply", "-i", "-", "-o", old, "--settings", "-"}, 2, "only one of"},
        {{"apply", "-i", "-", "-o", old, "BlendPalette", "with=-"}, 2, "only one of"},
        {apply + Words{"--settings", folder_.File("long.json")}, 2, "AAA [... "},
        {apply + Words{"--settings", folder_.File("none.json")}, 1, "No such file"},
        {to(folder_.File("out")), 2, "suffix is missing"},
        {to(folder_.File("out.xyz")), 2, "the formats are jpg"},
        {to("-"), 2, "needs --format"},
        {to(folder_.File("none/out.png")), 1, "cannot write into the folder"},
        {from("none.png"), 1, "does not exist"},
        {from("red\x1b[31m\xff.png"), 1, "red\\x1b[31m\\xff.png: the file does not exist"},
        {{"apply", "-i", "/dev/zero", "-o", old, "EmptyEffect"}, 1, "not a JPEG, PNG"},
        {from("."), 1, "folder"},
        {from("text.jpg"), 1, "not a JPEG, PNG"},
        {from("empty.jpg"), 1, "empty"},
        {from("cut.png"), 1, "--allow-truncated"},
        {from("good.png") + Words{"--max-pixels", "4095"}, 1, "limit of 4095 (--max-pixels)"},
        {{"list", "--module", folder_.File("none.so")}, 1, "does not exist"},
        {{"list", "--module", good}, 1, "cannot be loaded"},
        {{"list", "--module", (GetPluginDirectory() / "libOrvexaImageFiles.so").string()},
         1,
         "no function Registrator"},
    };
    for (const BadCommand& bad : cases) {
        ExpectRefused(bad);
        EXPECT_EQ(folder_.List(), before);
        EXPECT_EQ(ReadFile(old), oldBytes);
    }
}

TEST_F(Program, AFullDiskIsReportedAndLeavesTheOldFile) {
    const std::string input = Make("in.png", MakeFrame(PixFmt::Rgb24, 200, 200));
    for (const char* suffix : {"jpg", "png", "webp", "tif", "gif", "avif", "heic"}) {
        SCOPED_TRACE(suffix);
        const std::string output = folder_.File(std::string("old.") + suffix);
        WriteFile(output, std::string("old"));
        const std::set<std::string> before = folder_.List();
        const Outcome outcome = RunKalvatri(
            {"apply", "-q", "-i", input, "-o", output, "--quality", "100", "EmptyEffect"}, {.fileSize = 4096});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.err, MatchesRegex("kalvatri: writing [^\n]*: File too large\n"));
        EXPECT_EQ(folder_.List(), before);
        EXPECT_EQ(ReadFile(output).size(), 3u);
    }
    const Outcome outcome =
        RunKalvatri({"apply", "-i", input, "-o", "-", "--format", "png", "EmptyEffect"}, {.stdoutFile = "/dev/full"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("writing stdout: No space left on device"));
    EXPECT_EQ(RunKalvatri({"list"}, {.stdoutFile = "/dev/full"}).exitCode, 1);
}

// A picture that shows red on the left and hides cyan on the right.
TEST_F(Program, TransparencyComesThroughEveryEffectOrIsNamed) {
    const std::string input =
        Make("in.png", MakeHalfHidden(PixFmt::Rgba, 64, 48, Color(200, 40, 40), Color(0, 255, 255)));
    const FramePtr before = Read("in.png");
    for (const char* effect : {"BlurRadial", "BlurBokeh", "BlackWhite", "Gradient", "WhiteBalance", "TintTemperature",
                               "OilPaint", "Pixelate", "TiltShift", "Vignette"}) {
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

TEST_F(Program, ExtremeShapesPass) {
    for (const auto& [width, height] : {std::pair{1u, 1u}, {1u, 5000u}}) {
        const FramePtr frame = MakeFrame(PixFmt::Rgb24, width, height);
        const std::string input = Make("in.png", frame);
        const Outcome outcome = RunKalvatri({"apply", "-i", input, "-o", folder_.File("out.png"), "WhiteBalance"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_TRUE(SameFrames(Read("out.png"), frame)) << "grey as the reference changes nothing";
    }
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

TEST_F(Program, AnInterruptLeavesNothingBehind) {
    // The program waits for a picture on its standard input, which never comes.
    const TempFolder folder;
    const std::string pipe = folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const int signal : {SIGINT, SIGTERM}) {
        KalvatriProcess process({"apply", "-i", "-", "-o", folder.File("out.png"), "EmptyEffect"}, {.stdinFile = pipe});
        const int writer = open(pipe.c_str(), O_WRONLY);  // waits for the program to open its end
        process.Send(signal);
        EXPECT_EQ(process.Wait().exitCode, 128 + signal);
        close(writer);
        EXPECT_EQ(folder.List(), std::set<std::string>{"pipe"});
    }
}

}  // namespace

}  // namespace Orvexa::Test
