// Blurs, stylise filters, warps and tiling beside ImageMagick's operators, one thread each, 24 megapixels.

#include <Magick++.h>

#include <cstring>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"
#include "Host/Settings/Photo/SettingsEffectCutter.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Host/Settings/Photo/SettingsEffectImplode.h"
#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Host/Settings/Photo/SettingsEffectStitcher.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"

namespace Orvexa::Bench {
namespace {

template <class Change>
std::function<void()> MagickRunOf(const Magick::Image& photo, Change change) {
    return [photo, change] {
        Magick::Image image = photo;
        change(image);
        benchmark::DoNotOptimize(image.constImage());
    };
}

Magick::Image AsImage(const FramePtr& frame) {
    const FrameInfo& info = frame->GetFrameInfo();
    std::vector<std::uint8_t> pixels;
    const Plane plane = frame->GetPlane(0);
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y)
        pixels.insert(pixels.end(), plane.GetRow(y), plane.GetRow(y) + plane.GetWidth());
    return Magick::Image(info.width, info.height, "RGB", Magick::CharPixel, pixels.data());
}

void AddFilters(const FramePtr& photo, const Magick::Image& image) {
    constexpr int kOnce = 1;  // the peers take seconds
    SettingsEffectBlurRadial spin, linear;
    spin.SetMode(BlurRadialMode::Spin);
    spin.SetAngle(2);
    linear.SetMode(BlurRadialMode::Linear);
    linear.SetAngle(30);
    SettingsEffectPixelate pixelate;
    pixelate.SetStrength(100);
    AddPair("Implode", "Magick++ implode", 10, RunOf(SettingsEffectImplode(), photo),
            MagickRunOf(image, [](Magick::Image& i) { i.implode(0.5); }), kOnce);
    AddPair("BlurRadial, spin (on a reduced picture)", "Magick++ rotationalBlur 2 degrees", 20, RunOf(spin, photo),
            MagickRunOf(image, [](Magick::Image& i) { i.rotationalBlur(2); }), kOnce);
    AddPair("BlurRadial, linear (on a reduced picture)", "Magick++ motionBlur of 60 pixels", 20, RunOf(linear, photo),
            MagickRunOf(image, [](Magick::Image& i) { i.motionBlur(30, 15, 30); }), kOnce);
    AddPair("Pixelate", "Magick++ scale down and up", 10, RunOf(pixelate, photo),
            MagickRunOf(image,
                        [](Magick::Image& i) {
                            i.scale("48x32!");
                            i.scale("6000x4000!");
                        }),
            kOnce);
    AddPair("Vignette, second frame", "Magick++ vignette", 20, RunOf(SettingsEffectVignette(), photo),
            MagickRunOf(image, [](Magick::Image& i) { i.vignette(); }), kOnce);
}

void AddStroke(const FramePtr& large) {
    const FramePtr small = NewFrame(BenchAllocator(), PixFmt::Rgb24, FrameInfo(1225, 816));
    CopyDataVideo(large, small, 0, 0);
    SettingsEffectDirectionalAreaDeformation settings;
    settings.SetFromX(500);
    settings.SetFromY(400);
    settings.SetToX(600);
    settings.SetToY(400);
    AddPair("a stroke of 100 pixels on 24 megapixels", "the same on 1 megapixel", 0.5,
            RunOf(settings, CloneFrame(*large, kCloneIndependent)), RunOf(settings, small));
}

void AddTiling(const FramePtr& photo) {
    SettingsEffectStitcher stitching;
    stitching.SetFrameWidth(k24Megapixels.width);
    stitching.SetFrameHeight(k24Megapixels.height);
    VarInputPtr cutter, stitcher;
    BenchFactory()->CreateVarInputEffect(cutter, SettingsEffectCutter::CLASS_ID, ImplNames::ORVEXA, {});
    BenchFactory()->CreateVarInputEffect(stitcher, SettingsEffectStitcher::CLASS_ID, ImplNames::ORVEXA, {});
    cutter->SetSettings(SettingsEffectCutter());
    stitcher->SetSettings(stitching);
    const FramePtr copy = CloneFrame(*photo, kCloneIndependent);
    AddPair(
        "Cutter and Stitcher", "one memcpy of the picture", 1.0 / 6,
        [cutter, stitcher, photo] {
            std::vector<DataPtr> frames{photo};
            cutter->Process(frames);
            benchmark::DoNotOptimize(stitcher->Process(frames).get());
        },
        [photo, copy] {
            const Plane from = photo->GetPlane(0), to = copy->GetPlane(0);
            std::memcpy(to.GetData(), from.GetData(), static_cast<std::size_t>(from.GetStride()) * from.GetHeight());
            benchmark::DoNotOptimize(to.GetData());
        });
}

}  // namespace

void AddStylise() {
    Magick::InitializeMagick(nullptr);
    MagickCore::SetMagickResourceLimit(MagickCore::ThreadResource, 1);
    const FramePtr photo = Photograph(BenchAllocator(), PixFmt::Rgb24);
    AddFilters(photo, AsImage(photo));
    AddStroke(photo);
    AddTiling(photo);
}

}  // namespace Orvexa::Bench
