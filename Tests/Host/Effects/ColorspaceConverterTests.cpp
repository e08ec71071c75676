// The conversion between pixel formats.

#include <hwy/targets.h>
#include <array>
#include <cstring>

#include "Host/Core/Exception.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/PixelRows.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

using Kind = PixFmtDescription::Kind;

FramePtr Convert(const FramePtr& frame, PixFmt target) {
    return RunHost(SettingsColorspaceConverter(target, true), frame);
}

// A picture of four channels at full size: red, green, blue or luma and both chromas; then alpha.
enum class Model { Gray, Rgb, Ycc };
struct Picture {
    Model model;
    std::array<Grid, 4> channels;
};

Model ModelOf(const PixFmtDescription& d) {
    return d.kind == Kind::Gray                                ? Model::Gray
           : d.kind == Kind::Packed || d.kind == Kind::Indexed ? Model::Rgb
                                                               : Model::Ycc;
}

struct SamplePlace {
    std::uint8_t plane;
    int channel;
};
// Where channel 0..3 of a picture stands in a format, written out by format.
SamplePlace PlaceOf(PixFmt format, int channel) {
    static constexpr int kOrders[6][4] = {{0, 1, 2, -1}, {2, 1, 0, -1}, {1, 2, 3, 0},
                                          {0, 1, 2, 3},  {3, 2, 1, 0},  {2, 1, 0, 3}};
    switch (format) {
        case PixFmt::Rgb24: return {0, kOrders[0][channel]};
        case PixFmt::Bgr24: return {0, kOrders[1][channel]};
        case PixFmt::Argb:
        case PixFmt::Argb2: return {0, kOrders[2][channel]};
        case PixFmt::Rgba:
        case PixFmt::Rgba2: return {0, kOrders[3][channel]};
        case PixFmt::Abgr:
        case PixFmt::Abgr2: return {0, kOrders[4][channel]};
        case PixFmt::Bgra:
        case PixFmt::Bgra2: return {0, kOrders[5][channel]};
        case PixFmt::Nv12: return channel == 0 ? SamplePlace{0, 0} : SamplePlace{1, channel - 1};
        case PixFmt::Nv21: return channel == 0 ? SamplePlace{0, 0} : SamplePlace{1, 2 - channel};
        default: return {static_cast<std::uint8_t>(channel), 0};
    }
}

int ColorChannels(const PixFmtDescription& d) { return ModelOf(d) == Model::Gray ? 1 : 3; }

Picture ReadPicture(const IDataVideo& frame) {
    const PixFmtDescription& d = PixFmtDescription::Get(frame.GetPixFmt());
    const int width = static_cast<int>(frame.GetFrameInfo().width),
              height = static_cast<int>(frame.GetFrameInfo().height);
    const Grid empty(width, height);
    Picture picture{ModelOf(d), {empty, empty, empty, empty}};
    std::fill(picture.channels[3].values.begin(), picture.channels[3].values.end(), 255.0);
    if (d.kind == Kind::Indexed) {
        const Grid indices = Read(frame, 0);
        for (int c = 0; c < 4; ++c) {
            for (std::size_t i = 0; i < indices.values.size(); ++i) {
                picture.channels[static_cast<std::size_t>(c)].values[i] =
                    frame.GetPlane(1).GetData()[4 * static_cast<int>(indices.values[i]) + c];
            }
        }
        return picture;
    }
    for (int c = 0; c < 4; ++c) {
        if (c < ColorChannels(d) || (c == 3 && d.HasAlpha()))
            picture.channels[static_cast<std::size_t>(c)] =
                Read(frame, PlaceOf(frame.GetPixFmt(), c).plane, PlaceOf(frame.GetPixFmt(), c).channel);
    }
    return picture;
}

Grid Rounded(Grid grid) {
    for (double& value : grid.values) value = ToByte(value);
    return grid;
}

// Changes the colour model at full size, by the defining equations.
void ChangeModel(Picture& picture, Model model) {
    auto& [a, b, c, alpha] = picture.channels;
    if (picture.model == model) return;
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        double &x = a.values[i], &y = b.values[i], &z = c.values[i];
        if (picture.model == Model::Rgb) {
            const double luma = 0.299 * x + 0.587 * y + 0.114 * z, cb = 128.0 + (z - luma) / 1.772,
                         cr = 128.0 + (x - luma) / 1.402;
            x = luma, y = cb, z = cr;
        } else if (picture.model == Model::Ycc && model == Model::Rgb) {
            const double red = x + 1.402 * (z - 128.0), blue = x + 1.772 * (y - 128.0),
                         green = (x - 0.299 * red - 0.114 * blue) / 0.587;
            x = red, y = green, z = blue;
        } else {
            y = z = model == Model::Rgb ? x : 128.0;
        }
    }
    picture.model = model;
}

// What the conversion should give, sample by sample.
FramePtr Expected(const IDataVideo& source, PixFmt target) {
    const PixFmtDescription &from = PixFmtDescription::Get(source.GetPixFmt()), &to = PixFmtDescription::Get(target);
    Picture picture = ReadPicture(source);
    const int width = static_cast<int>(source.GetFrameInfo().width),
              height = static_cast<int>(source.GetFrameInfo().height);
    const bool isPlanarToPlanar = ModelOf(from) == Model::Ycc && ModelOf(to) == Model::Ycc;
    int shiftX = 0, shiftY = 0;  // from where the chroma of `picture` stands to where it should
    if (ModelOf(from) == Model::Ycc && !isPlanarToPlanar) {
        for (std::size_t c : {1u, 2u})
            picture.channels[c] =
                Rounded(Resampled(picture.channels[c], width, height, -from.chromaShiftX, -from.chromaShiftY));
    }
    ChangeModel(picture, ModelOf(to));
    if (ModelOf(to) == Model::Ycc) {
        shiftX = to.chromaShiftX - (isPlanarToPlanar ? from.chromaShiftX : 0);
        shiftY = to.chromaShiftY - (isPlanarToPlanar ? from.chromaShiftY : 0);
    }
    const FramePtr expected = NewFrame(TestAllocator(), target, source.GetFrameInfo());
    for (int c = 0; c < 4; ++c) {
        if (c >= ColorChannels(to) && (c != 3 || !to.HasAlpha())) continue;
        const SamplePlace place = PlaceOf(target, c);
        Grid grid = Rounded(picture.channels[static_cast<std::size_t>(c)]);
        if (ModelOf(to) == Model::Ycc && (c == 1 || c == 2))
            grid = Resampled(grid, -(-width >> to.chromaShiftX), -(-height >> to.chromaShiftY), shiftX, shiftY);
        Write(*expected, place.plane, place.channel, grid);
    }
    return expected;
}

TEST(ColorspaceConverter, TargetLosesLeast) {
    struct Case {
        int source;
        std::vector<int> candidates;
        int expected;
    };
    const Case cases[] = {
        {2, {3, 2}, 2},                         // listed
        {11, {11, 2}, 11},                      // listed, indexed
        {2, {}, 2},                             // nothing asked for
        {26, {2, 5, 33}, 33},                   // alpha before chroma
        {2, {8, 0}, 0},                         // colour before chroma
        {8, {2, 8, 0}, 8},                      //
        {2, {0, 5, 4, 31}, 5},                  // no coarser chroma
        {4, {0, 7, 6, 5}, 5},                   //
        {2, {6, 7, 0, 4}, 4},                   // the least coarse, where all are coarser
        {2, {81, 5}, 5},                        // no added alpha
        {23, {81, 80, 33, 5, 31, 4, 0, 7}, 0},  // nothing added at all
        {8, {26, 3, 2}, 2},                     //
        {25, {3, 2, 28, 26, 121, 123}, 26},     // red first, the first such one
        {26, {25, 27, 28}, 25},                 // none with red first: list order
        {5, {3, 2}, 2},                         //
        {2, {5, 3}, 5},                         // list order decides between packed and planar
        {3, {12, 0}, 12},                       // list order among the same layouts
        {2, {11, 8}, 8},                        // indexed last
    };
    for (const Case& test : cases) {
        std::vector<PixFmt> candidates;
        for (const int candidate : test.candidates) candidates.push_back(static_cast<PixFmt>(candidate));
        EXPECT_EQ(static_cast<int>(ChooseTarget(static_cast<PixFmt>(test.source), candidates)), test.expected)
            << test.source << " -> " << testing::PrintToString(test.candidates);
    }
    EXPECT_THROW(ChooseTarget(PixFmt::Rgb24, {PixFmt::None}), EffectException);
}

TEST(ColorspaceConverter, FrameInAListedFormatIsTheSameObject) {
    for (const PixFmt format : AllPixFmts()) {
        const FramePtr frame = MakeFrame(format, 7, 5);
        EXPECT_EQ(RunHost(SettingsColorspaceConverter({PixFmt::Rgb24, format}, true), frame), frame) << Name(format);
    }
}

TEST(ColorspaceConverter, EveryPairOfFormatsFollowsTheDefiningEquations) {
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{1, 1}, {1, 37}, {37, 1}, {3, 2}, {7, 5}, {97, 61}};
    for (const PixFmt from : AllPixFmts()) {
        for (const auto& [width, height] : sizes) {
            const GuardedFrame source(from, width, height);
            const std::vector<std::uint8_t> before = Bytes(*source.GetFrame());
            for (const PixFmt to : AllPixFmts()) {
                if (to == from || to == PixFmt::Pal8) continue;
                // Where colour goes through the matrix a sample may fall on the other side of a rounding.
                const int tolerance =
                    ModelOf(PixFmtDescription::Get(from)) == Model::Gray ||
                            ModelOf(PixFmtDescription::Get(from)) == ModelOf(PixFmtDescription::Get(to))
                        ? 0
                        : 1;
                EXPECT_TRUE(SameFrames(Convert(source.GetFrame(), to), Expected(*source.GetFrame(), to), tolerance))
                    << Name(from) << " -> " << Name(to);
            }
            EXPECT_EQ(Bytes(*source.GetFrame()), before);
            EXPECT_TRUE(source.IsGuardIntact());
        }
    }
}

// All colours of three bytes, one a pixel.
constexpr std::uint32_t kCubeSide = 4096;
std::array<int, 3> CubeColor(std::uint32_t x, std::uint32_t y) {
    const std::uint32_t i = y * kCubeSide + x;
    return {static_cast<int>(i & 255), static_cast<int>(i >> 8 & 255), static_cast<int>(i >> 16)};
}

// Fixed-point products add up to 0.02 to the error of rounding.
constexpr double kLargestError = 0.52;

TEST(ColorspaceConverter, EveryRgbColorBecomesTheNearestYccAndComesBackWithinOneLevel) {
    const FramePtr cube = NewFrame(TestAllocator(), PixFmt::Rgb24, FrameInfo(kCubeSide, kCubeSide));
    for (std::uint32_t y = 0; y < kCubeSide; ++y) {
        for (std::uint32_t x = 0; x < kCubeSide; ++x) {
            for (std::size_t c = 0; c < 3; ++c)
                cube->GetPlane(0).GetOffsetPtr(x, y)[c] = static_cast<std::uint8_t>(CubeColor(x, y)[c]);
        }
    }
    const FramePtr planar = Convert(cube, PixFmt::Yuv444p), back = Convert(planar, PixFmt::Rgb24);
    EXPECT_EQ(Bytes(std::as_const(*planar).GetPlane(0)),
              Bytes(std::as_const(*Convert(cube, PixFmt::Gray8)).GetPlane(0)));
    int largestChange = 0;
    double largestError = 0.0;
    for (std::uint32_t y = 0; y < kCubeSide; ++y) {
        const std::uint8_t* after = back->GetPlane(0).GetRow(y);
        const std::uint8_t* ycc[] = {planar->GetPlane(0).GetRow(y), planar->GetPlane(1).GetRow(y),
                                     planar->GetPlane(2).GetRow(y)};
        for (std::uint32_t x = 0; x < kCubeSide; ++x) {
            const auto [red, green, blue] = CubeColor(x, y);
            largestChange = std::max({largestChange, std::abs(after[3 * x] - red), std::abs(after[3 * x + 1] - green),
                                      std::abs(after[3 * x + 2] - blue)});
            const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
            const double cb = std::min(128.0 + (blue - luma) / 1.772, 255.0),
                         cr = std::min(128.0 + (red - luma) / 1.402, 255.0);
            largestError = std::max(
                {largestError, std::abs(ycc[0][x] - luma), std::abs(ycc[1][x] - cb), std::abs(ycc[2][x] - cr)});
        }
    }
    EXPECT_EQ(largestChange, 1);
    EXPECT_LE(largestError, kLargestError);
}

TEST(ColorspaceConverter, EveryYccColorBecomesTheNearestRgb) {
    const FramePtr cube = NewFrame(TestAllocator(), PixFmt::Yuv444p, FrameInfo(kCubeSide, kCubeSide));
    for (std::uint8_t c = 0; c < 3; ++c) {
        for (std::uint32_t y = 0; y < kCubeSide; ++y) {
            std::uint8_t* row = cube->GetPlane(c).GetRow(y);
            for (std::uint32_t x = 0; x < kCubeSide; ++x) row[x] = static_cast<std::uint8_t>(CubeColor(x, y)[c]);
        }
    }
    const FramePtr rgb = Convert(cube, PixFmt::Rgb24);
    double largestError = 0.0;
    const auto note = [&](int actual, double exact) {
        largestError = std::max(largestError, std::abs(actual - std::min(std::max(exact, 0.0), 255.0)));
    };
    for (std::uint32_t y = 0; y < kCubeSide; ++y) {
        const std::uint8_t* row = rgb->GetPlane(0).GetRow(y);
        for (std::uint32_t x = 0; x < kCubeSide; ++x) {
            const auto [luma, cb, cr] = CubeColor(x, y);
            const double red = luma + 1.402 * (cr - 128), blue = luma + 1.772 * (cb - 128);
            note(row[3 * x], red);
            note(row[3 * x + 1], (luma - 0.299 * red - 0.114 * blue) / 0.587);
            note(row[3 * x + 2], blue);
        }
    }
    EXPECT_LE(largestError, kLargestError);
}

TEST(ColorspaceConverter, IndexedFramesHoldWhatHasAtMost256Colors) {
    const FramePtr gray = MakeFrame(PixFmt::Gray8, 97, 61), indexed = Convert(gray, PixFmt::Pal8);
    EXPECT_EQ(Bytes(std::as_const(*indexed).GetPlane(0)), Bytes(std::as_const(*gray).GetPlane(0)));
    EXPECT_TRUE(SameFrames(Convert(indexed, PixFmt::Gray8), gray));

    std::vector<int> samples;
    for (int i = 0; i < 257; ++i) samples.insert(samples.end(), {i % 256, 255 - i % 256, i / 256, 200 - i % 200});
    const FramePtr tooMany = MakeFrame(PixFmt::Rgba, 257, 1, samples);
    const FramePtr enough = CloneFrame(*tooMany, kCloneView);
    enough->Crop(0, 0, 256, 1);
    EXPECT_TRUE(SameFrames(Convert(Convert(enough, PixFmt::Pal8), PixFmt::Rgba), enough));
    EXPECT_EQ(MessageOf([&] { Convert(tooMany, PixFmt::Pal8); }).rfind("Pixel format is not supported!", 0), 0u);
}

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
