// Conversion of frames to one pixel format at a time.
#pragma once

#include "Host/Proc/IEffect.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Orvexa::Proc::Shared {

/// A colour-space converter that is reconfigured only when another format is requested.
class FormatConverter {
public:
    explicit FormatConverter(OneInputPtr converter) : converter_(std::move(converter)) {}

    void Prepare(PixFmt pixFmt) {
        if (pixFmt == pixFmt_) return;
        pixFmt_ = pixFmt;
        converter_->SetSettings(SettingsColorspaceConverter(pixFmt, true));
    }

    void Convert(FramePtr& frame, PixFmt pixFmt) {
        Prepare(pixFmt);
        converter_->ProcessData(frame);
    }

private:
    OneInputPtr converter_;
    PixFmt pixFmt_ = PixFmt::None;
};

}  // namespace Orvexa::Proc::Shared
