#include "Host/Settings/Photo/SettingsEffectFaceMask.h"

namespace Orvexa::Proc {

namespace {

constexpr std::pair<std::string_view, FaceRegions> kNames[] = {{"eyes", FaceRegions::Eyes},
                                                               {"lips", FaceRegions::Lips},
                                                               {"opening", FaceRegions::Opening},
                                                               {"head", FaceRegions::Head}};
constexpr std::string_view kNone = "none";
constexpr int kAll = 15;

FaceRegions operator|(FaceRegions a, FaceRegions b) {
    return static_cast<FaceRegions>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

FaceRegions RegionOf(std::string_view text) {
    for (const auto& [name, region] : kNames) {
        if (text == name) return region;
    }
    ThrowNotA(text, "one of head, eyes, lips, opening and none");
}

}  // namespace

std::string TextCodec<FaceRegions>::Format(FaceRegions regions) {
    std::string text;
    for (const auto& [name, region] : kNames) {
        if (Has(regions, region)) text.append(text.empty() ? "" : "+").append(name);
    }
    return text.empty() ? std::string(kNone) : text;
}

FaceRegions TextCodec<FaceRegions>::Parse(std::string_view text) {
    if (text == kNone) return FaceRegions::None;
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos)
        return static_cast<FaceRegions>(ParseInteger(text, 0, kAll));
    if (text.empty()) return RegionOf(text);
    FaceRegions regions = FaceRegions::None;
    for (const std::string_view part : SplitText(text, '+')) regions = regions | RegionOf(part);
    return regions;
}

}  // namespace Orvexa::Proc
