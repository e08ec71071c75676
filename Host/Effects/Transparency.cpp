#include "Host/Effects/Transparency.h"

#include <algorithm>
#include <cstring>

#include "Host/Conf/ImplNames.h"
#include "Host/Effects/Channels.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

namespace {

template <class Predicate>
bool HasAlphaWhere(const IDataVideo& frame, Predicate&& predicate) {
    const ConstChannel alpha = GetChannel(frame, ChannelKind::Alpha);
    for (int y = 0; y < alpha.height; ++y) {
        const std::uint8_t* sample = alpha.GetRow(y);
        for (int x = 0; x < alpha.width; ++x, sample += alpha.step) {
            if (predicate(*sample)) return true;
        }
    }
    return false;
}

// Hidden pixels take their colour from a picture of half the size, whose colours the resizer has weighted by alpha and
// whose own hidden pixels are filled first.
void FillFromHalf(IDataVideo& frame, IOneInputEffectVideo& halver) {
    const FrameInfo info = frame.GetFrameInfo();
    if ((info.width == 1 && info.height == 1) || !HasAlphaWhere(frame, [](std::uint8_t alpha) { return alpha == 0; }))
        return;
    FramePtr half = CloneFrame(frame, kCloneView);
    halver.ProcessData(half);
    FillFromHalf(*half, halver);
    const int alphaByte = PixFmtDescription::Get(frame.GetPixFmt()).alpha;
    const Plane to = frame.GetPlane(0);
    const ConstPlane from = std::as_const(*half).GetPlane(0);
    for (std::uint64_t y = 0; y < info.height; ++y) {
        for (std::uint64_t x = 0; x < info.width; ++x) {
            std::uint8_t* pixel = to.GetOffsetPtr(x, y);
            if (pixel[alphaByte] != 0) continue;
            std::memcpy(pixel,
                        from.GetOffsetPtr(x * half->GetFrameInfo().width / info.width,
                                          y * half->GetFrameInfo().height / info.height),
                        to.GetBytesPerPixel());
            pixel[alphaByte] = 0;
        }
    }
}

}  // namespace

bool IsTransparent(const IDataVideo& frame) {
    const PixFmtDescription& description = PixFmtDescription::Get(frame.GetPixFmt());
    if (!description.HasAlpha() || description.kind == PixFmtDescription::Kind::Indexed) return false;
    return HasAlphaWhere(frame, [](std::uint8_t alpha) { return alpha != 255; });
}

void FillHiddenPixels(IDataVideo& frame, const FactoryPtr& factory) {
    OneInputPtr halver;
    factory->CreateOneInputEffect(halver, SettingsResizer::CLASS_ID, ImplNames::DEFAULT, {});
    SettingsResizer half(SettingsResizer::ResizeMethods::Area);
    half.SetCustomScale(0.5);
    halver->SetSettings(half);
    FillFromHalf(frame, *halver);
}

}  // namespace Orvexa::Proc
