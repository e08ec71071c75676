// kalvatri where the address space is limited: libraries that get no memory must not end it without a word.

// The sanitizers take more address space than any limit leaves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "Host/Io/ImageFiles.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {
namespace {

TEST(MemoryLimit, IsToldInOneLine) {
    const TempFolder folder;
    Io::WriteImage(folder.File("in.png"), MakeFrame(PixFmt::Rgb24, 600, 400), {}, {});
    struct Case {
        int megabytes;
        const char* output;
    };
    for (const Case& c : {Case{150, "out.jpg"}, {270, "out.jpg"}, {320, "out.avif"}, {500, "out.avif"}}) {
        SCOPED_TRACE(std::to_string(c.megabytes) + " MB for " + c.output);
        const std::string command = "ulimit -c 0; ulimit -v " + std::to_string(c.megabytes << 10) + "; exec " +
                                    kKalvatri + " apply -q -i " + folder.File("in.png") + " -o " +
                                    folder.File(c.output) + " EmptyEffect 2> " + folder.File("err");
        const int status = std::system(command.c_str());
        ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
        EXPECT_EQ(WEXITSTATUS(status), 1);
        const FileBytes complaint = ReadFile(folder.File("err"));
        EXPECT_THAT(std::string(complaint.begin(), complaint.end()),
                    testing::MatchesRegex("kalvatri: [^\n]*: too little memory: [0-9]+ MB [^\n]*\n"));
    }
}

}  // namespace
}  // namespace Orvexa::Test

#endif
