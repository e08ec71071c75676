// Effects built on ImageMagick, within the limits that ImageMagick is given by its environment and its policy.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "Host/Io/ImageFiles.h"
#include "Tests/Cli/KalvatriProcess.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using Resources = std::vector<std::pair<std::string, std::string>>;

// Sets environment variables for the program's runs.
class Environment {
public:
    explicit Environment(const Resources& variables) : variables_(variables) {
        for (const auto& [name, value] : variables_) setenv(name.c_str(), value.c_str(), 1);
    }
    ~Environment() {
        for (const auto& [name, value] : variables_) unsetenv(name.c_str());
    }

private:
    const Resources variables_;
};

class MagickLimits : public testing::Test {
protected:
    MagickLimits() {
        Io::WriteImage(small_, MakeFrame(PixFmt::Rgb24, 301, 203), {}, {});
        Io::WriteImage(wide_, MakeFrame(PixFmt::Rgb24, 17000, 9), {}, {});
    }

    std::vector<std::string> Command(const std::string& effect) const {
        return {"apply", "-q", "-i", small_, "-o", out_, effect};
    }
    FileBytes Result(const std::string& effect) const {
        const Outcome outcome = RunKalvatri(Command(effect));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return ReadFile(out_);
    }
    // The environment with a policy.xml that has these maximums.
    Resources Policy(const Resources& maximums) const {
        std::ofstream policy(folder_.File("policy.xml"));
        policy << "<policymap>\n";
        for (const auto& [name, value] : maximums)
            policy << "<policy domain=\"resource\" name=\"" << name << "\" value=\"" << value << "\"/>\n";
        policy << "</policymap>\n";
        return {{"MAGICK_CONFIGURE_PATH", folder_.GetPath().string()}};
    }

    const TempFolder folder_;
    const std::string small_ = folder_.File("small.png"), wide_ = folder_.File("wide.png"),
                      out_ = folder_.File("out.png");
};

TEST_F(MagickLimits, ChangeNoResultThatIsPossibleWithinThem) {
    const FileBytes painted = Result("OilPaint"), sketched = Result("Sketch");
    const Resources cases[] = {{{"MAGICK_WIDTH_LIMIT", "100"}, {"MAGICK_HEIGHT_LIMIT", "100"}},
                               {{"MAGICK_AREA_LIMIT", "1KP"}, {"MAGICK_DISK_LIMIT", "0"}},
                               {{"MAGICK_MEMORY_LIMIT", "0"}, {"MAGICK_MAP_LIMIT", "0"}, {"MAGICK_DISK_LIMIT", "0"}},
                               {{"MAGICK_LIST_LENGTH_LIMIT", "1"}}};
    for (const Resources& variables : cases) {
        SCOPED_TRACE(testing::PrintToString(variables));
        const Environment environment(variables);
        EXPECT_EQ(Result("OilPaint"), painted);
        EXPECT_EQ(Result("Sketch"), sketched);
    }
    for (const Resources& maximums : {Resources{{"width", "100"}, {"height", "60"}}, Resources{{"memory", "1MB"}}}) {
        SCOPED_TRACE(testing::PrintToString(maximums));
        const Environment environment(Policy(maximums));
        EXPECT_EQ(Result("OilPaint"), painted) << "in parts that are small enough";
    }
    EXPECT_EQ(RunKalvatri({"apply", "-i", wide_, "-o", out_, "OilPaint"}).exitCode, 0)
        << "wider than the usual policy allows";
}

TEST_F(MagickLimits, AreNamedWhereNothingIsPossibleWithinThem) {
    const Resources nothing{{"memory", "1KB"}, {"map", "0"}, {"disk", "0"}};
    const struct {
        Resources maximums;
        std::string effect, reason;
    } cases[] = {{{{"width", "100"}}, "Sketch", "images of 301 x 203 pixels, where at most 100 x "},
                 {{{"height", "10"}}, "OilPaint", "x 10 are allowed"},
                 {nothing, "OilPaint", "exhausted with 1000 bytes of memory, 0 bytes of mapped files"},
                 {nothing, "Sketch", "policy.xml must allow more"}};
    for (const auto& [maximums, effect, reason] : cases) {
        const Environment environment(Policy(maximums));
        ExpectRefused({Command(effect), 1, reason});
    }
}

}  // namespace
}  // namespace Orvexa::Test
