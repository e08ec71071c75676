// The host's sub-effects based on ImageMagick: noise, charcoal and oil paint. They are in a library of their own, which
// is loaded when one of them is first requested.

#include <algorithm>
#include <mutex>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Threads.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Transparency.h"
#include "Host/Providers/Magick/MagickImage.h"
#include "Host/Settings/Common/SettingsEffectCharcoal.h"
#include "Host/Settings/Common/SettingsEffectNoiseVideo.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"

namespace Orvexa::Proc {
namespace {

using MagickImages::Part;

/// Applies `Change` to the picture as an ImageMagick image. Alpha and the frame's format are preserved; an indexed
/// frame becomes RGBA.
template <class SettingsT>
class MagickEffect : public HostOneInput<SettingsT> {
public:
    using HostOneInput<SettingsT>::HostOneInput;

protected:
    virtual void Change(Magick::Image& image) const = 0;
    /// The parts of the picture that are processed separately.
    virtual std::vector<Part> GetParts(const FrameInfo& info) const { return {{0, 0, info.width, info.height}}; }
    /// The margin around a part on which its result depends. Outside the picture the edge is replicated.
    virtual std::uint64_t GetMargin() const { return 0; }

    const std::string& GetImplName() const override { return ImplPhotoNames::IMAGEMAGICK; }

    void Process(FramePtr& frame) override {
        const PixFmt format = frame->GetPixFmt();
        const PixFmtDescription& description = PixFmtDescription::Get(format);
        const bool isGrey = description.kind == PixFmtDescription::Kind::Gray;
        const FramePtr color =
            ConvertPixFmt(*frame, description.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24, this->allocator_);
        if (color->GetPixFmt() == PixFmt::Rgba)
            FillHiddenPixels(*color, this->factory_);  // they contribute to neighbouring pixels
        // For a grey picture only the red channel is used: noise would differ from channel to channel.
        const FramePtr changed =
            NewFrame(this->allocator_, isGrey ? PixFmt::Gray8 : color->GetPixFmt(), color->GetFrameInfo());
        Change(*color, *changed);
        if (description.HasAlpha()) KeepAlpha(*color, *changed);
        frame = InFormat(changed, ExpandedFormat(format), this->allocator_);
    }

private:
    static const char* MapOf(PixFmt format) {
        return format == PixFmt::Gray8 ? "R" : format == PixFmt::Rgba ? "RGBP" : "RGB";
    }

    void Change(const IDataVideo& from, IDataVideo& to) const {
        const std::vector<Part> parts = GetParts(from.GetFrameInfo());
        const ConstPlane source = from.GetPlane(0);
        const Plane target = to.GetPlane(0);
        Core::ParallelFor(parts.size(), [&](std::size_t i) {
            const Part& part = parts[i];
            const Part whole = WithMargin(part, from.GetFrameInfo());
            MagickImages::Translated([&] {
                Magick::Image image = MagickImages::Load(source, whole, MapOf(from.GetPixFmt()));
                Change(image);
                MagickImages::Store(image, part.x - whole.x, part.y - whole.y, target, part, MapOf(to.GetPixFmt()));
            });
        });
    }

    Part WithMargin(const Part& part, const FrameInfo& info) const {
        const std::uint64_t margin = GetMargin();
        const std::uint64_t left = std::min(part.x, margin), top = std::min(part.y, margin);
        const std::uint64_t right = std::min(info.width - part.x - part.width, margin),
                            bottom = std::min(info.height - part.y - part.height, margin);
        return {part.x - left, part.y - top, left + part.width + right, top + part.height + bottom};
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
    void Change(Magick::Image& image) const override {
        image.charcoal(settings_.GetRadius(), settings_.GetDeviation());
    }
};

// A stroke takes its colour from the square around it, so the picture can be painted in parts, in parallel. The size of
// the parts keeps them within ImageMagick's limits and bounds the memory of its images.
class OilPaint : public MagickEffect<SettingsEffectOilPaint> {
    using MagickEffect::MagickEffect;
    void Change(Magick::Image& image) const override { image.oilPaint(settings_.GetRadius()); }

    // As ImageMagick determines it.
    std::uint64_t GetReach() const { return MagickCore::GetOptimalKernelWidth2D(settings_.GetRadius(), 0.5); }
    std::uint64_t GetMargin() const override { return GetReach() / 2; }

    std::vector<Part> GetParts(const FrameInfo& info) const override {
        constexpr std::uint64_t kImages = 3;  // at a time: the painter uses two copies of its own
        constexpr std::uint64_t kMaxBytes = std::uint64_t{192} << 20;
        const MagickImages::Limits limits = MagickImages::GetLimits();
        const auto threads = static_cast<std::uint64_t>(Core::GetLibraryThreads());
        // ImageMagick reads as many additional rows and columns around a part at a time.
        const std::uint64_t around = 2 * GetReach();
        if (around >= std::min(limits.width, limits.height)) MagickImages::RequireSize(around + 1, around + 1);
        const std::uint64_t maxWidth = limits.width - around, columns = (info.width + maxWidth - 1) / maxWidth;
        const std::uint64_t rowBytes =
            kImages * MagickImages::kBytesPerPixel * (std::min<std::uint64_t>(info.width, maxWidth) + around);
        const std::uint64_t fitting = std::min(limits.bytes, kMaxBytes) / threads / rowBytes;
        const std::uint64_t maxHeight = std::min(std::max(fitting, 2 * around), limits.height) - around;
        // At least one band per thread, unless painting the margins would take more time than it saves.
        const std::uint64_t minRows = (info.height + maxHeight - 1) / maxHeight;
        const std::uint64_t rows = std::max(minRows, std::clamp<std::uint64_t>(info.height / (2 * around), 1, threads));
        return MakeGrid(info, columns, rows);
    }

    static std::vector<Part> MakeGrid(const FrameInfo& info, std::uint64_t columns, std::uint64_t rows) {
        std::vector<Part> parts;
        for (std::uint64_t row = 0; row < rows; ++row) {
            const std::uint64_t top = info.height * row / rows, bottom = info.height * (row + 1) / rows;
            for (std::uint64_t column = 0; column < columns; ++column) {
                const std::uint64_t left = info.width * column / columns, right = info.width * (column + 1) / columns;
                parts.push_back({left, top, right - left, bottom - top});
            }
        }
        return parts;
    }
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
        // The seed is global to the library.
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
    MagickImages::Initialize();
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
