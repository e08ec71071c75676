// Resize: scales a picture to a size that users can specify in several ways; the resizer does the work.

#include <algorithm>
#include <cmath>

#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectResize.h"

namespace Orvexa::Proc {

namespace {

std::uint32_t Side(double length) { return static_cast<std::uint32_t>(std::max(std::floor(length + 0.5), 1.0)); }

}  // namespace

Conf::FrameInfo SettingsEffectResize::GetNewInfo(const Conf::FrameInfo& info) const {
    const bool hasSize = GetWidth() > 0 || GetHeight() > 0, hasFit = !GetFit().IsNone(), hasScale = GetScale() > 0.0;
    if (int{hasSize} + int{hasFit} + int{hasScale} != 1)
        Throw<SettingsException>("Resize takes a width, a height or both, or a box like fit=2000x1500, or a scale");
    double across = GetScale(), down = GetScale();
    if (hasFit) {
        across = down = std::min({static_cast<double>(GetFit().width) / info.width,
                                  static_cast<double>(GetFit().height) / info.height, 1.0});
    } else if (hasSize) {
        across = static_cast<double>(GetWidth() > 0 ? GetWidth() : GetHeight()) /
                 (GetWidth() > 0 ? info.width : info.height);
        down = GetHeight() > 0 ? static_cast<double>(GetHeight()) / info.height : across;
    }
    return {Side(info.width * across), Side(info.height * down), info.aspect};
}

std::uint64_t SettingsEffectResize::GetResultPixels(std::uint64_t pixels) const {
    if (GetWidth() > 0 && GetHeight() > 0) return std::uint64_t{GetWidth()} * GetHeight();
    if (GetScale() > 0.0) return static_cast<std::uint64_t>(static_cast<double>(pixels) * GetScale() * GetScale());
    if (!GetFit().IsNone()) return pixels;
    const std::uint64_t side = std::max(GetWidth(), GetHeight());
    return 2 * side * side;  // for any usual aspect ratio
}

namespace {

class Resize : public HostOneInput<SettingsEffectResize> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        resizer_->SetSettings(SettingsResizer(settings_.GetMethod(), SettingsResizer::kExactSize,
                                              settings_.GetNewInfo(frame->GetFrameInfo())));
        resizer_->ProcessData(frame);
    }

private:
    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
};

}  // namespace

OneInputPtr CreateResize(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Resize>(factory, allocator);
}

}  // namespace Orvexa::Proc
