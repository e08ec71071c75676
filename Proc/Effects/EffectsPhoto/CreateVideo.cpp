// CreateVideo: replaces the picture by a plain one of a given size and colour, with alpha if the colour is not opaque.

#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint8_t kOpaque = 255;
// The generated picture's own timing. The base deliberately replaces it by that of the incoming frame.
constexpr std::int64_t kTimestamp = 0;
constexpr std::int64_t kDuration = 40000;

class CreateVideo : public EffectBaseOneInput<SettingsEffectCreateVideo> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info(static_cast<std::uint32_t>(settings_.GetWidth()),
                             static_cast<std::uint32_t>(settings_.GetHeight()));
        const Color color = settings_.GetColor();
        FramePtr created = NewFrame(allocator_, color.alpha() < kOpaque ? PixFmt::Bgra : PixFmt::Bgr24, info);
        created->Fill(color);
        created->SetTimestamp(kTimestamp);
        created->SetDuration(kDuration);
        frame = std::move(created);
    }
};

}  // namespace

bool RegisterCreateVideo(IEffectFactory& factory) { return RegisterEffect<CreateVideo>(factory); }

}  // namespace Orvexa::Proc
