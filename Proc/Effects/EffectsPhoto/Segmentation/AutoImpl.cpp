#include "Proc/Effects/EffectsPhoto/Segmentation/AutoImpl.h"

#include <algorithm>
#include <vector>

#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Auto {

namespace {

constexpr std::uint8_t kThreshold = 128;  // of the network's estimate, 0..255

}  // namespace

void AutoImpl::ProcessInternalImpl(FramePtr& frame, const ConstFramePtr&) {
    if (frame->GetFrameInfo() != info_) {
        info_ = frame->GetFrameInfo();
        SettingsResizer settings;
        settings.SetCustomMode(SettingsResizer::kExactSizeAlias, info_);
        settings.SetAccurate(true);
        settings.SetFullChroma(true);
        resizer_->SetSettings(settings);
    }

    const std::vector<unsigned char> certainty =
        Neural::CreateNeural(Neural::NeuralType::SegmentationMask, Neural::ImplName::OpenCv, settings_.GetModelsRoot())
            ->Process(frame)
            ->GetUint8VectorResult();
    FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, FrameInfo(Neural::kMaskSize, Neural::kMaskSize, info_.aspect));
    const Plane small = mask->GetPlane(0);
    for (std::size_t y = 0; y < Neural::kMaskSize; ++y) {
        std::copy_n(certainty.begin() + static_cast<std::ptrdiff_t>(y * Neural::kMaskSize), Neural::kMaskSize,
                    small.GetRow(y));
    }
    resizer_->ProcessData(mask);

    const Plane plane = mask->GetPlane(0);
    const std::uint8_t foreground = settings_.GetForeground(), background = settings_.GetBackground();
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        std::uint8_t* row = plane.GetRow(y);
        std::transform(row, row + plane.GetWidth(), row,
                       [=](std::uint8_t value) { return value < kThreshold ? background : foreground; });
    }
    frame = mask;
}

}  // namespace Orvexa::Proc::Auto
