#include "Host/Effects/PixelRows.h"

#include <hwy/targets.h>

#include "Host/Effects/ConvertPixFmt.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

// While it lives, vector code runs for one kind of processor.
class OnlyTarget {
public:
    explicit OnlyTarget(std::int64_t target) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ~OnlyTarget() {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
};

TEST(PixelRows, AllProcessorsComputeTheSameBytes) {
    const PixFmt formats[] = {PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Argb, PixFmt::Gray8, PixFmt::Yuv444p};
    const std::int64_t targets = hwy::SupportedTargets();
    for (const PixFmt from : formats) {
        const FramePtr source = MakeFrame(from, 209, 3);
        for (const PixFmt to : formats) {
            const FramePtr reference = ConvertPixFmt(*source, to, TestAllocator());
            for (std::int64_t rest = targets; rest != 0; rest &= rest - 1) {
                const OnlyTarget only(rest & -rest);
                EXPECT_TRUE(SameFrames(ConvertPixFmt(*source, to, TestAllocator()), reference))
                    << Name(from) << " -> " << Name(to) << " on " << hwy::TargetName(rest & -rest);
            }
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
