// What effects hold at their peak, as it is handed out by the pool that their frames come from.

#include <gtest/gtest.h>

#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Settings.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

TEST(Memory, OfEffectsOnAPictureOfTheirOwnIsBounded) {
    const std::pair<const char*, double> cases[] = {
        // in RGB pictures
        {"SettingsEffectWhiteBalance", 1.0},
        {"SettingsEffectBlackWhite", 1.4},       // RGB and grey; grey and indices; indices and RGB
        {"SettingsEffectTintTemperature", 2.4},  // two pictures and the luma
        {"SettingsEffectGradient", 2.4},
        {"SettingsEffectTiltShift", 2.4},  // two pictures and the mask
    };
    const FrameInfo info(3000, 2000);
    for (const auto& [classId, pictures] : cases) {
        const auto allocator = Core::MakeRefCounted<FrameAllocator>();
        const FactoryPtr factory = MakeModuleFactory(allocator);
        OneInputPtr effect;
        factory->CreateOneInputEffect(effect, classId, ImplNames::ORVEXA, {});
        effect->SetSettings(*SettingsCatalogue::Find(classId)->create());
        FramePtr frame = NewFrame(allocator, PixFmt::Rgb24, info);
        frame->Fill(Color(100, 150, 200));
        const double picture = static_cast<double>(allocator->GetPool()->GetMostTakenBytes());
        effect->ProcessData(frame);
        EXPECT_LE(static_cast<double>(allocator->GetPool()->GetMostTakenBytes()), pictures * picture) << classId;
    }
}

}  // namespace
}  // namespace Orvexa::Test
