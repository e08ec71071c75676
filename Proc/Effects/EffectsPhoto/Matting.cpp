// Matting: computes an alpha matte with fine hair and fur from a picture and a trimap.
//
// Every unknown pixel is explained as a mixture of one foreground and one background colour, taken from the borders of
// the known regions. The best pair is found by random search around the current one and by propagating pairs between
// neighbours (K. He, C. Rhemann, C. Rother, X. Tang, J. Sun, "A global sampling method for alpha matting", CVPR 2011).
// A guided filter then transfers the picture's edges to the matte. Known pixels keep their values.
//
// Before that the known regions grow into the unknown band: an unknown pixel that hardly differs from a known one
// nearby belongs to the same region. In smooth surroundings this is more reliable than any mixture, whose residual
// opacity would show as a halo.
//
// Pictures with a long side are processed at reduced size; the guided filter restores their edges.

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectMatting.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/Inputs.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kLongestSide = 1920;  // larger pictures are reduced
constexpr std::uint8_t kForeground = 255, kUnknown = 128, kBackground = 0;
constexpr int kChannels = 3;
// How far known regions grow, in pixels, and how much colours may differ there, in levels; the tolerance falls by one
// level per pixel of distance.
constexpr int kGrowth = 9;
constexpr float kLikeness = 9.0f;
constexpr std::int32_t kNoPair = -1;
constexpr std::uint16_t kFar = 0xffff;

using Rgb = std::array<float, kChannels>;

bool IsKnown(std::uint8_t value) { return value == kForeground || value == kBackground; }

// A pixel at the border of a known region.
struct Sample {
    Rgb color;
    float x, y;
};
using Samples = std::vector<Sample>;

// The two samples that explain a pixel, as indices into the lists, and the quality of the explanation.
struct Pair {
    std::uint32_t foreground, background;
    float cost, alpha;
};

// Random numbers that depend only on the seed and the pixel (G. Steele, D. Lea, C. Flood, "Fast splittable pseudorandom
// number generators", OOPSLA 2014).
class Random {
public:
    Random(std::uint32_t seed, std::uint32_t pass, std::uint32_t pixel)
        : state_(Mix((std::uint64_t{seed} << 32 | pass) * kStep + pixel)) {}

    /// In -1..1.
    float Next() {
        state_ += kStep;
        return static_cast<float>(static_cast<std::int32_t>(Mix(state_) >> 32)) * (1.0f / 2147483648.0f);
    }

private:
    static constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15u;
    static std::uint64_t Mix(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }

    std::uint64_t state_;
};

Rgb ColorAt(const ConstPlane& picture, std::uint64_t x, std::uint64_t y) {
    const std::uint8_t* pixel = picture.GetRow(y) + x * kChannels;
    return {static_cast<float>(pixel[0]), static_cast<float>(pixel[1]), static_cast<float>(pixel[2])};
}

// The pixels of one known region that have an unknown neighbour, sorted by brightness, so that samples close to each
// other in the list are similar.
Samples BorderOf(std::uint8_t region, const ConstPlane& picture, const ConstPlane& trimap) {
    Samples samples;
    const std::uint64_t width = trimap.GetWidth(), height = trimap.GetHeight();
    const auto isUnknown = [&](std::uint64_t x, std::uint64_t y) { return !IsKnown(trimap.GetRow(y)[x]); };
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            if (trimap.GetRow(y)[x] != region) continue;
            const bool isBorder = (x > 0 && isUnknown(x - 1, y)) || (x + 1 < width && isUnknown(x + 1, y)) ||
                                  (y > 0 && isUnknown(x, y - 1)) || (y + 1 < height && isUnknown(x, y + 1));
            if (isBorder) samples.push_back({ColorAt(picture, x, y), static_cast<float>(x), static_cast<float>(y)});
        }
    }
    const auto brightness = [](const Sample& sample) { return sample.color[0] + sample.color[1] + sample.color[2]; };
    std::stable_sort(samples.begin(), samples.end(),
                     [&](const Sample& a, const Sample& b) { return brightness(a) < brightness(b); });
    return samples;
}

// Distances of all pixels from a known region, in thirds of a pixel, by the 3-4 chamfer transform (G. Borgefors,
// "Distance transformations in digital images", 1986).
std::vector<std::uint16_t> DistancesFrom(std::uint8_t region, const ConstPlane& trimap) {
    const auto width = static_cast<std::int64_t>(trimap.GetWidth()),
               height = static_cast<std::int64_t>(trimap.GetHeight());
    std::vector<std::uint16_t> distances(static_cast<std::size_t>(width * height), kFar);
    const auto sweep = [&](std::int64_t first, std::int64_t end, std::int64_t step) {
        for (std::int64_t i = first; i != end; i += step) {
            const std::int64_t y = i / width, x = i % width;
            if (trimap.GetRow(static_cast<std::uint64_t>(y))[x] == region) {
                distances[static_cast<std::size_t>(i)] = 0;
                continue;
            }
            const auto relax = [&](std::int64_t dx, std::int64_t dy, int length) {
                if (x + dx < 0 || x + dx >= width || y + dy < 0 || y + dy >= height) return;
                const int way = distances[static_cast<std::size_t>(i + dy * width + dx)] + length;
                auto& distance = distances[static_cast<std::size_t>(i)];
                distance = static_cast<std::uint16_t>(std::min<int>(distance, way));
            };
            relax(-step, 0, 3);
            relax(0, -step, 3);
            relax(-1, -step, 4);
            relax(1, -step, 4);
        }
    };
    sweep(0, width * height, 1);
    sweep(width * height - 1, -1, -1);
    return distances;
}

// Decides by the nearest known pixels of both regions that resemble an unknown one; if both do, it stays unknown.
std::uint8_t RegionNear(std::int64_t x, std::int64_t y, const ConstPlane& picture, const ConstPlane& trimap) {
    const auto last = [](std::uint64_t length) { return static_cast<std::int64_t>(length) - 1; };
    const Rgb color = ColorAt(picture, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    bool isForeground = false, isBackground = false;
    for (std::int64_t v = std::max<std::int64_t>(y - kGrowth, 0); v <= std::min(y + kGrowth, last(trimap.GetHeight()));
         ++v) {
        const std::uint8_t* const row = trimap.GetRow(static_cast<std::uint64_t>(v));
        for (std::int64_t u = std::max<std::int64_t>(x - kGrowth, 0);
             u <= std::min(x + kGrowth, last(trimap.GetWidth())); ++u) {
            if (!IsKnown(row[u]) || (row[u] == kForeground ? isForeground : isBackground)) continue;
            const float distance = std::hypot(static_cast<float>(u - x), static_cast<float>(v - y)),
                        likeness = kLikeness - distance;
            if (distance > kGrowth || likeness <= 0.0f) continue;
            const Rgb other = ColorAt(picture, static_cast<std::uint64_t>(u), static_cast<std::uint64_t>(v));
            float difference = 0.0f;
            for (int k = 0; k < kChannels; ++k) difference += (color[k] - other[k]) * (color[k] - other[k]);
            if (difference > likeness * likeness) continue;
            (row[u] == kForeground ? isForeground : isBackground) = true;
        }
    }
    if (isForeground == isBackground) return kUnknown;
    return isForeground ? kForeground : kBackground;
}

// An isolated pixel left unknown because of noise, among pixels of one region, belongs to that region; strands have
// unknown neighbours.
std::uint8_t WithoutSpeck(std::uint64_t x, std::uint64_t y, const ConstPlane& trimap) {
    constexpr int kMostNeighbours = 7;  // of 8
    int foreground = 0, background = 0;
    for (std::uint64_t v = y - 1; v <= y + 1; ++v) {
        for (std::uint64_t u = x - 1; u <= x + 1; ++u) {
            foreground += trimap.GetRow(v)[u] == kForeground;
            background += trimap.GetRow(v)[u] == kBackground;
        }
    }
    return foreground >= kMostNeighbours   ? kForeground
           : background >= kMostNeighbours ? kBackground
                                           : trimap.GetRow(y)[x];
}

// The trimap with the known regions grown.
FramePtr Grow(const IDataVideo& picture, const IDataVideo& trimap, const AllocatorPtr& allocator) {
    const FramePtr grown = NewFrame(allocator, PixFmt::Gray8, trimap.GetFrameInfo());
    const ConstPlane from = trimap.GetPlane(0), colors = picture.GetPlane(0);
    const Plane to = grown->GetPlane(0);
    Core::ParallelFor(from.GetHeight(), [&](std::size_t y) {
        const std::uint8_t* const row = from.GetRow(y);
        for (std::uint64_t x = 0; x < from.GetWidth(); ++x) {
            to.GetRow(y)[x] =
                IsKnown(row[x]) ? row[x]
                                : RegionNear(static_cast<std::int64_t>(x), static_cast<std::int64_t>(y), colors, from);
        }
    });
    const FramePtr even = CloneFrame(*grown, kCloneIndependent);
    const Plane result = even->GetPlane(0);
    Core::ParallelFor(from.GetHeight(), [&](std::size_t y) {
        if (y == 0 || y + 1 == from.GetHeight()) return;
        const ConstPlane noisy = std::as_const(*grown).GetPlane(0);
        for (std::uint64_t x = 1; x + 1 < from.GetWidth(); ++x) {
            if (!IsKnown(noisy.GetRow(y)[x])) result.GetRow(y)[x] = WithoutSpeck(x, y, noisy);
        }
    });
    return even;
}

// Searches for the best pair for every unknown pixel.
class PairSearch {
public:
    PairSearch(const ConstPlane& picture, const ConstPlane& trimap, std::uint32_t seed)
        : trimap_(trimap),
          seed_(seed),
          foreground_(BorderOf(kForeground, picture, trimap)),
          background_(BorderOf(kBackground, picture, trimap)),
          pairOf_(trimap.GetWidth() * trimap.GetHeight(), kNoPair) {
        if (foreground_.empty() || background_.empty()) return;
        const std::vector<std::uint16_t> toForeground = DistancesFrom(kForeground, trimap),
                                         toBackground = DistancesFrom(kBackground, trimap);
        for (std::uint32_t i = 0; i < pairOf_.size(); ++i) {
            const std::uint32_t x = i % Width(), y = i / Width();
            if (IsKnown(trimap.GetRow(y)[x])) continue;
            pairOf_[i] = static_cast<std::int32_t>(unknown_.size());
            unknown_.push_back({ColorAt(picture, x, y), static_cast<float>(x), static_cast<float>(y),
                                3.0f / static_cast<float>(toForeground[i]), 3.0f / static_cast<float>(toBackground[i]),
                                i});
        }
        pairs_.reserve(unknown_.size());
        for (const Unknown& pixel : unknown_) {
            Random random(seed_, 0, pixel.index);
            pairs_.push_back(MakePair(pixel, At(foreground_, random.Next() * 0.5f + 0.5f),
                                      At(background_, random.Next() * 0.5f + 0.5f)));
        }
    }

    /// Every pass visits all pixels, alternating between forward and backward order.
    void Run(int passes) {
        for (int pass = 1; pass <= passes; ++pass) {
            const std::int32_t count = static_cast<std::int32_t>(unknown_.size());
            const bool isForward = pass % 2 == 1;
            for (std::int32_t i = 0; i < count; ++i)
                Improve(isForward ? i : count - 1 - i, isForward ? -1 : 1, static_cast<std::uint32_t>(pass));
        }
    }

    /// Writes the opacities of the unknown pixels.
    void Store(const Plane& matte) const {
        for (std::size_t i = 0; i < pairs_.size(); ++i) {
            const std::uint32_t index = unknown_[i].index;
            matte.GetRow(index / Width())[index % Width()] =
                static_cast<std::uint8_t>(Shared::RoundHalfAway(pairs_[i].alpha * 255.0));
        }
    }

private:
    struct Unknown {
        Rgb color;
        float x, y;
        float perForeground, perBackground;  // 1 / distance from the regions, in pixels
        std::uint32_t index;
    };

    std::uint32_t Width() const { return static_cast<std::uint32_t>(trimap_.GetWidth()); }

    static std::uint32_t At(const Samples& samples, float share) {
        return std::min(static_cast<std::uint32_t>(share * static_cast<float>(samples.size())),
                        static_cast<std::uint32_t>(samples.size() - 1));
    }

    // The cost of a pair: the error of the mixture, in levels, and the distances of its samples, relative to the
    // smallest possible distances.
    Pair MakePair(const Unknown& pixel, std::uint32_t foreground, std::uint32_t background) const {
        const Sample &f = foreground_[foreground], &b = background_[background];
        float length = 0.0f, along = 0.0f;
        for (int k = 0; k < kChannels; ++k) {
            const float difference = f.color[k] - b.color[k];
            length += difference * difference;
            along += (pixel.color[k] - b.color[k]) * difference;
        }
        const float alpha = length > 0.0f ? std::clamp(along / length, 0.0f, 1.0f) : 0.5f;
        float misfit = 0.0f;
        for (int k = 0; k < kChannels; ++k) {
            const float rest = pixel.color[k] - (alpha * f.color[k] + (1.0f - alpha) * b.color[k]);
            misfit += rest * rest;
        }
        const auto distance = [&](const Sample& sample) {
            const float dx = sample.x - pixel.x, dy = sample.y - pixel.y;
            return std::sqrt(dx * dx + dy * dy);
        };
        const float cost = std::sqrt(misfit) + distance(f) * pixel.perForeground + distance(b) * pixel.perBackground;
        return {foreground, background, cost, alpha};
    }

    void Try(std::int32_t i, std::uint32_t foreground, std::uint32_t background) {
        Pair& present = pairs_[static_cast<std::size_t>(i)];
        const Pair candidate = MakePair(unknown_[static_cast<std::size_t>(i)], foreground, background);
        if (candidate.cost < present.cost) present = candidate;
    }

    void Improve(std::int32_t i, int step, std::uint32_t pass) {
        const Unknown& pixel = unknown_[static_cast<std::size_t>(i)];
        const std::int64_t x = pixel.index % Width(), y = pixel.index / Width(), width = Width();
        const auto tryNeighbour = [&](std::int64_t dx, std::int64_t dy) {
            if (x + dx < 0 || x + dx >= width || y + dy < 0 || y + dy >= static_cast<std::int64_t>(trimap_.GetHeight()))
                return;
            const std::int32_t neighbour = pairOf_[static_cast<std::size_t>((y + dy) * width + x + dx)];
            if (neighbour == kNoPair) return;
            const Pair& pair = pairs_[static_cast<std::size_t>(neighbour)];
            Try(i, pair.foreground, pair.background);
        };
        tryNeighbour(step, 0);
        tryNeighbour(0, step);
        tryNeighbour(-1, step);
        tryNeighbour(1, step);

        Random random(seed_, pass, pixel.index);
        auto reach = static_cast<float>(std::max(foreground_.size(), background_.size()));
        for (; reach >= 1.0f; reach *= 0.5f) {
            const Pair& present = pairs_[static_cast<std::size_t>(i)];
            const std::uint32_t foreground = Near(foreground_, present.foreground, reach * random.Next());
            const std::uint32_t background = Near(background_, present.background, reach * random.Next());
            Try(i, foreground, background);
        }
    }

    static std::uint32_t Near(const Samples& samples, std::uint32_t place, float offset) {
        const auto last = static_cast<std::int64_t>(samples.size()) - 1;
        return static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(std::int64_t{place} + static_cast<std::int64_t>(offset), 0, last));
    }

    const ConstPlane trimap_;
    const std::uint32_t seed_;
    const Samples foreground_, background_;
    std::vector<std::int32_t> pairOf_;  // by pixel
    std::vector<Unknown> unknown_;
    std::vector<Pair> pairs_;
};

void RequireBothRegions(const ConstPlane& trimap) {
    bool hasForeground = false, hasBackground = false;
    for (std::uint64_t y = 0; y < trimap.GetHeight() && !(hasForeground && hasBackground); ++y) {
        const std::uint8_t *row = trimap.GetRow(y), *end = row + trimap.GetWidth();
        hasForeground = hasForeground || std::find(row, end, kForeground) != end;
        hasBackground = hasBackground || std::find(row, end, kBackground) != end;
    }
    if (!hasForeground || !hasBackground) Throw("Trimap needs both foreground and background!");
}

// Sets the pixels that are known in the trimap.
void Pin(const ConstPlane& trimap, const Plane& matte) {
    for (std::uint64_t y = 0; y < matte.GetHeight(); ++y) {
        const std::uint8_t* known = trimap.GetRow(y);
        std::uint8_t* row = matte.GetRow(y);
        for (std::uint64_t x = 0; x < matte.GetWidth(); ++x) row[x] = IsKnown(known[x]) ? known[x] : row[x];
    }
}

class Matting : public EffectBaseVarInput<SettingsEffectMatting> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        FramePtr picture = boost::dynamic_pointer_cast<IDataVideo>(frames.front());
        ConstFramePtr trimap = Shared::InputAt(frames, 1);
        if (trimap == nullptr) Throw("Matting needs a trimap as its second picture!");
        trimap = Shared::GreyMask(trimap, *picture, "trimap", greyConverter_);
        RequireBothRegions(trimap->GetPlane(0));
        rgbConverter_.Convert(picture, PixFmt::Rgb24);

        const FrameInfo info = picture->GetFrameInfo();
        FramePtr small = picture, smallTrimap = boost::const_pointer_cast<IDataVideo>(trimap);
        const bool isReduced = std::max(info.width, info.height) > kLongestSide;
        if (isReduced) {
            resizer_->SetSettings(SettingsResizer(SettingsResizer::ResizeMethods::Area, SettingsResizer::kFitInside,
                                                  FrameInfo(kLongestSide, kLongestSide, info.aspect)));
            resizer_->ProcessData(small);
            resizer_->ProcessData(smallTrimap);  // pixels not entirely in one region become unknown
        }
        smallTrimap = Grow(*small, *smallTrimap, allocator_);
        FramePtr matte = MakeMatte(*small, *smallTrimap);
        Filter(matte, small, settings_.GetGuidedRadius());
        MakeWritable(matte);
        Pin(std::as_const(*smallTrimap).GetPlane(0), matte->GetPlane(0));
        if (isReduced) {
            resizer_->SetSettings(
                SettingsResizer(SettingsResizer::ResizeMethods::Bilinear, SettingsResizer::kExactSizeAlias, info));
            resizer_->ProcessData(matte);
            const double scale = static_cast<double>(info.width) / small->GetFrameInfo().width;
            Filter(matte, picture, static_cast<int>(std::ceil(scale)));
        }
        MakeWritable(matte);
        Pin(trimap->GetPlane(0), matte->GetPlane(0));
        return matte;
    }

    FramePtr MakeMatte(const IDataVideo& picture, const IDataVideo& trimap) const {
        FramePtr matte = NewFrame(allocator_, PixFmt::Gray8, picture.GetFrameInfo());
        CopyPlane(trimap.GetPlane(0), matte->GetPlane(0));
        PairSearch search(picture.GetPlane(0), trimap.GetPlane(0), settings_.GetSeed());
        search.Run(settings_.GetIterations());
        search.Store(matte->GetPlane(0));
        return matte;
    }

    void Filter(FramePtr& matte, const FramePtr& picture, int radius) {
        if (settings_.GetGuidedRadius() == 0) return;
        SettingsEffectGuidedFilter filter;
        filter.SetRadius(radius);
        filter.SetEpsilon(settings_.GetGuidedEpsilon());
        guidedFilter_->SetSettings(filter);
        guidedFilter_->ProcessData(matte, ConstFramePtr(picture));
    }

    Shared::FormatConverter greyConverter_{CreateOneInput<SettingsColorspaceConverter>()};
    Shared::FormatConverter rgbConverter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
    TwoInputPtr guidedFilter_ = CreateTwoInput<SettingsEffectGuidedFilter>();
};

}  // namespace

bool RegisterMatting(IEffectFactory& factory) { return RegisterEffect<Matting>(factory); }

}  // namespace Orvexa::Proc
