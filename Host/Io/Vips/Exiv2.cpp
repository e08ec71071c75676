#include "Host/Io/Vips/Exiv2.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <exiv2/exiv2.hpp>
#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Io/Vips/ExifBlock.h"
#include "Host/Io/Vips/JpegSegments.h"

namespace Orvexa::Io::Details {

namespace {

constexpr char kNoteNamespace[] = "http://ns.adobe.com/xmp/note/", kNotePrefix[] = "xmpNote",
               kExtensionName[] = "HasExtendedXMP";

// The XMP toolkit below exiv2 is made for one thread.
std::mutex& Turn() {
    static std::mutex mutex;
    return mutex;
}

// Called with the turn.
bool IsReady() {
    static const bool isReady = [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        if (!Exiv2::XmpParser::initialize()) return false;
        std::atexit(Exiv2::XmpParser::terminate);  // frees the namespaces, those of files that were read among them
        Exiv2::XmpProperties::registerNs(kNoteNamespace, kNotePrefix);
        return true;
    }();
    return isReady;
}

template <class Call>
auto Serially(Call&& call) {
    const std::lock_guard lock(Turn());
    try {
        if (!IsReady()) Throw("exiv2 cannot be started");
        return call();
    } catch (const Proc::EffectException&) {
        throw;
    } catch (const std::exception& error) {  // exiv2's own, and what hostile sizes lead to
        Throw(error.what());
    }
}

// What every TIFF file has tells nothing of its own.
bool IsCommon(const Exiv2::Exifdatum& datum) {
    static const std::set<std::string> keys = {"Exif.Image.Orientation", "Exif.Image.XResolution",
                                               "Exif.Image.YResolution", "Exif.Image.ResolutionUnit",
                                               "Exif.Image.ExifTag",     "Exif.Image.GPSTag"};
    return keys.contains(datum.key());
}

// Tags of TIFF/EP and DNG, which tell how to make a picture of the sensor's data.
bool IsAboutSensor(std::uint16_t tag) {
    constexpr std::uint16_t kFilterFirst = 0x828d, kFilterLast = 0x828e, kDngFirst = 0xc612, kDngLast = 0xc7ff;
    return (tag >= kFilterFirst && tag <= kFilterLast) || (tag >= kDngFirst && tag <= kDngLast);
}

bool IsForeignDirectory(const std::string& group) {
    return group.starts_with("SubImage") || group.starts_with("SubThumb") || group == "Thumbnail" ||
           group == "Image2" || group == "Image3";
}

Exiv2::XmpData DecodeXmp(const std::string& packet) {
    Exiv2::XmpData data;
    if (Exiv2::XmpParser::decode(data, packet) != 0) Throw("the XMP data is damaged");
    return data;
}

std::string EncodeXmp(const Exiv2::XmpData& data) {
    std::string packet;
    if (Exiv2::XmpParser::encode(packet, data,
                                 Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitAllFormatting) != 0)
        Throw("the XMP data cannot be written");
    return packet;
}

// The property of which a datum is a part: structures and lists come as one datum for each part.
std::string PropertyOf(const Exiv2::Xmpdatum& datum) {
    const std::string key = datum.key();
    return key.substr(0, key.find_first_of("/["));
}

}  // namespace

std::string ExtractExif(const char* tiff, std::size_t size) {
    return Serially([&] {
        Exiv2::ExifData exif;
        Exiv2::IptcData iptc;
        Exiv2::XmpData xmp;
        const Exiv2::ByteOrder order = Exiv2::TiffParser::decode(
            exif, iptc, xmp, reinterpret_cast<const Exiv2::byte*>(tiff), static_cast<std::uint32_t>(size));
        Exiv2::ExifData kept;
        for (const Exiv2::Exifdatum& datum : exif) {
            const bool isStructure = datum.groupName() == "Image" && IsAboutPixels(datum.tag());
            if (!isStructure && !IsForeignDirectory(datum.groupName())) kept.add(datum);
        }
        if (std::all_of(kept.begin(), kept.end(), IsCommon)) return std::string();
        Exiv2::MemIo block;
        Exiv2::TiffParser::encode(block, nullptr, 0, order, kept, Exiv2::IptcData(), Exiv2::XmpData());
        return std::string(reinterpret_cast<const char*>(block.mmap()), block.size());
    });
}

std::string ExtractRawExif(const char* file, std::size_t size) {
    return Serially([&] {
        const auto image = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(file), size);
        image->readMetadata();
        Exiv2::ExifData kept;
        for (const Exiv2::Exifdatum& datum : image->exifData()) {
            const std::string group = datum.groupName();
            const bool isOfMain = group == "Image" && !IsAboutPixels(datum.tag()) && !IsAboutSensor(datum.tag());
            if (isOfMain || group == "Photo" || group == "GPSInfo" || group == "Iop") kept.add(datum);
        }
        if (std::all_of(kept.begin(), kept.end(), IsCommon)) return std::string();
        Exiv2::Blob blob;
        Exiv2::ExifParser::encode(blob, image->byteOrder() == Exiv2::bigEndian ? Exiv2::bigEndian : Exiv2::littleEndian,
                                  kept);
        return std::string(blob.begin(), blob.end());
    });
}

std::string ShrinkExif(const std::string& block) {
    return Serially([&] {
        const auto* bytes = reinterpret_cast<const Exiv2::byte*>(block.data());
        Exiv2::ExifData exif;
        const Exiv2::ByteOrder order = Exiv2::ExifParser::decode(exif, bytes, static_cast<std::uint32_t>(block.size()));
        Exiv2::Blob blob;
        Exiv2::ExifParser::encode(blob, order, exif);
        if (blob.size() > kMaxJpegExif) Throw("too many tags are large");
        return std::string(blob.begin(), blob.end());
    });
}

std::string JoinXmp(const std::string& main, const std::string& extension) {
    return Serially([&] {
        Exiv2::XmpData joined = DecodeXmp(main);
        const auto note = std::find_if(joined.begin(), joined.end(),
                                       [](const auto& datum) { return datum.tagName() == kExtensionName; });
        if (note != joined.end()) joined.erase(note);
        for (const Exiv2::Xmpdatum& datum : DecodeXmp(extension)) joined.add(datum);
        return EncodeXmp(joined);
    });
}

SplitXmp DivideXmp(const std::string& xmp, std::size_t limit) {
    return Serially([&] {
        const Exiv2::XmpData whole = DecodeXmp(xmp);
        std::map<std::string, std::size_t> sizes;
        for (const Exiv2::Xmpdatum& datum : whole)
            sizes[PropertyOf(datum)] += datum.key().size() + datum.toString().size();
        std::vector<std::pair<std::size_t, std::string>> bySize;
        bySize.reserve(sizes.size());
        for (const auto& [property, size] : sizes) bySize.emplace_back(size, property);
        std::sort(bySize.rbegin(), bySize.rend());

        constexpr std::size_t kGuidSize = 32;
        std::set<std::string> moved;
        SplitXmp split;
        split.guid.assign(kGuidSize, '0');
        const auto encode = [&](bool isMain) {
            Exiv2::XmpData part;
            for (const Exiv2::Xmpdatum& datum : whole) {
                if (moved.contains(PropertyOf(datum)) != isMain) part.add(datum);
            }
            if (isMain) part[std::string("Xmp.") + kNotePrefix + "." + kExtensionName] = split.guid;
            return EncodeXmp(part);
        };
        for (const auto& [size, property] : bySize) {
            moved.insert(property);
            split.main = encode(true);
            if (split.main.size() <= limit) break;
        }
        if (split.main.size() > limit) Throw("the XMP data is too large");
        split.extension = encode(false);
        gchar* digest = g_compute_checksum_for_string(G_CHECKSUM_MD5, split.extension.data(),
                                                      static_cast<gssize>(split.extension.size()));
        split.guid = digest;
        g_free(digest);
        std::transform(split.guid.begin(), split.guid.end(), split.guid.begin(),
                       [](char c) { return g_ascii_toupper(c); });
        split.main = encode(true);
        return split;
    });
}

}  // namespace Orvexa::Io::Details
