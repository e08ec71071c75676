#include "Cli/Preview/EffectTraits.h"

#include <algorithm>
#include <cmath>

#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::Settings;

namespace {

using Reduction = EffectTraits::Reduction;

template <class S>
const S& As(const Settings& settings) {
    return dynamic_cast<const S&>(settings);
}

std::optional<int> EachPixel(const Settings&) { return 0; }

std::optional<int> BalanceLumaMargin(const Settings& settings) {
    if (As<Proc::SettingsEffectBalanceLuma>(settings).GetAutoContrast()) return std::nullopt;
    return 0;
}

std::optional<int> BlurMargin(const Settings& settings) {
    const auto& blur = As<Proc::SettingsEffectBlur>(settings);
    if (blur.GetScaleType() != 0) return std::nullopt;
    return static_cast<int>(std::ceil(std::max(blur.GetDevX(), blur.GetDevY()) * blur.GetKernelLength())) + 1;
}

std::optional<int> MorphologyMargin(const Settings& settings) {
    const auto& morphology = As<Proc::SettingsEffectMorphology>(settings);
    constexpr int kPasses = 2;  // opening and closing
    return kPasses * morphology.GetSize() * static_cast<int>(morphology.GetIterations());
}

std::optional<int> OilPaintMargin(const Settings& settings) {
    return static_cast<int>(std::ceil(As<Proc::SettingsEffectOilPaint>(settings).GetRadius())) + 1;
}

constexpr std::string_view kStatistics = "its statistics are those of the reduced picture";
constexpr std::string_view kPixels = "what it does is measured in pixels";
constexpr std::string_view kNetwork = "its network looks at the reduced picture";
constexpr std::string_view kFaces = "faces are looked for in the reduced picture";
constexpr std::string_view kEdges = "edges are looked for in the reduced picture";
constexpr std::string_view kUnknown = "what it does at other sizes is not known";
constexpr double kSlow = 0.3, kNetworkTime = 1.5;  // seconds per megapixel

constexpr EffectTraits kTraits[] = {
    {"AutoEnhance", nullptr, kStatistics},
    {"AutoGlareRemove", nullptr, kFaces, kSlow},
    {"BalanceLuma", BalanceLumaMargin, ""},
    {"BiColorToning", EachPixel, ""},
    {"BlackWhite", EachPixel, ""},
    {"BlendPalette", nullptr, "", 0.02, Reduction::Labels},
    {"BlurBokeh", nullptr, "", kSlow},
    {"BlurRadial", nullptr, ""},
    {"ColorBalanceAuto", nullptr, kStatistics},
    {"ColoredGlass", EachPixel, ""},
    {"ColorReduce", nullptr, kPixels},
    {"CreateVideo", nullptr, ""},
    {"Custom", nullptr, kUnknown, 0.02, Reduction::Areas, false},
    {"Cutter", nullptr, kPixels, 0.02, Reduction::Areas, false},
    {"DeepAdjuster", nullptr, kNetwork, kSlow},
    {"DeepAligner", nullptr, kNetwork, kSlow},
    {"DeepAutoRetoucher", nullptr, kNetwork, kNetworkTime},
    {"DeepDenoiser", nullptr, kNetwork, kNetworkTime},
    {"DeepEnhancer", nullptr, kNetwork, kSlow},
    {"DeepImageEnhancer", nullptr, kNetwork, kSlow},
    {"DeepLumaUpscaler", nullptr, kNetwork, kNetworkTime},
    {"DeepRestorer", nullptr, kNetwork, kNetworkTime},
    {"DeepRestorerEx", nullptr, kNetwork, kNetworkTime},
    {"DeepSuperResolutor", nullptr, kNetwork, 2 * kNetworkTime},
    {"DetailsEnhance", nullptr, kPixels},
    {"DirectionalAreaDeformation", nullptr, kPixels},
    {"DrawFace", nullptr, kFaces, kSlow},
    {"EdgeRemove", nullptr, kPixels},
    {"EmptyEffect", EachPixel, ""},
    {"EyeExtending", nullptr, kFaces, kSlow},
    {"Gradient", EachPixel, ""},
    {"GradientPosterize", nullptr, kStatistics},
    {"FaceMask", nullptr, kFaces, kSlow},
    {"FaceRecognition", nullptr, kFaces, kSlow},
    {"FaceThinning", nullptr, kFaces, kSlow},
    {"Histogram", nullptr, kStatistics},
    {"Implode", nullptr, ""},
    {"Matting", nullptr, kEdges, 2 * kSlow},
    {"OilPaint", OilPaintMargin, kPixels, kSlow, Reduction::Areas, true, true},
    {"Pixelate", nullptr, ""},
    {"ReduceLocalLuma", nullptr, kStatistics},
    {"RemoveBackground", nullptr, kEdges, kSlow},
    {"ReplaceChroma", nullptr, ""},
    {"Segmentation", nullptr, kEdges, kSlow, Reduction::Labels},
    {"ShapeMask", nullptr, ""},
    {"Sketch", nullptr, kPixels, kSlow},
    {"Stitcher", nullptr, kPixels, 0.02, Reduction::Areas, false},
    {"TiltShift", nullptr, kPixels},
    {"TintTemperature", EachPixel, ""},
    {"Vignette", nullptr, ""},
    {"WhiteBalance", EachPixel, ""},
    {"Blur", BlurMargin, kPixels},
    {"CLAHE", nullptr, kStatistics},
    {"ColorBalance", EachPixel, ""},
    {"Compose", nullptr, ""},
    {"Crop", nullptr, ""},
    {"Grayscale", EachPixel, ""},
    {"GuidedFilter", nullptr, kPixels},
    {"MidEqualizer", nullptr, kStatistics},
    {"Morphology", MorphologyMargin, kPixels},
    {"Pad", nullptr, ""},
    {"Rotate", nullptr, ""},
    {"SmartBlur", nullptr, kPixels, kSlow},
    {"SplitToning", EachPixel, ""},
    {"Trimap", nullptr, kPixels},
    {"Vibrance", EachPixel, ""},
    {"Resize", nullptr, ""},
    {"Charcoal", nullptr, kPixels, kSlow},
    {"Noise", nullptr, kPixels},
    {"Original", nullptr, ""},
};

constexpr EffectTraits kUnknownTraits{"", nullptr, kUnknown};

const EffectTraits* Find(const EffectEntry& effect) {
    const auto found = std::find_if(std::begin(kTraits), std::end(kTraits),
                                    [&](const EffectTraits& traits) { return traits.effect == effect.GetName(); });
    return found == std::end(kTraits) ? nullptr : found;
}

}  // namespace

const EffectTraits& GetTraits(const EffectEntry& effect) {
    const EffectTraits* const found = Find(effect);
    return found == nullptr ? kUnknownTraits : *found;
}

bool HasTraits(const EffectEntry& effect) { return Find(effect) != nullptr; }

std::optional<int> GetMargin(const Chain& chain, bool isOpaque) {
    int sum = 0;
    for (const Step& step : chain) {
        const EffectTraits& traits = GetTraits(*step.effect);
        // Earlier steps may make parts of the picture transparent.
        const bool isKnown = traits.margin != nullptr && (!traits.needsOpaque || (isOpaque && &step == &chain.front()));
        const std::optional<int> margin = isKnown ? traits.margin(*step.settings) : std::nullopt;
        if (!margin) return std::nullopt;
        sum += *margin;
    }
    return sum;
}

Json CountFurtherPictures(const EffectEntry& effect) {
    constexpr char kMany[] = "many";
    switch (effect.kind) {
        case Proc::EffectKind::OneInput: return 0;
        case Proc::EffectKind::TwoInput: return 1;
        case Proc::EffectKind::VarInput: break;
    }
    const std::string& name = effect.GetName();
    if (name == "Original" || name == "Cutter") return 0;
    return name == "Matting" ? Json(1) : Json(kMany);
}

}  // namespace Kalvatri
