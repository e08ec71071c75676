// The sub-effects that the host builds on ImageMagick: noise, charcoal and oil paint. They live in a library of their own, which is loaded
// when one of them is first asked for.
//
// ImageMagick works on one thread here, so that its results do not depend on how many there are, and so that several jobs share the
// processors among themselves.

#include <cassert>  // Magick++ relies on it

#include <Magick++.h>

#include <mutex>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Transparency.h"
#include "Host/Settings/Common/SettingsEffectCharcoal.h"
#include "Host/Settings/Common/SettingsEffectNoiseVideo.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"

namespace Orvexa::Proc {
namespace {

// A frame's rows one after another, and back.
std::vector<std::uint8_t> Packed(const ConstPlane& plane) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(plane.GetWidth() * plane.GetHeight());
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) bytes.insert(bytes.end(), plane.GetRow(y), plane.GetRow(y) + plane.GetWidth());
    return bytes;
}

/// Runs `Change` on the picture as an image of ImageMagick's. Alpha and the frame's format stay; an indexed frame becomes RGBA.
template <class SettingsT>
class MagickEffect : public HostOneInput<SettingsT> {
public:
    using HostOneInput<SettingsT>::HostOneInput;

protected:
    virtual void Change(Magick::Image& image) const = 0;

    const std::string& GetImplName() const override { return ImplPhotoNames::IMAGEMAGICK; }

    void Process(FramePtr& frame) override {
        const PixFmt format = frame->GetPixFmt();
        const PixFmtDescription& description = PixFmtDescription::Get(format);
        const bool isGrey = description.kind == PixFmtDescription::Kind::Gray;
        const FramePtr color = ConvertPixFmt(*frame, description.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24, this->allocator_);
        if (color->GetPixFmt() == PixFmt::Rgba) FillHiddenPixels(*color, this->factory_);  // neighbours are painted with them
        const FramePtr changed = this->Run(*color, isGrey);
        if (description.HasAlpha()) KeepAlpha(*color, *changed);
        frame = changed->GetPixFmt() == format || description.kind == PixFmtDescription::Kind::Indexed
                    ? changed
                    : ConvertPixFmt(*changed, format, this->allocator_);
    }

private:
    FramePtr Run(const IDataVideo& color, bool isGrey) const {
        const bool hasAlpha = color.GetPixFmt() == PixFmt::Rgba;
        const FrameInfo& info = color.GetFrameInfo();
        // Of a grey picture the red channel alone comes back: noise would differ from channel to channel.
        const FramePtr changed = NewFrame(this->allocator_, isGrey ? PixFmt::Gray8 : color.GetPixFmt(), info);
        try {
            Magick::Image image(info.width, info.height, hasAlpha ? "RGBP" : "RGB", Magick::CharPixel, Packed(color.GetPlane(0)).data());
            Change(image);
            const Plane plane = changed->GetPlane(0);
            for (std::uint32_t y = 0; y < info.height; ++y) {
                image.write(0, static_cast<ssize_t>(y), info.width, 1,
                            isGrey     ? "R"
                            : hasAlpha ? "RGBP"
                                       : "RGB",
                            Magick::CharPixel, plane.GetRow(y));
            }
        } catch (const Magick::Exception& exception) {
            Throw("ImageMagick cannot process the picture: " + std::string(exception.what()));
        }
        return changed;
    }

    static void KeepAlpha(const IDataVideo& from, IDataVideo& to) {
        const ConstPlane source = from.GetPlane(0);
        const Plane target = to.GetPlane(0);
        for (std::uint64_t y = 0; y < source.GetHeight(); ++y) {
            for (std::uint64_t i = 3; i < source.GetWidth(); i += 4) target.GetRow(y)[i] = source.GetRow(y)[i];
        }
    }
};

class Charcoal : public MagickEffect<SettingsEffectCharcoal> {
    using MagickEffect::MagickEffect;
    void Change(Magick::Image& image) const override { image.charcoal(settings_.GetRadius(), settings_.GetDeviation()); }
};

class OilPaint : public MagickEffect<SettingsEffectOilPaint> {
    using MagickEffect::MagickEffect;
    void Change(Magick::Image& image) const override { image.oilPaint(settings_.GetRadius()); }
};

MagickCore::NoiseType MagickType(NoiseType type) {
    switch (type) {
        case NoiseType::Uniform: return MagickCore::UniformNoise;
        case NoiseType::Gaussian: return MagickCore::GaussianNoise;
        case NoiseType::Impulse: return MagickCore::ImpulseNoise;
        case NoiseType::Laplacian: return MagickCore::LaplacianNoise;
        case NoiseType::Random: return MagickCore::RandomNoise;
    }
    Throw("Noise type is not supported! It must be 0, 1, 3, 4 or 6.");
}

class Noise : public MagickEffect<SettingsEffectNoiseVideo> {
    using MagickEffect::MagickEffect;
    void Change(Magick::Image& image) const override {
        const MagickCore::NoiseType type = MagickType(settings_.GetType());
        // The seed is the whole library's.
        static std::mutex mutex;
        const std::lock_guard lock(mutex);
        MagickCore::SetRandomSecretKey(settings_.GetSeed());
        image.artifact("attenuate", std::to_string(settings_.GetAmount()));
        image.addNoise(static_cast<Magick::NoiseType>(type));
    }
};

}  // namespace
}  // namespace Orvexa::Proc

extern "C" [[gnu::visibility("default")]] void RegisterProvider(Orvexa::Proc::IEffectFactory* factory) {
    using namespace Orvexa::Proc;
    using Orvexa::ImplPhotoNames;
    Magick::InitializeMagick(nullptr);
    MagickCore::SetMagickResourceLimit(MagickCore::ThreadResource, 1);
    factory->RegisterOneInputEffect(
        SettingsEffectCharcoal::CLASS_ID, ImplPhotoNames::IMAGEMAGICK,
        [](const FactoryPtr& f, const AllocatorPtr& a) { return MakeEffect<Charcoal>(f, a); }, 0);
    factory->RegisterOneInputEffect(
        SettingsEffectNoiseVideo::CLASS_ID, ImplPhotoNames::IMAGEMAGICK,
        [](const FactoryPtr& f, const AllocatorPtr& a) { return MakeEffect<Noise>(f, a); }, 0);
    factory->RegisterOneInputEffect(
        SettingsEffectOilPaint::CLASS_ID, ImplPhotoNames::IMAGEMAGICK,
        [](const FactoryPtr& f, const AllocatorPtr& a) { return MakeEffect<OilPaint>(f, a); }, 0);
}
