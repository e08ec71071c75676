// Files and folders for runs of the program.
#pragma once

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <map>
#include <thread>

#include "Cli/SettingsJson.h"
#include "Host/Io/ImageFiles.h"
#include "Tests/Cli/KalvatriProcess.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

using Kalvatri::Json;

using Words = std::vector<std::string>;

inline Words operator+(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Pictures in a folder.
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

inline constexpr char kLedger[] = ".kalvatri-batch.jsonl";

/// A folder of pictures, and one for what a batch makes of them.
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

}  // namespace Orvexa::Test
