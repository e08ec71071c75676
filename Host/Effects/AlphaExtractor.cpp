// AlphaExtractor: replaces a frame by its alpha channel as a grey frame.

#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"

namespace Orvexa::Proc {
namespace {

class AlphaExtractor : public HostOneInput<SettingsEffectAlphaExtractor> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        if (!PixFmtDescription::Get(frame->GetPixFmt()).HasAlpha()) {
            frame.reset();
            return;
        }
        const ConstFramePtr source = Expanded(ConstFramePtr(frame), allocator_);
        FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, source->GetFrameInfo());
        CopyChannel(GetChannel(*source, ChannelKind::Alpha), GetChannel(*mask, ChannelKind::Luma));
        frame = std::move(mask);
    }
};

}  // namespace

OneInputPtr CreateAlphaExtractor(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<AlphaExtractor>(factory, allocator);
}

}  // namespace Orvexa::Proc
