#include "Cli/AlphaKeeper.h"

#include <algorithm>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/Channels.h"
#include "Host/Effects/Transparency.h"
#include "Host/Settings/Photo/SettingsEffectBlackWhite.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"
#include "Host/Settings/Photo/SettingsEffectGradient.h"
#include "Host/Settings/Photo/SettingsEffectSketch.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::FramePtr;

namespace {

// Effects without a working format that carries alpha.
bool IsWithoutAlpha(const std::string& classId) {
    return classId == Proc::SettingsEffectBlackWhite::CLASS_ID || classId == Proc::SettingsEffectBlurBokeh::CLASS_ID ||
           classId == Proc::SettingsEffectBlurRadial::CLASS_ID || classId == Proc::SettingsEffectGradient::CLASS_ID ||
           classId == Proc::SettingsEffectSketch::CLASS_ID;
}

// Of those, the ones that mix neighbouring pixels.
bool IsBlur(const std::string& classId) {
    return classId == Proc::SettingsEffectBlurBokeh::CLASS_ID || classId == Proc::SettingsEffectBlurRadial::CLASS_ID;
}

}  // namespace

AlphaKeeper::AlphaKeeper(const Proc::FactoryPtr& factory, const Step& step, std::vector<FramePtr>& pictures) : step_(step) {
    const std::string& classId = step.effect->settings->classId;
    if (!IsWithoutAlpha(classId)) return;
    for (FramePtr& picture : pictures) {
        const Conf::FrameInfo& info = picture->GetFrameInfo();
        Alpha& alpha = alphas_.emplace_back(Alpha{info.width, info.height, {}});
        if (!Proc::IsTransparent(*picture)) continue;
        alpha.samples.resize(std::size_t{info.width} * info.height);
        const auto width = static_cast<int>(info.width), height = static_cast<int>(info.height);
        Proc::CopyChannel(Proc::GetChannel(std::as_const(*picture), Proc::ChannelKind::Alpha),
                          {alpha.samples.data(), width, 1, width, height});
        if (IsBlur(classId) && PixFmtDescription::Get(picture->GetPixFmt()).kind == PixFmtDescription::Kind::Packed) {
            Proc::MakeWritable(picture);
            Proc::FillHiddenPixels(*picture, factory);
        }
    }
}

void AlphaKeeper::Restore(std::vector<FramePtr>& pictures, Io::Notes& notes) const {
    for (std::size_t i = 0; i < alphas_.size() && i < pictures.size(); ++i) {
        const Alpha& alpha = alphas_[i];
        FramePtr& picture = pictures[i];
        if (alpha.samples.empty() || picture == nullptr) continue;
        const Conf::FrameInfo& info = picture->GetFrameInfo();
        if (!PixFmtDescription::Get(picture->GetPixFmt()).HasAlpha() || info.width != alpha.width || info.height != alpha.height) {
            const std::string note = step_.effect->GetName() + " works without transparency, which is lost";
            if (std::find(notes.begin(), notes.end(), note) == notes.end()) notes.push_back(note);
        } else if (!Proc::IsTransparent(*picture)) {
            Proc::MakeWritable(picture);
            const auto width = static_cast<int>(info.width), height = static_cast<int>(info.height);
            Proc::CopyChannel({alpha.samples.data(), width, 1, width, height}, Proc::GetChannel(*picture, Proc::ChannelKind::Alpha));
        }
    }
}

}  // namespace Kalvatri
