// Camera raw files, made here as DNG files of a sensor whose colours are those of linear sRGB.

#include <gmock/gmock.h>

#include <cmath>
#include <fstream>

#include "Host/Core/Exception.h"
#include "Tests/Host/Io/VipsPictures.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t kWidth = 160, kHeight = 96;
constexpr int kWhite = 16383;                   // level of the sensor
constexpr double kNeutral[] = {0.5, 1.0, 0.8};  // what grey gives under the light of the photograph
constexpr double kGrey = 0.2;                   // of the whole picture but for its first rows and columns
constexpr std::uint32_t kMarkWidth = 48, kMarkHeight = 32;

// Tags in ascending order, with their values behind the directory (TIFF 6.0; DNG 1.4).
class Directory {
public:
    void Shorts(std::uint16_t tag, const std::vector<std::uint32_t>& values) { Add(tag, 3, values, 2); }
    void Longs(std::uint16_t tag, const std::vector<std::uint32_t>& values) { Add(tag, 4, values, 4); }
    void Bytes(std::uint16_t tag, const std::vector<std::uint32_t>& values) { Add(tag, 1, values, 1); }
    void Text(std::uint16_t tag, const std::string& text) {
        std::vector<std::uint32_t> values(text.begin(), text.end());
        values.push_back(0);
        Add(tag, 2, values, 1);
    }
    void Rationals(std::uint16_t tag, const std::vector<double>& numbers, bool isSigned) {
        constexpr double kDenominator = 10000;
        std::vector<std::uint32_t> values;
        for (const double number : numbers) {
            values.push_back(static_cast<std::uint32_t>(std::lround(number * kDenominator)));
            values.push_back(static_cast<std::uint32_t>(kDenominator));
        }
        Add(tag, isSigned ? 10 : 5, values, 4, 2);
    }
    std::size_t GetSize() const {
        std::size_t size = 2 + 12 * entries_.size() + 4;
        for (const Entry& entry : entries_) size += entry.value.size() > 4 ? entry.value.size() + 1 : 0;
        return size;
    }
    std::string At(std::uint32_t at) const {
        std::string directory = Number(static_cast<std::uint32_t>(entries_.size()), 2), values;
        const std::size_t valuesAt = at + 2 + 12 * entries_.size() + 4;
        for (const Entry& entry : entries_) {
            directory += Number(entry.tag, 2) + Number(entry.type, 2) + Number(entry.count, 4);
            if (entry.value.size() <= 4) {
                directory += entry.value + std::string(4 - entry.value.size(), '\0');
            } else {
                directory += Number(static_cast<std::uint32_t>(valuesAt + values.size()), 4);
                values += entry.value + std::string(entry.value.size() % 2, '\0');
            }
        }
        return directory + Number(0, 4) + values;
    }
    static std::string Number(std::uint32_t number, std::size_t bytes) {
        std::string text;
        for (std::size_t i = 0; i < bytes; ++i, number >>= 8) text += static_cast<char>(number & 255);
        return text;
    }

private:
    struct Entry {
        std::uint16_t tag, type;
        std::uint32_t count;
        std::string value;
    };
    void Add(std::uint16_t tag, std::uint16_t type, const std::vector<std::uint32_t>& values, std::size_t bytes,
             std::uint32_t numbersInElement = 1) {
        Entry entry{tag, type, static_cast<std::uint32_t>(values.size()) / numbersInElement, {}};
        for (const std::uint32_t value : values) entry.value += Number(value, bytes);
        entries_.push_back(std::move(entry));
    }
    std::vector<Entry> entries_;
};

// Grey, and a red rectangle at the sensor's upper left.
std::string MakeDng(std::uint32_t orientation = 1) {
    std::string samples;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            const std::size_t channel = x % 2 + y % 2;  // red, green; green, blue
            const bool isMark = x < kMarkWidth && y < kMarkHeight;
            const double light = isMark && channel > 0 ? 0.02 : kGrey;
            samples +=
                Directory::Number(static_cast<std::uint32_t>(std::lround(light * kNeutral[channel] * kWhite)), 2);
        }
    }
    // IEC 61966-2-1: from CIE XYZ to linear sRGB.
    const std::vector<double> matrix = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};
    const auto make = [&](std::uint32_t exifAt, std::uint32_t samplesAt) {
        Directory main;
        main.Longs(0xfe, {0});
        main.Longs(0x100, {kWidth});
        main.Longs(0x101, {kHeight});
        main.Shorts(0x102, {16});
        main.Shorts(0x103, {1});
        main.Shorts(0x106, {32803});
        main.Text(0x10f, "Acme");
        main.Text(0x110, "Acme Sensor 1");
        main.Longs(0x111, {samplesAt});
        main.Shorts(0x112, {orientation});
        main.Shorts(0x115, {1});
        main.Longs(0x116, {kHeight});
        main.Longs(0x117, {kWidth * kHeight * 2});
        main.Shorts(0x828d, {2, 2});
        main.Bytes(0x828e, {0, 1, 1, 2});
        main.Longs(0x8769, {exifAt});
        main.Bytes(0xc612, {1, 4, 0, 0});
        main.Text(0xc614, "Acme Sensor 1");
        main.Longs(0xc61d, {kWhite});
        main.Rationals(0xc621, matrix, true);
        main.Rationals(0xc628, {kNeutral[0], kNeutral[1], kNeutral[2]}, false);
        main.Shorts(0xc65a, {21});
        return main;
    };
    Directory exif;
    exif.Rationals(0x829a, {1 / 250.0}, false);
    constexpr std::uint32_t kAt = 8;
    const auto exifAt = static_cast<std::uint32_t>((kAt + make(0, 0).GetSize() + 1) / 2 * 2);
    const auto samplesAt = static_cast<std::uint32_t>((exifAt + exif.GetSize() + 1) / 2 * 2);
    std::string file = std::string("II\x2a\0", 4) + Directory::Number(kAt, 4) + make(exifAt, samplesAt).At(kAt);
    file.resize(exifAt);
    file += exif.At(exifAt);
    file.resize(samplesAt);
    return file + samples;
}

int SrgbLevel(double light) {
    const double value = light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    return static_cast<int>(std::lround(255 * value));
}

std::vector<int> PixelAt(const FramePtr& frame, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* pixel = frame->GetPlane(0).GetOffsetPtr(x, y);
    return {pixel[0], pixel[1], pixel[2]};
}

class RawFiles : public testing::Test {
protected:
    std::string Save(const std::string& name, const std::string& bytes) const {
        std::ofstream(folder_.File(name), std::ios::binary) << bytes;
        return folder_.File(name);
    }
    static Io::LoadedImage Read(const std::string& file, const Io::ReadOptions& options = {}) {
        return Io::ReadImage(Core::ioPath(file), TestAllocator(), options);
    }

    TempFolder folder_;
};

TEST_F(RawFiles, AreDevelopedWithTheCamerasWhiteBalanceWhateverTheirName) {
    // What is grey becomes grey, at the level of sRGB's curve. The matrix and the camera's gains are rounded.
    constexpr int kTolerance = 2;
    for (const double brightness : {1.0, 2.0}) {
        Io::ReadOptions options;
        options.raw.brightness = brightness;
        const Io::LoadedImage image = Read(Save("a.jpg", MakeDng()), options);
        EXPECT_THAT(image.notes, ElementsAre(HasSubstr("developed to 8 bits")));
        ASSERT_EQ(image.frame->GetPixFmt(), PixFmt::Rgb24);
        const std::vector<int> grey = PixelAt(image.frame, 120, 70), mark = PixelAt(image.frame, 16, 10);
        for (const int level : grey) EXPECT_NEAR(level, SrgbLevel(kGrey * brightness), kTolerance) << brightness;
        EXPECT_NEAR(mark[0], SrgbLevel(kGrey * brightness), 8) << "red, but for the matrix";
        EXPECT_LT(mark[1] + mark[2], mark[0]);
    }
    // By itself the picture is lightened; a light that the camera did not note leaves a cast.
    EXPECT_GT(PixelAt(Read(folder_.File("a.jpg")).frame, 120, 70)[1], SrgbLevel(kGrey) + 30);
    Io::ReadOptions daylight;
    daylight.raw = {Io::RawOptions::WhiteBalance::Daylight, 1.0};
    const std::vector<int> cast = PixelAt(Read(folder_.File("a.jpg"), daylight).frame, 120, 70);
    EXPECT_LT(cast[0] + 10, cast[1]);
}

TEST_F(RawFiles, AreBroughtUprightAndKeepTheirExif) {
    const std::string file = Save("a.dng", MakeDng(6));  // the sensor's left is up
    const Io::LoadedImage image = Read(file);
    EXPECT_EQ(image.frame->GetFrameInfo().width, kHeight);
    EXPECT_EQ(image.frame->GetFrameInfo().height, kWidth);
    const Io::ImageSize size = Io::ReadImageSize(Core::ioPath(file));
    EXPECT_EQ(size.width, kHeight);
    EXPECT_EQ(size.height, kWidth);
    const std::vector<int> mark = PixelAt(image.frame, kHeight - 10, 16);
    EXPECT_LT(mark[1] + mark[2], mark[0]) << "the upper left has become the upper right";

    EXPECT_THAT(Io::WriteImage(folder_.File("a.jpg"), image.frame, {.quality = 90, .metadata = image.metadata}, {}),
                IsEmpty());
    const vips::VImage written = vips::VImage::new_from_file(folder_.File("a.jpg").c_str());
    EXPECT_THAT(written.get_string("exif-ifd0-Make"), HasSubstr("Acme"));
    EXPECT_THAT(written.get_string("exif-ifd2-ExposureTime"), HasSubstr("1/250"));
    EXPECT_THAT(written.get_string("exif-ifd0-Orientation"), testing::StartsWith("1"));
    EXPECT_FALSE(HasField(written, "exif-ifd0-CFAPattern"));
}

TEST_F(RawFiles, ThatAreDamagedOrTooLargeAreRefused) {
    const std::string whole = MakeDng();
    const std::string cut = Save("cut.dng", whole.substr(0, whole.size() / 2));
    EXPECT_THAT(MessageOf([&] { Read(cut); }), HasSubstr("truncated or damaged; --allow-truncated"));
    Io::ReadOptions options;
    options.allowTruncated = true;
    const Io::LoadedImage part = Read(cut, options);
    EXPECT_THAT(part.notes, testing::Contains(HasSubstr("what is missing is left plain")));
    EXPECT_GT(PixelAt(part.frame, 120, 40)[1], 40) << "what is there is shown";
    // Only the tags are there, or not even all of them.
    for (const std::size_t size : {whole.size() - kWidth * kHeight * 2, std::size_t{300}})
        EXPECT_NE(MessageOf([&] { Read(Save("head.dng", whole.substr(0, size))); }), "");
    options.maxPixels = 1000;
    EXPECT_THAT(MessageOf([&] { Read(Save("whole.dng", whole), options); }), HasSubstr("160 x 96 pixels, more than"));
}

}  // namespace

}  // namespace Orvexa::Test
