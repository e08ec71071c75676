// ReplaceChroma: recolours the picture with one colour, or only the parts close to a base colour.
//
// A pixel's closeness falls with the distance of its colour from the base colour, along a cubic with zero slope at both
// ends; a ramp between two thresholds of closeness determines its weight. The weights are computed on a copy of at most
// 512 x 512 pixels, which hides noise and bounds the cost, and become the alpha of a layer in the new colour.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectReplaceChroma.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kAnalysedSide = 512;
constexpr std::size_t kPixelBytes = 4;

using Decode = Color (*)(std::uint32_t);
struct Decoder {
    PixFmt pixFmt;
    Decode decode;
};
// The working formats, and how to decode a pixel of each.
constexpr std::array<Decoder, 4> kDecoders{{{PixFmt::Rgba, Color::FromRGBA},
                                            {PixFmt::Bgra, Color::FromBGRA},
                                            {PixFmt::Argb, Color::FromARGB},
                                            {PixFmt::Abgr, Color::FromABGR}}};

Decode DecoderFor(PixFmt pixFmt) {
    const auto found =
        std::find_if(kDecoders.begin(), kDecoders.end(), [=](const Decoder& row) { return row.pixFmt == pixFmt; });
    if (found == kDecoders.end()) Throw("Pixel format is not supported!");
    return found->decode;
}

Color ReadColor(const std::uint8_t* pixel, Decode decode) {
    std::uint32_t value;
    std::memcpy(&value, pixel, sizeof value);
    return decode(value);
}

double Distance(const Color& a, const Color& b) {
    int sum = 0;
    for (int k = 2; k >= 0; --k) sum += (a[k] - b[k]) * (a[k] - b[k]);
    return std::sqrt(static_cast<double>(sum));
}

// Maps the distance of a colour from the base colour to its closeness: 255 at 0, falling to 0 at the largest distance.
class Closeness {
public:
    Closeness() = default;
    explicit Closeness(const Color& base) {
        int sum = 0;
        for (int k = 0; k < 3; ++k) {
            const int farthest = std::max<int>(base[k], 255 - base[k]);
            sum += farthest * farthest;
        }
        largest_ = std::sqrt(static_cast<double>(sum));
    }

    double GetLargest() const { return largest_; }

    std::uint8_t At(double distance) const {
        if (distance < 0.0) return 255;
        if (distance > largest_) return 0;
        return static_cast<std::uint8_t>(Shared::HermiteRamp{255.0, 0.0}.At(distance / largest_));
    }

private:
    double largest_ = 1.0;
};

// The closeness at either threshold.
struct Thresholds {
    int near, far;

    explicit Thresholds(const SettingsEffectReplaceChroma& settings) {
        const Closeness closeness(settings.GetBaseColor());
        near = closeness.At(settings.GetMinThreshold() * closeness.GetLargest());
        far = closeness.At(settings.GetMaxThreshold() * closeness.GetLargest());
    }
};

// Weights by closeness: the values from the settings at the thresholds, with a linear ramp between them.
Shared::Curve MakeRamp(const SettingsEffectReplaceChroma& settings) {
    const Thresholds thresholds(settings);
    const int atNear = settings.GetMinValue(), atFar = settings.GetMaxValue();
    Shared::Curve ramp;
    for (int i = 0; i < 256; ++i) {
        const int weight = ((atFar - atNear) * (i - thresholds.near)) / (thresholds.far - thresholds.near) + atNear;
        ramp[i] = static_cast<std::uint8_t>(std::clamp(weight, std::min(atNear, atFar), std::max(atNear, atFar)));
    }
    return ramp;
}

class ReplaceChroma : public EffectBaseCSCOneInput<SettingsEffectReplaceChroma> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    void CheckSettings(const SettingsEffectReplaceChroma& settings) const override {
        if (!settings.GetUseBaseColor()) return;
        const Thresholds thresholds(settings);
        if (thresholds.near == thresholds.far) Throw("Thresholds are too close!");
    }

    // There is no way to remove a base colour: if none is given, the effect keeps using the last one. Intended.
    void ApplySettings(bool) override {
        if (!settings_.GetUseBaseColor()) return;
        usesBaseColor_ = true;
        blender_->SetSettings(SettingsEffectImageBlender(0, 0, settings_.GetStrength(), BlendAlphaMode::UseAlpha));
        closeness_ = Closeness(settings_.GetBaseColor());
        ramp_ = MakeRamp(settings_);
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats = [] {
            std::vector<PixFmt> list(kDecoders.size());
            std::transform(kDecoders.begin(), kDecoders.end(), list.begin(),
                           [](const Decoder& row) { return row.pixFmt; });
            return list;
        }();
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        if (usesBaseColor_) {
            ReplaceNearBase(frame, input);
        } else {
            FramePtr plain = NewFrame(allocator_, frame->GetPixFmt(), frame->GetFrameInfo());
            plain->Fill(settings_.GetTargetColor());
            if (settings_.GetKeepLuma()) KeepLuma(frame, plain);
            frame = std::move(plain);
        }
    }

    void ReplaceNearBase(FramePtr& frame, const ConstFramePtr& input) {
        const std::int32_t x = settings_.GetBasePointX(), y = settings_.GetBasePointY();
        const bool correctsLuma = settings_.GetKeepLuma() && settings_.GetCorrectLuma();
        const FrameInfo info = frame->GetFrameInfo();
        if (correctsLuma && (x < 0 || y < 0 || x >= std::int64_t{info.width} || y >= std::int64_t{info.height})) {
            Throw("The base point " + std::to_string(x) + ", " + std::to_string(y) +
                  " lies outside of the picture, which has " + std::to_string(info.width) + " x " +
                  std::to_string(info.height) + " pixels");
        }
        const Decode decode = DecoderFor(frame->GetPixFmt());
        FramePtr mask = MakeMask(frame, decode);
        FramePtr layer = NewFrame(allocator_, frame->GetPixFmt(), info);
        layer->Fill(settings_.GetTargetColor());
        alphaInserter_->ProcessData(layer, ConstFramePtr(mask));
        mask.reset();

        FramePtr picture = frame;
        FramePtr output = settings_.GetKeepLuma() ? CloneFrame(*frame, kCloneIndependent) : Writable(frame, input);
        blender_->ProcessData(output, ConstFramePtr(layer));
        layer.reset();
        if (settings_.GetKeepLuma()) KeepLuma(std::move(picture), output);
        if (correctsLuma) {
            ConvertToWorking(output);
            CorrectLuma(output, ReadColor(std::as_const(*output).GetPlane(0).GetRow(static_cast<std::uint64_t>(y)) +
                                              kPixelBytes * static_cast<std::size_t>(x),
                                          decode));
        }
        frame = std::move(output);
    }

    // The weights of the picture's pixels, at full size.
    FramePtr MakeMask(const FramePtr& picture, Decode decode) {
        const FrameInfo info = picture->GetFrameInfo();
        if (reduction_.IsNew(info)) ConfigureReduction(info);
        FramePtr small = picture;
        reduction_.Reduce(small);
        FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, small->GetFrameInfo());
        const ConstPlane from = std::as_const(*small).GetPlane(0);
        const Plane to = mask->GetPlane(0);
        const Color base = settings_.GetBaseColor();
        for (std::uint64_t y = 0; y < to.GetHeight(); ++y) {
            const std::uint8_t* pixel = from.GetRow(y);
            std::uint8_t* weight = to.GetRow(y);
            for (std::uint64_t x = 0; x < to.GetWidth(); ++x, pixel += kPixelBytes)
                weight[x] = ramp_[closeness_.At(Distance(base, ReadColor(pixel, decode)))];
        }
        reduction_.Enlarge(mask, info);
        return mask;
    }

    void ConfigureReduction(const FrameInfo& info) {
        SettingsResizer resizing(SettingsResizer::ResizeMethods::Bicubic);
        resizing.SetAccurate(true);
        resizing.SetFullChroma(true);
        SettingsResizer enlargement = resizing;
        // Each side is limited independently, which may change the aspect ratio.
        resizing.SetCustomMode(
            SettingsResizer::kExactSizeAlias,
            FrameInfo(std::min(info.width, kAnalysedSide), std::min(info.height, kAnalysedSide), info.aspect));
        enlargement.SetCustomMode(SettingsResizer::kExactSizeAlias, info);
        reduction_.Configure(resizing, enlargement);
    }

    // Leaves `recoloured` in a Y'CbCr format.
    void KeepLuma(FramePtr picture, FramePtr& recoloured) {
        lumaConverter_->ProcessData(picture);
        lumaConverter_->ProcessData(recoloured);
        PutLuma(*picture, *recoloured);
    }

    // Changes the brightness by the difference between the base point's and the new colour's.
    void CorrectLuma(FramePtr& frame, const Color& atBasePoint) {
        const int difference = settings_.GetTargetColor().y() - atBasePoint.y();
        SettingsEffectColorBalance balance;
        balance.SetBrightness(((difference + 255) * 200) / 510 - 100);
        colorBalance_->SetSettings(balance);
        colorBalance_->ProcessData(frame);
    }

    TwoInputPtr alphaInserter_ = CreateTwoInput(SettingsEffectAlphaInserter());
    TwoInputPtr blender_ = CreateTwoInput<SettingsEffectImageBlender>();
    OneInputPtr lumaConverter_ = CreateOneInput(
        SettingsColorspaceConverter({PixFmt::Yuv420p, PixFmt::Yuv422p, PixFmt::Yuv444p, PixFmt::Yuv410p,
                                     PixFmt::Yuv411p, PixFmt::Yuv440p, PixFmt::Yuva444p, PixFmt::Yuva422p},
                                    true));
    OneInputPtr colorBalance_ = CreateOneInput<SettingsEffectColorBalance>();
    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
    bool usesBaseColor_ = false;
    Closeness closeness_;
    Shared::Curve ramp_{};
};

}  // namespace

bool RegisterReplaceChroma(IEffectFactory& factory) { return RegisterEffect<ReplaceChroma>(factory); }

}  // namespace Orvexa::Proc
