// Processing at reduced size.
#pragma once

#include <algorithm>

#include "Host/Proc/IEffect.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc::Shared {

/// The geometry with both sides rounded up to even numbers.
constexpr FrameInfo RoundUpToEven(const FrameInfo& info) {
    return {info.width + info.width % 2, info.height + info.height % 2, info.aspect};
}

/// Scales a picture down and up again, for effects that work on a reduced picture. Both resizers keep their settings as
/// long as the geometry of the pictures does not change.
class Reduction {
public:
    Reduction(OneInputPtr reducer, OneInputPtr enlarger)
        : reducer_(std::move(reducer)), enlarger_(std::move(enlarger)) {}

    /// Whether the resizers have yet to be configured for pictures of this geometry, which is remembered.
    bool IsNew(const FrameInfo& info) {
        if (info == info_) return false;
        info_ = info;
        return true;
    }
    /// Treats the next geometry as new, whatever it is.
    void Forget() { info_ = kNoInfo; }

    void Configure(const SettingsResizer& reduction, const SettingsResizer& enlargement) {
        reducer_->SetSettings(reduction);
        enlarger_->SetSettings(enlargement);
    }

    void Reduce(FramePtr& frame) { reducer_->ProcessData(frame); }

    /// Enlarges a frame and crops it to `size`.
    void Enlarge(FramePtr& frame, const FrameInfo& size) {
        enlarger_->ProcessData(frame);
        const FrameInfo enlarged = frame->GetFrameInfo();
        if (enlarged.width > size.width || enlarged.height > size.height) {
            frame->Crop(0, 0, std::min(size.width, enlarged.width), std::min(size.height, enlarged.height));
        }
    }

private:
    static constexpr FrameInfo kNoInfo{0, 0, {0, 0}};

    OneInputPtr reducer_;
    OneInputPtr enlarger_;
    FrameInfo info_ = kNoInfo;
};

}  // namespace Orvexa::Proc::Shared
