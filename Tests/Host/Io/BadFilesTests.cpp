// Files that cannot be read or written: every one is refused with a reason, and nothing is left behind.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <thread>

#include "Host/Core/Exception.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/VideoFrame.h"
#include "Tests/Host/Io/VipsPictures.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vips::VImage;

// What the call throws as an EffectException, in one line.
template <class Call>
std::string ErrorOf(Call&& call) {
    try {
        call();
    } catch (const EffectException& exception) {
        const std::string text = Describe(exception);
        EXPECT_THAT(text, Not(HasSubstr("\n")));
        return text;
    }
    return "no error";
}

// Fails the test when a picture that must be refused gets memory.
class NoMemory : public IFrameAllocator {
public:
    void AllocateFrame(FramePtr&, PixFmt, const FrameInfo&) override { ADD_FAILURE() << "memory was asked for"; }
};

FileBytes Encode(const VImage& picture, const char* suffix) {
    void* data = nullptr;
    std::size_t size = 0;
    picture.write_to_buffer(suffix, &data, &size);
    const FileBytes bytes(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    g_free(data);
    return bytes;
}

Io::LoadedImage Read(const FileBytes& bytes, const Io::ReadOptions& options = {}) { return Io::ReadImage(bytes, TestAllocator(), options); }

constexpr const char* kSuffixes[] = {".jpg", ".png", ".webp", ".tif", ".gif", ".avif", ".heic"};

TEST(BadFiles, AreRefusedWithTheReason) {
    const TempFolder folder;
    WriteFile(folder.File("empty.jpg"), std::string());
    WriteFile(folder.File("text.jpg"), std::string("This is no picture at all.\n"));
    WriteFile(folder.File("drawing.svg"), std::string("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>"));
    const std::pair<std::string, const char*> cases[] = {
        {"missing.jpg", "does not exist"},
        {".", "folder"},
        {"empty.jpg", "empty"},
        {"text.jpg", "not a JPEG, PNG, WebP, TIFF, HEIF, AVIF or GIF picture"},
        {"drawing.svg", "not a JPEG, PNG, WebP, TIFF, HEIF, AVIF or GIF picture"},
    };
    for (const auto& [name, reason] : cases) {
        EXPECT_THAT(ErrorOf([&] { Io::ReadImage(Core::ioPath(folder.File(name)), TestAllocator()); }), HasSubstr(reason)) << name;
    }
    EXPECT_THAT(ErrorOf([] { Read({}); }), HasSubstr("empty"));
}

TEST(BadFiles, TruncatedPicturesFailInEveryFormat) {
    const VImage picture = NoisePicture(64, 64, 3);
    for (const char* suffix : kSuffixes) {
        const FileBytes whole = Encode(picture, suffix);
        for (const std::size_t size : {whole.size() / 50 + 3, whole.size() / 2, whole.size() * 9 / 10}) {
            const FileBytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_THAT(ErrorOf([&] { Read(part); }), HasSubstr("damaged")) << suffix << ' ' << size << " of " << whole.size();
        }
    }
}

TEST(BadFiles, WhatThereIsOfATruncatedPictureIsReadOnRequest) {
    const VImage picture = NoisePicture(64, 200, 3);
    constexpr std::uint32_t kSafeRows = 64;  // well inside the first half of the data
    for (const char* suffix : {".jpg", ".png"}) {
        SCOPED_TRACE(suffix);
        const FileBytes whole = Encode(picture, suffix);
        const FileBytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
        const Io::LoadedImage loaded = Read(part, {.allowTruncated = true});
        EXPECT_THAT(loaded.notes, ElementsAre(HasSubstr("truncated")));
        const FramePtr expected = Read(whole).frame;
        ASSERT_EQ(loaded.frame->GetFrameInfo(), expected->GetFrameInfo());
        loaded.frame->Crop(0, 0, 64, kSafeRows);
        expected->Crop(0, 0, 64, kSafeRows);
        EXPECT_TRUE(SameFrames(loaded.frame, expected));
    }
}

TEST(BadFiles, DamageInTheMiddleOfAJpegIsNoted) {
    FileBytes bytes = Encode(NoisePicture(64, 64, 3), ".jpg");
    const std::size_t middle = bytes.size() / 2;
    bytes[middle] = 0xff;  // a marker that cannot stand there
    bytes[middle + 1] = 0xd9;
    const Io::LoadedImage loaded = Read(bytes);
    EXPECT_THAT(loaded.notes, ElementsAre(HasSubstr("may be damaged")));
}

TEST(BadFiles, TooManyPixelsAreRefusedBeforeMemoryIsTaken) {
    const AllocatorPtr noMemory = Core::MakeRefCounted<NoMemory>();
    const FileBytes picture = Encode(NoisePicture(40, 25, 3), ".png");
    EXPECT_THAT(ErrorOf([&] { Io::ReadImage(picture, noMemory, {.maxPixels = 999}); }),
                AllOf(HasSubstr("40 x 25"), HasSubstr("limit of 999"), HasSubstr("--max-pixels")));
    EXPECT_EQ(ErrorOf([&] { Read(picture, {.maxPixels = 1000}); }), "no error");

    // A header that claims 100000 x 100000 pixels; its checksum is right.
    FileBytes huge = {0x89, 'P',  'N',  'G', '\r', '\n', 0x1a, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R', 0,
                      1,    0x86, 0xa0, 0,   1,    0x86, 0xa0, 8,    2, 0, 0, 0,  0,   0,   0,   0};
    std::uint32_t crc = 0xffffffff;
    for (std::size_t i = 12; i < 29; ++i) {
        crc ^= huge[i];
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
    }
    for (int i = 0; i < 4; ++i) huge[29 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(~crc >> (24 - 8 * i));
    const FileBytes rest = {0, 0, 0, 0, 'I', 'D', 'A', 'T', 0x35, 0xaf, 0x06, 0x1e};
    huge.insert(huge.end(), rest.begin(), rest.end());
    EXPECT_THAT(ErrorOf([&] { Io::ReadImage(huge, noMemory); }), HasSubstr("100000 x 100000"));
}

TEST(BadFiles, AFailedWriteLeavesTheOldFileAndNothingElse) {
    const TempFolder folder;
    WriteFile(folder.File("old.webp"), std::string("old"));
    WriteFile(folder.File("file"), std::string("x"));
    const FramePtr wide = MakeFrame(PixFmt::Gray8, 20000, 1);
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 4, 4);
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage(folder.File("old.webp"), wide, {}, {}); }), HasSubstr("at most 16383"));
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage(folder.File("none/a.png"), frame, {}, {}); }), HasSubstr("cannot write into the folder"));
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage(folder.File("file/a.png"), frame, {}, {}); }), HasSubstr("Not a directory"));
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage(folder.GetPath(), Io::FileFormat::Png, frame, {}, {}); }), HasSubstr("folder"));
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage(folder.File("a.jpg"), frame, {.quality = 101, .metadata = {}}, {}); }),
                HasSubstr("from 1 to 100"));
    EXPECT_THAT(ErrorOf([&] { Io::WriteImage("/dev/full", Io::FileFormat::Png, frame, {}, {}); }), HasSubstr("No space left"));
    EXPECT_THAT(folder.List(), ElementsAre("file", "old.webp"));
    EXPECT_EQ(ReadFile(folder.File("old.webp")), (FileBytes{'o', 'l', 'd'}));
}

// What is said of a picture is the same whatever other threads meet at that time.
TEST(BadFiles, ErrorsOfPicturesSideBySideStayApart) {
    const TempFolder folder;
    const FileBytes jpeg = Encode(NoisePicture(64, 64, 3), ".jpg"), png = Encode(NoisePicture(64, 64, 3), ".png");
    FileBytes damaged = jpeg;
    damaged[jpeg.size() / 2] = 0xff;  // a marker that cannot stand there
    damaged[jpeg.size() / 2 + 1] = 0xd9;
    const FileBytes half(png.begin(), png.begin() + static_cast<std::ptrdiff_t>(png.size() / 2));
    const FramePtr wide = MakeFrame(PixFmt::Gray8, 20000, 1), frame = MakeFrame(PixFmt::Rgb24, 64, 64);
    std::filesystem::create_symlink("/dev/full", folder.File("full"));

    const auto read = [](const FileBytes& bytes, bool isTolerant) {
        std::string said;
        const std::string error = ErrorOf([&] {
            for (const std::string& note : Read(bytes, {.allowTruncated = isTolerant}).notes) said += note + "; ";
        });
        return said + error;
    };
    const auto write = [&](const FramePtr& picture, const char* name, Io::FileFormat format) {
        return ErrorOf([&] { Io::WriteImage(folder.File(name), format, picture, {}, {}); });
    };
    const std::function<std::string()> calls[] = {
        [&] { return read(jpeg, false); },
        [&] { return read(damaged, false); },
        [&] { return read(half, false); },
        [&] { return read(FileBytes(50, 'x'), false); },
        [&] { return read(png, true); },
        [&] { return read(half, true); },
        [&] { return write(wide, "wide.webp", Io::FileFormat::Webp); },
        [&] { return write(frame, "full", Io::FileFormat::Png); },
        [&] { return write(frame, "good.png", Io::FileFormat::Png); },
    };
    std::vector<std::string> alone;
    for (const auto& call : calls) alone.push_back(call());
    EXPECT_EQ(alone[0] + alone[4] + alone[8], "no errorno errorno error");

    std::vector<std::set<std::string>> together(std::size(calls));
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < std::size(calls); ++i) {
            threads.emplace_back([&, i] {
                for (int round = 0; round < 30; ++round) together[i].insert(calls[i]());
            });
        }
    }
    for (std::size_t i = 0; i < std::size(calls); ++i) EXPECT_THAT(together[i], ElementsAre(alone[i]));
    EXPECT_TRUE(SameFrames(Io::ReadImage(Core::ioPath(folder.File("good.png")), TestAllocator()).frame, frame));
}

// In a process of its own, which ends as an interrupted program does.
TEST(BadFiles, NothingIsLeftOfAbandonedFiles) {
    const TempFolder folder;
    const pid_t child = fork();
    if (child == 0) {
        Io::PendingFile complete(folder.File("complete")), incomplete(folder.File("incomplete"));
        complete.Commit();
        Io::PendingFile::AbandonAll();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(folder.List(), ElementsAre("complete"));
}

TEST(BadFiles, AReplacedFileKeepsItsRightsAndALinkItsPlace) {
    const TempFolder folder;
    WriteFile(folder.File("real.png"), std::string("old"));
    chmod(folder.File("real.png").c_str(), 0640);
    std::filesystem::create_symlink("real.png", folder.File("link.png"));
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 4, 4);
    Io::WriteImage(folder.File("link.png"), frame, {}, {});
    EXPECT_TRUE(std::filesystem::is_symlink(folder.File("link.png")));
    EXPECT_TRUE(SameFrames(Io::ReadImage(Core::ioPath(folder.File("real.png")), TestAllocator()).frame, frame));
    EXPECT_EQ(static_cast<int>(std::filesystem::status(folder.File("real.png")).permissions()), 0640);
    EXPECT_THAT(folder.List(), ElementsAre("link.png", "real.png"));
}

}  // namespace

}  // namespace Orvexa::Test
