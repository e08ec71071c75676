// The sub-effects that make pictures with networks, on networks small enough to be computed again in a few lines.

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <opencv2/core.hpp>

#include "Host/Core/Threads.h"
#include "Host/Effects/Channels.h"
#include "Host/Proc/Neural.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Progress.h"
#include "Tests/Support/TestModels.h"

namespace Orvexa::Test {
namespace {

using namespace Neural;
using testing::HasSubstr;

// Numbers in the tests' manifest.
constexpr int kSoftenColor = 1, kSoftenGrey = 2, kAddMean = 4, kGrid = 5, kNegativeGrey = 14, kNegativeColor = 16;

SettingsEffectDeepNeuralProcessor Processor(int model, const Core::ioPath& root = kModels, int maxSide = 4096) {
    SettingsEffectDeepNeuralProcessor settings(1, maxSide, maxSide, root);
    settings.SetModelId(ModelFileId{model});
    return settings;
}

SettingsEffectDeepNeuralFragmentor Fragmentor(int model, int tile, int overlap, const CropInfo& crop = {},
                                              const Core::ioPath& root = kModels) {
    SettingsEffectDeepNeuralFragmentor settings(tile, tile, 1, root, overlap, overlap, crop);
    settings.SetModelId(ModelFileId{model});
    return settings;
}

using PixelSample = std::function<double(int x, int y, int channel)>;

int Mirrored(int position, int length) {
    if (length == 1) return 0;
    const int period = 2 * (length - 1), inside = ((position % period) + period) % period;
    return std::min(inside, period - inside);
}

// What the softening networks make of a picture that is mirrored at its edges.
double Softened(const PixelSample& sample, int width, int height, int x, int y, int channel) {
    constexpr int kBlur[] = {1, 2, 3, 4, 6, 5, 3, 7, 1};  // of 32
    double sum = 0;
    for (int i = 0; i < 9; ++i) {
        const int left = (x + i % 3 - 1) & ~1, top = (y + i / 3 - 1) & ~1;
        for (int k = 0; k < 4; ++k)
            sum += kBlur[i] * sample(Mirrored(left + k % 2, width), Mirrored(top + k / 2, height), channel);
    }
    return sum / 128;
}

FramePtr Softened(const ConstFramePtr& frame) {
    const auto width = frame->GetFrameInfo().width, height = frame->GetFrameInfo().height;
    const PixelSample sample = [&](int x, int y, int c) {
        return SampleAt(frame, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), c);
    };
    return DrawFrame(frame->GetPixFmt(), width, height, [&](int x, int y, int c) {
        const bool isAlpha = c == PixFmtDescription::Get(frame->GetPixFmt()).alpha;
        return isAlpha ? sample(x, y, c) : Softened(sample, static_cast<int>(width), static_cast<int>(height), x, y, c);
    });
}

// A picture in which no pixel is hidden.
FramePtr MakeVisible(PixFmt pixFmt, std::uint32_t width, std::uint32_t height) {
    FramePtr frame = MakeFrame(pixFmt, width, height);
    if (!PixFmtDescription::Get(pixFmt).HasAlpha() || pixFmt == PixFmt::Pal8) return frame;
    const Channel alpha = GetChannel(*frame, ChannelKind::Alpha);
    for (int y = 0; y < alpha.height; ++y) {
        for (int x = 0; x < alpha.width; ++x) alpha.GetRow(y)[x * alpha.step] |= 1;
    }
    return frame;
}

PixFmt PackedFormat(PixFmt pixFmt) {
    const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
    if (description.kind == PixFmtDescription::Kind::Gray) return PixFmt::Gray8;
    return description.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24;
}

TEST(NeuralProcessor, GivesTheModelsPictureInAnyFormatWholeOrInTiles) {
    for (const PixFmtDescription& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        const PixFmt pixFmt = description.pixFmt;
        if (pixFmt == PixFmt::Pal8) continue;
        for (const auto& [width, height] : {std::pair{1U, 1U}, {7U, 5U}, {97U, 61U}, {1U, 70U}, {70U, 2U}}) {
            const FramePtr picture = MakeVisible(pixFmt, width, height);
            const FramePtr expected = Converted(Softened(Converted(picture, PackedFormat(pixFmt))), pixFmt);
            // Grey from three equal colours is rounded once more.
            const int tolerance = pixFmt == PixFmt::Gray8 ? 1 : 0;
            for (const int maxSide : {4096, 20, 1}) {
                EXPECT_TRUE(
                    SameFrames(RunHost(Processor(kSoftenColor, kModels, maxSide), picture), expected, tolerance))
                    << description.name << ' ' << width << 'x' << height << " tiles of " << maxSide;
            }
        }
    }
    const FramePtr indexed = MakeFrame(PixFmt::Pal8, 31, 20);
    EXPECT_TRUE(SameFrames(RunHost(Processor(kSoftenColor), indexed),
                           RunHost(Processor(kSoftenColor), Converted(indexed, PixFmt::Rgba))));
}

TEST(NeuralProcessor, GivesTheSameBytesWhateverTheThreads) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 97, 61);
    const int before = Core::GetLibraryThreads();
    for (const int threads : {1, 7}) {
        Core::SetLibraryThreads(threads);
        EXPECT_TRUE(SameFrames(RunHost(Processor(kSoftenColor, kModels, 20), picture), Softened(picture))) << threads;
    }
    Core::SetLibraryThreads(before);
}

TEST(NeuralProcessor, ChangesOnlyTheLumaWithGreyModels) {
    for (const PixFmt pixFmt : {PixFmt::Yuv420p, PixFmt::Yuva444p, PixFmt::Nv12}) {
        const FramePtr picture = MakeVisible(pixFmt, 97, 61), result = RunHost(Processor(kSoftenGrey), picture);
        const FramePtr luma = MakeFrame(PixFmt::Gray8, 97, 61);
        CopyPlane(std::as_const(*picture).GetPlane(0), luma->GetPlane(0));
        EXPECT_EQ(Bytes(std::as_const(*result).GetPlane(0)), Bytes(*Softened(luma))) << Name(pixFmt);
        for (std::uint8_t plane = 1; plane < GetPlanesCount(*picture); ++plane)
            EXPECT_EQ(Bytes(std::as_const(*result).GetPlane(plane)), Bytes(std::as_const(*picture).GetPlane(plane)));
    }
    const FramePtr colors = MakeFrame(PixFmt::Bgr24, 33, 21);
    EXPECT_TRUE(
        SameFrames(RunHost(Processor(kSoftenGrey), colors),
                   Converted(RunHost(Processor(kSoftenGrey), Converted(colors, PixFmt::Yuv444p)), PixFmt::Bgr24)));
}

TEST(NeuralProcessor, Enlarges) {
    // The network inverts and doubles. A mean of its first channel, blue, shows in the blue of the result; results are
    // clamped.
    const Models models(R"({"models": {"16": {"mean": [16, 0, 0], "reach": 1}}})");
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Abgr}) {
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        FramePtr picture = NewFrame(TestAllocator(), pixFmt, FrameInfo(7, 5, {4, 3}));
        picture->Fill(Color(10, 20, 30, 200));
        CopyDataVideo(MakeFrame(pixFmt, 5, 5, Color(200, 100, 250, 200)), picture, 0, 0);
        const FramePtr result = RunHost(Processor(kNegativeColor, models.GetRoot(), 5), picture);
        ASSERT_EQ(result->GetFrameInfo(), FrameInfo(14, 10, {4, 3}));
        for (std::uint32_t y = 0; y < 10; ++y) {
            for (std::uint32_t x = 0; x < 14; ++x) {
                const auto from = [&](int byte) { return 255 - SampleAt(picture, x / 2, y / 2, byte); };
                EXPECT_EQ(SampleAt(result, x, y, description.red), from(description.red)) << x << ' ' << y;
                EXPECT_EQ(SampleAt(result, x, y, description.green), from(description.green));
                EXPECT_EQ(SampleAt(result, x, y, description.blue), std::min(from(description.blue) + 16, 255));
                if (description.HasAlpha()) {
                    EXPECT_EQ(SampleAt(result, x, y, description.alpha), 200);
                }
            }
        }
    }
    const FramePtr grey = RunHost(Processor(kNegativeGrey), MakeFrame(PixFmt::Yuv420p, 9, 7, Color(200, 50, 50)));
    const FramePtr before = MakeFrame(PixFmt::Yuv420p, 18, 14, Color(200, 50, 50));
    EXPECT_EQ(SampleAt(grey, 17, 13), 255 - SampleAt(before, 0, 0));
    for (const std::uint8_t plane : {1, 2})
        EXPECT_EQ(Bytes(std::as_const(*grey).GetPlane(plane)), Bytes(std::as_const(*before).GetPlane(plane)));
}

TEST(NeuralProcessor, ShowsWholePicturesAndBringsChangesFromSmallerOnes) {
    // The mean of the whole is added: tiles would have means of their own.
    FramePtr halves = MakeFrame(PixFmt::Rgb24, 64, 48, Color(0, 40, 80));
    CopyDataVideo(MakeFrame(PixFmt::Rgb24, 32, 48, Color(100, 60, 20)), halves, 0, 0);
    const FramePtr expected = MakeFrame(PixFmt::Rgb24, 64, 48, Color(50, 90, 130));
    CopyDataVideo(MakeFrame(PixFmt::Rgb24, 32, 48, Color(150, 110, 70)), expected, 0, 0);
    for (const auto& [entry, maxSide] : {std::pair{"", 4096},
                                         {"", 16},
                                         {R"("longest": 16)", 4096},
                                         {R"("width": 16, "height": 16)", 4096},
                                         {R"("width": 128, "height": 96)", 4096}}) {
        const Models models(R"({"models": {"4": {)" + std::string(entry) + "}}}");
        EXPECT_TRUE(SameFrames(RunHost(Processor(kAddMean, models.GetRoot(), maxSide), halves), expected, 1))
            << entry << ' ' << maxSide;
    }

    // Reduced to a quarter exactly; what softening changes there is interpolated between the middles of its pixels.
    const FramePtr small = MakeFrame(PixFmt::Rgb24, 16, 12), soft = Softened(small);
    const FramePtr large = DrawFrame(PixFmt::Rgb24, 64, 48, [&](int x, int y, int c) {
        return SampleAt(small, static_cast<std::uint64_t>(x / 4), static_cast<std::uint64_t>(y / 4), c);
    });
    const Models models(R"({"models": {"1": {"longest": 16}}})");
    const FramePtr result = RunHost(Processor(kSoftenColor, models.GetRoot()), large);
    const PixelSample sample = [&](int x, int y, int c) {
        return SampleAt(small, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), c);
    };
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            double change = 0, weights = 0;
            for (int k = 0; k < 16 * 12; ++k) {  // hats over the places that are nearer than a small pixel
                const double across = std::abs(std::clamp((x + 0.5) / 4 - 0.5, 0.0, 15.0) - k % 16),
                             down = std::abs(std::clamp((y + 0.5) / 4 - 0.5, 0.0, 11.0) - k / 16);
                const double weight = std::max(1 - across, 0.0) * std::max(1 - down, 0.0);
                if (weight == 0) continue;
                weights += weight;
                change += weight * (Softened(sample, 16, 12, k % 16, k / 16, 1) - sample(k % 16, k / 16, 1));
            }
            ASSERT_NEAR(weights, 1, 1e-9);
            const auto column = static_cast<std::uint64_t>(x), row = static_cast<std::uint64_t>(y);
            ASSERT_NEAR(SampleAt(result, column, row, 1),
                        std::clamp(SampleAt(large, column, row, 1) + change, 0.0, 255.0), 0.501)
                << x << ' ' << y;
        }
    }
}

TEST(NeuralProcessor, AppliesGridsByTheirDefinition) {
    const int width = 23, height = 17;
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, width, height);
    const auto coefficient = [](int row, int column, int x, int y, int z) {
        const int index = (((row * 4 + column) * 2 + z) * 2 + y) * 3 + x;
        return (index * 37 % 64 - 31) / 32.0;
    };
    const auto hat = [](double place, int nodes, int node) {
        return std::max(1 - std::abs(std::clamp(place * nodes - 0.5, 0.0, nodes - 1.0) - node), 0.0);
    };
    for (const char* channels : {"rgb", "bgr"}) {
        const Models models(R"({"models": {"5": {"channels": ")" + std::string(channels) + R"("}}})");
        const FramePtr result = RunHost(Processor(kGrid, models.GetRoot()), picture);
        for (int i = 0; i < width * height; ++i) {
            const auto x = static_cast<std::uint64_t>(i % width), y = static_cast<std::uint64_t>(i / width);
            double in[] = {0, 0, 0, 1};
            for (int c = 0; c < 3; ++c) in[c] = SampleAt(picture, x, y, c) / 255.0;
            const double luma = 0.299 * in[0] + 0.587 * in[1] + 0.114 * in[2];
            for (int row = 0; row < 3; ++row) {
                double out = 0;
                for (int k = 0; k < 3 * 2 * 2 * 4; ++k) {
                    const int column = k % 4, node = k / 4;
                    out += in[column] * coefficient(row, column, node % 3, node / 3 % 2, node / 6) *
                           hat((i % width + 0.5) / width, 3, node % 3) *
                           hat((i / width + 0.5) / height, 2, node / 3 % 2) * hat(luma, 2, node / 6);
                }
                ASSERT_NEAR(SampleAt(result, x, y, row), std::clamp(255 * out, 0.0, 255.0), 0.501)
                    << channels << ' ' << x << ' ' << y << ' ' << row;
            }
        }
    }
    const Models identity(R"({"models": {"5": {"file": "grid-identity.onnx"}}})");
    for (const PixFmt pixFmt : {PixFmt::Bgr24, PixFmt::Argb, PixFmt::Gray8}) {
        for (const auto& [columns, rows] : kSizes) {
            const FramePtr same = MakeVisible(pixFmt, columns, rows);
            EXPECT_TRUE(SameFrames(RunHost(Processor(kGrid, identity.GetRoot()), same), same)) << Name(pixFmt);
        }
    }
    EXPECT_EQ(RunHost(Processor(kGrid), MakeFrame(PixFmt::Yuv420p, 9, 7))->GetPixFmt(), PixFmt::Yuv420p);
}

TEST(NeuralProcessor, LetsNothingBleedFromHiddenPixels) {
    const FramePtr hidden = MakeHalfHidden(PixFmt::Rgba, 40, 20, Color(90, 120, 150), Color(255, 0, 255));
    const FramePtr result = RunHost(Processor(kSoftenColor), hidden);
    for (std::uint64_t x = 0; x < 20; ++x) {
        EXPECT_EQ(SampleAt(result, x, 9, 0), 90) << x;
        EXPECT_EQ(SampleAt(result, x, 9, 2), 150) << x;
    }
    EXPECT_EQ(SampleAt(result, 19, 9, 3), 255);
    EXPECT_EQ(SampleAt(result, 20, 9, 3), 0);
}

TEST(NeuralProcessor, ReportsTilesAndStopsBetweenThem) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 97, 61);
    const SettingsEffectDeepNeuralProcessor processor = Processor(kSoftenColor, kModels, 20);
    const SettingsEffectDeepNeuralFragmentor fragmentor = Fragmentor(kSoftenColor, 20, 4);
    const Settings* const settings[] = {&processor, &fragmentor};
    const std::uint64_t tiles[] = {7 * 4, 6 * 4};  // cores of up to 16 pixels; 20 pixels, 16 of them new
    for (int i = 0; i < 2; ++i) {
        const OneInputPtr effect = CreateOneInput(*settings[i]);
        const auto whole = Core::MakeRefCounted<TestProgress>();
        effect->SetProgressController(whole);
        FramePtr frame = picture;
        effect->ProcessData(frame);
        EXPECT_NE(frame, picture);
        EXPECT_EQ(whole->total, tiles[i]);
        EXPECT_EQ(whole->steps, tiles[i]);

        const auto cancelled = Core::MakeRefCounted<TestProgress>(3);
        effect->SetProgressController(cancelled);
        frame = picture;
        effect->ProcessData(frame);
        EXPECT_EQ(frame, picture) << "what was begun is dropped";
        EXPECT_LE(cancelled->steps, 3u);
    }
}

// While it lives OpenCV gets no more than `limit` bytes at a time; the first `failures` times that it asks for more.
class ScarceMemory : public cv::MatAllocator {
public:
    explicit ScarceMemory(std::size_t limit, int failures = std::numeric_limits<int>::max())
        : limit_(limit), failures_(failures) {
        cv::Mat::setDefaultAllocator(this);
    }
    ~ScarceMemory() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        std::size_t bytes = static_cast<std::size_t>(CV_ELEM_SIZE(type));
        for (int i = 0; i < dims; ++i) bytes *= static_cast<std::size_t>(sizes[i]);
        if (data == nullptr && bytes > limit_ && failures_-- > 0)
            throw cv::Exception(cv::Error::StsNoMem, "too much", "", "", 0);
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    }
    bool allocate(cv::UMatData*, cv::AccessFlag, cv::UMatUsageFlags) const override { return false; }
    void deallocate(cv::UMatData* data) const override { cv::Mat::getStdAllocator()->deallocate(data); }

private:
    const std::size_t limit_;
    mutable std::atomic<int> failures_;
};

TEST(NeuralProcessor, TakesSmallerTilesWhereMemoryIsShort) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 97, 61);
    {
        const ScarceMemory scarce(40000);  // bytes: the whole takes 71 thousand
        EXPECT_TRUE(SameFrames(RunHost(Processor(kSoftenColor), picture), Softened(picture)));
    }
    {
        const OneInputPtr effect = CreateOneInput(Processor(kSoftenColor));
        const auto progress = Core::MakeRefCounted<TestProgress>();
        effect->SetProgressController(progress);
        const ScarceMemory scarce(40000, 1);
        FramePtr frame = picture;
        effect->ProcessData(frame);
        EXPECT_EQ(progress->total, 1u) << "what was in the way then may be gone: the same tile is tried again";
    }
    const ScarceMemory scarce(4000);
    EXPECT_THAT(
        MessageOf([&] { RunHost(Processor(kSoftenColor), picture); }),
        HasSubstr("There is not enough memory to run the model " + kModels.string() + "/soften-color.onnx on "));
    EXPECT_THAT(MessageOf([&] { RunHost(Processor(kAddMean), picture); }),
                HasSubstr("add-mean.onnx on 97 x 61 pixels!"));
    EXPECT_THAT(MessageOf([&] { RunHost(Fragmentor(kSoftenColor, 64, 8), picture); }),
                HasSubstr("soften-color.onnx on tiles of 64 x 64 pixels!"));
}

TEST(NeuralFragmentor, HidesTheSeamsOfTilesWithinItsPart) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 97, 61);
    const struct {
        CropInfo crop;
        int tile, overlap;
    } cases[] = {{{}, 32, 16}, {{11, 90, 8, 50}, 32, 8}, {{10, 30, 10, 26}, 64, 32}, {{0, 97, 0, 61}, 16, 8}};
    for (const auto& test : cases) {
        const CropInfo part = test.crop == CropInfo() ? CropInfo{0, 97, 0, 61} : test.crop;
        FramePtr cut = CloneFrame(*picture, kCloneView);
        cut->Crop(part.left, part.top, part.right - part.left, part.bottom - part.top);
        const FramePtr soft = Softened(CloneFrame(*cut, kCloneIndependent));
        const FramePtr result = RunHost(Fragmentor(kSoftenColor, test.tile, test.overlap, test.crop), picture);
        for (std::uint32_t y = 0; y < 61; ++y) {
            for (std::uint32_t x = 0; x < 97; ++x) {
                const bool isInside = x >= part.left && x < part.right && y >= part.top && y < part.bottom;
                // Where the part ends the network sees nothing beyond, and cells of 2 x 2 begin with their tile.
                const bool isSure =
                    x >= part.left + 2 && x + 2 < part.right && y >= part.top + 2 && y + 2 < part.bottom;
                if (!isInside) {
                    ASSERT_EQ(SampleAt(result, x, y, 1), SampleAt(picture, x, y, 1)) << x << ' ' << y;
                }
                if (isSure && test.tile == 64) {
                    ASSERT_EQ(SampleAt(result, x, y, 1), SampleAt(soft, x - part.left, y - part.top, 1))
                        << x << ' ' << y;
                }
            }
        }
        const FramePtr flat = RunHost(Fragmentor(kSoftenColor, test.tile, test.overlap, test.crop),
                                      MakeFrame(PixFmt::Rgb24, 97, 61, Color(80, 90, 100)));
        for (std::uint32_t y = part.top + 2; y + 2 < part.bottom; ++y) {
            for (std::uint32_t x = part.left + 2; x + 2 < part.right; ++x)
                ASSERT_EQ(SampleAt(flat, x, y, 2), 100) << x << ' ' << y << ": an edge of a tile shows";
        }
    }
}

TEST(NeuralFragmentor, FadesTilesIntoEachOther) {
    // Tiles of 16 pixels begin at 0 and 8. To the first one's mean of 0 the picture's 0 is added, to the second one's
    // 48; between 10 and 14 the first fades into the second.
    const FramePtr picture = MakeFrame(PixFmt::Gray8, 24, 16, Color(0, 0, 0));
    CopyDataVideo(MakeFrame(PixFmt::Gray8, 8, 16, Color(96, 96, 96)), picture, 16, 0);
    const FramePtr across = RunHost(Fragmentor(kAddMean, 16, 8), picture);
    const int expected[] = {0,  0,  0,  0,  0,   0,   0,   0,   0,   0,   6,   18,
                            30, 42, 48, 48, 144, 144, 144, 144, 144, 144, 144, 144};
    const FramePtr upright = MakeFrame(PixFmt::Gray8, 16, 24, Color(0, 0, 0));
    CopyDataVideo(MakeFrame(PixFmt::Gray8, 16, 8, Color(96, 96, 96)), upright, 0, 16);
    const FramePtr down = RunHost(Fragmentor(kAddMean, 16, 8), upright);
    for (std::uint64_t i = 0; i < 24; ++i) {
        EXPECT_EQ(SampleAt(across, i, 5), expected[i]) << i;
        EXPECT_EQ(SampleAt(down, 5, i), expected[i]) << i;
    }
}

TEST(NeuralFragmentor, EnlargesThePartAndTheRest) {
    const Models models;
    const FramePtr result = RunHost(Fragmentor(kNegativeColor, 8, 2, {10, 30, 4, 16}, models.GetRoot()),
                                    MakeFrame(PixFmt::Rgb24, 40, 20, Color(10, 20, 30)));
    ASSERT_EQ(result->GetFrameInfo(), FrameInfo(80, 40));
    const FramePtr expected = MakeFrame(PixFmt::Rgb24, 80, 40, Color(10, 20, 30));
    CopyDataVideo(MakeFrame(PixFmt::Rgb24, 40, 24, Color(245, 235, 225)), expected, 20, 8);
    EXPECT_TRUE(SameFrames(result, expected));
}

TEST(NeuralEffects, SayWhatIsWrong) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 30, 20);
    const Core::ioPath root = kModels;
    SettingsEffectDeepNeuralProcessor other = Processor(kSoftenColor), scaled = Processor(kAddMean);
    other.SetImpl(ImplName{7});
    scaled.SetScale(0);
    const auto complaint = [&](const Settings& settings) { return MessageOf([&] { RunHost(settings, picture); }); };
    EXPECT_EQ(complaint(other), "Neural implementation 7 is not supported! It must be 0 or 1.");
    EXPECT_EQ(complaint(scaled), "The scale must be from 1 to 16!");
    scaled.SetScale(3);
    EXPECT_THAT(complaint(scaled), HasSubstr("add-mean.onnx makes 30 x 20 pixels of 30 x 20; it must make 90 x 60!"));
    EXPECT_THAT(complaint(Processor(99)), HasSubstr("models.json has no model 99, and neither has the installed one!"));
    EXPECT_THAT(complaint(Fragmentor(kGrid, 32, 8)), HasSubstr("grid.onnx gives no image!"));
    EXPECT_EQ(complaint(Fragmentor(kSoftenColor, 32, 17)),
              "Overlaps must be from 0 to half of a tile, which has a width of 32!");
    EXPECT_EQ(complaint(Fragmentor(kSoftenColor, 32, 8, {3, 31, 2, 9})),
              "The part from 3, 2 to 31, 9 is not inside the picture of 30 x 20 pixels!");
    EXPECT_THAT(complaint(Fragmentor(kSoftenColor, 32, 8, {9, 9, 2, 9})), HasSubstr("is not inside the picture"));

    const Models whole(R"({"models": {"16": {"reach": null}}})");
    EXPECT_THAT(
        MessageOf([&] { RunHost(Processor(kNegativeColor, whole.GetRoot()), MakeFrame(PixFmt::Rgb24, 641, 2)); }),
        HasSubstr("negative-color.onnx takes pictures of at most 640 x 640 pixels!"));

    const struct {
        const char* patch;
        int model;
        const char* complaint;
    } cases[] = {
        {R"({"models": {"16": {"enlarges": 3}}})", kNegativeColor,
         "makes 60 x 40 pixels of 30 x 20; it must make 90 x 60!"},
        {R"({"models": {"4": {"file": "flat-color.onnx"}}})", kAddMean,
         "flat-color.onnx gives 1 x 1800 values; an image must have 1 x 3 x height x width!"},
        {R"({"models": {"4": {"file": "mean.onnx"}}})", kAddMean,
         "mean.onnx gives 1 x 1 x 1 x 1 values; an image must have 1 x 3 x height x width!"},
        {R"({"models": {"5": {"file": "add-mean.onnx"}}})", kGrid,
         "add-mean.onnx gives 1 x 3 x 2 x 2 values; a grid must have 1 x (12 * depth) x height x width!"},
    };
    for (const auto& test : cases) {
        const Models models(test.patch);
        EXPECT_THAT(complaint(Processor(test.model, models.GetRoot())), HasSubstr(test.complaint)) << test.patch;
    }
}

}  // namespace
}  // namespace Orvexa::Test
