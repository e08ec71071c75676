#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Moves pixels: pixel (x, y) of the result is the frame's pixel at function(x, y). No equality, since functions cannot
/// be compared.
class SettingsEffectRemapping final : public Settings {
public:
    /// Source positions of a row's pixels 0 <= x < width.
    using RowFunction = std::function<void(int y, int width, float* sourceX, float* sourceY)>;

    ORVEXA_SETTINGS(SettingsEffectRemapping, "", Groups::kHost, "Moves pixels as a C++ function says.")
    ORVEXA_FIELD(RowFunction, RowFunction, nullptr, Any(), "", "The positions that the result's pixels come from.")

    SettingsEffectRemapping() = default;
    template <class PointFunction>
    requires(!std::is_base_of_v<Settings, std::decay_t<PointFunction>>) explicit SettingsEffectRemapping(
        PointFunction function) {
        SetFunction(std::move(function));
    }

    /// Takes a function of one pixel's position: function(x, y) -> std::pair<float, float>, with coordinates as int or
    /// float. It is inlined into the loop over a row.
    template <class PointFunction>
    void SetFunction(PointFunction function) {
        SetRowFunction([function = std::move(function)](int y, int width, float* sourceX, float* sourceY) {
            const PointFunction local = function;  // a local copy that the stores of positions cannot alias
            for (int x = 0; x < width; ++x) {
                const std::pair<float, float> position = local(x, y);
                sourceX[x] = position.first;
                sourceY[x] = position.second;
            }
        });
    }
};

}  // namespace Orvexa::Proc
