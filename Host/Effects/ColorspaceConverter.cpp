// ColorspaceConverter: converts a frame to the listed pixel format that loses least.

#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Orvexa::Proc {
namespace {

class ColorspaceConverter : public HostOneInput<SettingsColorspaceConverter> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const PixFmt target = ChooseTarget(frame->GetPixFmt(), settings_.GetPixFmts());
        if (target != frame->GetPixFmt()) frame = ConvertPixFmt(*frame, target, allocator_);
    }
};

}  // namespace

OneInputPtr CreateColorspaceConverter(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<ColorspaceConverter>(factory, allocator);
}

}  // namespace Orvexa::Proc
