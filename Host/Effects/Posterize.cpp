// Posterize: reduces a picture to a number of levels, or maps each pixel to its level index.

#include <array>

#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectPosterize.h"

namespace Orvexa::Proc {
namespace {

using Table = std::array<std::uint8_t, 256>;

// The index of the level that a sample falls into, of `number` equal ranges.
constexpr int LevelOf(int sample, int number) { return sample * number / 256; }

Table IndexTable(int number) {
    Table table;
    for (int sample = 0; sample < 256; ++sample) table[sample] = static_cast<std::uint8_t>(LevelOf(sample, number));
    return table;
}

// Levels spread over the full range, rounded; a single level is mid-grey.
Table PictureTable(int number) {
    Table table;
    for (int sample = 0; sample < 256; ++sample) {
        table[sample] = static_cast<std::uint8_t>(
            number == 1 ? 128 : (LevelOf(sample, number) * 255 + (number - 1) / 2) / (number - 1));
    }
    return table;
}

void Apply(const Table& table, const ConstChannel& from, const Channel& to) {
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* source = from.GetRow(y);
        std::uint8_t* target = to.GetRow(y);
        for (int x = 0; x < to.width; ++x) target[x * to.step] = table[source[x * from.step]];
    }
}

class Posterize : public HostOneInput<SettingsEffectPosterize> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const int number = settings_.GetColorsNumber();
        if (settings_.GetMode() == PosterizeMode::LevelIndex) {
            frame = MakeIndices(*frame, IndexTable(number));
        } else {
            frame = MakePicture(frame, PictureTable(number));
        }
    }

private:
    // A grey frame, whatever the picture's format: only its plane 0 is used.
    FramePtr MakeIndices(const IDataVideo& picture, const Table& table) const {
        const bool hasLuma = PixFmtDescription::Get(picture.GetPixFmt()).GetRole(0) == PlaneRole::Luma;
        const ConstFramePtr luma =
            hasLuma ? ConstFramePtr(&picture) : ConstFramePtr(ConvertPixFmt(picture, PixFmt::Gray8, allocator_));
        FramePtr indices = NewFrame(allocator_, PixFmt::Gray8, picture.GetFrameInfo());
        Apply(table, GetChannel(*luma, ChannelKind::Luma), GetChannel(*indices, ChannelKind::Luma));
        return indices;
    }

    // Packed formats reduce each colour, the others only luma, which leaves chroma as smooth as before.
    FramePtr MakePicture(const FramePtr& picture, const Table& table) const {
        const FramePtr source = Expanded(picture, allocator_);
        FramePtr reduced = CloneFrame(*source, kCloneIndependent);
        for (const char letter : PixFmtDescription::Get(reduced->GetPixFmt()).layout[0]) {
            const auto kind = static_cast<ChannelKind>(letter);
            if (kind != ChannelKind::Alpha)
                Apply(table, GetChannel(std::as_const(*source), kind), GetChannel(*reduced, kind));
        }
        return reduced;
    }
};

}  // namespace

OneInputPtr CreatePosterize(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Posterize>(factory, allocator);
}

}  // namespace Orvexa::Proc
