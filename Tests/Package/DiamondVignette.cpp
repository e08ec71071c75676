// Darkens the edges of a photograph around a diamond:  DiamondVignette IN OUT
//
// The effect is the module's Vignette; the mask that it asks for is this program's own.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Photo/SettingsEffectShapeMask.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"

using namespace Orvexa;
using namespace Orvexa::Proc;

// A grey mask of the size of the frame it is given, from the foreground's level in the diamond to the background's at
// the threshold.
class DiamondMask : public HostOneInput<SettingsEffectShapeMask> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        frame = NewFrame(allocator_, PixFmt::Gray8, info);  // never into the frame that was given: others may see it
        const Plane mask = frame->GetPlane(0);
        const auto normalize = settings_.GetNormalizer({info.width, info.height});
        const double levels = settings_.GetBackground() - settings_.GetForeground();
        for (std::uint32_t y = 0; y < info.height; ++y) {
            for (std::uint32_t x = 0; x < info.width; ++x) {
                const auto [u, v] = normalize({x + 0.5, y + 0.5});  // |u| + |v| is 1 on the diamond's edge
                const double way = (std::abs(u) + std::abs(v) - 1) / (settings_.GetThreshold() - 1);
                mask.GetRow(y)[x] =
                    static_cast<std::uint8_t>(settings_.GetForeground() + levels * std::clamp(way, 0.0, 1.0));
            }
        }
    }
};

int main(int argc, char** argv) try {
    if (argc != 3) Throw("usage: DiamondVignette IN OUT");
    const FactoryPtr factory = MakeHostFactory();
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    factory->RegisterOneInputEffect(SettingsEffectShapeMask::CLASS_ID, "Diamond", MakeEffect<DiamondMask>, 0);
    factory->MarkDefault(EffectKind::OneInput, SettingsEffectShapeMask::CLASS_ID, "Diamond");

    OneInputPtr vignette;
    factory->CreateOneInputEffect(vignette, SettingsEffectVignette::CLASS_ID, ImplNames::DEFAULT, {});
    SettingsEffectVignette settings;
    settings.SetColor(Color(0, 0, 64));
    vignette->SetSettings(settings);

    Io::LoadedImage image = Io::ReadImage(Core::ioPath(argv[1]), factory->GetAllocator());
    vignette->ProcessData(image.frame);
    Io::WriteOptions options;
    options.metadata = image.metadata;
    Io::WriteImage(argv[2], image.frame, options, factory);
    return 0;
} catch (const std::exception& exception) {
    std::cerr << Describe(exception) << '\n';
    return 1;
}
