// What goes wrong in a run of the program, and what is left of it.

#include "Cli/StopSignals.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/EffectFactory.h"
#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

TEST_F(Program, OutputThatIsNotTakenIsAFailure) {
    for (const Words& words : {Words{"--help"}, Words{"apply", "--help"}, Words{"--version"}, Words{"list"}})
        EXPECT_EQ(RunKalvatri(words, {.stdoutFile = "/dev/full"}).exitCode, 1) << testing::PrintToString(words);
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

// A batch's records, without when they were written.
Json LedgerIn(const std::filesystem::path& folder) {
    std::ifstream stream(folder / ".kalvatri-batch.jsonl");
    Json records = Json::array();
    for (std::string line; std::getline(stream, line);) {
        records.push_back(Json::parse(line));
        EXPECT_EQ(records.back().erase("recorded"), 1u);
    }
    return records;
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
        EXPECT_EQ(LedgerIn(folder_.File("out")), LedgerIn(folder_.File("expected")));
    }
    const Words apply = {"apply", "-i", folder_.File("good.png"), "-o"};
    EXPECT_EQ(RunKalvatri(apply + Words{folder_.File("out.png"), "EmptyEffect"}, {.closed = {0, 1, 2}}).exitCode, 0);
    EXPECT_EQ(RunKalvatri(apply + Words{"-", "--format", "png", "EmptyEffect"}, {.closed = {0, 1}}).exitCode, 1)
        << "a result is lost";
}

// Each: one line on stderr with the reason, the exit code, no new file, and an old output as it was.
TEST_F(Program, BadInputIsAnsweredWithOneLineAndHarmsNothing) {
    const std::string good = Make("good.png", MakeFrame(PixFmt::Rgb24, 64, 64));
    const FileBytes goodBytes = ReadFile(good);
    WriteFile(folder_.File("text.jpg"), std::string("no picture"));
    WriteFile(folder_.File("cut.png"), FileBytes(goodBytes.begin(), goodBytes.begin() + 5000));
    const FileBytes goodJxl = ReadFile(Make("good.jxl", MakeFrame(PixFmt::Rgb24, 64, 64)));
    WriteFile(folder_.File("cut.jxl"), FileBytes(goodJxl.begin(), goodJxl.begin() + 1000));
    WriteFile(folder_.File("bad.json"), std::string("[{\"effect\": "));
    WriteFile(folder_.File("key.json"), std::string("[{\"effect\": \"WhiteBalance\", \"colour\": 1}]"));
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
        {{},
         2,
         "a command is missing; the commands are list, describe, formats, faces, suggest, apply, batch, preview"},
        {{"aply"}, 2, "did you mean apply?"},
        {{"list", "--jsn"}, 2, "--jsn"},
        {{"describe"}, 2, "name is missing"},
        {{"describe", "BlurBoke"}, 2, "did you mean BlurBokeh?"},
        {{"apply", "-o", old, "EmptyEffect"}, 2, "--input is required"},
        {{"apply", "-i", good, "EmptyEffect"}, 2, "--output is required"},
        {apply, 2, "an effect is missing"},
        {{"apply", "-i", "https://example.org/a.jpg", "-o", old, "EmptyEffect"}, 1, "this is a URL; only files"},
        {{"apply", "-i", good, "-o", "sftp://host/a.png", "EmptyEffect"}, 1, "this is a URL; only files"},
        {apply + Words{"--raw-brightness", "0", "EmptyEffect"}, 2, "is neither auto nor a factor"},
        {apply + Words{"--raw-white-balance", "warm", "EmptyEffect"}, 2, "is not one of camera, daylight and auto"},
        {apply + Words{"WhiteBalanse"}, 2, "did you mean WhiteBalance?"},
        {apply + Words{"zzzzzzzzzzzzzz"}, 2, "`kalvatri list` shows the effects"},
        {apply + Words{"color=#ffffff", "WhiteBalance"}, 2, "stands before any effect"},
        {apply + Words{"WhiteBalance", "colour=#ffffff"}, 2, "did you mean color?"},
        {apply + Words{"WhiteBalance", "color=white"}, 2, "#RRGGBB"},
        {apply + Words{"CreateVideo", "width=0"}, 2, "in the range 1..131072"},
        {apply + Words{"EmptyEffect", "with=" + good}, 2, "takes one picture"},
        {apply + Words{"-i", good, "EmptyEffect"}, 2, "takes one -i"},
        {{"apply", "-i", good, "-o", folder_.File("cut.jpg"), "RemoveBackground", "with=" + good},
         2,
         "which JPEG files cannot keep; PNG, WebP and TIFF files can"},
        {apply + Words{"Custom"}, 2, "takes a C++ function and is not available on the command line"},
        {apply + Words{"EmptyEffect", "--quality", "101"}, 2,
         "--quality: \"101\" is not a whole number in the range 1..100"},
        {apply + Words{"EmptyEffect", "--threads", "0"}, 2, "in the range 1..1024"},
        {apply + Words{"EmptyEffect", "--max-pixels", "-1"}, 2, "in the range 1..1099511627776"},
        {apply + Words{"EmptyEffect", "--pixfmt", "1"}, 2, "the formats are 0, 2, 3"},
        {{"batch", "-o", folder_.File("out"), "-j", "0x2", good, "--", "EmptyEffect"}, 2, "in the range 1..1024"},
        {{"batch", "-o", folder_.File("out"), "--memory", "", good, "--", "EmptyEffect"},
         2,
         "--memory: the value is empty"},
        {apply + Words{"EmptyEffect", "--format", "bmp"}, 2, "the formats are jpg"},
        {apply + Words{"EmptyEffect", "--settings", folder_.File("bad.json")}, 2, "not in both"},
        {apply + Words{"--settings", folder_.File("bad.json")}, 2, "parse error at line 1"},
        {apply + Words{"--settings", folder_.File("key.json")}, 2, "did you mean color?"},
        {apply + Words{"--settings", ""}, 2, "--settings: the value is empty"},
        {{"apply", "-i", "-", "-o", old, "--settings", "-"}, 2, "only one of"},
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
        {from("cut.png"), 1, "--allow-truncated"},
        {from("cut.jxl"), 1, "damaged beyond use"},
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
    for (const char* suffix : {"jpg", "png", "webp", "tif", "gif", "avif", "heic", "jxl"}) {
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
