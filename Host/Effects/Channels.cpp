#include "Host/Effects/Channels.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Orvexa::Proc {

namespace {

template <class Byte, class Frame>
ChannelView<Byte> MakeChannel(Frame& frame, ChannelKind kind) {
    const PixFmtDescription::Place place = PixFmtDescription::Get(frame.GetPixFmt()).GetPlace(kind);
    const auto plane = frame.GetPlane(place.plane);
    return {plane.GetData() + place.offset, plane.GetStride(), place.step,
            static_cast<int>(plane.GetWidth()) / place.step, static_cast<int>(plane.GetHeight())};
}

// Calls `use` with the step as a compile-time constant, so that loops over samples can be vectorised.
template <class Use>
void WithStep(int step, Use&& use) {
    switch (step) {
        case 1: use.template operator()<1>(); break;
        case 2: use.template operator()<2>(); break;
        default: use.template operator()<4>(); break;
    }
}

}  // namespace

Channel GetChannel(IDataVideo& frame, ChannelKind kind) { return MakeChannel<std::uint8_t>(frame, kind); }
ConstChannel GetChannel(const IDataVideo& frame, ChannelKind kind) {
    return MakeChannel<const std::uint8_t>(frame, kind);
}

ConstChannel AsChannel(const ConstPlane& plane) {
    return {plane.GetData(), plane.GetStride(), 1, static_cast<int>(plane.GetWidth()),
            static_cast<int>(plane.GetHeight())};
}

void CopyChannel(const ConstChannel& from, const Channel& to) {
    WithStep(from.step, [&]<int FromStep>() {
        WithStep(to.step, [&]<int ToStep>() {
            for (int y = 0; y < to.height; ++y) {
                const std::uint8_t* source = from.GetRow(y);
                std::uint8_t* destination = to.GetRow(y);
                if constexpr (FromStep == 1 && ToStep == 1) {
                    std::memcpy(destination, source, static_cast<std::size_t>(to.width));
                } else {
                    for (int x = 0; x < to.width; ++x) destination[x * ToStep] = source[x * FromStep];
                }
            }
        });
    });
}

void FillChannel(const Channel& to, std::uint8_t value) {
    WithStep(to.step, [&]<int Step>() {
        for (int y = 0; y < to.height; ++y) {
            std::uint8_t* row = to.GetRow(y);
            if constexpr (Step == 1) {
                std::memset(row, value, static_cast<std::size_t>(to.width));
            } else {
                for (int x = 0; x < to.width; ++x) row[x * Step] = value;
            }
        }
    });
}

namespace {

// The position of finer sample `fine` between two coarser ones, with 2^shift finer samples per coarser one.
struct Position {
    int nearest, other;
    int nearestWeight, otherWeight;  // of 2^(shift + 1)
};

Position Locate(int fine, int shift, int coarseSize) {
    const int unit = 1 << shift;
    const int nearest = fine >> shift;
    const int offset = 2 * (fine & (unit - 1)) + 1 - unit;  // from the nearest centre, in 1 / (2 * unit)
    const int other = std::clamp(nearest + (offset < 0 ? -1 : 1), 0, coarseSize - 1);
    return {nearest, other, 2 * unit - std::abs(offset), std::abs(offset)};
}

// Sums up the rows of `from` that row `y` of the new grid covers, column by column; returns the weight of the sums.
template <int Step>
int SumRows(const ConstChannel& from, int y, int shift, std::uint16_t* __restrict sums) {
    if (shift < 0) {
        const Position position = Locate(y, -shift, from.height);
        const std::uint8_t* nearest = from.GetRow(position.nearest);
        const std::uint8_t* other = from.GetRow(position.other);
        const auto a = static_cast<std::uint16_t>(position.nearestWeight),
                   b = static_cast<std::uint16_t>(position.otherWeight);
        for (int x = 0; x < from.width; ++x)
            sums[x] = static_cast<std::uint16_t>(nearest[x * Step] * a + other[x * Step] * b);
        return a + b;
    }
    const int first = y << shift;
    const int last = std::min(first + (1 << shift), from.height);
    for (int row = first; row < last; ++row) {
        const std::uint8_t* source = from.GetRow(row);
        for (int x = 0; x < from.width; ++x)
            sums[x] = static_cast<std::uint16_t>((row == first ? 0 : sums[x]) + source[x * Step]);
    }
    return last - first;
}

std::uint8_t DivideRounded(int sum, int divisor) { return static_cast<std::uint8_t>((sum + divisor / 2) / divisor); }

template <int Step, int Shift>
void ReduceRow(const std::uint16_t* __restrict sums, int sumWeight, int sumCount, std::uint8_t* __restrict to) {
    constexpr int kUnit = 1 << Shift;
    const int full = sumCount >> Shift;
    const auto sumOf = [&](int x) {
        int sum = 0;
        for (int k = 0; k < kUnit; ++k) sum += sums[x * kUnit + k];
        return sum;
    };
    const int divisor = sumWeight * kUnit;
    if ((divisor & (divisor - 1)) == 0) {
        int bits = 0;
        while (1 << bits < divisor) ++bits;
        for (int x = 0; x < full; ++x) to[x * Step] = static_cast<std::uint8_t>((sumOf(x) + divisor / 2) >> bits);
    } else {
        for (int x = 0; x < full; ++x) to[x * Step] = DivideRounded(sumOf(x), divisor);
    }
    const int rest = sumCount - full * kUnit;
    if (rest == 0) return;
    int sum = 0;
    for (int k = 0; k < rest; ++k) sum += sums[full * kUnit + k];
    to[full * Step] = DivideRounded(sum, sumWeight * rest);
}

template <int Step, int Shift>
void EnlargeRow(const std::uint16_t* __restrict sums, int sumWeight, int sumCount, std::uint8_t* __restrict to,
                int width) {
    constexpr int kUnit = 1 << Shift;
    const auto sampleAt = [&](int x) {
        const Position position = Locate(x, Shift, sumCount);
        return DivideRounded(
            sums[position.nearest] * position.nearestWeight + sums[position.other] * position.otherWeight,
            sumWeight * 2 * kUnit);
    };
    // Except at the two ends every coarser sample has both neighbours, and the divisor is a power of two unless rows
    // are missing at the edge.
    const int divisor = sumWeight * 2 * kUnit;
    int bits = 0;
    while (1 << bits < divisor) ++bits;
    const int last = std::min(sumCount - 1, width >> Shift);
    if (1 << bits != divisor || last <= 1) {
        for (int x = 0; x < width; ++x) to[x * Step] = sampleAt(x);
        return;
    }
    for (int x = 0; x < kUnit; ++x) to[x * Step] = sampleAt(x);
    for (int i = 1; i < last; ++i) {
        for (int k = 0; k < kUnit; ++k) {
            const int offset = 2 * k + 1 - kUnit;
            const int other = offset < 0 ? sums[i - 1] : sums[i + 1];
            const int weight = offset < 0 ? -offset : offset;
            to[(i * kUnit + k) * Step] =
                static_cast<std::uint8_t>((sums[i] * (2 * kUnit - weight) + other * weight + divisor / 2) >> bits);
        }
    }
    for (int x = last * kUnit; x < width; ++x) to[x * Step] = sampleAt(x);
}

template <int Step>
void ResampleRow(const std::uint16_t* __restrict sums, int sumWeight, int sumCount, std::uint8_t* __restrict to,
                 int width, int shift) {
    switch (shift) {
        case -2: EnlargeRow<Step, 2>(sums, sumWeight, sumCount, to, width); break;
        case -1: EnlargeRow<Step, 1>(sums, sumWeight, sumCount, to, width); break;
        case 0: ReduceRow<Step, 0>(sums, sumWeight, sumCount, to); break;
        case 1: ReduceRow<Step, 1>(sums, sumWeight, sumCount, to); break;
        default: ReduceRow<Step, 2>(sums, sumWeight, sumCount, to); break;
    }
}

}  // namespace

void ResampleChannel(const ConstChannel& from, const Channel& to, int shiftX, int shiftY, int firstRow) {
    std::vector<std::uint16_t> sums(static_cast<std::size_t>(from.width));
    WithStep(from.step, [&]<int FromStep>() {
        WithStep(to.step, [&]<int ToStep>() {
            for (int y = 0; y < to.height; ++y) {
                const int weight = SumRows<FromStep>(from, firstRow + y, shiftY, sums.data());
                ResampleRow<ToStep>(sums.data(), weight, from.width, to.GetRow(y), to.width, shiftX);
            }
        });
    });
}

}  // namespace Orvexa::Proc
