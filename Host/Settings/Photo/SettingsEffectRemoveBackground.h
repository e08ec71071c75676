#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectRemoveBackground final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    static constexpr AlphaUse kAlpha = AlphaUse::Made;
    static constexpr double kBytesPerPixel = 24;

    ORVEXA_SETTINGS(
        SettingsEffectRemoveBackground, "RemoveBackground", Groups::kSegmentation,
        "Cuts out the subject that a mask, the second picture, marks; a third picture is the new background "
        "that its colours are adapted to.")
    ORVEXA_EQUALITY(SettingsEffectRemoveBackground)
    ORVEXA_FIELD(int, Morph, 0, Range(-64, 64), "pixels", "How far the mask grows, or shrinks if negative.")
    ORVEXA_FIELD(int, Smooth, 2, Range(0, 64), "pixels", "How far the mask's edge fades inwards; 0 leaves it as it is.")
    ORVEXA_FIELD(int, AdaptValue, 0, Range(0, 100), "percent",
                 "How much the subject takes on the colours of the new background.")
    ORVEXA_FIELD(double, PositionX, 0.5, Range(-4, 4), "fraction",
                 "Where the subject's centre will be on the new background, of its width.")
    ORVEXA_FIELD(double, PositionY, 0.5, Range(-4, 4), "fraction", "The same, of its height.")
    ORVEXA_FIELD(double, ScaleX, 1.0, Range(0.001, 64), "factor", "How much wider the subject will be there.")
    ORVEXA_FIELD(double, ScaleY, 1.0, Range(0.001, 64), "factor", "How much higher the subject will be there.")
};

}  // namespace Orvexa::Proc
