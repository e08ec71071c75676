// A chain over many pictures.

#include <chrono>

#include "Host/Io/PendingFile.h"
#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

TEST_F(Batch, GivesTheSameBytesWhateverTheJobsAndTheMemory) {
    const PixFmt pixFmts[] = {PixFmt::Rgb24, PixFmt::Gray8, PixFmt::Rgba};
    const char* const suffixes[] = {"png", "jpg", "webp", "TIF"};
    for (std::uint32_t i = 0; i < 12; ++i)
        Make("picture" + std::to_string(i) + "." + suffixes[i % 4], 30 + 17 * i, 200 - 13 * i, pixFmts[i % 3]);
    const std::string second = Make("second.png", 64, 64, PixFmt::Gray8);
    const Words chain = {"--", "BlendPalette", "with=" + second, "palette=0:#102030,255:#f0e0d0", "BlurBokeh"};

    const std::pair<const char*, Words> runs[] = {{"one", {"-j", "1"}},
                                                  {"four", {"-j", "4"}},
                                                  {"little", {"-j", "4", "--memory", "1K"}},
                                                  {"some", {"-j", "3", "--memory", "500K"}}};
    for (const auto& [name, options] : runs) {
        const Outcome outcome = RunKalvatri(To(name) + options + Words{"-q", "--pixfmt", "2", in_.string()} + chain);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_THAT(outcome.out + outcome.err, IsEmpty());
        EXPECT_TRUE(Contents(folder_.File(name)) == Contents(folder_.File("one"))) << name;
    }
    EXPECT_EQ(Contents(folder_.File("one")).size(), 13u);
    const Words apply = {
        "apply", "-q", "--pixfmt", "2", "-i", (in_ / "picture1.jpg").string(), "-o", folder_.File("applied.jpg")};
    ASSERT_EQ(RunKalvatri(apply + Words(chain.begin() + 1, chain.end())).exitCode, 0);
    EXPECT_TRUE(ReadFile(folder_.File("applied.jpg")) == ReadFile(folder_.File("one/picture1.jpg")))
        << "apply does the same";
}

TEST_F(Batch, MakesAnewWhatHasChangedAndNothingElse) {
    Make("a.png");
    const std::string b = Make("b.png"), with = folder_.File("more/with.png");
    Io::WriteImage(with, MakeFrame(PixFmt::Gray8, 5, 5), {}, {});
    const Words chain = {"--", "BlendPalette", "with=" + with};
    const Words command = To("out") + Words{in_.string(), "--json"};
    ASSERT_EQ(RunKalvatri(command + chain).exitCode, 0);
    const auto finished = Contents(out_);

    struct Case {
        const char* change;
        Words words;
        const char *a, *b;
        std::function<void()> make = [] {};
    };
    const Case cases[] = {
        {"nothing", command + chain, "skipped", "skipped"},
        {"the options that decide on no byte", command + Words{"-j", "2", "--memory", "1G", "-q"} + chain, "skipped",
         "skipped"},
        {"--force", command + Words{"--force"} + chain, "done", "done"},
        {"the quality", command + Words{"--quality", "50"} + chain, "done", "done"},
        {"the colour space", command + Words{"--srgb"} + chain, "done", "done"},
        {"and back", command + chain, "done", "done"},
        {"a setting", command + chain + Words{"palette=0:#010203"}, "done", "done"},
        {"and back", command + chain, "done", "done"},
        {"an input's time", command + chain, "skipped", "done",
         [&] { std::filesystem::last_write_time(b, std::filesystem::last_write_time(b) + std::chrono::hours(-1)); }},
        {"an output is gone", command + chain, "done", "skipped", [&] { std::filesystem::remove(out_ / "a.png"); }},
        {"an output is cut off", command + chain, "done", "skipped",
         [&] { std::filesystem::resize_file(out_ / "a.png", 20); }},
        {"the second picture", command + chain, "done", "done",
         [&] { Io::WriteImage(with, MakeFrame(PixFmt::Gray8, 6, 6), {}, {}); }},
        {"the second picture back", command + Words{"-j", "1"} + chain, "done", "done",
         [&] { Io::WriteImage(with, MakeFrame(PixFmt::Gray8, 5, 5), {}, {}); }},
        {"the ledger ends in the middle of its last line", command + chain, "skipped", "done",
         [&] { std::filesystem::resize_file(out_ / kLedger, std::filesystem::file_size(out_ / kLedger) - 9); }},
        {"the ledger is something else", command + chain, "done", "done",
         [&] { WriteFile(out_ / kLedger, std::string("{}\n[[\n\n7")); }},
    };
    for (const Case& change : cases) {
        SCOPED_TRACE(change.change);
        change.make();
        const auto statuses = Statuses(change.words);
        EXPECT_EQ(statuses.at("a.png"), change.a);
        EXPECT_EQ(statuses.at("b.png"), change.b);
    }
    EXPECT_TRUE(Contents(out_) == finished);
}

TEST_F(Batch, MirrorsSubfolders) {
    for (const char* folder : {"b", "b/deep", ".hidden", "results"}) std::filesystem::create_directory(in_ / folder);
    for (const char* name : {"a.png", "z.png", "b/a.png", "b/deep/c.jpg", ".hidden/no.png", "results/no.png"})
        Make(name);
    for (const char* name :
         {"a.xmp", "b/a.XMP", "b/raw.CR2", "b/deep/raw.nef", "b/plain", ".hidden.txt", "results/no.txt"})
        WriteFile(in_ / name, std::string("no picture"));
    std::filesystem::create_symlink("..", in_ / "b/aloop");
    std::filesystem::create_symlink("b", in_ / "alink");
    std::filesystem::create_symlink("nowhere", in_ / "b/gone.png");
    std::filesystem::create_directory(in_ / "closed");
    std::filesystem::permissions(in_ / "closed", std::filesystem::perms::none);
    const bool isRoot = geteuid() == 0;  // who may read everything

    const Words command = {"batch", "-o", (in_ / "results").string(), "-r", in_.string(), "--", "EmptyEffect"};
    const Outcome outcome = RunKalvatri(command);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err,
                HasSubstr("kalvatri: reading " + (in_ / "b/gone.png").string() + ": the file does not exist\n"));
    EXPECT_THAT(
        outcome.err,
        MatchesRegex("(.|\n)*" +
                     std::string(isRoot ? "5 pictures: 4 done, 0 skipped, 1" : "6 pictures: 4 done, 0 skipped, 2") +
                     " failed in [^;]*; 2 camera raw files \\(cr2, nef\\) left out; --format takes them in; "
                     "3 other files are no pictures \\(1 without a suffix, 2 xmp\\)\n"));
    std::vector<std::string> made;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(in_ / "results")) {
        if (entry.is_regular_file() && entry.path().filename() != kLedger)
            made.push_back(entry.path().lexically_relative(in_ / "results").string());
    }
    EXPECT_THAT(made, testing::UnorderedElementsAre("a.png", "z.png", "b/a.png", "b/deep/c.jpg", "no.png", "no.txt"));
    std::filesystem::remove(in_ / "b/gone.png");
    std::filesystem::remove(in_ / "closed");
    EXPECT_THAT(RunKalvatri(command).out, HasSubstr("4 pictures: 0 done, 4 skipped, 0 failed"));
}

TEST_F(Batch, NamesOutputsAndKeepsThoseThatExist) {
    Make("a.png");
    Make("b.jpg");
    WriteFile(folder_.File("list"), (in_ / "a.png").string() + "\r\n\n" + (in_ / "b.jpg").string());
    const ProcessOptions list{.stdinFile = folder_.File("list")};
    const Words fromList = To("out") + Words{"-T", "-", "--json"};
    const Outcome first = RunKalvatri(fromList + Words{"--name", "{stem}-web.{ext}"} + chain_, list);
    EXPECT_EQ(first.exitCode, 0) << first.err;
    EXPECT_EQ(RunKalvatri(To("out") + Words{"-T", folder_.File("list"), "--name", "{n}.webp"} + chain_).exitCode, 0);
    EXPECT_THAT(Names(), ElementsAre("1.webp", "2.webp", "a-web.png", "b-web.jpg"));

    WriteFile(out_ / "a.png", std::string("mine"));
    const Words keeping = {in_.string(), "--no-clobber", "--quality", "50"};
    EXPECT_THAT(RunKalvatri(To("out") + keeping + chain_).out,
                HasSubstr("2 pictures: 1 done, 1 skipped (1 exists already), 0 failed"));
    EXPECT_EQ(ReadFile(out_ / "a.png"), FileBytes({'m', 'i', 'n', 'e'}));
    EXPECT_EQ(RunKalvatri(To("out") + keeping + Words{"--dry-run"} + chain_).out,
              "skip " + (in_ / "a.png").string() + ", " + Out("a.png") + " exists\nskip " + (in_ / "b.jpg").string() +
                  ", " + Out("b.jpg") + " is up to date\n");
}

TEST_F(Batch, SaysWhatItWouldDoAndWritesNothing) {
    Make("a.png");
    Make("b.jpg");
    WriteFile(in_ / "notes.txt", std::string("no picture, and not taken for one"));
    const Outcome plan = RunKalvatri(Command({"--dry-run", "--format", "webp"}));
    EXPECT_EQ(plan.exitCode, 0) << plan.err;
    EXPECT_EQ(plan.out, "make " + Out("a.webp") + " from " + (in_ / "a.png").string() + "\nmake " + Out("b.webp") +
                            " from " + (in_ / "b.jpg").string() + "\n1 other file is no picture (1 txt)\n");
    EXPECT_FALSE(std::filesystem::exists(out_));

    const Outcome run = RunKalvatri(Command({"--format", "webp"}));
    EXPECT_THAT(
        run.out,
        MatchesRegex("2 pictures: 2 done, 0 skipped, 0 failed in [^\n]+; 1 other file is no picture \\(1 txt\\)\n"));
    EXPECT_THAT(Names(), ElementsAre("a.webp", "b.webp"));
    const std::string old = Make("c.png");
    EXPECT_EQ(Statuses(Command({"--dry-run", "--json", "--format", "webp"})),
              (std::map<std::string, std::string>{{"a.png", "skipped"}, {"b.jpg", "skipped"}, {"c.png", "open"}}));
    EXPECT_THAT(RunKalvatri(Command({"--dry-run", "--format", "webp"})).out,
                HasSubstr("skip " + (in_ / "a.png").string()));
    EXPECT_THAT(Names(), ElementsAre("a.webp", "b.webp"));
}

// The last picture is a pipe at which the program waits, so that it is stopped for certain after the others are done.
TEST_F(Batch, GoesOnFromWhereItWasStopped) {
    for (int i = 0; i < 5; ++i) Make("picture" + std::to_string(i) + ".png");
    const std::string last = Make("zlast.png");
    const FileBytes lastBytes = ReadFile(last);
    ASSERT_EQ(RunKalvatri(To("through") + Words{in_.string()} + chain_).exitCode, 0);
    const std::pair<int, int> endings[] = {{SIGKILL, 128 + SIGKILL}, {SIGINT, 130}, {SIGTERM, 128 + SIGTERM}};
    for (const auto& [signal, exitCode] : endings) {
        SCOPED_TRACE(signal);
        std::filesystem::remove_all(out_);
        std::filesystem::remove(last);
        MakePipe("zlast.png");
        Words files;
        for (const auto& entry : std::filesystem::directory_iterator(in_)) files.push_back(entry.path().string());
        std::sort(files.begin(), files.end());
        KalvatriProcess process(To("out") + Words{"-j", "1"} + files + chain_);
        WaitUntil(process, [&] { return CountRecorded() == 5; });

        const Outcome second = RunKalvatri(To("out") + files + chain_);
        EXPECT_EQ(second.exitCode, 1);
        EXPECT_THAT(second.err, HasSubstr("another batch is writing into this folder"));

        process.Send(signal);
        const Outcome outcome = process.Wait();
        EXPECT_EQ(outcome.exitCode, exitCode);
        if (signal != SIGKILL) {
            EXPECT_THAT(outcome.err, MatchesRegex("kalvatri: interrupted; [^\n]*: 6 pictures: [0-9] done[^\n]*\n"));
        }
        EXPECT_THAT(Names(), testing::SizeIs(5));

        std::filesystem::remove(last);
        WriteFile(last, lastBytes);
        const auto statuses = Statuses(Command({"--json"}));
        EXPECT_EQ(std::count_if(statuses.begin(), statuses.end(),
                                [](const auto& status) { return status.second == "skipped"; }),
                  5);
        EXPECT_EQ(statuses.at("zlast.png"), "done");
        EXPECT_TRUE(Contents(out_) == Contents(folder_.File("through")));
    }
}

TEST_F(Batch, RemovesWhatAKilledProcessLeftAndNothingElse) {
    Make("a.png");
    std::filesystem::create_directory(out_);
    const Io::PendingFile other(out_ / "a.png", Io::PendingFile::Naming::Named);  // of a process that is alive
    const Words kept = Names() + Words{".a.png.part-x", ".b.png.part-1-0", "a.png.part-1-0"};
    for (const std::string& name : {kept[1], kept[2], kept[3], std::string(".a.png.part-1-0")})
        WriteFile(out_ / name, std::string("part"));
    ASSERT_EQ(RunKalvatri(Command()).exitCode, 0);
    EXPECT_THAT(Names(), testing::UnorderedElementsAreArray(kept + Words{"a.png"}));
}

TEST_F(Batch, TakesThousandsOfPicturesWithFewOpenFiles) {
    constexpr std::size_t kCount = 2000;
    const FileBytes bytes = ReadFile(Make("picture.png", 3, 2));
    for (std::size_t i = 1; i < kCount; ++i) WriteFile(in_ / ("picture" + std::to_string(i) + ".png"), bytes);
    const Words command = To("out") + Words{in_.string(), "-j", "4", "--", "WhiteBalance"};
    const Outcome first = RunKalvatri(command, {.openFiles = 40});
    EXPECT_EQ(first.exitCode, 0) << first.err;
    EXPECT_THAT(first.out, HasSubstr("2000 pictures: 2000 done, 0 skipped, 0 failed"));
    EXPECT_THAT(RunKalvatri(command).out, HasSubstr("2000 pictures: 0 done, 2000 skipped, 0 failed"));
    EXPECT_EQ(Names().size(), kCount);
    EXPECT_EQ(CountRecorded(), kCount);
}

}  // namespace

}  // namespace Orvexa::Test
