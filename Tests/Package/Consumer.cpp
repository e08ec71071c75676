// Loads the effects module, offers it a sub-effect of its own through a function, and checks the result.

#include <cstdio>

#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"

using namespace Orvexa;
using namespace Orvexa::Proc;

int main() {
    const FactoryPtr factory = MakeHostFactory();
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    FramePtr frame = NewFrame(factory->GetAllocator(), PixFmt::Gray8, FrameInfo(1, 1));

    OneInputPtr create;
    factory->CreateOneInputEffect(create, SettingsEffectCreateVideo::CLASS_ID, ImplNames::DEFAULT, {});
    SettingsEffectCreateVideo plain;
    plain.SetWidth(4);
    plain.SetHeight(3);
    plain.SetColor(Color(1, 2, 3));
    create->SetSettings(plain);
    create->ProcessData(frame);

    OneInputPtr custom;
    factory->CreateOneInputEffect(custom, SettingsEffectCustom::CLASS_ID, ImplNames::DEFAULT, {});
    int calls = 0;
    custom->SetSettings(SettingsEffectCustom([&](FramePtr&) { ++calls; }));
    custom->ProcessData(frame);

    const ConstPlane plane = std::as_const(*frame).GetPlane(0);
    const bool isRight = calls == 1 && frame->GetFrameInfo() == FrameInfo(4, 3) && plane.GetRow(2)[9] == 3 && plane.GetRow(2)[11] == 1;
    std::printf("%s\n", isRight ? "The module works from an installed package." : "The result is wrong.");
    return isRight ? 0 : 1;
}
