// Effects that take a mask: ReduceLocalLuma, RemoveBackground, EdgeRemove and Matting.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <set>

#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Photo/SettingsEffectEdgeRemove.h"
#include "Host/Settings/Photo/SettingsEffectMatting.h"
#include "Host/Settings/Photo/SettingsEffectReduceLocalLuma.h"
#include "Host/Settings/Photo/SettingsEffectRemoveBackground.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::HasSubstr;

template <class SettingsT>
FramePtr ApplyTwo(const SettingsT& settings, FramePtr frame, const ConstFramePtr& second) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsT::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    effect->ProcessData(frame, second);
    return frame;
}

template <class SettingsT>
FramePtr ApplyMany(const SettingsT& settings, std::vector<DataPtr> frames) {
    VarInputPtr effect;
    ModuleFactory()->CreateVarInputEffect(effect, SettingsT::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    return boost::dynamic_pointer_cast<IDataVideo>(effect->Process(frames));
}

// A grey frame whose samples are those of a function.
FramePtr Draw(std::uint32_t width, std::uint32_t height, const std::function<int(int x, int y)>& level) {
    const FramePtr frame = NewFrame(TestAllocator(), PixFmt::Gray8, FrameInfo(width, height));
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x)
            frame->GetPlane(0).GetRow(y)[x] =
                static_cast<std::uint8_t>(level(static_cast<int>(x), static_cast<int>(y)));
    }
    return frame;
}

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

// ---- RemoveBackground

FramePtr Disc(std::uint32_t width, std::uint32_t height, double x, double y, double radius) {
    return Draw(width, height, [=](int px, int py) { return std::hypot(px - x, py - y) <= radius ? 255 : 0; });
}

TEST(RemoveBackground, HasTheMaskAsAlphaInItsBox) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Gray8, PixFmt::Yuv444p}) {
        const FramePtr picture = MakeFrame(pixFmt, 60, 50), mask = Disc(60, 50, 30, 20, 12.3);
        mask->GetPlane(0).GetRow(20)[30] = 77;
        SettingsEffectRemoveBackground settings;
        settings.SetSmooth(0);
        const FramePtr cut = ApplyMany(settings, {picture, mask});
        ASSERT_EQ(cut->GetPixFmt(), PixFmt::Bgra);
        ASSERT_EQ(cut->GetFrameInfo(), FrameInfo(25, 25));
        const FramePtr whole = Converted(picture, PixFmt::Bgra);
        for (std::uint64_t y = 0; y < 25; ++y) {
            for (std::uint64_t x = 0; x < 25; ++x) {
                ASSERT_EQ(SampleAt(cut, x, y, 3), SampleAt(mask, x + 18, y + 8)) << x << "," << y;
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(SampleAt(cut, x, y, k), SampleAt(whole, x + 18, y + 8, k)) << Name(pixFmt);
            }
        }
    }
}

TEST(RemoveBackground, ShapesAndSoftensTheMask) {
    // A square under a line that makes the box wider than it.
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 60, 60),
                   mask = Draw(60, 60, [](int x, int y) {
                       return (x >= 20 && x < 40 && y >= 20 && y < 40) || (y == 20 && x >= 10 && x < 50) ? 255 : 0;
                   });
    const auto row = [&](int morph, int smooth) {
        SettingsEffectRemoveBackground settings;
        settings.SetMorph(morph);
        settings.SetSmooth(smooth);
        const FramePtr cut = ApplyMany(settings, {picture, mask});
        EXPECT_EQ(cut->GetFrameInfo(), FrameInfo(40, 20)) << "the box is that of the mask as it was given";
        std::vector<int> alpha;
        for (std::uint64_t x = 0; x < 20; ++x) alpha.push_back(SampleAt(cut, x, 12, 3));
        return alpha;
    };
    const auto from = [](std::size_t first) {
        std::vector<int> expected(20, 0);
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(first), expected.end(), 255);
        return expected;
    };
    EXPECT_EQ(row(0, 0), from(10));
    EXPECT_EQ(row(-3, 0), from(13));
    EXPECT_EQ(row(3, 0), from(7));
    // A third, two thirds, all, blurred, which keeps the sum.
    const std::vector<int> soft = row(0, 2);
    EXPECT_TRUE(std::is_sorted(soft.begin(), soft.end())) << testing::PrintToString(soft);
    EXPECT_NEAR(std::accumulate(soft.begin(), soft.end(), 0), 85 + 170 + 8 * 255, 10) << testing::PrintToString(soft);
    EXPECT_NEAR(soft[11], 170, 8);
}

TEST(RemoveBackground, KeepsWhatIsTransparent) {
    const FramePtr picture = MakeHalfHidden(PixFmt::Rgba, 20, 10, Color(200, 10, 10), Color(10, 10, 200));
    SettingsEffectRemoveBackground settings;
    settings.SetSmooth(0);
    const FramePtr cut =
        ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 20, 10, Color::White(Opacity::Opaque))});
    EXPECT_EQ(SampleAt(cut, 2, 2, 3), 255);
    EXPECT_EQ(SampleAt(cut, 17, 2, 3), 0);
}

TEST(RemoveBackground, TakesOnTheColoursThatItWillCover) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 40, 40), mask = Disc(40, 40, 20, 20, 15);
    // Red on the left, blue on the right.
    const FramePtr background = MakeFrame(PixFmt::Rgb24, 200, 50, Color(220, 20, 20));
    FramePtr right = CloneFrame(*background, kCloneView);
    right->Crop(100, 0, 100, 50);
    right->Fill(Color(20, 20, 220));
    const std::vector<std::uint8_t> before = Bytes(*picture);
    const auto blueness = [&](double position, int adapt) {
        SettingsEffectRemoveBackground settings;
        settings.SetAdaptValue(adapt);
        settings.SetPositionX(position);
        const FramePtr cut = ApplyMany(settings, {picture, mask, background});
        int sum = 0;
        for (std::uint64_t i = 5; i < 25; ++i) sum += SampleAt(cut, i, i, 0) - SampleAt(cut, i, i, 2);
        return sum / 20;
    };
    const int neutral = blueness(0.2, 0);
    EXPECT_LT(blueness(0.2, 100), neutral - 40);
    EXPECT_GT(blueness(0.8, 100), neutral + 40);
    EXPECT_GT(blueness(0.2, 30), blueness(0.2, 100));
    EXPECT_EQ(blueness(9.0, 100), blueness(0.9, 100)) << "kept within the background";
    EXPECT_EQ(Bytes(*picture), before) << "the caller's picture";
}

TEST(RemoveBackground, SaysWhatIsMissing) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 8, 8), nothing = MakeFrame(PixFmt::Gray8, 8, 8, Color(0, 0, 0));
    const SettingsEffectRemoveBackground settings;
    EXPECT_EQ(MessageOf([&] { ApplyMany(settings, {picture, nothing}); }), "Mask is empty!");
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture}); }), HasSubstr("needs a mask"));
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 9, 8)}); }), HasSubstr("9 x 8"));
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

// ---- Matting

struct Composite {
    FramePtr picture, alpha, trimap;
};

// A bright layer over a dark one, each with a coarse texture, mixed by an alpha between 0 and 1; unknown is what lies
// within `band` pixels of a mixture.
Composite Compose(int width, int height, int band, const std::function<double(double x, double y)>& alphaAt) {
    const auto texture = [](int x, int y, int k, int period) { return ((x / period + y / period + k) % 3) * 12; };
    Composite composite;
    composite.alpha = Draw(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), [&](int x, int y) {
        return static_cast<int>(std::lround(255 * std::clamp(alphaAt(x, y), 0.0, 1.0)));
    });
    composite.picture = NewFrame(TestAllocator(), PixFmt::Rgb24, composite.alpha->GetFrameInfo());
    const auto alpha = [&](int x, int y) {
        return SampleAt(composite.alpha, static_cast<std::uint64_t>(std::clamp(x, 0, width - 1)),
                        static_cast<std::uint64_t>(std::clamp(y, 0, height - 1)));
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double a = alpha(x, y) / 255.0;
            std::uint8_t* pixel = composite.picture->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x),
                                                                              static_cast<std::uint64_t>(y));
            const int front[] = {200, 150, 60}, back[] = {40, 70, 120};
            for (int k = 0; k < 3; ++k) {
                pixel[k] = static_cast<std::uint8_t>(
                    std::lround(a * (front[k] + texture(x, y, k, 9)) + (1 - a) * (back[k] + texture(x, y, k, 14))));
            }
        }
    }
    composite.trimap = Draw(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), [&](int x, int y) {
        bool isForeground = true, isBackground = true;
        for (int dy = -band; dy <= band; ++dy) {
            for (int dx = -band; dx <= band; ++dx) {
                isForeground = isForeground && alpha(x + dx, y + dy) == 255;
                isBackground = isBackground && alpha(x + dx, y + dy) == 0;
            }
        }
        return isForeground ? 255 : isBackground ? 0 : 128;
    });
    return composite;
}

// Over the unknown pixels.
std::int64_t ErrorOf(const FramePtr& matte, const Composite& composite) {
    std::int64_t sum = 0;
    for (std::uint64_t y = 0; y < matte->GetFrameInfo().height; ++y) {
        for (std::uint64_t x = 0; x < matte->GetFrameInfo().width; ++x) {
            if (SampleAt(composite.trimap, x, y) == 128)
                sum += std::abs(SampleAt(matte, x, y) - SampleAt(composite.alpha, x, y));
        }
    }
    return sum;
}

TEST(Matting, FindsAlphaBetweenTexturedLayers) {
    const auto softDisc = [](double x, double y) { return (50 - std::hypot(x - 80, y - 70)) / 14; };
    const auto strands = [](double x, double y) {
        const double body = (25 - std::hypot(x - 80, y - 70)) / 3, around = std::atan2(y - 70, x - 80) * 12;
        const double reach = std::hypot(x - 80, y - 70) < 60 ? 1 : 0;
        return std::max(body, reach * (1.4 * std::abs(std::sin(around)) - 0.8));
    };
    for (const std::function<double(double, double)>& alphaAt :
         {std::function<double(double, double)>(softDisc), std::function<double(double, double)>(strands)}) {
        const Composite composite = Compose(160, 140, 3, alphaAt);
        SettingsEffectBlur blur(1);
        blur.SetDevX(6);
        blur.SetDevY(6);
        const std::int64_t ofRamp = ErrorOf(RunHost(blur, composite.trimap), composite);
        std::vector<std::int64_t> errors;
        for (const std::uint32_t seed : {1u, 2u, 3u}) {
            SettingsEffectMatting settings;
            settings.SetSeed(seed);
            const FramePtr matte = ApplyMany(settings, {composite.picture, composite.trimap});
            ASSERT_EQ(matte->GetPixFmt(), PixFmt::Gray8);
            errors.push_back(ErrorOf(matte, composite));
            for (std::uint64_t y = 0; y < 140; ++y) {
                for (std::uint64_t x = 0; x < 160; ++x) {
                    const int known = SampleAt(composite.trimap, x, y);
                    if (known != 128) {
                        ASSERT_EQ(SampleAt(matte, x, y), known) << x << "," << y;
                    }
                }
            }
            EXPECT_TRUE(SameFrames(ApplyMany(settings, {composite.picture, composite.trimap}), matte)) << "again";
        }
        const std::int64_t best = *std::min_element(errors.begin(), errors.end());
        EXPECT_LT(best, ofRamp * 35 / 100) << testing::PrintToString(errors) << " ramp " << ofRamp;
        EXPECT_LE(*std::max_element(errors.begin(), errors.end()), best * 11 / 10) << testing::PrintToString(errors);
    }
}

TEST(Matting, WorksOnLongPicturesReduced) {
    const Composite composite =
        Compose(2200, 60, 2, [](double x, double y) { return (x + 3 * std::sin(y / 4) - 1090) / 12; });
    const FramePtr matte = ApplyMany(SettingsEffectMatting(), {composite.picture, composite.trimap});
    ASSERT_EQ(matte->GetFrameInfo(), composite.alpha->GetFrameInfo());
    std::int64_t unknown = 0;
    for (const std::uint8_t value : Bytes(*composite.trimap)) unknown += value == 128;
    EXPECT_LT(ErrorOf(matte, composite), unknown * 16) << unknown << " unknown pixels";
    EXPECT_EQ(SampleAt(matte, 0, 30), 0);
    EXPECT_EQ(SampleAt(matte, 2199, 30), 255);
}

TEST(Matting, SaysWhatTheTrimapLacks) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 8, 6);
    const SettingsEffectMatting settings;
    for (const int level : {0, 128, 255}) {
        const FramePtr trimap = Draw(8, 6, [=](int x, int) { return x < 4 ? level : 128; });
        EXPECT_EQ(MessageOf([&] {
                      ApplyMany(settings, {picture, trimap});
                  }),
                  "Trimap needs both foreground and background!");
    }
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture}); }), HasSubstr("needs a trimap"));
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 6, 8)}); }), HasSubstr("6 x 8"));
    // Without anything unknown it is the mask.
    const FramePtr mask = Draw(8, 6, [](int x, int) { return x < 4 ? 0 : 255; });
    EXPECT_TRUE(SameFrames(ApplyMany(settings, {picture, Converted(mask, PixFmt::Rgb24)}), mask));
}

}  // namespace
}  // namespace Orvexa::Test
