// EXIF, XMP, IPTC, colour profile and resolution on their way from file to file.

#include <gmock/gmock.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Tests/Host/Io/VipsPictures.h"

namespace Orvexa::Test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vips::VImage;

constexpr char kXmp[] =
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
    "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
    "rdf:about=\"\" "
    "xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" tiff:Make=\"Acme\" tiff:Orientation=\"6\"/></rdf:RDF></x:xmpmeta>";
// One data set, 2:90 city, in the resource block of a JPEG file.
const std::string kIptcRecord("\x1c\x02\x5a\0\x03Ulm", 8);
const std::string kIptc = std::string(
                              "Photoshop 3.0\0"
                              "8BIM\x04\x04\0\0\0\0\0\x08",
                              26) +
                          kIptcRecord;
const std::string kComment = "a comment, of \xc3\xa4ll things";
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

// An EXIF block as a camera makes it: with notes whose bytes only the maker understands, a comment in a Japanese
// encoding, a copyright in Latin-1, and a preview picture at its end. Places are those of values.
struct ExifSample {
    explicit ExifSample(const std::string& thumbnail) {
        for (int i = 0; i < 300; ++i) note += static_cast<char>(i * 7);
        constexpr std::uint32_t kMain = 8, kExif = 80, kResolution = 160, kValues = 168;
        const auto copyrightAt = kValues, commentAt = copyrightAt + Size(copyright), noteAt = commentAt + Size(comment);
        previewAt = noteAt + Size(note);
        block = std::string("II\x2a\0", 4) + Long(kMain);
        Directory({{0x112, 3, 1, 6},
                   {0x11a, 5, 1, kResolution},
                   {0x11b, 5, 1, kResolution},
                   {0x8298, 2, Size(copyright), copyrightAt},
                   {0x8769, 4, 1, kExif}},
                  previewAt);
        orientationAt = kMain + 2 + 8;
        linkAt = kMain + 2 + 5 * 12;
        block.resize(kExif);
        Directory({{0x927c, 7, Size(note), noteAt}, {0x9286, 7, Size(comment), commentAt}, {0xa002, 3, 1, 24}}, 0);
        widthAt = kExif + 2 + 2 * 12 + 8;
        block.resize(kResolution);
        block += Long(72) + Long(1) + copyright + comment + note;
        const std::uint32_t thumbnailAt = static_cast<std::uint32_t>(previewAt) + 2 + 2 * 12 + 4;
        Directory({{0x201, 4, 1, thumbnailAt}, {0x202, 4, 1, Size(thumbnail)}}, 0);
        block += thumbnail;
    }

    std::string copyright = std::string(
        "Gr\xf6\xdf"
        "e 2024\0\0",
        12);
    std::string comment = std::string("JIS\0\0\0\0\0$3$a$s$H!!!", 19) + '!';
    std::string note, block;
    std::size_t orientationAt = 0, widthAt = 0, linkAt = 0, previewAt = 0;

private:
    struct Entry {
        std::uint32_t tag, type, count, value;
    };
    static std::uint32_t Size(const std::string& bytes) { return static_cast<std::uint32_t>(bytes.size()); }
    static std::string Long(std::uint32_t number) {
        std::string bytes;
        for (int i = 0; i < 4; ++i, number >>= 8) bytes += static_cast<char>(number);
        return bytes;
    }
    void Directory(const std::vector<Entry>& entries, std::size_t next) {
        block += Long(static_cast<std::uint32_t>(entries.size())).substr(0, 2);
        for (const Entry& entry : entries)
            block +=
                Long(entry.tag).substr(0, 2) + Long(entry.type).substr(0, 2) + Long(entry.count) + Long(entry.value);
        block += Long(static_cast<std::uint32_t>(next));
    }
};

class Metadata : public testing::Test {
protected:
    // A photograph as cameras hold it: turned by its orientation tag.
    void MakePhotograph(const char* name, bool hasAll = true) const {
        VImage picture = NoisePicture(40, 24, 3).copy(
            VImage::option()->set("xres", kPixelsPerMillimetre)->set("yres", kPixelsPerMillimetre));
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
        if (!hasAll) return;
        std::string bytes = Bytes(name);
        bytes.insert(2, std::string("\xff\xfe\0", 3) + static_cast<char>(kComment.size() + 2) + kComment);
        WriteFile(folder_.File(name), bytes);
    }

    std::string Bytes(const std::string& name) const {
        const FileBytes bytes = ReadFile(folder_.File(name));
        return {bytes.begin(), bytes.end()};
    }

    Io::Notes Pass(const std::string& from, const std::string& to) const {
        const Io::LoadedImage loaded = Io::ReadImage(Core::ioPath(folder_.File(from)), TestAllocator());
        return Io::WriteImage(folder_.File(to), loaded.frame, {.quality = 90, .metadata = loaded.metadata}, {});
    }
    VImage Open(const std::string& name) const { return VImage::new_from_file(folder_.File(name).c_str()); }

    TempFolder folder_;
};

TEST_F(Metadata, EveryFormatKeepsWhatItCanAndNamesTheRest) {
    MakePhotograph("in.jpg");
    for (const Io::FormatInfo& format : Io::GetFormats()) {
        SCOPED_TRACE(format.name);
        const std::string name = "a." + std::string(format.suffixes.front());
        const Io::Notes notes = Pass("in.jpg", name);
        for (const Io::MetadataKind& kind : Io::GetMetadataKinds()) {
            const bool isNoted =
                std::any_of(notes.begin(), notes.end(), [&](const auto& note) { return note.starts_with(kind.text); });
            // The colours of the profile are those in which some formats are written.
            const bool isKept =
                (format.metadata & kind.bit) != 0 || (format.isSrgb && kind.bit == Io::MetadataKind::Icc);
            EXPECT_EQ(isNoted, !isKept) << kind.name;
        }
        const VImage written = Open(name);
        EXPECT_EQ(written.width(), 24);
        EXPECT_EQ(written.height(), 40);
        EXPECT_LE(vips_image_get_orientation(written.get_image()), 1);
        if (format.metadata == 0) continue;
        if (!format.isSrgb) {
            EXPECT_EQ(GetBlob(written, VIPS_META_ICC_NAME), Profile("srgb"));
        }

        // Whatever went through this format is in a JPEG file again.
        Pass(name, "back.jpg");
        const VImage back = Open("back.jpg");
        const std::string bytes = Bytes("back.jpg");
        EXPECT_THAT(back.get_string("exif-ifd0-Make"), HasSubstr("Acme"));
        EXPECT_THAT(back.get_string("exif-ifd2-ExposureTime"), HasSubstr("1/250"));
        EXPECT_THAT(back.get_string("exif-ifd3-GPSLatitudeRef"), HasSubstr("N"));
        EXPECT_THAT(back.get_string("exif-ifd0-XResolution"), HasSubstr("300"));
        EXPECT_NEAR(back.xres(), kPixelsPerMillimetre, 0.01);
        EXPECT_THAT(GetBlob(back, VIPS_META_XMP_NAME),
                    AllOf(HasSubstr("tiff:Make=\"Acme\""), HasSubstr("tiff:Orientation=\"1\"")));
        EXPECT_EQ(HasField(back, VIPS_META_IPTC_NAME) && GetBlob(back, VIPS_META_IPTC_NAME) == kIptc,
                  (format.metadata & Io::MetadataKind::Iptc) != 0);
        EXPECT_EQ(bytes.find(kComment) != std::string::npos, (format.metadata & Io::MetadataKind::Comment) != 0);
    }
}

// Every byte of an EXIF block survives, above all maker notes, whose offsets count from the block's beginning, and
// texts in any encoding.
TEST_F(Metadata, ExifTravelsByteByByte) {
    const std::string thumbnail("\xff\xd8\xff\xd9");
    const ExifSample sample(thumbnail);
    std::string expected = sample.block.substr(0, sample.block.size() - thumbnail.size());
    expected.replace(sample.orientationAt, 2, std::string("\x01\0", 2));
    expected.replace(sample.widthAt, 2, std::string("\x10\0", 2));
    expected.replace(sample.linkAt, 4, std::string(4, '\0'));
    std::fill(expected.begin() + static_cast<std::ptrdiff_t>(sample.previewAt), expected.end(), '\0');
    VImage plain = NoisePicture(24, 16, 3).copy();
    plain.set(VIPS_META_ORIENTATION, 6);
    plain.jpegsave(folder_.File("plain.jpg").c_str(), VImage::option()->set("strip", true));
    std::string bytes = Bytes("plain.jpg");
    const std::string content = std::string("Exif\0\0", 6) + sample.block;
    const std::size_t size = content.size() + 2;
    bytes.insert(2, std::string("\xff\xe1") + static_cast<char>(size >> 8) + static_cast<char>(size) + content);
    WriteFile(folder_.File("in.jpg"), bytes);

    for (const char* name : {"a.jpg", "a.png", "a.webp", "a.heic", "a.avif"}) {
        EXPECT_THAT(Pass("in.jpg", name), IsEmpty());
        const std::string exif = GetBlob(Open(name), VIPS_META_EXIF_NAME);
        EXPECT_EQ(exif.substr(exif.find("II\x2a")), expected) << name;
    }
    EXPECT_THAT(Pass("in.jpg", "a.tif"), IsEmpty());
    EXPECT_EQ(Bytes("a.tif").substr(8, expected.size() - 8), expected.substr(8)) << "the file begins with the block";
    EXPECT_THAT(Pass("in.jpg", "a.jxl"), IsEmpty());
    EXPECT_THAT(Bytes("a.jxl"), HasSubstr(expected));
    // From a TIFF file the block is put together anew, and no value is changed.
    EXPECT_THAT(Pass("a.tif", "back.jpg"), IsEmpty());
    for (const std::string& value : {sample.comment, sample.copyright, sample.note})
        EXPECT_THAT(GetBlob(Open("back.jpg"), VIPS_META_EXIF_NAME), HasSubstr(value));
}

TEST_F(Metadata, DamagedExifIsLeftOutWithANote) {
    NoisePicture(8, 8, 3).jpegsave(folder_.File("in.jpg").c_str(), VImage::option()->set("strip", true));
    std::string bytes = Bytes("in.jpg");
    bytes.insert(2, std::string("\xff\xe1\0\x10"
                                "Exif\0\0nonsense",
                                18));
    WriteFile(folder_.File("in.jpg"), bytes);
    const Io::LoadedImage loaded = Io::ReadImage(Core::ioPath(folder_.File("in.jpg")), TestAllocator());
    EXPECT_THAT(loaded.notes, ElementsAre(HasSubstr("the EXIF data is damaged")));
}

TEST_F(Metadata, LongXmpTakesSeveralSegmentsOfAJpegFile) {
    std::string history;
    for (int i = 0; i < 20000; ++i) history += "step " + std::to_string(i) + ' ';
    std::string xmp = kXmp;
    xmp.insert(xmp.find(" tiff:Make"),
               " xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\" photoshop:History=\"" + history + "\"");
    VImage picture = NoisePicture(8, 8, 3).copy();
    SetBlob(picture, VIPS_META_XMP_NAME, xmp);
    picture.pngsave(folder_.File("in.png").c_str());
    EXPECT_THAT(Pass("in.png", "a.jpg"), IsEmpty());
    EXPECT_THAT(GetBlob(Open("a.jpg"), VIPS_META_XMP_NAME), AllOf(HasSubstr("Acme"), HasSubstr("HasExtendedXMP")));
    EXPECT_THAT(Pass("a.jpg", "b.jpg"), IsEmpty());
    EXPECT_THAT(Pass("b.jpg", "back.png"), IsEmpty());
    EXPECT_THAT(GetBlob(Open("back.png"), VIPS_META_XMP_NAME),
                AllOf(HasSubstr("Acme"), HasSubstr(history.substr(0, history.size() - 1)),
                      testing::Not(HasSubstr("HasExtendedXMP"))));
}

// Blobs of some formats end with the picture from which they come, so that what is read must be a copy.
TEST_F(Metadata, OnePictureGivesTheSameFileEveryTime) {
    MakePhotograph("in.jpg");
    for (const Io::FormatInfo& format : Io::GetFormats()) {
        const std::string name = "a." + std::string(format.suffixes.front());
        Open("in.jpg").write_to_file(folder_.File(name).c_str());
        Pass(name, "first.png");
        const std::string first = Bytes("first.png");
        for (int run = 0; run < 3; ++run) {
            Pass(name, "again.png");
            EXPECT_EQ(Bytes("again.png"), first) << name;
        }
        // libvips itself writes no metadata into JPEG XL files.
        if (format.metadata == 0 || format.format == Io::FileFormat::Jxl) continue;
        EXPECT_EQ(GetBlob(Open("first.png"), VIPS_META_ICC_NAME), Profile("srgb")) << name;
        EXPECT_THAT(GetBlob(Open("first.png"), VIPS_META_XMP_NAME), HasSubstr("Acme")) << name;
    }
}

TEST_F(Metadata, BareIptcRecordsOfTiffAreWrappedForJpeg) {
    // The length of the field is counted in words of four bytes by some writers, so that what follows the records means
    // nothing.
    VImage picture = NoisePicture(8, 8, 3).copy();
    SetBlob(picture, VIPS_META_IPTC_NAME, kIptcRecord + std::string(24, '\x7f'));
    picture.tiffsave(folder_.File("in.tif").c_str());
    Pass("in.tif", "out.jpg");
    EXPECT_EQ(GetBlob(Open("out.jpg"), VIPS_META_IPTC_NAME), kIptc);
}

// IEC 61966-2-1.
double CurveOfSrgb(double light) {
    return 255 * (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

// Display P3 and sRGB share white point and tone curve, so that in linear light a matrix leads from one to the other
// (SMPTE EG 432-1).
std::vector<double> FromP3(const std::vector<double>& color) {
    constexpr double kMatrix[3][3] = {{1.2249, -0.2247, 0}, {-0.0420, 1.0419, 0}, {-0.0197, -0.0786, 1.0979}};
    const auto toLinear = [](double level) {
        const double v = level / 255;
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    std::vector<double> levels;
    for (const auto& row : kMatrix)
        levels.push_back(
            CurveOfSrgb(row[0] * toLinear(color[0]) + row[1] * toLinear(color[1]) + row[2] * toLinear(color[2])));
    return levels;
}

// A profile with the primaries of sRGB, or a grey one, and a power for its curve (ICC.1:2001-04).
std::string GammaProfile(bool isGray, double gamma) {
    const auto number = [](std::uint32_t value, int bytes) {
        std::string text;
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 255);
        return text;
    };
    const auto xyz = [&](double x, double y, double z) {
        std::string text = "XYZ " + number(0, 4);
        for (const double value : {x, y, z}) text += number(static_cast<std::uint32_t>(std::lround(value * 65536)), 4);
        return text;
    };
    const std::string white = xyz(0.9642, 1, 0.8249);
    const std::string curve = "curv" + number(0, 4) + number(1, 4) +
                              number(static_cast<std::uint32_t>(std::lround(gamma * 256)), 2) + number(0, 2);
    std::vector<std::pair<std::string, std::string>> tags = {{"wtpt", white}, {"kTRC", curve}};
    if (!isGray) {
        tags = {{"wtpt", white},
                {"rXYZ", xyz(0.4361, 0.2225, 0.0139)},
                {"gXYZ", xyz(0.3851, 0.7169, 0.0971)},
                {"bXYZ", xyz(0.1431, 0.0606, 0.7141)},
                {"rTRC", curve},
                {"gTRC", curve},
                {"bTRC", curve}};
    }
    std::string table = number(static_cast<std::uint32_t>(tags.size()), 4), values;
    const std::size_t begin = 128 + 4 + 12 * tags.size();
    for (const auto& [name, value] : tags) {
        table += name + number(static_cast<std::uint32_t>(begin + values.size()), 4) +
                 number(static_cast<std::uint32_t>(value.size()), 4);
        values += value;
    }
    std::string header = number(static_cast<std::uint32_t>(begin + values.size()), 4) + number(0, 4) +
                         number(0x02400000, 4) + "mntr" + (isGray ? "GRAY" : "RGB ") + "XYZ " + std::string(12, '\0') +
                         "acsp";
    header.resize(68);
    header += white.substr(8);
    header.resize(128);
    return header + table + values;
}

void ExpectColor(const FramePtr& frame, const std::vector<double>& color, double tolerance) {
    const Plane& plane = frame->GetPlane(0);
    ASSERT_EQ(plane.GetBytesPerPixel(), color.size());
    for (std::size_t k = 0; k < color.size(); ++k)
        EXPECT_NEAR(plane.GetOffsetPtr(3, 3)[k], color[k], tolerance) << "channel " << k;
}

// What a codec of an absolute colour space and quality 90 may change in a plain colour.
constexpr double kLossy = 3.5;

TEST_F(Metadata, ColoursAreConvertedToSrgbByTheProfileOnRequest) {
    const std::vector<double> color = {180, 100, 60};
    VImage picture = PlainPicture(8, 8, color, VIPS_INTERPRETATION_sRGB, VIPS_FORMAT_UCHAR).copy();
    SetBlob(picture, VIPS_META_ICC_NAME, Profile("p3"));
    picture.pngsave(folder_.File("in.png").c_str());

    const Io::LoadedImage loaded =
        Io::ReadImage(Core::ioPath(folder_.File("in.png")), TestAllocator(), {.toSrgb = true});
    ExpectColor(loaded.frame, FromP3(color), 1.5);
    Io::WriteImage(folder_.File("out.png"), loaded.frame, {.quality = 90, .metadata = loaded.metadata}, {});
    EXPECT_FALSE(HasField(Open("out.png"), VIPS_META_ICC_NAME));
    const Io::LoadedImage asItIs = Io::ReadImage(Core::ioPath(folder_.File("in.png")), TestAllocator());
    EXPECT_EQ(asItIs.frame->GetPlane(0).GetData()[0], color[0]);
}

// Debian's encoder ends the process over some profiles, so that it gets none.
TEST_F(Metadata, JpegXlFilesAreWrittenInSrgb) {
    const std::vector<double> color = {180, 100, 60};
    const double light = std::pow(100 / 255.0, 1.8);
    const std::string gamma = GammaProfile(false, 1.8);
    std::string withoutCurves = gamma, empty = gamma.substr(0, 128) + std::string(gamma.size() - 128, '\0');
    for (std::size_t at; (at = withoutCurves.find("curv")) != std::string::npos;) withoutCurves.replace(at, 4, "void");
    const auto converted = ElementsAre(HasSubstr("written in sRGB"));
    const auto useless = ElementsAre(HasSubstr("the colour profile cannot be used ("));
    const struct {
        const char* name;
        std::string profile;
        std::vector<double> color, expected;
        testing::Matcher<Io::Notes> notes;
    } cases[] = {
        {"sRGB", Profile("srgb"), color, color, IsEmpty()},
        {"Display P3", Profile("p3"), color, FromP3(color), converted},
        {"a power of 1.8",
         gamma,
         {100, 100, 100},
         {CurveOfSrgb(light), CurveOfSrgb(light), CurveOfSrgb(light)},
         converted},
        {"a power of 1.8 with alpha",
         gamma,
         {100, 100, 100, 200},
         {CurveOfSrgb(light), CurveOfSrgb(light), CurveOfSrgb(light), 200},
         converted},
        {"a grey power of 1.8", GammaProfile(true, 1.8), {100}, {CurveOfSrgb(light)}, converted},
        {"no tags", empty, color, color, useless},
        {"the end missing", gamma.substr(0, 200), color, color, useless},
        {"unknown curves", withoutCurves, color, color, useless},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VImage picture =
            PlainPicture(16, 16, c.color, c.color.size() == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB,
                         VIPS_FORMAT_UCHAR)
                .copy();
        picture.set("exif-ifd2-ColorSpace", "65535");
        SetBlob(picture, VIPS_META_ICC_NAME, c.profile);
        picture.tiffsave(folder_.File("in.tif").c_str());
        EXPECT_THAT(Pass("in.tif", "a.jxl"), c.notes);
        const Io::LoadedImage loaded = Io::ReadImage(Core::ioPath(folder_.File("a.jxl")), TestAllocator());
        EXPECT_THAT(loaded.notes, IsEmpty());
        ExpectColor(loaded.frame, c.expected, kLossy);
        // The decoder's own profile makes no difference.
        ExpectColor(Io::ReadImage(Core::ioPath(folder_.File("a.jxl")), TestAllocator(), {.toSrgb = true}).frame,
                    c.expected, kLossy);
    }
}

// Lossy files name a profile, but their colours come in another space where the decoder does not know that.
TEST_F(Metadata, JpegXlColoursAreReadByTheProfileOfTheDecoder) {
    const std::vector<double> color = {180, 100, 60};
    std::vector<double> fromGamma;
    for (const double level : color) fromGamma.push_back(CurveOfSrgb(std::pow(level / 255, 1.8)));
    const double greyLevel = CurveOfSrgb(std::pow(100 / 255.0, 1.8)),
                 darkLevel = CurveOfSrgb(std::pow(32 / 255.0, 1.8));
    const struct {
        const char* name;
        std::string profile;
        std::vector<double> color, asItIs, inSrgb;
        bool isLossless, isKept;
    } cases[] = {
        {"sRGB", Profile("srgb"), color, color, color, false, true},
        {"Display P3", Profile("p3"), color, color, FromP3(color), false, true},
        {"Display P3, lossless", Profile("p3"), color, color, FromP3(color), true, true},
        {"a power", GammaProfile(false, 1.8), color, fromGamma, fromGamma, false, false},
        {"a power, lossless", GammaProfile(false, 1.8), color, color, fromGamma, true, true},
        {"a grey power", GammaProfile(true, 1.8), {100}, {greyLevel}, {greyLevel}, false, false},
        {"a grey power, dark", GammaProfile(true, 1.8), {32}, {darkLevel}, {darkLevel}, false, false},
        {"a grey power, lossless", GammaProfile(true, 1.8), {100}, {100}, {greyLevel}, true, true},
    };
    for (const auto& c : cases) {
        for (const VipsBandFormat format : {VIPS_FORMAT_UCHAR, VIPS_FORMAT_USHORT, VIPS_FORMAT_FLOAT}) {
            SCOPED_TRACE(std::string(c.name) + ", " + vips_enum_nick(VIPS_TYPE_BAND_FORMAT, format));
            const bool isGray = c.color.size() == 1, isFloat = format == VIPS_FORMAT_FLOAT;
            if (isGray && isFloat) continue;  // libvips cannot write it
            VImage picture = VImage::black(16, 16) + c.color;
            if (isFloat) picture = picture * (1 / 255.0);
            if (format == VIPS_FORMAT_USHORT) picture = picture * 257;
            const VipsInterpretation gray =
                format == VIPS_FORMAT_USHORT ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
            const VipsInterpretation rgb = isFloat                       ? VIPS_INTERPRETATION_scRGB
                                           : format == VIPS_FORMAT_UCHAR ? VIPS_INTERPRETATION_sRGB
                                                                         : VIPS_INTERPRETATION_RGB16;
            picture = picture.cast(format).copy(VImage::option()->set("interpretation", isGray ? gray : rgb));
            SetBlob(picture, VIPS_META_ICC_NAME, c.profile);
            const std::string file = folder_.File("a.jxl");
            picture.jxlsave(file.c_str(), VImage::option()->set("Q", 95)->set("lossless", c.isLossless));
            const Io::LoadedImage loaded = Io::ReadImage(Core::ioPath(file), TestAllocator());
            ExpectColor(loaded.frame, c.asItIs, c.isLossless ? 1 : kLossy);
            EXPECT_EQ(loaded.metadata->Has(Io::MetadataKind::Icc), c.isKept);
            EXPECT_EQ(std::count_if(loaded.notes.begin(), loaded.notes.end(),
                                    [](const auto& note) { return note.find("linear light") != std::string::npos; }),
                      c.isKept ? 0 : 1);
            ExpectColor(Io::ReadImage(Core::ioPath(file), TestAllocator(), {.toSrgb = true}).frame, c.inSrgb, kLossy);
        }
    }
}

TEST_F(Metadata, TextsOfPngFilesStayInPngFiles) {
    VImage picture = NoisePicture(8, 8, 3).copy();
    picture.set("png-comment-0-Title",
                "Gr\xc3\xbc\xc3\x9f"
                "e");
    picture.set("png-comment-1-date:create", "2024");
    picture.pngsave(folder_.File("in.png").c_str());
    EXPECT_THAT(Pass("in.png", "a.png"), IsEmpty());
    EXPECT_THAT(Pass("a.png", "b.png"), IsEmpty());
    EXPECT_THAT(Bytes("b.png"), HasSubstr("Gr\xc3\xbc\xc3\x9f"
                                          "e"));
    EXPECT_THAT(Pass("b.png", "a.jpg"), ElementsAre(HasSubstr("(Title) cannot be kept in JPEG files")));
}

TEST_F(Metadata, AProfileStaysWithTheKindOfPictureItIsFor) {
    MakePhotograph("in.jpg");
    const Io::LoadedImage color = Io::ReadImage(Core::ioPath(folder_.File("in.jpg")), TestAllocator());
    const FramePtr grey = MakeFrame(PixFmt::Gray8, 24, 40);
    EXPECT_THAT(Io::WriteImage(folder_.File("grey.png"), grey, {.quality = 90, .metadata = color.metadata}, {}),
                ElementsAre(HasSubstr("not for grey")));
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
