// EXIF, XMP, IPTC, colour profile and resolution on their way from file to file.

#include <gmock/gmock.h>

#include "Host/Core/Exception.h"
#include "Tests/Host/Io/VipsPictures.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vips::VImage;

constexpr char kXmp[] =
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
    "rdf:about=\"\" "
    "xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" tiff:Make=\"Acme\" tiff:Orientation=\"6\"/></rdf:RDF></x:xmpmeta>";
// One data set, 2:90 city, in the resource block of a JPEG file.
const std::string kIptcRecord("\x1c\x02\x5a\0\x03Ulm", 8);
const std::string kIptc = std::string(
                              "Photoshop 3.0\0"
                              "8BIM\x04\x04\0\0\0\0\0\x08",
                              26) +
                          kIptcRecord;
constexpr double kPixelsPerMillimetre = 300 / 25.4;

void SetBlob(VImage& picture, const char* field, const std::string& bytes) {
    vips_image_set_blob_copy(picture.get_image(), field, bytes.data(), bytes.size());
}
std::string GetBlob(const VImage& picture, const char* field) {
    std::size_t size = 0;
    const void* data = picture.get_blob(field, &size);
    return {static_cast<const char*>(data), size};
}

std::string Profile(const char* name) {
    VipsBlob* blob = nullptr;
    if (vips_profile_load(name, &blob, nullptr) != 0) return {};
    const std::string bytes(static_cast<const char*>(VIPS_AREA(blob)->data), VIPS_AREA(blob)->length);
    vips_area_unref(VIPS_AREA(blob));
    return bytes;
}

class Metadata : public testing::Test {
protected:
    // A photograph as cameras hold it: turned by its orientation tag.
    void MakePhotograph(const char* name, bool hasAll = true) const {
        VImage picture =
            NoisePicture(40, 24, 3).copy(VImage::option()->set("xres", kPixelsPerMillimetre)->set("yres", kPixelsPerMillimetre));
        picture.set(VIPS_META_ORIENTATION, 6);
        picture.set("exif-ifd0-Make", "Acme");
        picture.set("exif-ifd2-ExposureTime", "1/250");
        picture.set("exif-ifd3-GPSLatitudeRef", "N");
        if (hasAll) {
            SetBlob(picture, VIPS_META_XMP_NAME, kXmp);
            SetBlob(picture, VIPS_META_IPTC_NAME, kIptc);
            SetBlob(picture, VIPS_META_ICC_NAME, Profile("srgb"));
        }
        picture.write_to_file(folder_.File(name).c_str());
    }

    Io::Notes Pass(const char* from, const char* to) const {
        const Io::LoadedImage loaded = Io::ReadImage(Core::ioPath(folder_.File(from)), TestAllocator());
        return Io::WriteImage(folder_.File(to), loaded.frame, {.quality = 90, .metadata = loaded.metadata}, {});
    }
    VImage Open(const char* name) const { return VImage::new_from_file(folder_.File(name).c_str()); }

    TempFolder folder_;
};

TEST_F(Metadata, EveryFormatKeepsWhatItCanAndNamesTheRest) {
    struct Case {
        const char* file;
        bool exif, xmp, iptc, icc, resolution;
    };
    const Case cases[] = {
        {"a.jpg", true, true, true, true, true},      {"a.png", true, true, false, true, true},  {"a.webp", true, true, false, true, true},
        {"a.tif", false, true, false, true, true},    {"a.heic", true, true, false, true, true}, {"a.avif", true, true, false, true, true},
        {"a.gif", false, false, false, false, false},
    };
    MakePhotograph("in.jpg");
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.file);
        const Io::Notes notes = Pass("in.jpg", expected.file);
        const auto isNoted = [&](const char* kind) {
            return std::any_of(notes.begin(), notes.end(), [&](const std::string& note) { return note.starts_with(kind); });
        };
        const VImage written = Open(expected.file);
        EXPECT_EQ(written.width(), 24);
        EXPECT_EQ(written.height(), 40);
        EXPECT_LE(vips_image_get_orientation(written.get_image()), 1);

        EXPECT_EQ(HasField(written, "exif-ifd0-Make"), expected.exif);
        EXPECT_EQ(isNoted("the EXIF data"), !expected.exif);
        if (expected.exif) {
            EXPECT_THAT(written.get_string("exif-ifd0-Make"), HasSubstr("Acme"));
            EXPECT_THAT(written.get_string("exif-ifd2-ExposureTime"), HasSubstr("1/250"));
            EXPECT_THAT(written.get_string("exif-ifd0-XResolution"), HasSubstr("300"));
            EXPECT_THAT(written.get_string("exif-ifd3-GPSLatitudeRef"), HasSubstr("N"));
        }
        EXPECT_EQ(HasField(written, VIPS_META_XMP_NAME), expected.xmp);
        EXPECT_EQ(isNoted("the XMP data"), !expected.xmp);
        if (expected.xmp) {
            EXPECT_THAT(GetBlob(written, VIPS_META_XMP_NAME), AllOf(HasSubstr("tiff:Make=\"Acme\""), HasSubstr("tiff:Orientation=\"1\"")));
        }
        EXPECT_EQ(HasField(written, VIPS_META_IPTC_NAME), expected.iptc);
        EXPECT_EQ(isNoted("the IPTC data"), !expected.iptc);
        if (expected.iptc) {
            EXPECT_EQ(GetBlob(written, VIPS_META_IPTC_NAME), kIptc);
        }
        EXPECT_EQ(HasField(written, VIPS_META_ICC_NAME), expected.icc);
        EXPECT_EQ(isNoted("the colour profile"), !expected.icc);
        if (expected.icc) {
            EXPECT_EQ(GetBlob(written, VIPS_META_ICC_NAME), Profile("srgb"));
        }
        EXPECT_EQ(isNoted("the resolution"), !expected.resolution);
        if (expected.resolution && !HasField(written, "exif-ifd0-XResolution")) {
            EXPECT_NEAR(written.xres(), kPixelsPerMillimetre, 0.01);
        }
    }
}

TEST_F(Metadata, ExifOfPngAndWebpComesBackToJpeg) {
    MakePhotograph("in.jpg");
    for (const char* between : {"a.png", "a.webp"}) {
        Pass("in.jpg", between);
        EXPECT_THAT(Pass(between, "out.jpg"), IsEmpty());
        EXPECT_THAT(Open("out.jpg").get_string("exif-ifd0-Make"), HasSubstr("Acme")) << between;
    }
}

TEST_F(Metadata, BareIptcRecordsOfTiffAreWrappedForJpeg) {
    // The length of the field is counted in words of four bytes by some writers, so that what follows the records means nothing.
    VImage picture = NoisePicture(8, 8, 3).copy();
    SetBlob(picture, VIPS_META_IPTC_NAME, kIptcRecord + std::string(24, '\x7f'));
    picture.tiffsave(folder_.File("in.tif").c_str());
    Pass("in.tif", "out.jpg");
    EXPECT_EQ(GetBlob(Open("out.jpg"), VIPS_META_IPTC_NAME), kIptc);
}

TEST_F(Metadata, AProfileStaysWithTheKindOfPictureItIsFor) {
    MakePhotograph("in.jpg");
    const Io::LoadedImage color = Io::ReadImage(Core::ioPath(folder_.File("in.jpg")), TestAllocator());
    const FramePtr grey = MakeFrame(PixFmt::Gray8, 24, 40);
    EXPECT_THAT(Io::WriteImage(folder_.File("grey.png"), grey, {.quality = 90, .metadata = color.metadata}, {}),
                UnorderedElementsAre(HasSubstr("IPTC"), HasSubstr("not for grey")));
    EXPECT_FALSE(HasField(Open("grey.png"), VIPS_META_ICC_NAME));
}

TEST_F(Metadata, TheProfileOfACmykPictureIsUsedUp) {
    VImage picture = PlainPicture(8, 8, {0, 0, 0, 0}, VIPS_INTERPRETATION_CMYK, VIPS_FORMAT_UCHAR).copy();
    SetBlob(picture, VIPS_META_ICC_NAME, Profile("cmyk"));
    picture.jpegsave(folder_.File("in.jpg").c_str());
    EXPECT_THAT(Pass("in.jpg", "out.jpg"), IsEmpty());
    EXPECT_FALSE(HasField(Open("out.jpg"), VIPS_META_ICC_NAME));
}

TEST_F(Metadata, AnUnknownResolutionIsWrittenAsTheUsualOne) {
    NoisePicture(8, 8, 3).pngsave(folder_.File("in.png").c_str(), VImage::option()->set("strip", true));
    EXPECT_THAT(Pass("in.png", "out.jpg"), IsEmpty());
    EXPECT_NEAR(Open("out.jpg").xres() * 25.4, 72, 0.5);
}

}  // namespace

}  // namespace Orvexa::Test
