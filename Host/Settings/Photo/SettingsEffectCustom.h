#pragma once

#include <functional>

#include "Host/Proc/IData.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// No equality: functions cannot be compared, so every new function counts as a change.
class SettingsEffectCustom final : public Settings {
public:
    using FunctorType = std::function<void(FramePtr&)>;

    ORVEXA_SETTINGS(SettingsEffectCustom, "Custom", Groups::kBasics,
                    "Runs a C++ function of the host on the picture; not available on the command line.")
    ORVEXA_FIELD(FunctorType, Functor, nullptr, Any(), "", "The function; it may change the frame or replace it.")

    SettingsEffectCustom() = default;
    explicit SettingsEffectCustom(FunctorType functor) { SetFunctor(std::move(functor)); }
};

}  // namespace Orvexa::Proc
