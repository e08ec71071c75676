// What goes wrong in a batch, and what is left of it.

#include "Tests/Cli/Fixtures.h"
#include "Tests/Cli/Module/EndsProcess.h"

namespace Orvexa::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Batch, OneBadFileNeverStopsTheRest) {
    for (int i = 0; i < 6; ++i) Make("good" + std::to_string(i) + (i % 2 == 0 ? ".png" : ".jpg"), 60, 60);
    const FileBytes whole = ReadFile(Make("cut.png", 60, 60));
    WriteFile(in_ / "cut.png", FileBytes(whole.begin(), whole.begin() + 3000));
    WriteFile(in_ / "empty.jpg", std::string());
    WriteFile(in_ / "text.jpg", std::string("no picture"));
    WriteFile(in_ / "name.txt", ReadFile(in_ / "good0.png"));
    WriteFile(in_ / "raw.nef", ReadFile(in_ / "good0.png"));
    Make("large.png", 101, 100);
    const std::map<std::string, const char*> reasons = {{"cut.png", "truncated or damaged ("},
                                                        {"empty.jpg", "the file is empty"},
                                                        {"text.jpg", "not a JPEG, PNG"},
                                                        {"name.txt", "not a known file format"},
                                                        {"raw.nef", "camera raw files can only be read"},
                                                        {"large.png", "limit of 10000 (--max-pixels)"},
                                                        {"gone.png", "does not exist"},
                                                        {std::string(300, 'n') + ".png", "File name too long"}};
    for (const char* jobs : {"1", "4"}) {
        const Outcome outcome =
            RunKalvatri(To("out") +
                        Words{"--json", "--force", "--max-pixels", "10000", "-j", jobs, in_.string(),
                              (in_ / "gone.png").string(), (in_ / "name.txt").string(), (in_ / "raw.nef").string(),
                              (in_ / (std::string(300, 'n') + ".png")).string()} +
                        chain_);
        EXPECT_EQ(outcome.exitCode, 1);
        const Json report = Json::parse(outcome.out);
        ASSERT_EQ(report["inputs"].size(), 14u);
        for (const Json& input : report["inputs"]) {
            const std::string name = std::filesystem::path(input["input"].get<std::string>()).filename().string();
            const auto reason = reasons.find(name);
            EXPECT_EQ(input["status"], reason == reasons.end() ? "done" : "failed") << name;
            if (reason == reasons.end()) continue;
            EXPECT_THAT(input["error"].get<std::string>(), HasSubstr(reason->second)) << name;
            EXPECT_THAT(outcome.err, HasSubstr("kalvatri: " + input["error"].get<std::string>() + "\n")) << name;
        }
        EXPECT_EQ(report["totals"]["done"], 6);
        EXPECT_EQ(report["totals"]["failed"], 8);
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 9)
            << "a line each and the summary: " << outcome.err;
        EXPECT_EQ(Names().size(), 6u);
    }
}

TEST_F(Batch, RefusesWhatCannotEndWell) {
    const std::string good = Make("good.png");
    WriteFile(folder_.File("more/good.png"), ReadFile(good));
    WriteFile(folder_.File("file"), std::string("file"));
    std::filesystem::create_directory(folder_.File("empty"));
    std::filesystem::create_symlink(in_, folder_.File("link"));
    const Words out = To("out");
    const BadCommand cases[] = {
        {{"batch", good, "--", "EmptyEffect"}, 2, "--output is required"},
        {out + chain_, 2, "pictures are missing"},
        {out + Words{folder_.File("empty")} + chain_, 2, "no pictures in the folders"},
        {out + Words{good}, 2, "the effects are missing"},
        {out + Words{good, "--", "Cutter"}, 2, "a batch makes one of each"},
        {out + Words{good, "-j", "-1"} + chain_, 2, "--jobs"},
        {out + Words{good, "--memory", "0"} + chain_, 2, "such as 512M"},
        {out + Words{good, folder_.File("more/good.png")} + chain_, 2, "would both become"},
        {out + Words{good, "--", "BlendPalette", "with=" + folder_.File("none.png")}, 1, "does not exist"},
        {{"batch", "-o", in_.string(), good, "--", "EmptyEffect"}, 2, "would overwrite the input"},
        {{"batch", "-o", folder_.File("link"), in_.string(), "--", "EmptyEffect"}, 2, "would overwrite the input"},
        {{"batch", "-o", folder_.File("more"), good, "--", "BlendPalette", "with=" + folder_.File("more/good.png")},
         2,
         "would overwrite"},
        {{"batch", "-o", folder_.File("file"), good, "--", "EmptyEffect"}, 2, "is not a directory"},
        {out + Words{good, "--name", "{name}.png"} + chain_, 2, "those are {stem}, {ext}, {n} and {folder}"},
        {out + Words{good, "--name", "{stem}"} + chain_, 2, "a suffix is missing"},
        {out + Words{good, "--name", "{stem}.png", "--format", "jpg"} + chain_, 2, "another format than --format"},
        {out + Words{in_.string(), "--name", "{stem}-web.{ext}", "--force", "--no-clobber"} + chain_, 2,
         "only one of them"},
        {out + Words{"-T", folder_.File("none")} + chain_, 1, "No such file"},
        {out + Words{"-T", "-"} + chain_, 2, "no pictures in the folders and lists"},
    };
    for (const BadCommand& bad : cases) {
        ExpectRefused(bad);
        EXPECT_THAT(Names(), IsEmpty());
    }
    EXPECT_THAT(Contents(in_), testing::SizeIs(1));
}

// The first picture is a pipe; while the program waits at it, the second goes and the third is shortened.
TEST_F(Batch, AFileThatChangesMeanwhileFailsAlone) {
    const std::string pipe = MakePipe("a.png"), gone = Make("b.png"), cut = Make("c.png"), there = Make("d.png");
    KalvatriProcess process(To("out") + Words{"-j", "1", pipe, gone, cut, there} + chain_);
    WaitUntil(process, [&] { return std::filesystem::exists(out_ / kLedger); });
    std::filesystem::remove(gone);
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    close(open(pipe.c_str(), O_WRONLY | O_CLOEXEC));
    while (process.IsRunning()) {
        // Each opening of the pipe by the program is answered with its end.
        const int writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (writer >= 0) close(writer);
        std::this_thread::yield();
    }
    const Outcome outcome = process.Wait();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("kalvatri: reading " + gone + ": the file does not exist\n"));
    EXPECT_THAT(outcome.err, HasSubstr("kalvatri: reading " + cut + ": the picture is truncated"));
    EXPECT_THAT(outcome.err, HasSubstr("4 pictures: 1 done, 0 skipped, 3 failed"));
    EXPECT_THAT(Names(), ElementsAre("d.png"));
}

// Pictures that end the process which works on them, by a module made for that.
class BatchWorkers : public Batch {
protected:
    std::string MakeEnding(int how) const {
        const std::string name = std::to_string(how) + ".png";
        const Color color(kEndingRed, static_cast<std::uint8_t>(how), kEndingBlue);
        Io::WriteImage(in_ / name, MakeFrame(PixFmt::Rgb24, 9, 9, color), {}, {});
        return (in_ / name).string();
    }
    const Words endsProcess_ = {"--module", kEndsProcess, "--", "EndsProcess"};
};

TEST_F(BatchWorkers, ThatAPictureEndsAreReplaced) {
    const std::string words = "; it wrote: its last  words";
    const std::map<std::string, std::string> ends = {
        {MakeEnding(SIGABRT), "ended by signal 6 (Aborted)" + words},
        {MakeEnding(SIGSEGV), "ended by signal 11 (Segmentation fault)" + words},
        {MakeEnding(SIGKILL),
         "ended by signal 9 (Killed), as the system does when memory runs out; --memory and --jobs limit "
         "what a batch takes" +
             words},
        {MakeEnding(SIGBUS),
         "ended by signal 7 (Bus error), as happens when a file is shortened while it is read" + words},
        {MakeEnding(kExits), "ended with exit code 200" + words}};
    for (int i = 0; i < 30; ++i) Make("good" + std::to_string(i) + ".png");
    WriteFile(in_ / "empty.png", std::string());
    for (const char* jobs : {"1", "4"}) {
        setenv(kWritingFolderVariable, Out().c_str(), 1);
        const Outcome outcome =
            RunKalvatri(To("out") + Words{"-j", jobs, "--json", "--force", in_.string()} + endsProcess_);
        unsetenv(kWritingFolderVariable);
        EXPECT_EQ(outcome.exitCode, 1);
        const Json report = Json::parse(outcome.out);
        EXPECT_EQ(report["totals"]["done"], 30);
        EXPECT_EQ(report["totals"]["failed"], 6);
        for (const auto& [picture, end] : ends)
            EXPECT_THAT(outcome.err,
                        HasSubstr("kalvatri: working on " + picture + ": the process that did it was " + end + "\n"));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 7)
            << "a line each and the summary: " << outcome.err;
        EXPECT_EQ(CountRecorded(), 30u);
        EXPECT_EQ(Names().size(), 30u) << "nothing incomplete is left";
        std::filesystem::remove(out_ / kLedger);
    }
}

TEST_F(BatchWorkers, EndWithTheirParentAndLeaveNothing) {
    const std::string endless = MakeEnding(kForEver);
    Make("good.png");
    setenv(kWritingFolderVariable, Out().c_str(), 1);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
        KalvatriProcess process(To("out") + Words{"-j", "2", "--force", in_.string()} + endsProcess_);
        WaitUntil(process,
                  [&] { return testing::Matches(testing::Contains(testing::StartsWith(".0.png.part-")))(Names()); });
        process.Send(signal);
        EXPECT_EQ(process.Wait().exitCode, 128 + signal);
        if (signal == SIGKILL) break;
        EXPECT_THAT(Names(), testing::Each(std::string("good.png"))) << "nothing incomplete is left";
    }
    unsetenv(kWritingFolderVariable);
    // The folder's lock is free once all of them have ended; what they left goes then.
    std::filesystem::remove(endless);
    const Outcome after = RunKalvatri(Command());
    EXPECT_EQ(after.exitCode, 0) << after.err;
    WriteFile(in_ / "0.png", ReadFile(in_ / "good.png"));
    EXPECT_EQ(RunKalvatri(Command()).exitCode, 0);
    EXPECT_THAT(Names(), ElementsAre("0.png", "good.png"));
}

TEST_F(Batch, AFullDiskFailsWhatDoesNotFitAndLosesNothing) {
    Make("large.png", 300, 300);
    Make("small.png", 8, 8);
    ASSERT_EQ(RunKalvatri(To("through") + Words{in_.string()} + chain_).exitCode, 0);
    const Outcome outcome = RunKalvatri(Command({"-j", "2"}), {.fileSize = 4096});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("writing " + Out("large.png") + ": File too large\n"));
    EXPECT_THAT(Names(), ElementsAre("small.png"));
    EXPECT_EQ(Statuses(Command({"--json"})),
              (std::map<std::string, std::string>{{"large.png", "done"}, {"small.png", "skipped"}}));
    EXPECT_TRUE(Contents(out_) == Contents(folder_.File("through")));
}

TEST_F(Batch, AnOutputThatCannotBeRecordedIsMadeAnew) {
    for (int i = 0; i < 6; ++i) Make("picture" + std::to_string(i) + ".png", 1, 1);
    const Words command = To("out") + Words{"-j", "1", "--json", in_.string(), "--", "EmptyEffect"};
    const Outcome outcome = RunKalvatri(command, {.fileSize = 700});  // room for a few lines
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err,
                HasSubstr("kalvatri: recording " + Out("picture5.png") + ": cannot write: File too large\n"));
    const auto recorded = static_cast<std::ptrdiff_t>(CountRecorded());
    EXPECT_GT(recorded, 0);
    const auto statuses = Statuses(command);
    EXPECT_EQ(
        std::count_if(statuses.begin(), statuses.end(), [](const auto& status) { return status.second == "skipped"; }),
        recorded);
    EXPECT_EQ(CountRecorded(), 6u);
}

}  // namespace

}  // namespace Orvexa::Test
