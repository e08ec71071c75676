// What GIF files carry beside their pictures is not read; a note says so.

#include <gmock/gmock.h>

#include "Host/Io/ImageFiles.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string Extension(int label, const std::string& first, const std::string& others = {}) {
    return std::string("\x21") + static_cast<char>(label) + static_cast<char>(first.size()) + first + others + '\0';
}

TEST(GifMetadata, IsSaidToBeLost) {
    std::vector<std::uint8_t> bytes;
    Io::EncodeImage(bytes, Io::FileFormat::Gif, MakeFrame(PixFmt::Rgb24, 9, 7, Pattern::Checker), {}, {});
    const std::string file(bytes.begin(), bytes.end());
    ASSERT_NE(file[10] & 0x80, 0) << "a colour table follows the header";
    const std::size_t start = 13 + (std::size_t{6} << (file[10] & 7));
    const std::string comment = "the comment cannot be read from GIF files",
                      profile = "the colour profile cannot be read from GIF files",
                      xmp = "the XMP data cannot be read from GIF files";

    // An XMP packet is no sub-blocks: each of its bytes is taken for a size, and the 258 bytes behind it lead to the
    // end.
    std::string magic("\x01");
    for (int byte = 255; byte >= 0; --byte) magic += static_cast<char>(byte);
    const std::string packet = Extension(0xff, "XMP DataXMP", "<x:xmpmeta/>" + magic);

    const auto notesOf = [&](const std::string& before, const std::string& after) {
        const std::string changed = file.substr(0, start) + before + file.substr(start, file.size() - start - 1) +
                                    after + file.substr(file.size() - 1);
        const auto* const data = reinterpret_cast<const std::uint8_t*>(changed.data());
        const Io::LoadedImage image = Io::ReadImage(std::span(data, changed.size()), TestAllocator());
        EXPECT_EQ(image.frame->GetFrameInfo(), FrameInfo(9, 7));
        return image.notes;
    };
    EXPECT_THAT(notesOf("", ""), IsEmpty());
    EXPECT_THAT(notesOf(Extension(0xff, "NETSCAPE2.0", std::string("\x03\x01\0\0", 4)), ""), IsEmpty());
    EXPECT_THAT(notesOf(Extension(0xfe, "a comment"), ""), ElementsAre(comment));
    EXPECT_THAT(notesOf(Extension(0xff, "ICCRGBG1012",
                                  "\x02"
                                  "ab"),
                        ""),
                ElementsAre(profile));
    EXPECT_THAT(notesOf("", packet), ElementsAre(xmp));
    EXPECT_THAT(notesOf(packet, Extension(0xfe, "")), ElementsAre(xmp));
    EXPECT_THAT(notesOf(packet, Extension(0xfe, "a comment")), ElementsAre(xmp, comment));
}

}  // namespace
}  // namespace Orvexa::Test
