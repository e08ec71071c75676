#include "Host/Io/Vips/Colors.h"

#include <algorithm>
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

}  // namespace

bool HasProfile(const VImage& image) { return vips_image_get_typeof(image.get_image(), VIPS_META_ICC_NAME) != 0; }

VImage ConvertToSrgb(const VImage& image) {
    VImage converted =
        image.icc_transform("srgb", VImage::option()->set("embedded", true)->set("black_point_compensation", true));
    if (image.bands() < 3) {
        // Grey becomes three equal bands; what comes after them is alpha.
        const VImage gray = converted.extract_band(0);
        converted = (image.bands() == 1 ? gray : gray.bandjoin(converted.extract_band(3)))
                        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
    }
    converted = converted.copy();
    converted.remove(VIPS_META_ICC_NAME);
    return converted;
}

ProfileKind FindProfileKind(const VImage& image) {
    constexpr int kTolerance = 1;               // of sRGB's own profiles, whose curves are tables
    constexpr int kDark = 1, kLinearDark = 40;  // the first level is 70 if linear, and below 25 with any other curve
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
    auto* memory = static_cast<std::uint8_t*>(ConvertToSrgb(picture).write_to_memory(&size));
    const Samples result(memory, memory + size);
    g_free(memory);
    // In place of a profile that is damaged libvips takes sRGB, with a warning.
    if (GetWarningCount() != warningsBefore) throw vips::VError();

    const bool isSame = std::equal(result.begin(), result.end(), probe.begin(), probe.end(),
                                   [](std::uint8_t is, std::uint8_t was) { return std::abs(is - was) <= kTolerance; });
    if (isSame) return ProfileKind::Srgb;
    // Green of the darkest grey but black.
    const std::size_t dark =
        isGray ? kDark : static_cast<std::size_t>(kDark * (kLevels * kLevels + kLevels + 1) * 3 + 1);
    return result.at(dark) >= kLinearDark ? ProfileKind::Linear : ProfileKind::Other;
}

}  // namespace Orvexa::Io::Details
