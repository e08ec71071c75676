// GradientPosterize: reduces a picture's colours to a few tones while keeping its brightness gradients: every chroma
// sample becomes the mean chroma of all samples with its luma level; luma is unchanged.

#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectPosterize.h"
#include "Host/Settings/Photo/SettingsEffectGradientPosterize.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

// 32-bit sums, which are later replaced by means.
struct Tone {
    std::uint32_t u = 0, v = 0, count = 0;
};

// Calls visit(level, u, v) for every chroma sample, with the level of the top-left luma pixel under it.
template <class Visit>
void ForEachChromaSample(const ConstPlane& levels, const Plane& u, const Plane& v, const PixFmtDescription& description,
                         Visit&& visit) {
    for (std::uint64_t y = 0; y < u.GetHeight(); ++y) {
        const std::uint8_t* level = levels.GetRow(y << description.chromaShiftY);
        std::uint8_t *uRow = u.GetRow(y), *vRow = v.GetRow(y);
        for (std::uint64_t x = 0; x < u.GetWidth(); ++x) visit(level[x << description.chromaShiftX], uRow[x], vRow[x]);
    }
}

class GradientPosterize : public EffectBaseCSCOneInput<SettingsEffectGradientPosterize> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    void ApplySettings(bool) override {
        SettingsEffectPosterize levels;
        levels.SetColorsNumber(settings_.GetColorCount());
        levels.SetMode(PosterizeMode::LevelIndex);
        posterize_->SetSettings(levels);
    }

    bool IsConvertBack() const override { return false; }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Yuva444p, PixFmt::Yuva422p, PixFmt::Yuva420p, PixFmt::Yuv444p,
                                                 PixFmt::Yuv440p,  PixFmt::Yuv422p,  PixFmt::Yuv420p,  PixFmt::Yuv411p,
                                                 PixFmt::Yuv410p,  PixFmt::Yuvj420p, PixFmt::Yuvj422p, PixFmt::Yuvj444p,
                                                 PixFmt::Yuvj440p, PixFmt::Yuvj411p};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        ReleaseInput(frame);
        FramePtr levels = frame;
        posterize_->ProcessData(levels);
        const ConstPlane levelPlane = std::as_const(*levels).GetPlane(0);
        FramePtr output = Writable(frame, input);
        const PixFmtDescription& description = PixFmtDescription::Get(output->GetPixFmt());
        const Plane uPlane = output->GetPlane(1), vPlane = output->GetPlane(2);

        // One tone for every possible byte, so that an index beyond the number of tones stays within the table.
        std::vector<Tone> tones(256);
        ForEachChromaSample(levelPlane, uPlane, vPlane, description,
                            [&](std::uint8_t level, std::uint8_t u, std::uint8_t v) {
                                tones[level].u += u;
                                tones[level].v += v;
                                ++tones[level].count;
                            });
        for (Tone& tone : tones) {
            if (tone.count == 0) continue;
            tone.u /= tone.count;
            tone.v /= tone.count;
        }
        ForEachChromaSample(levelPlane, uPlane, vPlane, description,
                            [&](std::uint8_t level, std::uint8_t& u, std::uint8_t& v) {
                                u = static_cast<std::uint8_t>(tones[level].u);
                                v = static_cast<std::uint8_t>(tones[level].v);
                            });
        frame = std::move(output);
    }

    OneInputPtr posterize_ = CreateOneInput<SettingsEffectPosterize>();
};

}  // namespace

bool RegisterGradientPosterize(IEffectFactory& factory) { return RegisterEffect<GradientPosterize>(factory); }

}  // namespace Orvexa::Proc
