#include "Host/Io/Vips/JpegSegments.h"

#include <algorithm>
#include <map>
#include "Host/Io/Vips/BigEndian.h"

#include "Host/Io/Vips/Source.h"

namespace Orvexa::Io::Details {

namespace {

constexpr unsigned kStart = 0xd8, kScan = 0xda, kApp1 = 0xe1, kApp13 = 0xed, kComment = 0xfe;
constexpr std::string_view kXmpStart("http://ns.adobe.com/xap/1.0/\0", 29),
    kExtensionStart("http://ns.adobe.com/xmp/extension/\0", 35), kResourcesStart("Photoshop 3.0\0", 14),
    kExtensionNote("HasExtendedXMP");
constexpr std::size_t kGuidSize = 32,
                      kExtensionHeader = kGuidSize + 8;  // the identifier, the full length, this part's place in it
constexpr std::size_t kMaxContent = 65533;
constexpr std::size_t kMaxHeader = std::size_t{64} << 20;  // of all segments; no file needs a tenth of it

std::string ToBigEndian(std::size_t number, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(number >> shift & 255);
    return text;
}

// The parts of extensions, by the identifier under which a main packet may ask for them.
class Extensions {
public:
    void Add(std::string_view part) {
        if (part.size() < kExtensionHeader) return;
        const std::size_t size = BigEndian(part.substr(kGuidSize, 4)), at = BigEndian(part.substr(kGuidSize + 4, 4));
        const std::string_view data = part.substr(kExtensionHeader);
        if (size > kMaxHeader || at > size || data.size() > size - at) return;
        Extension& extension = extensions_[std::string(part.substr(0, kGuidSize))];
        if (extension.bytes.size() < at + data.size()) extension.bytes.resize(at + data.size());
        std::copy(data.begin(), data.end(), extension.bytes.begin() + static_cast<std::ptrdiff_t>(at));
        extension.there += data.size();
        extension.size = size;
    }
    /// The complete extension that the packet names; empty if there is none.
    std::string FindFor(const std::string& xmp) const {
        if (xmp.find(kExtensionNote) == std::string::npos) return {};
        for (const auto& [guid, extension] : extensions_) {
            if (extension.there == extension.size && xmp.find(guid) != std::string::npos) return extension.bytes;
        }
        return {};
    }

private:
    struct Extension {
        std::string bytes;
        std::size_t size = 0, there = 0;
    };
    std::map<std::string, Extension> extensions_;
};

void AddSegment(std::string& bytes, unsigned marker, std::string_view start, std::string_view content) {
    bytes += '\xff';
    bytes += static_cast<char>(marker);
    bytes += ToBigEndian(2 + start.size() + content.size(), 2);
    bytes += start;
    bytes += content;
}

// One or more segments, each with the same start.
void AddSegments(std::string& bytes, unsigned marker, std::string_view start, std::string_view content) {
    const std::size_t room = kMaxContent - start.size();
    for (; !content.empty(); content.remove_prefix(std::min(room, content.size())))
        AddSegment(bytes, marker, start, content.substr(0, room));
}

}  // namespace

JpegSegments ReadJpegSegments(const vips::VSource& source) {
    JpegSegments found;
    Extensions extensions;
    std::string head, content;
    if (!ReadAll(source, head, 2) || BigEndian(head) != (0xff00 | kStart)) return found;
    for (std::size_t total = 0; total < kMaxHeader && ReadAll(source, head, 2);) {
        while (head == "\xff\xff" && ReadAll(source, content, 1)) head[1] = content[0];  // fill bytes
        const std::size_t marker = BigEndian(head) & 0xff;
        if (head[0] != '\xff' || marker == kScan) break;
        if (!ReadAll(source, head, 2) || BigEndian(head) < 2 || !ReadAll(source, content, BigEndian(head) - 2)) break;
        total += content.size();
        const std::string_view bytes(content);
        if (marker == kApp1 && bytes.starts_with(kJpegExifStart) && found.exif.empty()) {
            found.exif = bytes;
        } else if (marker == kApp1 && bytes.starts_with(kXmpStart) && found.xmp.empty()) {
            found.xmp = bytes.substr(kXmpStart.size());
        } else if (marker == kApp1 && bytes.starts_with(kExtensionStart)) {
            extensions.Add(bytes.substr(kExtensionStart.size()));
        } else if (marker == kApp13 && bytes.starts_with(kResourcesStart)) {
            found.resources += bytes.substr(kResourcesStart.size());
        } else if (marker == kComment) {
            found.comment += (found.comment.empty() ? "" : "\n") + content;
        }
    }
    found.xmpExtension = extensions.FindFor(found.xmp);
    return found;
}

std::string MakeJpegSegments(const JpegSegments& content, const std::string& extensionGuid) {
    std::string bytes;
    if (!content.exif.empty()) AddSegment(bytes, kApp1, kJpegExifStart, content.exif);
    if (!content.xmp.empty()) AddSegment(bytes, kApp1, kXmpStart, content.xmp);
    const std::size_t room = kMaxContent - kExtensionStart.size() - kExtensionHeader;
    for (std::size_t at = 0; at < content.xmpExtension.size(); at += room) {
        AddSegment(bytes, kApp1, kExtensionStart,
                   extensionGuid + ToBigEndian(content.xmpExtension.size(), 4) + ToBigEndian(at, 4) +
                       content.xmpExtension.substr(at, room));
    }
    AddSegments(bytes, kApp13, kResourcesStart, content.resources);
    AddSegments(bytes, kComment, {}, content.comment);
    return bytes;
}

}  // namespace Orvexa::Io::Details
