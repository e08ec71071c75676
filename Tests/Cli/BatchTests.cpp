// A chain over many pictures: the parts that count and tell, and the program as its users run it.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <thread>

#include "Cli/BatchBudget.h"
#include "Cli/BatchNames.h"
#include "Cli/BatchProgress.h"
#include "Cli/SettingsJson.h"
#include "Host/Core/Exception.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Io/PendingFile.h"
#include "Tests/Cli/KalvatriProcess.h"
#include "Tests/Cli/Module/EndsProcess.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

namespace {

using Kalvatri::BatchTotals;
using Kalvatri::Json;
using Kalvatri::MemoryBudget;
using Kalvatri::NameTemplate;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

using Words = std::vector<std::string>;

constexpr char kLedger[] = ".kalvatri-batch.jsonl";

Words operator+(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(BatchProgress, TellsTimesInTheUnitsPeopleUse) {
    const std::pair<double, const char*> cases[] = {
        {-1, "0 s"},          {0.2, "1 s"},           {59, "59 s"},
        {59.5, "1 min 00 s"}, {200, "3 min 20 s"},    {3599.5, "1 h 00 min"},
        {7500, "2 h 05 min"}, {90000, "25 h 00 min"}, {std::nan(""), "0 s"}};
    for (const auto& [seconds, text] : cases) EXPECT_EQ(Kalvatri::FormatDuration(seconds), text);
    EXPECT_THAT(Kalvatri::FormatDuration(std::numeric_limits<double>::infinity()), MatchesRegex("[0-9]+ h [0-9]+ min"));
}

TEST(BatchProgress, DerivesTheSpeedFromWhatWasWorkedOn) {
    const std::pair<BatchTotals, const char*> cases[] = {
        {{.inputs = 9, .seconds = 5}, "0 of 9"},
        {{.inputs = 9, .skipped = 3, .failed = 1, .finishedAtStart = 4, .seconds = 5}, "4 of 9"},
        {{.inputs = 9, .done = 1}, "1 of 9"},
        {{.inputs = 100, .done = 10, .skipped = 30, .finishedAtStart = 30, .seconds = 4},
         "40 of 100, 2.5 files/s, 24 s left"},
        {{.inputs = 100, .done = 9, .failed = 1, .seconds = 0.5}, "10 of 100, 20 files/s, 5 s left"},
        {{.inputs = 3, .done = 1, .seconds = 80}, "1 of 3, 0.013 files/s, 2 min 40 s left"},
        {{.inputs = 2, .done = 2, .seconds = 1}, "2 of 2, 2.0 files/s, 0 s left"},
    };
    for (const auto& [totals, text] : cases) EXPECT_EQ(Kalvatri::FormatProgress(totals), text);
    EXPECT_EQ(Kalvatri::FormatSummary({.inputs = 1, .failed = 1, .seconds = 2}),
              "1 picture: 0 done, 0 skipped, 1 failed in 2 s");
    EXPECT_EQ(Kalvatri::FormatSummary({.inputs = 9, .skipped = 9, .existing = 2, .seconds = 0}),
              "9 pictures: 0 done, 9 skipped (2 exist already), 0 failed in 0 s");
}

TEST(BatchBudget, ReadsAmountsOfMemory) {
    const std::pair<const char*, std::uint64_t> good[] = {
        {"1", 1}, {"3k", 3 << 10}, {"512M", 512 << 20}, {"2G", std::uint64_t{2} << 30}, {"1T", std::uint64_t{1} << 40}};
    for (const auto& [text, bytes] : good) EXPECT_EQ(Kalvatri::ParseMemory(text), bytes) << text;
    for (const char* text :
         {"", "0", "0G", "G", "-1G", "1.5G", "1X", "1GB", " 1G", "99999999999999999999", "17179869184G"})
        EXPECT_THROW(Kalvatri::ParseMemory(text), EffectException) << text;
}

TEST(BatchBudget, IsGrantedInOrderAndExceededOnlyByOneThatIsAlone) {
    constexpr std::uint64_t kLimit = 100;
    constexpr int kWorkers = 5;
    MemoryBudget budget(kLimit);
    std::map<int, std::uint64_t> wishes, shares;
    std::vector<int> order;  // of those that wait
    std::size_t granted = 0, exceeding = 0;
    unsigned seed = 1;
    const auto draw = [&](unsigned end) { return ((seed = seed * 1103515245 + 12345) >> 16) % end; };
    for (int step = 0; step < 3000; ++step) {
        // Anybody with a share gives it back or asks for another; somebody who waits may have died.
        const int worker = static_cast<int>(draw(kWorkers));
        const bool isWaiting = wishes.contains(worker);
        if (isWaiting && draw(8) != 0) continue;
        std::erase(order, worker);
        wishes.erase(worker);
        shares.erase(worker);
        if (isWaiting || draw(3) == 0) {
            budget.Release(worker);
        } else {
            wishes[worker] = draw(130);  // some exceed the whole budget
            order.push_back(worker);
            budget.Request(worker, wishes[worker]);
        }
        for (const int next : budget.TakeGranted()) {
            ASSERT_EQ(next, order.front());
            order.erase(order.begin());
            shares[next] = wishes[next];
            wishes.erase(next);
            ++granted;
        }
        std::uint64_t taken = 0;
        for (const auto& [holder, bytes] : shares) taken += bytes;
        ASSERT_TRUE(taken <= kLimit || shares.size() == 1) << step;
        exceeding += taken > kLimit ? 1 : 0;
        ASSERT_EQ(budget.IsAnyoneWaiting(), !order.empty());
        ASSERT_TRUE(order.empty() || (!shares.empty() && taken + wishes[order.front()] > kLimit))
            << "one waits that would fit";
    }
    EXPECT_GT(granted, 500u);
    EXPECT_GT(exceeding, 0u);
}

TEST(BatchNames, FillsTheTemplate) {
    const NameTemplate::Values values{"photos/rome/a.b {n}.JPG", "JPG", 7, 120};
    const std::pair<const char*, const char*> good[] = {{"{stem}.{ext}", "a.b {n}.JPG"},
                                                        {"{stem}-web.{ext}", "a.b {n}-web.JPG"},
                                                        {"{folder}_{n}.webp", "rome_007.webp"},
                                                        {"{n}{stem}{n}", "007a.b {n}007"}};
    for (const auto& [text, name] : good) EXPECT_EQ(NameTemplate(text).Fill(values), name);
    for (const char* text :
         {"", "web.{ext}", "{stem", "{stem}}.jpg", "{}{stem}", "{Stem}.jpg", "{name}.jpg", "a/{stem}.jpg"})
        EXPECT_THROW(NameTemplate{text}, EffectException) << text;
}

class Batch : public testing::Test {
protected:
    Batch() {
        std::filesystem::create_directory(in_);
        std::filesystem::create_directory(folder_.File("more"));
    }

    std::string Make(const std::string& name, std::uint32_t width = 40, std::uint32_t height = 30,
                     PixFmt pixFmt = PixFmt::Rgb24) const {
        Io::WriteImage(in_ / name, MakeFrame(pixFmt, width, height), {}, {});
        return (in_ / name).string();
    }
    // A pipe with a picture's name: whoever reads it waits.
    std::string MakePipe(const std::string& name) const {
        EXPECT_EQ(mkfifo((in_ / name).c_str(), 0600), 0);
        return (in_ / name).string();
    }

    std::string Out(const std::string& name = "") const { return (out_ / name).string(); }
    Words To(const std::string& folder) const { return {"batch", "-o", folder_.File(folder)}; }
    Words Command(const Words& options = {}) const { return To("out") + Words{in_.string()} + options + chain_; }

    // The outputs and whatever else is beside them, but for the ledger.
    static std::map<std::string, FileBytes> Contents(const std::filesystem::path& folder) {
        std::map<std::string, FileBytes> contents;
        std::error_code none;  // of a folder that is not there
        for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
            const std::string name = entry.path().filename().string();
            if (name != kLedger) contents[name] = ReadFile(entry.path());
        }
        return contents;
    }
    Words Names() const {
        Words names;
        for (const auto& [name, bytes] : Contents(out_)) names.push_back(name);
        return names;
    }

    // The status of each input by its name, of a run that ends with `exitCode`.
    static std::map<std::string, std::string> Statuses(const Words& words, int exitCode = 0) {
        const Outcome outcome = RunKalvatri(words);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.err;
        std::map<std::string, std::string> statuses;
        const Json report = Json::parse(outcome.out);
        for (const Json& input : report["inputs"])
            statuses[std::filesystem::path(input["input"].get<std::string>()).filename().string()] =
                input["status"].get<std::string>();
        return statuses;
    }

    static void WaitUntil(KalvatriProcess& process, const std::function<bool()>& condition) {
        while (!condition() && process.IsRunning()) std::this_thread::yield();
        ASSERT_TRUE(condition()) << process.Wait().err;
    }
    std::size_t CountRecorded() const {
        const FileBytes bytes = ReadFile(out_ / kLedger);
        return static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    }

    const TempFolder folder_;
    const std::filesystem::path in_ = folder_.GetPath() / "in", out_ = folder_.GetPath() / "out";
    const Words chain_ = {"--", "WhiteBalance", "color=#c8b496", "BlurBokeh"};
};

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
                                                        {"raw.nef", "camera raw files cannot be read"},
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
        {out + Words{good, "EmptyEffect"}, 2, "the effects are missing"},
        {out + Words{good, "--"}, 2, "the effects are missing"},
        {out + Words{good, "--", "Cutter"}, 2, "a batch makes one of each"},
        {out + Words{good, "--", "EmptyEfect"}, 2, "did you mean EmptyEffect?"},
        {out + Words{good, "-j", "0"} + chain_, 2, "--jobs"},
        {out + Words{good, "-j", "-1"} + chain_, 2, "--jobs"},
        {out + Words{good, "--memory", "0"} + chain_, 2, "such as 512M"},
        {out + Words{good, "--format", "bmp"} + chain_, 2, "the formats are jpg"},
        {out + Words{good, "--pixfmt", "1"} + chain_, 2, "the formats are 0, 2, 3"},
        {out + Words{good, folder_.File("more/good.png")} + chain_, 2, "would both become"},
        {out + Words{good, "--", "BlendPalette", "with=" + folder_.File("none.png")}, 1, "does not exist"},
        {out + Words{good, "--", "BlendPalette", "with=" + folder_.File("file")}, 1, "not a JPEG, PNG"},
        {{"batch", "-o", in_.string(), good, "--", "EmptyEffect"}, 2, "would overwrite the input"},
        {{"batch", "-o", folder_.File("link"), in_.string(), "--", "EmptyEffect"}, 2, "would overwrite the input"},
        {{"batch", "-o", folder_.File("more"), good, "--", "BlendPalette", "with=" + folder_.File("more/good.png")},
         2,
         "would overwrite"},
        {{"batch", "-o", folder_.File("file"), good, "--", "EmptyEffect"}, 2, "is not a directory"},
        {{"batch", "-o", folder_.File("file/out"), good, "--", "EmptyEffect"}, 1, "Not a directory"},
        {out + Words{good, "--name", "{name}.png"} + chain_, 2, "those are {stem}, {ext}, {n} and {folder}"},
        {out + Words{good, "--name", "{stem}"} + chain_, 2, "a suffix is missing"},
        {out + Words{good, "--name", "{stem}.png", "--format", "jpg"} + chain_, 2, "another format than --format"},
        {out + Words{in_.string(), "--name", "{stem}-web.{ext}", "--force", "--no-clobber"} + chain_, 2,
         "only one of them"},
        {out + Words{"-T", folder_.File("none")} + chain_, 1, "No such file"},
        {out + Words{"-T", folder_.File("empty")} + chain_, 1, "this is a folder"},
        {out + Words{"-T", "-"} + chain_, 2, "no pictures in the folders and lists"},
    };
    for (const BadCommand& bad : cases) {
        ExpectRefused(bad);
        EXPECT_THAT(Names(), IsEmpty());
    }
    EXPECT_THAT(Contents(in_), testing::SizeIs(1));
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
    EXPECT_THAT(outcome.err, MatchesRegex("(.|\n)*" +
                                          std::string(isRoot ? "5 pictures: 4 done, 0 skipped, 1"
                                                             : "6 pictures: 4 done, 0 skipped, 2") +
                                          " failed in [^;]*; 2 camera raw files \\(cr2, nef\\) cannot be read; "
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
    EXPECT_THAT(outcome.err, HasSubstr("kalvatri: recording " + Out("picture5.png") + ": File too large\n"));
    const auto recorded = static_cast<std::ptrdiff_t>(CountRecorded());
    EXPECT_GT(recorded, 0);
    const auto statuses = Statuses(command);
    EXPECT_EQ(
        std::count_if(statuses.begin(), statuses.end(), [](const auto& status) { return status.second == "skipped"; }),
        recorded);
    EXPECT_EQ(CountRecorded(), 6u);
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
