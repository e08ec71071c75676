// Frames with known contents, and their comparison.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Proc/IData.h"

namespace Orvexa::Proc {

void PrintTo(const ConstFramePtr& frame, std::ostream* out);

}  // namespace Orvexa::Proc

namespace Orvexa::Test {

using namespace Proc;

/// One allocator for all tests of a program.
const AllocatorPtr& TestAllocator();

/// Every format that there is.
std::vector<PixFmt> AllPixFmts();

/// Sizes that find most mistakes with edges: one pixel, odd and small, odd and larger than any vector or tile.
inline constexpr std::pair<std::uint32_t, std::uint32_t> kSizes[] = {{1, 1}, {7, 5}, {97, 61}};

enum class Pattern {
    Ramp,       ///< every sample counts up along the rows
    Noise,      ///< seeded by the format and size
    Checker,    ///< 0 and 255 by pixel
    OnePixel,   ///< 0 but for one bright pixel in the middle
    ColorCube,  ///< packed formats: steps through the colours; others: a coarse ramp
};

/// A frame whose planes carry the pattern. Palettes of indexed frames get a pattern of their own.
FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, Pattern pattern = Pattern::Noise);
/// A frame filled with a colour.
FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const Color& color);
/// A frame of the colour `shown` whose right half is hidden: of the colour `hidden` under alpha 0.
FramePtr MakeHalfHidden(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const Color& shown,
                        const Color& hidden);
/// A grey or packed frame from its samples, row by row.
FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const std::vector<int>& samples);

/// A grey or packed frame from its samples by place: `sample(x, y, channel)`, rounded to the nearest level.
template <class Sample>
FramePtr DrawFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, Sample&& sample) {
    const int channels = PixFmtDescription::Get(pixFmt).bytesPerPixel;
    std::vector<int> samples;
    for (int i = 0; i < static_cast<int>(width * height) * channels; ++i) {
        const int pixel = i / channels, columns = static_cast<int>(width);
        const double level = sample(pixel % columns, pixel / columns, i % channels);
        samples.push_back(static_cast<int>(std::lround(std::clamp(level, 0.0, 255.0))));
    }
    return MakeFrame(pixFmt, width, height, samples);
}

/// Red tells the column, green the row.
FramePtr MakeCoordinates(std::uint32_t width, std::uint32_t height);

/// Byte `channel` of a pixel in plane 0.
inline int SampleAt(const ConstFramePtr& frame, std::uint64_t x, std::uint64_t y, int channel = 0) {
    return frame->GetPlane(0).GetOffsetPtr(x, y)[channel];
}

/// All bytes of a plane, rows without padding.
std::vector<std::uint8_t> Bytes(const ConstPlane& plane);
/// The bytes of all planes.
std::vector<std::uint8_t> Bytes(const IDataVideo& frame);

/// Whether formats, sizes and samples agree within `tolerance`; names the first differences and their positions.
testing::AssertionResult SameFrames(const ConstFramePtr& actual, const ConstFramePtr& expected, int tolerance = 0);

/// A frame that is a view into a larger one, whose bytes around the view are a guard: unaligned rows, padding that
/// belongs to others.
class GuardedFrame {
public:
    GuardedFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, Pattern pattern = Pattern::Noise);
    const FramePtr& GetFrame() const { return view_; }
    /// Whether every byte around the view is as it was.
    testing::AssertionResult IsGuardIntact() const;

private:
    FramePtr whole_;
    FramePtr view_;
    std::vector<std::uint8_t> before_;
};

/// A name for a parameterised test.
std::string Name(PixFmt pixFmt);

}  // namespace Orvexa::Test
