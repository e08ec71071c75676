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
    return DrawFrame(PixFmt::Gray8, width, height, [&](int x, int y, int) { return level(x, y); });
}

}  // namespace Orvexa::Test
