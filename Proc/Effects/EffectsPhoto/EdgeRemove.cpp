// EdgeRemove: removes a dark line (a crease, a seam, an edge) along a segment of the picture.
//
// At every step along the segment the picture is sampled across it, as far as the radius and the mask allow. Pixels
// darker than their step's mean are shifted by a colour difference: that between the surrounding colours, taken from
// the darkest pixels that are not darker than the mean, and the mean of the dark pixels. The patch is blended into the
// destination through the mask.

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Photo/SettingsEffectEdgeRemove.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/Blend.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/Inputs.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint8_t kChanged = 255, kLooked = 127;  // values in the record of processed pixels
constexpr std::uint32_t kBoxMargin = 3;                // pixels
constexpr double kBlurDeviation = 1.0;
constexpr int kOpeningSize = 3;
constexpr int kChannels = 3;

using Sums = std::array<std::int64_t, kChannels>;

struct Position {
    std::int32_t x = 0, y = 0;
    bool operator<(const Position& other) const { return std::tie(x, y) < std::tie(other.x, other.y); }
};

// One step along the segment: the pixels across it, by column, each flagged if it is darker than their mean, and the
// darkest of the unflagged ones.
struct Sample {
    double x, y;
    std::map<Position, bool> isDark;
    std::uint8_t darkest = 255;
    Position darkestAt;
};

const std::uint8_t* At(const ConstPlane& plane, const Position& position) {
    return plane.GetOffsetPtr(static_cast<std::uint64_t>(position.x), static_cast<std::uint64_t>(position.y));
}
std::uint8_t* At(const Plane& plane, const Position& position) {
    return plane.GetOffsetPtr(static_cast<std::uint64_t>(position.x), static_cast<std::uint64_t>(position.y));
}

// The segment's samples, made up of the pixels across it with a non-zero mask.
std::vector<Sample> MakeSamples(const Position& from, const Position& to, int radius, const ConstPlane& mask) {
    const int dx = to.x - from.x, dy = to.y - from.y, length = std::abs(dx) + std::abs(dy);
    const double ux = static_cast<double>(dx) / length, uy = static_cast<double>(dy) / length;
    const auto width = static_cast<std::int64_t>(mask.GetWidth()), height = static_cast<std::int64_t>(mask.GetHeight());
    std::vector<Sample> samples;
    for (int i = 0; i <= length; ++i) {
        Sample sample{from.x + i * ux, from.y + i * uy, {}, 255, {}};
        for (const int direction : {1, -1}) {
            for (int j = direction > 0 ? 0 : 1; j < radius; ++j) {
                const std::int64_t x = Shared::RoundHalfAway(sample.x + j * direction * uy),
                                   y = Shared::RoundHalfAway(sample.y - j * direction * ux);
                if (x < 0 || y < 0 || x >= width || y >= height) break;
                const Position position{static_cast<std::int32_t>(x), static_cast<std::int32_t>(y)};
                if (*At(mask, position) == 0) break;
                sample.isDark.emplace(position, false);
            }
        }
        samples.push_back(std::move(sample));
    }
    return samples;
}

void Classify(Sample& sample, const ConstPlane& guide) {
    if (sample.isDark.empty()) return;
    std::uint64_t sum = 0;
    for (const auto& [position, dark] : sample.isDark) sum += *At(guide, position);
    const std::uint64_t mean = sum / sample.isDark.size();
    for (auto& [position, dark] : sample.isDark) {
        const std::uint8_t value = *At(guide, position);
        dark = value < mean;
        if (dark || value >= sample.darkest) continue;
        sample.darkest = value;
        sample.darkestAt = position;
    }
}

// Recolours the dark pixels of the samples in `corrected`, a copy of `source`, and records the pixels processed. Pixels
// already corrected for earlier samples enter later sums with their new values. Intended.
class Recolouring {
public:
    Recolouring(const ConstPlane& source, const Plane& corrected, const Plane& record)
        : source_(source), corrected_(corrected), record_(record) {}

    void Apply(const std::vector<Sample>& samples) {
        for (std::size_t k = 0; k < samples.size(); ++k) {
            const Sample &previous = samples[k == 0 ? k : k - 1], &next = samples[std::min(k + 1, samples.size() - 1)];
            Apply(samples[k], previous, next);
        }
    }

    /// The bounding box of the dark pixels; left >= right if there were none.
    const CropInfo& GetBox() const { return box_; }

private:
    void Apply(const Sample& sample, const Sample& previous, const Sample& next) {
        Sums sums{};
        std::int64_t count = 0;
        for (const auto& [position, dark] : sample.isDark) {
            std::uint8_t& record = *At(record_, position);
            if (!dark) {
                record = kLooked;
                continue;
            }
            box_.Apart(static_cast<std::uint32_t>(position.x), static_cast<std::uint32_t>(position.y));
            if (record == 0) record = kChanged;
            const std::uint8_t* pixel = At(corrected_, position);
            for (int c = 0; c < kChannels; ++c) sums[c] += pixel[c];
            ++count;
        }
        const std::array<const Sample*, 3> around{&previous, &sample, &next};
        std::int64_t weights = 0;
        for (const Sample* near : around) weights += 255 - near->darkest;
        if (count == 0 || weights == 0) return;  // there is nothing around to take a colour from
        Sums change;
        for (int c = 0; c < kChannels; ++c) {
            std::int64_t target = 0;
            for (const Sample* near : around) target += At(source_, near->darkestAt)[c] * (255 - near->darkest);
            change[c] = target / weights - sums[c] / count;
        }
        for (const auto& [position, dark] : sample.isDark) {
            if (!dark || *At(record_, position) != kChanged) continue;
            std::uint8_t* pixel = At(corrected_, position);
            for (int c = 0; c < kChannels; ++c)
                pixel[c] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(pixel[c] + change[c], 0, 255));
        }
    }

    const ConstPlane source_;
    const Plane corrected_, record_;
    CropInfo box_ = CropInfo::Nothing();
};

class EdgeRemove : public EffectBaseVarInput<SettingsEffectEdgeRemove> {
public:
    EdgeRemove(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseVarInput(factory, allocator) {
        SettingsEffectBlur blur(1);
        blur.SetDevX(kBlurDeviation);  // across columns only
        blur_->SetSettings(blur);
    }

private:
    void CheckSettings(const SettingsEffectEdgeRemove& settings) const override {
        if (settings.GetMaxValue() < 1 || settings.GetMaxValue() > 255) Throw("MaxValue must be between 1 and 255!");
    }

    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        if (settings_.GetFromX() == settings_.GetToX() && settings_.GetFromY() == settings_.GetToY())
            Throw("EdgeRemove needs a segment: its end points, from and to, must differ!");
        const ConstFramePtr source = AsPacked(Shared::InputAt(frames, 0));
        ConstFramePtr mask = Shared::InputAt(frames, 1);
        const ConstFramePtr given = frames.size() > 2 ? Shared::InputAt(frames, 2) : source;
        const FrameInfo& info = source->GetFrameInfo();
        Shared::RequireSizeOf(*source, *given, "destination");
        mask = mask == nullptr ? Everywhere(info) : Shared::GreyMask(mask, *source, "mask", greyConverter_);
        FramePtr destination = boost::const_pointer_cast<IDataVideo>(given);
        converter_.Convert(destination, source->GetPixFmt());
        Remove(*source, *mask, destination);
        return destination;
    }

    // The three channels of a colour must be adjacent in a pixel.
    ConstFramePtr AsPacked(const ConstFramePtr& picture) {
        if (PixFmtDescription::Get(picture->GetPixFmt()).kind == PixFmtDescription::Kind::Packed) return picture;
        FramePtr packed = boost::const_pointer_cast<IDataVideo>(picture);
        packedConverter_->ProcessData(packed);
        return packed;
    }

    FramePtr Everywhere(const FrameInfo& info) const {
        FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, info);
        mask->Fill(Color::White(Opacity::Opaque));
        return mask;
    }

    CropInfo WorkingRectangle(const FrameInfo& info) const {
        const CropInfo& rect = settings_.GetRect();
        if (rect == CropInfo()) return {0, info.width, 0, info.height};
        if (rect.left >= rect.right || rect.top >= rect.bottom || rect.right > info.width || rect.bottom > info.height)
            Throw("The rectangle must be given as left,right,top,bottom and lie within the picture of " +
                  Shared::SizeText(info));
        return rect;
    }

    void Remove(const IDataVideo& source, const IDataVideo& mask, FramePtr& destination) {
        const CropInfo rect = WorkingRectangle(source.GetFrameInfo());
        const FramePtr part = Shared::ViewOf(source, rect);
        const ConstFramePtr partMask = Shared::ViewOf(mask, rect);
        const auto relative = [&](std::int32_t x, std::int32_t y) {
            return Position{x - static_cast<std::int32_t>(rect.left), y - static_cast<std::int32_t>(rect.top)};
        };
        std::vector<Sample> samples =
            MakeSamples(relative(settings_.GetFromX(), settings_.GetFromY()),
                        relative(settings_.GetToX(), settings_.GetToY()), settings_.GetRadius(), partMask->GetPlane(0));
        const FramePtr guide = MakeGuide(part);
        for (Sample& sample : samples) Classify(sample, std::as_const(*guide).GetPlane(0));

        const FramePtr record = NewFrame(allocator_, PixFmt::Gray8, part->GetFrameInfo());
        record->Fill(Color::Black(Opacity::Opaque));
        const FramePtr corrected = CloneFrame(*part, kCloneIndependent);
        Recolouring recolouring(std::as_const(*part).GetPlane(0), corrected->GetPlane(0), record->GetPlane(0));
        recolouring.Apply(samples);
        if (recolouring.GetBox().left >= recolouring.GetBox().right) return;
        const CropInfo box = Widened(recolouring.GetBox(), part->GetFrameInfo());
        FramePtr patch = Shared::ViewOf(*corrected, box);
        blur_->ProcessData(patch);
        converter_.Convert(patch, source.GetPixFmt());
        MakeWritable(destination);
        const CropInfo target{rect.left + box.left, rect.left + box.right, rect.top + box.top, rect.top + box.bottom};
        Blend(*Shared::ViewOf(*destination, target), *patch, *Opacities(*partMask, *record, box));
    }

    // The luma with small bright spots removed, then blurred.
    FramePtr MakeGuide(FramePtr picture) {
        grayscale_->ProcessData(picture);
        morphology_->ProcessData(picture);
        blur_->ProcessData(picture);
        return picture;
    }

    static CropInfo Widened(const CropInfo& box, const FrameInfo& info) {
        return {box.left - std::min(box.left, kBoxMargin), std::min(box.right + kBoxMargin, info.width),
                box.top - std::min(box.top, kBoxMargin), std::min(box.bottom + kBoxMargin, info.height)};
    }

    // The mask in the box, scaled so that its maximum is opaque; 0 where no pixel was changed.
    FramePtr Opacities(const IDataVideo& mask, const IDataVideo& record, const CropInfo& box) const {
        Shared::Curve scale;
        for (int i = 0; i < 256; ++i)
            scale[i] = static_cast<std::uint8_t>(std::min(i * 255 / settings_.GetMaxValue(), 255));
        FramePtr opacities = CloneFrame(*Shared::ViewOf(mask, box), kCloneIndependent);
        const ConstFramePtr done = Shared::ViewOf(record, box);
        const Plane plane = opacities->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            std::uint8_t* row = plane.GetRow(y);
            const std::uint8_t* changed = done->GetPlane(0).GetRow(y);
            for (std::uint64_t x = 0; x < plane.GetWidth(); ++x)
                row[x] = changed[x] == kChanged ? scale[row[x]] : std::uint8_t{0};
        }
        return opacities;
    }

    static void Blend(IDataVideo& destination, const IDataVideo& patch, const IDataVideo& opacities) {
        const Plane to = destination.GetPlane(0);
        const ConstPlane from = patch.GetPlane(0), mask = opacities.GetPlane(0);
        const std::uint64_t step = to.GetBytesPerPixel();
        for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
            std::uint8_t* under = to.GetRow(y);
            const std::uint8_t *over = from.GetRow(y), *opacity = mask.GetRow(y);
            for (std::uint64_t x = 0; x < mask.GetWidth(); ++x, under += step, over += step) {
                for (int c = 0; c < kChannels; ++c) under[c] = Shared::BlendByte(under[c], over[c], opacity[x]);
            }
        }
    }

    OneInputPtr grayscale_ = CreateOneInput(SettingsEffectGrayscale(1));
    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr morphology_ = CreateOneInput(SettingsEffectMorphology(
        MorphologyOperation::Open, kOpeningSize, MorphologyKernel::Rectangle, MorphologyBorder::Reflect));
    OneInputPtr blur_ = CreateOneInput<SettingsEffectBlur>();
    Shared::FormatConverter greyConverter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr packedConverter_ = CreateOneInput(SettingsColorspaceConverter({PixFmt::Rgb24, PixFmt::Rgba}, true));
};

}  // namespace

bool RegisterEdgeRemove(IEffectFactory& factory) { return RegisterEffect<EdgeRemove>(factory); }

}  // namespace Orvexa::Proc
