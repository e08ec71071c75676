// What tests of effects that take a mask have in common.
#pragma once

#include <functional>
#include <vector>

#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

/// Settings, then one frame with its mask through a fresh effect of the module.
template <class SettingsT>
FramePtr ApplyTwo(const SettingsT& settings, FramePtr frame, const ConstFramePtr& second) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsT::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    effect->ProcessData(frame, second);
    return frame;
}

/// The same for an effect of many frames that gives one.
template <class SettingsT>
FramePtr ApplyMany(const SettingsT& settings, std::vector<DataPtr> frames) {
    VarInputPtr effect;
    ModuleFactory()->CreateVarInputEffect(effect, SettingsT::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    return boost::dynamic_pointer_cast<IDataVideo>(effect->Process(frames));
}

/// A grey frame whose samples are those of a function.
inline FramePtr Draw(std::uint32_t width, std::uint32_t height, const std::function<int(int x, int y)>& level) {
    const FramePtr frame = NewFrame(TestAllocator(), PixFmt::Gray8, FrameInfo(width, height));
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x)
            frame->GetPlane(0).GetRow(y)[x] =
                static_cast<std::uint8_t>(level(static_cast<int>(x), static_cast<int>(y)));
    }
    return frame;
}

}  // namespace Orvexa::Test
