// AlphaInserter: writes a mask into the alpha channel of a frame; a frame without one is left unchanged.
//
// The alpha of an indexed frame belongs to its palette, not to its pixels, so such a frame becomes RGBA.

#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"

namespace Orvexa::Proc {
namespace {

class AlphaInserter : public HostTwoInput<SettingsEffectAlphaInserter> {
public:
    using HostTwoInput::HostTwoInput;

protected:
    void Process(FramePtr& frame, const ConstFramePtr& mask) override {
        if (!PixFmtDescription::Get(frame->GetPixFmt()).HasAlpha()) return;
        const FrameInfo& info = frame->GetFrameInfo();
        if (mask->GetPixFmt() != PixFmt::Gray8 || mask->GetFrameInfo().width != info.width ||
            mask->GetFrameInfo().height != info.height) {
            Throw("The mask must be a grey frame of the picture's size!");
        }
        frame = Expanded(frame, allocator_);
        MakeWritable(frame);
        CopyChannel(GetChannel(*mask, ChannelKind::Luma), GetChannel(*frame, ChannelKind::Alpha));
    }
};

}  // namespace

TwoInputPtr CreateAlphaInserter(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<AlphaInserter>(factory, allocator);
}

}  // namespace Orvexa::Proc
