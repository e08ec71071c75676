#include "Cli/AlphaKeeper.h"

#include <utility>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/Channels.h"
#include "Host/Effects/Transparency.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::FramePtr;

AlphaKeeper::AlphaKeeper(const Proc::FactoryPtr& factory, const Step& step, FramePtr& picture)
    : info_(picture->GetFrameInfo()) {
    const Proc::AlphaUse use = step.effect->settings->alpha;
    const bool isLost = use == Proc::AlphaUse::Dropped || use == Proc::AlphaUse::Blurred;
    if (!isLost || !Proc::IsTransparent(*picture)) return;
    samples_.resize(std::size_t{info_.width} * info_.height);
    const auto width = static_cast<int>(info_.width), height = static_cast<int>(info_.height);
    Proc::CopyChannel(Proc::GetChannel(std::as_const(*picture), ChannelKind::Alpha),
                      {samples_.data(), width, 1, width, height});
    if (use == Proc::AlphaUse::Blurred &&
        PixFmtDescription::Get(picture->GetPixFmt()).kind == PixFmtDescription::Kind::Packed) {
        Proc::MakeWritable(picture);
        Proc::FillHiddenPixels(*picture, factory);
    }
}

bool AlphaKeeper::Restore(FramePtr& picture) const {
    if (samples_.empty()) return true;
    const Conf::FrameInfo& info = picture->GetFrameInfo();
    const bool hasAlpha = PixFmtDescription::Get(picture->GetPixFmt()).HasAlpha();
    if (!hasAlpha || info.width != info_.width || info.height != info_.height) return false;
    if (Proc::IsTransparent(*picture)) return true;
    Proc::MakeWritable(picture);
    const auto width = static_cast<int>(info.width), height = static_cast<int>(info.height);
    Proc::CopyChannel({samples_.data(), width, 1, width, height}, Proc::GetChannel(*picture, ChannelKind::Alpha));
    return true;
}

}  // namespace Kalvatri
