#include "Host/Io/Vips/Xmp.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace Orvexa::Io::Details {

namespace {

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// Properties stand as name="6" or <name>6</name>.
void ReplaceNumber(std::string& xmp, std::string_view name, std::uint32_t number) {
    for (std::size_t at = xmp.find(name); at != std::string::npos; at = xmp.find(name, at + name.size())) {
        const std::size_t begin = xmp.find_first_not_of("=\"'> \t\r\n", at + name.size());
        if (begin == std::string::npos || begin == at + name.size() || !IsDigit(xmp[begin])) continue;
        const auto end = std::find_if_not(xmp.begin() + static_cast<std::ptrdiff_t>(begin), xmp.end(), IsDigit);
        xmp.replace(xmp.begin() + static_cast<std::ptrdiff_t>(begin), end, std::to_string(number));
    }
}

void RemoveElement(std::string& xmp, const std::string& name) {
    const std::string closing = "</" + name + ">";
    for (std::size_t begin = xmp.find("<" + name); begin != std::string::npos; begin = xmp.find("<" + name, begin)) {
        const std::size_t end = xmp.find(closing, begin);
        if (end == std::string::npos) return;
        xmp.erase(begin, end + closing.size() - begin);
    }
}

}  // namespace

void MakeXmpUpright(std::string& xmp) {
    ReplaceNumber(xmp, "tiff:Orientation", 1);
    RemoveElement(xmp, "xmp:Thumbnails");
    RemoveElement(xmp, "xap:Thumbnails");
}

void SetXmpSize(std::string& xmp, std::uint32_t width, std::uint32_t height) {
    for (const char* name : {"exif:PixelXDimension", "tiff:ImageWidth"}) ReplaceNumber(xmp, name, width);
    for (const char* name : {"exif:PixelYDimension", "tiff:ImageLength"}) ReplaceNumber(xmp, name, height);
}

void SetXmpSrgb(std::string& xmp) { ReplaceNumber(xmp, "exif:ColorSpace", 1); }

}  // namespace Orvexa::Io::Details
