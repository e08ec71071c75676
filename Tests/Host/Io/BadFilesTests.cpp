// Files that cannot be read or written: every one is refused with a reason, and nothing is left behind.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include "Host/Io/PendingFile.h"
#include "Host/Proc/VideoFrame.h"
#include "Tests/Host/Io/VipsPictures.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vips::VImage;

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

Io::LoadedImage Read(const FileBytes& bytes, const Io::ReadOptions& options = {}) {
    return Io::ReadImage(bytes, TestAllocator(), options);
}

constexpr const char* kSuffixes[] = {".jpg", ".png", ".webp", ".tif", ".gif", ".avif", ".heic", ".jxl"};

TEST(BadFiles, AreRefusedWithTheReason) {
    const TempFolder folder;
    WriteFile(folder.File("empty.jpg"), std::string());
    WriteFile(folder.File("text.jpg"), std::string("This is no picture at all.\n"));
    WriteFile(folder.File("drawing.svg"),
              std::string("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>"));
    const std::pair<std::string, const char*> cases[] = {
        {"missing.jpg", "does not exist"},
        {".", "folder"},
        {"empty.jpg", "empty"},
        {"text.jpg", "not a JPEG, PNG, WebP, TIFF, HEIF, AVIF, GIF or JPEG XL picture"},
        {"drawing.svg", "not a JPEG, PNG, WebP, TIFF, HEIF, AVIF, GIF or JPEG XL picture"},
    };
    for (const auto& [name, reason] : cases) {
        EXPECT_THAT(MessageOf([&, &file = name] { Io::ReadImage(Core::ioPath(folder.File(file)), TestAllocator()); }),
                    HasSubstr(reason))
            << name;
    }
    EXPECT_THAT(MessageOf([] { Read({}); }), HasSubstr("empty"));
    EXPECT_THAT(MessageOf([] { Io::ReadImage(Core::ioPath("/dev/zero"), TestAllocator()); }),
                HasSubstr("not a JPEG, PNG"));
    EXPECT_THAT(MessageOf([] { Io::ReadImage(Core::ioPath("/dev/null"), TestAllocator()); }), HasSubstr("empty"));
}

TEST(BadFiles, TruncatedPicturesFailInEveryFormatAndTheHintIsTrue) {
    const VImage picture = NoisePicture(64, 64, 3);
    std::map<std::string, FileBytes> files = {{"interlaced.png", Encode(picture, ".png[interlace]")},
                                              {"progressive.jpg", Encode(picture, ".jpg[interlace]")},
                                              {"first.tif", HeaderFirstTiff(64, 4)}};
    for (const char* suffix : kSuffixes) files[suffix] = Encode(picture, suffix);
    for (const auto& [name, whole] : files) {
        EXPECT_EQ(MessageOf([&, &bytes = whole] { Read(bytes); }), "nothing") << name;
        for (const std::size_t size : {whole.size() / 50 + 3, whole.size() / 2, whole.size() * 9 / 10}) {
            const FileBytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            SCOPED_TRACE(testing::Message() << name << ' ' << size << " of " << whole.size());
            const std::string error = MessageOf([&] { Read(part); });
            EXPECT_THAT(
                error, AllOf(HasSubstr("truncated or damaged"), Not(HasSubstr("unknown")), Not(HasSubstr("bad seek"))));
            const bool isReadable = MessageOf([&] { Read(part, {.allowTruncated = true}); }) == "nothing";
            EXPECT_EQ(error.find("--allow-truncated") != std::string::npos, isReadable) << error;
        }
    }
}

TEST(BadFiles, DamageInAPngIsNamed) {
    for (const char* options : {".png", ".png[interlace]"}) {
        FileBytes bytes = Encode(NoisePicture(64, 64, 3), options);
        bytes[bytes.size() / 2] ^= 0x55;
        EXPECT_THAT(MessageOf([&] { Read(bytes); }), HasSubstr("CRC error")) << options;
    }
}

TEST(BadFiles, AChunkThatClaimsMoreThanTheFileHasIsNotWaitedFor) {
    FileBytes bytes = Encode(NoisePicture(8, 8, 3), ".png");
    constexpr std::ptrdiff_t kAfterHeader = 33;
    const std::string chunk = std::string("\x3f\xff\xff\xff", 4) + "iTXt";  // a gigabyte
    bytes.insert(bytes.begin() + kAfterHeader, chunk.begin(), chunk.end());
    EXPECT_THAT(MessageOf([&] { Read(bytes); }), HasSubstr("a chunk of it is not all there"));
}

// Does something to the file when the frame is asked for: after the header was read and before the samples are.
class AtAllocation : public IFrameAllocator {
public:
    explicit AtAllocation(std::function<void()> act) : act_(std::move(act)) {}
    void AllocateFrame(FramePtr& frame, PixFmt pixFmt, const FrameInfo& info) override {
        act_();
        TestAllocator()->AllocateFrame(frame, pixFmt, info);
    }

private:
    const std::function<void()> act_;
};

TEST(BadFiles, AFileThatIsShortenedWhileItIsReadIsTold) {
    const TempFolder folder;
    const std::set<std::string> streamed = {".jpg", ".png", ".tif", ".jxl"};  // the others are in memory by then
    for (const std::string suffix : kSuffixes) {
        const std::string file = folder.File("a" + suffix);
        const FileBytes bytes = Encode(NoisePicture(160, 100, 3), suffix.c_str());
        WriteFile(file, bytes);
        const AllocatorPtr shortening =
            Core::MakeRefCounted<AtAllocation>([&] { std::filesystem::resize_file(file, 100); });
        Io::LoadedImage loaded;
        const std::string error = MessageOf([&] { loaded = Io::ReadImage(Core::ioPath(file), shortening); });
        EXPECT_EQ(error, streamed.contains(suffix) ? "the file was shortened while it was read" : "nothing") << suffix;
        if (loaded.frame != nullptr) {
            EXPECT_TRUE(SameFrames(loaded.frame, Read(bytes).frame)) << suffix;
        }
    }
}

TEST(BadFiles, AStreamWithoutEndIsReadNoFurtherThanAPictureNeeds) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    std::jthread sender([&] {
        FileBytes bytes(1 << 16);  // a JPEG file whose second marker never comes
        bytes[0] = 0xff;
        bytes[1] = 0xd8;
        while (send(ends[1], bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) bytes[0] = bytes[1] = 0;
    });
    EXPECT_THAT(MessageOf([&] { Io::ReadImageFrom(ends[0], TestAllocator(), {.maxPixels = 1000}); }),
                AllOf(HasSubstr("no end after"), HasSubstr("1000 pixels"), HasSubstr("--max-pixels")));
    close(ends[0]);
    sender.join();
    close(ends[1]);
}

TEST(BadFiles, WhatThereIsOfATruncatedPictureIsReadOnRequest) {
    const VImage picture = NoisePicture(64, 200, 3);
    constexpr std::uint32_t kSafeRows = 64;  // well inside the first half of the data
    const std::pair<const char*, FileBytes> files[] = {
        {"JPEG", Encode(picture, ".jpg")}, {"PNG", Encode(picture, ".png")}, {"TIFF", HeaderFirstTiff(64, 13)}};
    for (const auto& [name, whole] : files) {
        SCOPED_TRACE(name);
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
    EXPECT_THAT(MessageOf([&] { Io::ReadImage(picture, noMemory, {.maxPixels = 999}); }),
                AllOf(HasSubstr("40 x 25"), HasSubstr("limit of 999"), HasSubstr("--max-pixels")));
    EXPECT_EQ(MessageOf([&] { Read(picture, {.maxPixels = 1000}); }), "nothing");

    // A header that claims 100000 x 100000 pixels; its checksum is right.
    FileBytes huge = {0x89, 'P',  'N',  'G', '\r', '\n', 0x1a, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R', 0,
                      1,    0x86, 0xa0, 0,   1,    0x86, 0xa0, 8,    2, 0, 0, 0,  0,   0,   0,   0};
    std::uint32_t crc = 0xffffffff;
    for (std::size_t i = 12; i < 29; ++i) {
        crc ^= huge[i];
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
    }
    for (int i = 0; i < 4; ++i)
        huge[29 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(~crc >> (24 - 8 * i));
    const FileBytes rest = {0, 0, 0, 0, 'I', 'D', 'A', 'T', 0x35, 0xaf, 0x06, 0x1e};
    huge.insert(huge.end(), rest.begin(), rest.end());
    EXPECT_THAT(MessageOf([&] { Io::ReadImage(huge, noMemory); }), HasSubstr("100000 x 100000"));
}

TEST(BadFiles, AFailedWriteLeavesTheOldFileAndNothingElse) {
    const TempFolder folder;
    WriteFile(folder.File("old.webp"), std::string("old"));
    WriteFile(folder.File("file"), std::string("x"));
    const FramePtr wide = MakeFrame(PixFmt::Gray8, 20000, 1);
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 4, 4);
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("old.webp"), wide, {}, {}); }), HasSubstr("at most 16383"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("none/a.png"), frame, {}, {}); }),
                HasSubstr("cannot write into the folder"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("file/a.png"), frame, {}, {}); }),
                HasSubstr("Not a directory"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.GetPath(), Io::FileFormat::Png, frame, {}, {}); }),
                HasSubstr("folder"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("a.jpg"), frame, {.quality = 101, .metadata = {}}, {}); }),
                HasSubstr("from 1 to 100"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage("/dev/full", Io::FileFormat::Png, frame, {}, {}); }),
                HasSubstr("No space left"));
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
        const std::string error = MessageOf([&] {
            for (const std::string& note : Read(bytes, {.allowTruncated = isTolerant}).notes) said += note + "; ";
        });
        return said + error;
    };
    const auto write = [&](const FramePtr& picture, const char* name, Io::FileFormat format) {
        return MessageOf([&] { Io::WriteImage(folder.File(name), format, picture, {}, {}); });
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
    EXPECT_EQ(alone[0] + alone[4] + alone[8], "nothingnothingnothing");

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
    for (const auto naming : {Io::PendingFile::Naming::UnnamedIfPossible, Io::PendingFile::Naming::Named}) {
        const TempFolder folder;
        const pid_t child = fork();
        if (child == 0) {
            Io::PendingFile complete(folder.File("complete"), naming), incomplete(folder.File("incomplete"), naming);
            { const Io::PendingFile dropped(folder.File("dropped"), naming); }
            complete.Commit();
            Io::PendingFile::AbandonAll();
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_THAT(folder.List(), ElementsAre("complete"));
    }
}

TEST(BadFiles, AKilledProcessLeavesNothingWhereTheFileSystemAllows) {
    const TempFolder folder;
    const int probe = open(folder.GetPath().c_str(), O_RDWR | O_TMPFILE, 0600);
    if (probe < 0) GTEST_SKIP() << "files without a name are not known here";
    close(probe);
    const pid_t child = fork();
    if (child == 0) {
        const Io::PendingFile incomplete(folder.File("incomplete"));
        raise(SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_THAT(folder.List(), testing::IsEmpty());
}

// Neither does it become a program that runs as its owner.
TEST(BadFiles, AReplacedFileKeepsItsRightsAndOwner) {
    const TempFolder folder;
    const std::string file = folder.File("real.png");
    const bool isRoot = geteuid() == 0;
    for (const auto& [before, after] : {std::pair{0640, 0640}, {0604, 0604}, {06755, 0755}, {01777, 0777}}) {
        WriteFile(file, std::string("old"));
        if (isRoot) {
            EXPECT_EQ(chown(file.c_str(), 1234, 5678), 0);
        }
        chmod(file.c_str(), static_cast<mode_t>(before));
        Io::WriteImage(file, MakeFrame(PixFmt::Rgb24, 4, 4), {}, {});
        struct stat status {};
        ASSERT_EQ(stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, static_cast<mode_t>(after));
        EXPECT_EQ(status.st_uid, isRoot ? 1234 : geteuid());
        EXPECT_TRUE(!isRoot || status.st_gid == 5678);
    }
}

TEST(BadFiles, LinksAreFollowedWhetherTheirEndIsThereOrNot) {
    const TempFolder folder;
    std::filesystem::create_directories(folder.File("far/away"));
    std::filesystem::create_symlink("first.png", folder.File("direct.png"));
    std::filesystem::create_symlink("far/away/onward.png", folder.File("chain.png"));
    std::filesystem::create_symlink("../second.png", folder.File("far/away/onward.png"));
    std::filesystem::create_symlink(folder.File("far/third.png"), folder.File("absolute.png"));
    std::filesystem::create_symlink("none/fourth.png", folder.File("nowhere.png"));
    std::filesystem::create_symlink("loop.png", folder.File("loop.png"));
    const FramePtr frames[] = {MakeFrame(PixFmt::Rgb24, 4, 4), MakeFrame(PixFmt::Gray8, 3, 3)};
    const std::pair<const char*, const char*> links[] = {
        {"direct.png", "first.png"}, {"chain.png", "far/second.png"}, {"absolute.png", "far/third.png"}};
    for (const FramePtr& frame : frames) {  // made first, replaced then
        for (const auto& [link, end] : links) {
            Io::WriteImage(folder.File(link), frame, {}, {});
            EXPECT_TRUE(std::filesystem::is_symlink(folder.File(link))) << link;
            EXPECT_FALSE(std::filesystem::is_symlink(folder.File(end))) << link;
            EXPECT_TRUE(SameFrames(Io::ReadImage(Core::ioPath(folder.File(end)), TestAllocator()).frame, frame))
                << link;
        }
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder.File("far/away/onward.png")));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("nowhere.png"), frames[0], {}, {}); }),
                HasSubstr("No such file"));
    EXPECT_THAT(MessageOf([&] { Io::WriteImage(folder.File("loop.png"), frames[0], {}, {}); }),
                HasSubstr("symbolic links"));
}

}  // namespace

}  // namespace Orvexa::Test
