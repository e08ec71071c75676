// ExtraAlphaExtractor: scales a mask to the size of a format's chroma planes; each sample is the mean of the mask
// pixels that it covers.

#include "Host/Effects/Channels.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"

namespace Orvexa::Proc {
namespace {

class ExtraAlphaExtractor : public HostOneInput<SettingsEffectExtraAlphaExtractor> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        if (frame->GetPixFmt() != PixFmt::Gray8) Throw("Pixel format is not supported! The mask must be a grey frame.");
        const PixFmtDescription& description = PixFmtDescription::Get(settings_.GetPixelFormat());
        if (description.chromaShiftX == 0 && description.chromaShiftY == 0) return;
        FrameInfo info = frame->GetFrameInfo();
        info.width = (info.width + (1u << description.chromaShiftX) - 1) >> description.chromaShiftX;
        info.height = (info.height + (1u << description.chromaShiftY) - 1) >> description.chromaShiftY;
        FramePtr reduced = NewFrame(allocator_, PixFmt::Gray8, info);
        ResampleChannel(GetChannel(std::as_const(*frame), ChannelKind::Luma), GetChannel(*reduced, ChannelKind::Luma),
                        description.chromaShiftX, description.chromaShiftY);
        frame = std::move(reduced);
    }
};

}  // namespace

OneInputPtr CreateExtraAlphaExtractor(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<ExtraAlphaExtractor>(factory, allocator);
}

}  // namespace Orvexa::Proc
