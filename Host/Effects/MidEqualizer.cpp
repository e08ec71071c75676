// MidEqualizer: midway image equalisation (J. Delon, "Midway image equalization", Journal of Mathematical Imaging and
// Vision 21(2), 2004) of the first input with the second.
//
// Every level of the first picture moves half-way to the level of the same rank in the second one, or to the mean of
// these levels if it spans many ranks. Channels of RGB are processed independently; a grey first picture is processed
// by its levels. Hidden pixels (alpha 0) do not count. Sizes may differ.

#include <array>
#include <mutex>

#include "Host/Effects/Bands.h"
#include "Host/Effects/Channels.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectMidEqualizer.h"

namespace Orvexa::Proc {
namespace {

using Counts = std::array<std::uint64_t, 256>;
using Table = std::array<std::uint8_t, 256>;

constexpr int kBandRows = 64;

Counts CountShown(const IDataVideo& frame, ChannelKind kind) {
    const ConstChannel samples = GetChannel(frame, kind);
    const bool hasAlpha = PixFmtDescription::Get(frame.GetPixFmt()).HasAlpha();
    const ConstChannel alpha = hasAlpha ? GetChannel(frame, ChannelKind::Alpha) : samples;
    Counts all{};
    std::mutex mutex;
    ForEachBand(samples.height, kBandRows, [&](int first, int end) {
        Counts counts{};
        for (int y = first; y < end; ++y) {
            const std::uint8_t *sample = samples.GetRow(y), *opacity = alpha.GetRow(y);
            for (int x = 0; x < samples.width; ++x, sample += samples.step, opacity += alpha.step) {
                if (!hasAlpha || *opacity != 0) ++counts[*sample];
            }
        }
        const std::lock_guard lock(mutex);
        for (std::size_t level = 0; level < counts.size(); ++level) all[level] += counts[level];
    });
    return all;
}

std::uint64_t Total(const Counts& counts) {
    std::uint64_t total = 0;
    for (const std::uint64_t count : counts) total += count;
    return total;
}

// Ranks of both pictures run from 0 to the product of their pixel counts, so that they can be compared as integers.
Table MakeTable(const Counts& first, const Counts& second) {
    const std::uint64_t firstTotal = Total(first), secondTotal = Total(second);
    Table table{};
    std::uint64_t rank = 0;                           // where the level's ranks begin
    std::size_t other = 0;                            // the second picture's level of that rank
    std::uint64_t otherEnd = second[0] * firstTotal;  // where that level's ranks end
    for (std::size_t level = 0; level < table.size(); ++level) {
        const std::uint64_t end = rank + first[level] * secondTotal, begin = rank;
        double sum = 0.0;
        while (rank < end) {
            while (otherEnd <= rank) otherEnd += second[++other] * firstTotal;
            const std::uint64_t next = std::min(end, otherEnd);
            sum += static_cast<double>(other) * static_cast<double>(next - rank);
            rank = next;
        }
        const double mean = end > begin ? sum / static_cast<double>(end - begin) : static_cast<double>(other);
        table[level] = static_cast<std::uint8_t>((static_cast<double>(level) + mean) / 2.0 + 0.5);
    }
    return table;
}

void Apply(const Table& table, const ConstChannel& from, const Channel& to) {
    ForEachBand(to.height, kBandRows, [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const std::uint8_t* source = from.GetRow(y);
            std::uint8_t* target = to.GetRow(y);
            for (int x = 0; x < to.width; ++x) target[x * to.step] = table[source[x * from.step]];
        }
    });
}

// A packed format unchanged, any other as RGB, with alpha if it has it.
PixFmt RgbFormatOf(const IDataVideo& frame) {
    const PixFmtDescription& format = PixFmtDescription::Get(frame.GetPixFmt());
    if (format.kind == PixFmtDescription::Kind::Packed) return format.pixFmt;
    return format.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24;
}

class MidEqualizer : public HostTwoInput<SettingsEffectMidEqualizer> {
public:
    using HostTwoInput::HostTwoInput;

protected:
    void Process(FramePtr& frame, const ConstFramePtr& second) override {
        const bool isGrey = frame->GetPixFmt() == PixFmt::Gray8;
        const FramePtr source = isGrey ? frame : InFormat(frame, RgbFormatOf(*frame), allocator_);
        const ConstFramePtr target = InFormat(second, isGrey ? PixFmt::Gray8 : RgbFormatOf(*second), allocator_);
        const FramePtr result = CloneFrame(*source, kCloneIndependent);
        for (const char letter : PixFmtDescription::Get(source->GetPixFmt()).layout[0]) {
            const auto kind = static_cast<ChannelKind>(letter);
            if (kind == ChannelKind::Alpha) continue;
            const Counts first = CountShown(*source, kind), others = CountShown(*target, kind);
            if (Total(first) == 0 || Total(others) == 0) return;
            Apply(MakeTable(first, others), GetChannel(std::as_const(*source), kind), GetChannel(*result, kind));
        }
        frame = InFormat(result, ExpandedFormat(frame->GetPixFmt()), allocator_);
    }
};

}  // namespace

TwoInputPtr CreateMidEqualizer(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<MidEqualizer>(factory, allocator);
}

}  // namespace Orvexa::Proc
