#include "Host/Io/Vips/Colors.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Host/Io/Vips/Vips.h"

namespace Orvexa::Io::Details {

namespace {

using vips::VImage;

using Samples = std::vector<std::uint8_t>;

// Levels from black to white: enough to tell curves and primaries apart.
constexpr int kStep = 15, kLevels = 255 / kStep + 1;

// Grey levels, or all mixtures of three levels, the grey ones among them.
Samples MakeProbe(bool isGray) {
    Samples probe;
    for (int r = 0; r < kLevels; ++r) {
        for (int g = 0; !isGray && g < kLevels; ++g) {
            for (int b = 0; b < kLevels; ++b) {
                for (const int level : {r, g, b}) probe.push_back(static_cast<std::uint8_t>(level * kStep));
            }
        }
        if (isGray) probe.push_back(static_cast<std::uint8_t>(r * kStep));
    }
    return probe;
}

// The tone curve of sRGB (IEC 61966-2-1), of light from 0 to 1.
std::uint8_t ToLevel(double light) {
    const double value = light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(255 * value + 0.5);
}

// From levels of 8 or 16 bits that are proportional to light. Little CMS draws the curve of a grey profile through so
// few points that shadows are off by up to ten levels.
VImage ConvertLinearGray(const VImage& image) {
    const bool isByte = image.format() == VIPS_FORMAT_UCHAR;
    const int white = isByte ? 255 : 65535;
    Samples levels;
    for (int level = 0; level <= white; ++level) levels.push_back(ToLevel(static_cast<double>(level) / white));
    const VImage table(
        vips_image_new_from_memory_copy(levels.data(), levels.size(), white + 1, 1, 1, VIPS_FORMAT_UCHAR));
    VImage gray = image.extract_band(0).maplut(table);
    if (image.bands() > 1) {
        const VImage alpha = image.extract_band(1);
        gray = gray.bandjoin(isByte ? alpha : (alpha >> 8).cast(VIPS_FORMAT_UCHAR));
    }
    return gray.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
}

VImage Transform(const VImage& image) {
    VImage converted =
        image.icc_transform("srgb", VImage::option()->set("embedded", true)->set("black_point_compensation", true));
    if (image.bands() < 3) {
        // Grey becomes three equal bands; what comes after them is alpha.
        const VImage gray = converted.extract_band(0);
        converted = (image.bands() == 1 ? gray : gray.bandjoin(converted.extract_band(3)))
                        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
    }
    return converted;
}

}  // namespace

bool HasProfile(const VImage& image) { return vips_image_get_typeof(image.get_image(), VIPS_META_ICC_NAME) != 0; }

VImage ConvertToSrgb(const VImage& image) {
    const bool isWhole = image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT;
    const bool isLinearGray = image.bands() < 3 && isWhole && FindProfileKind(image) == ProfileKind::Linear;
    VImage converted = (isLinearGray ? ConvertLinearGray(image) : Transform(image)).copy();
    converted.remove(VIPS_META_ICC_NAME);
    return converted;
}

ProfileKind FindProfileKind(const VImage& image) {
    constexpr int kTolerance = 1;         // of sRGB's own profiles, whose curves are tables
    constexpr int kLinearTolerance = 12;  // the darkest grey but black is 70 if linear, below 25 with curves in use
    const bool isGray = image.bands() < 3;
    const int bands = isGray ? 1 : 3;
    Samples probe = MakeProbe(isGray);
    VImage picture =
        VImage::new_from_memory(probe.data(), probe.size(), static_cast<int>(probe.size()) / bands, 1, bands,
                                VIPS_FORMAT_UCHAR)
            .copy(VImage::option()->set("interpretation", isGray ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
    std::size_t profileSize = 0, size = 0;
    const unsigned warningsBefore = GetWarningCount();
    const void* profile = image.get_blob(VIPS_META_ICC_NAME, &profileSize);
    vips_image_set_blob_copy(picture.get_image(), VIPS_META_ICC_NAME, profile, profileSize);
    auto* memory = static_cast<std::uint8_t*>(Transform(picture).write_to_memory(&size));
    const Samples result(memory, memory + size);
    g_free(memory);
    // In place of a profile that is damaged libvips takes sRGB, with a warning.
    if (GetWarningCount() != warningsBefore) throw vips::VError();

    const bool isSame = std::equal(result.begin(), result.end(), probe.begin(), probe.end(),
                                   [](int is, int was) { return std::abs(is - was) <= kTolerance; });
    if (isSame) return ProfileKind::Srgb;
    const std::size_t step = isGray ? 1 : (kLevels * kLevels + kLevels + 1) * 3;  // from one grey to the next
    for (std::size_t i = 0; i < kLevels; ++i) {
        if (std::abs(result.at(i * step) - ToLevel(static_cast<double>(probe.at(i * step)) / 255)) > kLinearTolerance)
            return ProfileKind::Other;
    }
    return ProfileKind::Linear;
}

bool IsLinear(const VImage& image) {
    if (!HasProfile(image)) return false;
    try {
        return FindProfileKind(image) == ProfileKind::Linear;
    } catch (const vips::VError&) {
        TakeVipsError();
        return false;
    }
}

}  // namespace Orvexa::Io::Details
