// Pictures through files and back.

#include "Host/Io/ImageFiles.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "Host/Core/Exception.h"
#include "Host/Proc/EffectFactory.h"
#include "Tests/Host/Io/VipsPictures.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vips::VImage;

class ImageFiles : public testing::Test {
protected:
    Io::LoadedImage Read(const std::string& name, const Io::ReadOptions& options = {}) const {
        return Io::ReadImage(Core::ioPath(folder_.File(name)), TestAllocator(), options);
    }
    Io::Notes Write(const std::string& name, const FramePtr& frame, const Io::WriteOptions& options = {}) const {
        return Io::WriteImage(folder_.File(name), frame, options, MakeHostFactory());
    }

    TempFolder folder_;
};

TEST_F(ImageFiles, LosslessFormatsKeepEverySampleOfEverySize) {
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{1, 1}, {7, 5}, {97, 61}, {1, 5000}, {5000, 1}};
    for (const char* name : {"a.png", "a.tif", "a.TIFF"}) {
        for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Rgb24, PixFmt::Rgba}) {
            for (const auto& [width, height] : sizes) {
                SCOPED_TRACE(testing::Message() << name << ' ' << Name(pixFmt) << ' ' << width << 'x' << height);
                const GuardedFrame guarded(pixFmt, width, height);  // a view into a larger frame
                EXPECT_THAT(Write(name, guarded.GetFrame()), IsEmpty());
                EXPECT_TRUE(SameFrames(Read(name).frame, guarded.GetFrame()));
            }
        }
    }
}

TEST_F(ImageFiles, LossyFormatsStayCloseAndQualityCounts) {
    // A slow gradient, which every codec holds well: the error of a sample is a few levels, plus colour rounding.
    constexpr int kTolerance = 8;
    const VImage ramp = (VImage::xyz(64, 48).extract_band(0) * 2 + 40).cast(VIPS_FORMAT_UCHAR);
    const VImage picture = ramp.bandjoin(ramp.flip(VIPS_DIRECTION_HORIZONTAL))
                               .bandjoin(ramp.invert())
                               .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    const FramePtr frame = ToFrame(picture);
    for (const char* name : {"a.jpg", "a.jpeg", "a.webp", "a.avif", "a.heic", "a.jxl"}) {
        SCOPED_TRACE(name);
        Write(name, frame, {.quality = 95, .metadata = {}});
        EXPECT_TRUE(SameFrames(Read(name).frame, frame, kTolerance));
        const std::size_t large = ReadFile(folder_.File(name)).size();
        Write(name, frame, {.quality = 10, .metadata = {}});
        EXPECT_LT(ReadFile(folder_.File(name)).size(), large);
    }
}

TEST_F(ImageFiles, GifKeepsFewColorsExactly) {
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 3, 1, {250, 0, 10, 255, 0, 120, 30, 255, 9, 9, 9, 255});
    EXPECT_THAT(Write("a.gif", frame), ElementsAre(HasSubstr("256 colours")));
    EXPECT_TRUE(SameFrames(Read("a.gif").frame, frame));
}

TEST_F(ImageFiles, GreyStaysGreyWhereTheFormatCan) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 40, 30, Color(100, 100, 100));
    for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
        Write(name, frame);
        EXPECT_EQ(Read(name).frame->GetPixFmt(), PixFmt::Gray8) << name;
    }
}

TEST_F(ImageFiles, TransparencyIsLaidOnWhiteWhereTheFormatHasNone) {
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 16, 16, Color(0, 0, 0, 0));
    EXPECT_THAT(Write("a.jpg", frame), ElementsAre(HasSubstr("transparency")));
    EXPECT_TRUE(SameFrames(Read("a.jpg").frame, MakeFrame(PixFmt::Rgb24, 16, 16, Color(255, 255, 255)), 1));
}

TEST_F(ImageFiles, OtherPixelFormatsAreConvertedAndTheCallersFrameStays) {
    const FramePtr frame = MakeFrame(PixFmt::Bgra, 2, 1, {10, 20, 30, 40, 50, 60, 70, 80});
    const FramePtr before = CloneFrame(*frame, kCloneIndependent);
    Write("a.png", frame);
    EXPECT_TRUE(SameFrames(Read("a.png").frame, MakeFrame(PixFmt::Rgba, 2, 1, {30, 20, 10, 40, 70, 60, 50, 80})));
    EXPECT_TRUE(SameFrames(frame, before));
    Write("b.png", MakeFrame(PixFmt::Yuv444p, 4, 4, Color(200, 200, 200)));
    EXPECT_TRUE(SameFrames(Read("b.png").frame, MakeFrame(PixFmt::Rgb24, 4, 4, Color(200, 200, 200)), 1));
    EXPECT_THROW(Io::WriteImage(folder_.File("c.png"), frame, {}, nullptr), EffectException);
}

TEST_F(ImageFiles, EveryOrientationIsBroughtUprightAndForgotten) {
    for (const int bands : {1, 3, 4}) {
        for (int orientation = 1; orientation <= 8; ++orientation) {
            SCOPED_TRACE(testing::Message() << "bands " << bands << " orientation " << orientation);
            VImage picture = NoisePicture(71, 45, bands).copy();
            picture.set(VIPS_META_ORIENTATION, orientation);
            picture.tiffsave(folder_.File("in.tif").c_str());
            const Io::LoadedImage loaded = Read("in.tif");
            EXPECT_TRUE(SameFrames(loaded.frame, ToFrame(picture.autorot())));
            const Io::ImageSize size = Io::ReadImageSize(folder_.File("in.tif"));
            EXPECT_EQ(Conf::FrameInfo(size.width, size.height), loaded.frame->GetFrameInfo())
                << "the header tells the upright size";
            Write("out.png", loaded.frame, {.quality = 90, .metadata = loaded.metadata});
            EXPECT_LE(vips_image_get_orientation(VImage::pngload(folder_.File("out.png").c_str()).get_image()), 1);
        }
    }
}

TEST_F(ImageFiles, SixteenBitsBecomeTheHighEightAndThisIsSaid) {
    PlainPicture(9, 7, {0x1234, 0xabcd, 0xffff}, VIPS_INTERPRETATION_RGB16, VIPS_FORMAT_USHORT)
        .pngsave(folder_.File("a.png").c_str());
    const Io::LoadedImage color = Read("a.png");
    EXPECT_THAT(color.notes, ElementsAre("16-bit samples are reduced to 8 bits"));
    EXPECT_TRUE(SameFrames(color.frame, MakeFrame(PixFmt::Rgb24, 9, 7, Color(0x12, 0xab, 0xff))));

    PlainPicture(9, 7, {0x8042}, VIPS_INTERPRETATION_GREY16, VIPS_FORMAT_USHORT)
        .tiffsave(folder_.File("a.tif").c_str());
    const Io::LoadedImage grey = Read("a.tif");
    EXPECT_THAT(grey.notes, ElementsAre("16-bit samples are reduced to 8 bits"));
    EXPECT_TRUE(SameFrames(grey.frame, MakeFrame(PixFmt::Gray8, 9, 7, Color(0x80, 0x80, 0x80))));
}

TEST_F(ImageFiles, CmykBecomesRgbAndThisIsSaid) {
    // In order: no ink, cyan, magenta, yellow, black.
    const std::vector<std::vector<double>> inks = {
        {0, 0, 0, 0}, {255, 0, 0, 0}, {0, 255, 0, 0}, {0, 0, 255, 0}, {255, 255, 255, 255}};
    std::vector<Color> colors;
    for (const auto& ink : inks) {
        PlainPicture(8, 8, ink, VIPS_INTERPRETATION_CMYK, VIPS_FORMAT_UCHAR).tiffsave(folder_.File("a.tif").c_str());
        const Io::LoadedImage loaded = Read("a.tif");
        EXPECT_THAT(loaded.notes, ElementsAre("CMYK is brought to sRGB"));
        ASSERT_EQ(loaded.frame->GetPixFmt(), PixFmt::Rgb24);
        const std::uint8_t* pixel = loaded.frame->GetPlane(0).GetData();
        colors.emplace_back(pixel[0], pixel[1], pixel[2]);
    }
    EXPECT_EQ(colors[0], Color(255, 255, 255));
    EXPECT_LT(colors[1].red() + 60, colors[1].blue());
    EXPECT_LT(colors[2].green() + 60, colors[2].red());
    EXPECT_LT(colors[3].blue() + 60, colors[3].red());
    EXPECT_LT(colors[4].red() + colors[4].green() + colors[4].blue(), 3 * 40);
}

TEST_F(ImageFiles, PalettesSingleBitsAndGreyWithAlphaAreExpanded) {
    PlainPicture(3, 2, {90, 17}, VIPS_INTERPRETATION_B_W, VIPS_FORMAT_UCHAR).pngsave(folder_.File("c.png").c_str());
    EXPECT_TRUE(SameFrames(Read("c.png").frame, MakeFrame(PixFmt::Rgba, 3, 2, Color(90, 90, 90, 17))));
    const VImage checker = (VImage::xyz(16, 9).extract_band(0) & 1) * 255;
    const VImage grey =
        checker.cast(VIPS_FORMAT_UCHAR).copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
    grey.pngsave(folder_.File("a.png").c_str(), VImage::option()->set("bitdepth", 1));
    EXPECT_TRUE(SameFrames(Read("a.png").frame, ToFrame(grey)));
    grey.colourspace(VIPS_INTERPRETATION_sRGB)
        .pngsave(folder_.File("b.png").c_str(), VImage::option()->set("palette", true));
    EXPECT_TRUE(SameFrames(Read("b.png").frame, ToFrame(grey.colourspace(VIPS_INTERPRETATION_sRGB))));
}

TEST_F(ImageFiles, OfSeveralPicturesTheFirstIsReadAndThisIsSaid) {
    VImage pages = PlainPicture(4, 3, {10, 20, 30}, VIPS_INTERPRETATION_sRGB, VIPS_FORMAT_UCHAR)
                       .join(PlainPicture(4, 3, {200, 20, 30}, VIPS_INTERPRETATION_sRGB, VIPS_FORMAT_UCHAR),
                             VIPS_DIRECTION_VERTICAL)
                       .copy();
    pages.set(VIPS_META_PAGE_HEIGHT, 3);
    for (const auto& [name, pixFmt] : {std::pair{"a.tif", PixFmt::Rgb24}, {"a.gif", PixFmt::Rgba}}) {
        pages.write_to_file(folder_.File(name).c_str());
        const Io::LoadedImage loaded = Read(name);
        EXPECT_THAT(loaded.notes, ElementsAre("only the first of its 2 pictures is read")) << name;
        EXPECT_TRUE(SameFrames(loaded.frame, MakeFrame(pixFmt, 4, 3, Color(10, 20, 30)))) << name;
    }
}

// libvips gives the last one, and cannot write such files. The picture may be bare, or in one box or several.
TEST_F(ImageFiles, OfAnAnimatedJpegXlFileTheLastPictureIsReadAndThisIsSaid) {
    constexpr std::string_view kHex =  // 8 x 8 pixels red, then blue
        "ff0a41040158505c120808a00200008c004b12c58205526003630cde2fc68b1763bc18230f80d8c4c581d37b"
        "f8c2429dc063e6030808a042000098004b12c58205526003630cde2fc6bb8b172fc6c80370365004e34f233d"
        "aa5eb22e9a4e830cf401";
    std::string bare;
    for (std::size_t i = 0; i < kHex.size(); i += 2)
        bare += static_cast<char>(std::stoi(std::string(kHex.substr(i, 2)), nullptr, 16));
    const auto box = [](const std::string& content) {
        return std::string(3, '\0') + static_cast<char>(content.size() + 4) + content;
    };
    const std::string begin =
        box("JXL \r\n\x87\n") + box("ftypjxl " + std::string(4, '\0') + "jxl ") + box("free a box of another kind");
    const auto part = [&](char flags, char number, const std::string& content) {
        return box("jxlp" + (flags + std::string(2, '\0')) + number + content);
    };
    const std::string files[] = {bare, begin + box("jxlc" + bare),
                                 begin + part(0, 0, bare.substr(0, 40)) + part('\x80', 1, bare.substr(40))};
    for (const std::string& file : files) {
        WriteFile(folder_.File("a.jxl"), file);
        const Io::LoadedImage loaded = Read("a.jxl");
        EXPECT_THAT(loaded.notes, ElementsAre("only the last of its pictures is read"));
        EXPECT_TRUE(SameFrames(loaded.frame, MakeFrame(PixFmt::Rgba, 8, 8, Color(0, 0, 255, 255))));
    }
}

TEST_F(ImageFiles, NamesAreTakenLiterally) {
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 4, 3);
    for (const char* name : {"a[Q=5].png", "a b.png", "%d.png", "-.png", ".png.png", "\xc3\xa4.png"}) {
        Write(name, MakeFrame(PixFmt::Gray8, 2, 2));  // is replaced, and read anew
        EXPECT_EQ(Read(name).frame->GetFrameInfo(), FrameInfo(2, 2));
        Write(name, frame);
        EXPECT_TRUE(SameFrames(Read(name).frame, frame)) << name;
    }
}

// A second decoding, which failures need, would ask for a second frame.
TEST_F(ImageFiles, GoodPicturesAreDecodedOnceAndWithoutAWord) {
    class Counting : public IFrameAllocator {
    public:
        int frames = 0;
        void AllocateFrame(FramePtr& frame, PixFmt pixFmt, const FrameInfo& info) override {
            ++frames;
            TestAllocator()->AllocateFrame(frame, pixFmt, info);
        }
    };
    for (const char* name : {"a.jpg", "a.png", "a.webp", "a.tif", "a.gif", "a.avif", "a.heic", "a.jxl"}) {
        Write(name, MakeFrame(PixFmt::Rgb24, 64, 48));
        for (const bool allowTruncated : {false, true}) {
            const auto allocator = Core::MakeRefCounted<Counting>();
            const Io::LoadedImage loaded =
                Io::ReadImage(Core::ioPath(folder_.File(name)), allocator, {.allowTruncated = allowTruncated});
            EXPECT_THAT(loaded.notes, IsEmpty()) << name;
            EXPECT_EQ(allocator->frames, 1) << name;
        }
    }
}

// A pipe gives its bytes in pieces of any size.
TEST_F(ImageFiles, EveryFormatIsReadFromAPipeAndFromTheMiddleOfAFile) {
    WriteFile(folder_.File("first.tif"), HeaderFirstTiff(500, 4));
    for (const std::string name :
         {"first.tif", "a.jpg", "a.png", "a.webp", "a.tif", "a.gif", "a.avif", "a.heic", "a.jxl"}) {
        SCOPED_TRACE(name);
        if (name != "first.tif") Write(name, MakeFrame(PixFmt::Rgb24, 97, 61));
        const FramePtr expected = Read(name).frame;
        FileBytes bytes = ReadFile(folder_.File(name));
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        std::jthread writer([&] {
            for (std::size_t at = 0; at < bytes.size(); at += 1001)
                EXPECT_GT(write(ends[1], &bytes[at], std::min<std::size_t>(1001, bytes.size() - at)), 0);
            close(ends[1]);
        });
        EXPECT_TRUE(SameFrames(Io::ReadImageFrom(ends[0], TestAllocator()).frame, expected));
        writer.join();
        close(ends[0]);

        bytes.insert(bytes.begin(), 5000, 'x');
        WriteFile(folder_.File("behind"), bytes);
        const int file = open(folder_.File("behind").c_str(), O_RDONLY | O_CLOEXEC);
        lseek(file, 5000, SEEK_SET);
        EXPECT_TRUE(SameFrames(Io::ReadImageFrom(file, TestAllocator()).frame, expected));
        close(file);
    }
}

TEST(FindFormat, KnowsSuffixesWithAndWithoutDotAndListsThemOtherwise) {
    EXPECT_EQ(Io::FindFormat(".JPG"), Io::FileFormat::Jpeg);
    EXPECT_EQ(Io::FindFormat("tiff"), Io::FileFormat::Tiff);
    for (const char* suffix : {"", ".", "bmp", "jpgg"}) {
        EXPECT_THAT(MessageOf([&] { Io::FindFormat(suffix); }),
                    HasSubstr("jpg, jpeg, png, webp, tif, tiff, heic, heif, avif, gif"));
    }
}

}  // namespace

}  // namespace Orvexa::Test
