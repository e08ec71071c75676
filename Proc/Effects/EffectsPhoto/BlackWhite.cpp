// BlackWhite: reduces a picture to two colours: the first below a threshold of luma, the second at or above it. The
// result is an indexed frame.

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlackWhite.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/IndexedFrame.h"

namespace Orvexa::Proc {
namespace {

constexpr double kLevels = 256.0;

class BlackWhite : public EffectBaseCSCOneInput<SettingsEffectBlackWhite> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    void CheckSettings(const SettingsEffectBlackWhite& settings) const override {
        if (!(settings.GetThreshold() >= 0.0 && settings.GetThreshold() <= 1.0))
            Throw("Threshold must be between 0 and 1!");
    }

    void ApplySettings(bool) override {
        const std::int64_t firstBright = Shared::RoundHalfAway(settings_.GetThreshold() * kLevels);
        for (int level = 0; level < 256; ++level) indices_[level] = level >= firstBright ? 1 : 0;
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Gray8};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr&) override {
        ReleaseInput(frame);
        FramePtr indexed = NewFrame(allocator_, PixFmt::Pal8, frame->GetFrameInfo());
        Shared::SetPalette(*indexed, {settings_.GetColorBelow().rgba(), settings_.GetColorAbove().rgba()});
        Shared::ApplyCurve(indices_, std::as_const(*frame).GetPlane(0), indexed->GetPlane(0));
        frame = std::move(indexed);
    }

    Shared::Curve indices_{};  // 0 or 1 for each luma level
};

}  // namespace

bool RegisterBlackWhite(IEffectFactory& factory) { return RegisterEffect<BlackWhite>(factory); }

}  // namespace Orvexa::Proc
