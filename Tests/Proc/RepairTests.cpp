// Effects that repair what a mask marks: ReduceLocalLuma and EdgeRemove.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Photo/SettingsEffectEdgeRemove.h"
#include "Host/Settings/Photo/SettingsEffectReduceLocalLuma.h"
#include "Tests/Proc/MaskEffects.h"

namespace Orvexa::Test {
namespace {

using testing::HasSubstr;

int& Level(std::vector<int>& plane, int width, int x, int y) { return plane[static_cast<std::size_t>(y * width + x)]; }

std::vector<int> Samples(const IDataVideo& frame, std::uint8_t plane) {
    const std::vector<std::uint8_t> bytes = Bytes(frame.GetPlane(plane));
    return {bytes.begin(), bytes.end()};
}

// ---- ReduceLocalLuma

// The rectangle, already clipped and even, pixel by pixel.
void ExpectTamed(PixFmt pixFmt, const FramePtr& input, const FramePtr& mask, const FramePtr& actual, int left, int top,
                 int width, int height) {
    const PixFmtDescription& format = PixFmtDescription::Get(pixFmt);
    const int lineWidth = static_cast<int>(input->GetFrameInfo().width);
    const std::vector<int> weights = Samples(*mask, 0);
    const auto weight = [&](int x, int y) { return weights[static_cast<std::size_t>(y * lineWidth + x)]; };
    std::vector<int> luma = Samples(*input, 0);
    int brightest = 0;
    for (int y = top; y < top + height; ++y)
        for (int x = left; x < left + width; ++x) brightest = std::max(brightest, Level(luma, lineWidth, x, y));
    for (int y = top; y < top + height; ++y) {
        for (int x = left; x < left + width; ++x) {
            int& level = Level(luma, lineWidth, x, y);
            if (level > brightest - 20) level = (level - weight(x, y) * 20 / 255) & 255;
        }
    }
    const FramePtr part = Draw(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                               [&](int x, int y) { return Level(luma, lineWidth, left + x, top + y); });
    SettingsEffectBlur blur(1);
    blur.SetDevX(1.0);
    const FramePtr blurred = RunHost(blur, part);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int w = weight(left + x, top + y),
                      soft = SampleAt(blurred, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
            int& level = Level(luma, lineWidth, left + x, top + y);
            level = ((255 - w) * level + w * soft) / 255;
        }
    }
    EXPECT_EQ(Samples(*actual, 0), luma) << Name(pixFmt);
    for (std::uint8_t plane = 1; plane < std::min<int>(format.planes, 3); ++plane) {
        const int sx = format.chromaShiftX, sy = format.chromaShiftY;
        const int chromaWidth = (lineWidth + (1 << sx) - 1) >> sx;
        std::vector<int> chroma = Samples(*input, plane);
        const int cw = (width + (1 << sx) - 1) >> sx, ch = (height + (1 << sy) - 1) >> sy;
        std::int64_t sum = 0;
        for (int y = 0; y < ch; ++y)
            for (int x = 0; x < cw; ++x) sum += Level(chroma, chromaWidth, (left >> sx) + x, (top >> sy) + y);
        const int mean = static_cast<int>(sum / (cw * ch));
        for (int y = 0; y < ch; ++y) {
            for (int x = 0; x < cw; ++x) {
                int& level = Level(chroma, chromaWidth, (left >> sx) + x, (top >> sy) + y);
                level += std::min(2 * weight(left + (x << sx), top + (y << sy)), 255) * (mean - level) / 255;
            }
        }
        EXPECT_EQ(Samples(*actual, plane), chroma) << Name(pixFmt) << " plane " << int{plane};
    }
}

TEST(ReduceLocalLuma, FollowsTheFormulasPixelByPixel) {
    struct Case {
        int x, y, width, height;      // as set
        int left, top, across, down;  // as worked on in a picture of 33 x 26, in formats without subsampling
    };
    for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Yuv444p, PixFmt::Yuv420p, PixFmt::Yuva422p, PixFmt::Yuv410p}) {
        const PixFmtDescription& format = PixFmtDescription::Get(pixFmt);
        for (const Case& c : {Case{5, 3, 12, 9, 5, 3, 12, 9}, Case{-4, -3, 14, 13, 0, 0, 10, 10},
                              Case{20, 15, 40, 40, 20, 15, 13, 11}, Case{0, 0, 0, 0, 0, 0, 33, 26}}) {
            const FramePtr input = MakeFrame(pixFmt, 33, 26), mask = MakeFrame(PixFmt::Gray8, 33, 26);
            const auto even = [](int value, int shift) { return value >> shift << shift; };
            const FramePtr actual = ApplyTwo(SettingsEffectReduceLocalLuma(c.x, c.y, c.width, c.height, 0.0),
                                             CloneFrame(*input, kCloneIndependent), mask);
            ExpectTamed(pixFmt, input, mask, actual, even(c.left, format.chromaShiftX),
                        even(c.top, format.chromaShiftY), even(c.across, format.chromaShiftX),
                        even(c.down, format.chromaShiftY));
        }
    }
}

TEST(ReduceLocalLuma, WrapsInTheDark) {
    const FramePtr dark = MakeFrame(PixFmt::Gray8, 3, 1, std::vector<int>{7, 7, 7});
    const FramePtr mask = MakeFrame(PixFmt::Gray8, 3, 1, std::vector<int>{0, 128, 255});
    const FramePtr tamed = ApplyTwo(SettingsEffectReduceLocalLuma(0, 0, 1, 1, 0), dark, mask);
    EXPECT_EQ(SampleAt(tamed, 0, 0), 7);
    EXPECT_EQ(SampleAt(ApplyTwo(SettingsEffectReduceLocalLuma(2, 0, 1, 1, 0), dark, mask), 2, 0), (7 - 20) & 255);
}

TEST(ReduceLocalLuma, LeavesPicturesThatTheRectangleMisses) {
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 20, 10), mask = MakeFrame(PixFmt::Gray8, 20, 10);
    for (const auto& [x, y] : {std::pair(20, 0), {0, 10}, {-9, 0}, {0, -9}}) {
        EXPECT_EQ(ApplyTwo(SettingsEffectReduceLocalLuma(x, y, 8, 8, 0), input, mask), input) << x << "," << y;
    }
    EXPECT_EQ(ApplyTwo(SettingsEffectReduceLocalLuma(0, 0, 8, 8, 0), input, mask)->GetPixFmt(), PixFmt::Yuv444p);
    EXPECT_THAT(MessageOf([&] { ApplyTwo(SettingsEffectReduceLocalLuma(), input, MakeFrame(PixFmt::Gray8, 20, 11)); }),
                testing::AllOf(HasSubstr("20 x 10"), HasSubstr("20 x 11")));
}

// ---- EdgeRemove

struct Segment {
    int fromX, fromY, toX, toY;
};

// The whole effect on an RGB picture, with plain loops over sets of pixels.
FramePtr ExpectedWithoutEdge(const FramePtr& source, const FramePtr& mask, const Segment& segment, int radius,
                             int most) {
    using Pixel = std::pair<int, int>;
    const int width = static_cast<int>(source->GetFrameInfo().width),
              height = static_cast<int>(source->GetFrameInfo().height);
    const auto at = [](const FramePtr& frame, const Pixel& p, int k = 0) {
        return SampleAt(frame, static_cast<std::uint64_t>(p.first), static_cast<std::uint64_t>(p.second), k);
    };
    FramePtr guide = RunHost(SettingsEffectGrayscale(1), source);
    guide = RunHost(
        SettingsEffectMorphology(MorphologyOperation::Open, 3, MorphologyKernel::Rectangle, MorphologyBorder::Reflect),
        guide);
    SettingsEffectBlur blur(1);
    blur.SetDevX(1.0);
    guide = RunHost(blur, guide);

    struct Step {
        std::set<Pixel> pixels, dark;
        int darkest = 255;
        Pixel darkestAt{0, 0};
    };
    const int dx = segment.toX - segment.fromX, dy = segment.toY - segment.fromY, length = std::abs(dx) + std::abs(dy);
    const double ux = double(dx) / length, uy = double(dy) / length;
    std::vector<Step> steps(static_cast<std::size_t>(length) + 1);
    for (int i = 0; i <= length; ++i) {
        Step& step = steps[static_cast<std::size_t>(i)];
        const auto scan = [&](int first, int direction) {
            for (int j = first; j < radius; ++j) {
                const Pixel p(static_cast<int>(std::round(segment.fromX + i * ux + j * direction * uy)),
                              static_cast<int>(std::round(segment.fromY + i * uy - j * direction * ux)));
                if (p.first < 0 || p.second < 0 || p.first >= width || p.second >= height || at(mask, p) == 0) return;
                step.pixels.insert(p);
            }
        };
        scan(0, 1);
        scan(1, -1);
        int sum = 0;
        for (const Pixel& p : step.pixels) sum += at(guide, p);
        for (const Pixel& p : step.pixels) {
            const int value = at(guide, p);
            if (value < sum / static_cast<int>(step.pixels.size())) {
                step.dark.insert(p);
            } else if (value < step.darkest) {
                step.darkest = value;
                step.darkestAt = p;
            }
        }
    }

    const FramePtr corrected = CloneFrame(*source, kCloneIndependent);
    std::map<Pixel, int> done;
    CropInfo box{~0u, 0, ~0u, 0};
    for (std::size_t k = 0; k < steps.size(); ++k) {
        const Step& step = steps[k];
        for (const Pixel& p : step.pixels) {
            if (step.dark.count(p) == 0) {
                done[p] = 127;
            } else {
                done.try_emplace(p, 255);
                box.Apart(static_cast<std::uint32_t>(p.first), static_cast<std::uint32_t>(p.second));
            }
        }
        const Step* around[] = {&steps[k == 0 ? 0 : k - 1], &step, &steps[std::min(k + 1, steps.size() - 1)]};
        int weights = 0;
        for (const Step* near : around) weights += 255 - near->darkest;
        if (step.dark.empty() || weights == 0) continue;
        for (int c = 0; c < 3; ++c) {
            int sum = 0, target = 0;
            for (const Pixel& p : step.dark) sum += at(corrected, p, c);
            for (const Step* near : around) target += at(source, near->darkestAt, c) * (255 - near->darkest);
            for (const Pixel& p : step.dark) {
                if (done[p] != 255) continue;
                const int value = at(corrected, p, c) - sum / static_cast<int>(step.dark.size()) + target / weights;
                corrected->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(p.first),
                                                    static_cast<std::uint64_t>(p.second))[c] =
                    static_cast<std::uint8_t>(std::clamp(value, 0, 255));
            }
        }
    }
    FramePtr result = CloneFrame(*source, kCloneIndependent);
    if (box.left >= box.right) return result;
    const std::uint32_t left = box.left - std::min(box.left, 3u), top = box.top - std::min(box.top, 3u),
                        right = std::min(box.right + 3, source->GetFrameInfo().width),
                        bottom = std::min(box.bottom + 3, source->GetFrameInfo().height);
    FramePtr patch = CloneFrame(*corrected, kCloneView);
    patch->Crop(left, top, right - left, bottom - top);
    patch = RunHost(blur, patch);
    for (const auto& [p, kind] : done) {
        if (kind != 255) continue;
        const int m = std::min(at(mask, p) * 255 / most, 255);
        for (int c = 0; c < 3; ++c) {
            const Pixel inPatch(p.first - static_cast<int>(left), p.second - static_cast<int>(top));
            std::uint8_t& byte = result->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(p.first),
                                                                  static_cast<std::uint64_t>(p.second))[c];
            byte = static_cast<std::uint8_t>(((255 - m) * byte + m * at(patch, inPatch, c)) / 255);
        }
    }
    return result;
}

// A coarse texture with a dark line from (10, 5) to (30, 33).
FramePtr Creased() {
    const FramePtr frame = NewFrame(TestAllocator(), PixFmt::Rgb24, FrameInfo(44, 40));
    for (std::uint32_t y = 0; y < 40; ++y) {
        for (std::uint32_t x = 0; x < 44; ++x) {
            const double away = std::abs((x - 10.0) * 28 - (y - 5.0) * 20) / std::hypot(20, 28);
            const int base = 140 + static_cast<int>(x) + static_cast<int>((x * 7 + y * 5) % 11),
                      dip = away < 1.5 ? 70 : 0;
            std::uint8_t* pixel = frame->GetPlane(0).GetOffsetPtr(x, y);
            for (int k = 0; k < 3; ++k) pixel[k] = static_cast<std::uint8_t>(base - 12 * k - dip);
        }
    }
    return frame;
}

SettingsEffectEdgeRemove Along(const Segment& segment, int radius) {
    SettingsEffectEdgeRemove settings;
    settings.SetFromX(segment.fromX);
    settings.SetFromY(segment.fromY);
    settings.SetToX(segment.toX);
    settings.SetToY(segment.toY);
    settings.SetRadius(radius);
    return settings;
}

TEST(EdgeRemove, FollowsTheFormulasPixelByPixel) {
    const FramePtr source = Creased();
    const FramePtr mask = Draw(44, 40, [](int x, int y) { return x == 17 || y > 30 ? 0 : 60 + 3 * x + y; });
    for (const Segment& segment :
         {Segment{10, 5, 30, 33}, Segment{30, 33, 10, 5}, Segment{-3, 20, 50, 20}, Segment{20, 2, 20, 38}}) {
        for (const auto& [radius, most] : {std::pair(8, 255), {1, 100}, {40, 90}}) {
            SettingsEffectEdgeRemove settings = Along(segment, radius);
            settings.SetMaxValue(most);
            EXPECT_TRUE(SameFrames(ApplyMany(settings, {source, mask, source}),
                                   ExpectedWithoutEdge(source, mask, segment, radius, most)))
                << segment.fromX << "," << segment.fromY << " radius " << radius;
        }
    }
}

TEST(EdgeRemove, WorksWithinItsRectangleOnTheDestination) {
    const FramePtr source = Creased(), everywhere = MakeFrame(PixFmt::Gray8, 44, 40, Color::White(Opacity::Opaque));
    const FramePtr destination = MakeFrame(PixFmt::Rgb24, 44, 40, Color(1, 2, 3));
    SettingsEffectEdgeRemove settings = Along({10, 5, 30, 33}, 6);
    EXPECT_TRUE(SameFrames(ApplyMany(settings, {source}), ApplyMany(settings, {source, everywhere, source})));
    // The line lies lower in the picture than along its neighbourhood: most of the dip goes.
    const FramePtr mended = ApplyMany(settings, {source});
    EXPECT_GT(SampleAt(mended, 20, 19), SampleAt(source, 20, 19) + 45);

    settings.SetRect({8, 32, 10, 30});
    const FramePtr pasted = ApplyMany(settings, {source, everywhere, destination});
    bool isChanged = false;
    for (std::uint64_t y = 0; y < 40; ++y) {
        for (std::uint64_t x = 0; x < 44; ++x) {
            const bool isThere = SampleAt(pasted, x, y) != 1;
            isChanged = isChanged || isThere;
            ASSERT_TRUE(!isThere || (x >= 8 && x < 32 && y >= 10 && y < 30)) << x << "," << y;
        }
    }
    EXPECT_TRUE(isChanged);
    EXPECT_EQ(SampleAt(destination, 20, 19), 1) << "the caller's own frame";
    FramePtr part = CloneFrame(*source, kCloneView), partMask = CloneFrame(*everywhere, kCloneView);
    part->Crop(8, 10, 24, 20);
    partMask->Crop(8, 10, 24, 20);
    FramePtr inRectangle = ApplyMany(settings, {source});
    inRectangle->Crop(8, 10, 24, 20);
    EXPECT_TRUE(SameFrames(inRectangle, ExpectedWithoutEdge(part, partMask, {2, -5, 22, 23}, 6, 255)));
}

TEST(EdgeRemove, SaysWhatIsWrong) {
    const FramePtr source = Creased();
    const auto message = [&](const SettingsEffectEdgeRemove& settings, std::vector<DataPtr> frames) {
        return MessageOf([&] { ApplyMany(settings, std::move(frames)); });
    };
    EXPECT_THAT(message(Along({5, 5, 5, 5}, 3), {source}), HasSubstr("must differ"));
    SettingsEffectEdgeRemove settings = Along({5, 5, 9, 9}, 3);
    EXPECT_THAT(message(settings, {source, MakeFrame(PixFmt::Gray8, 40, 44)}), HasSubstr("40 x 44"));
    EXPECT_THAT(message(settings, {source, MakeFrame(PixFmt::Gray8, 44, 40), MakeFrame(PixFmt::Rgb24, 9, 7)}),
                HasSubstr("9 x 7"));
    settings.SetRect({0, 45, 0, 40});
    EXPECT_THAT(message(settings, {source}), HasSubstr("44 x 40"));
    for (const int most : {0, 256}) {
        SettingsEffectEdgeRemove wrong;
        wrong.SetMaxValue(most);
        EXPECT_THAT(message(wrong, {source}), HasSubstr("between 1 and 255"));
    }
}

}  // namespace
}  // namespace Orvexa::Test
