// FaceThinning: slims a face by drawing in the line of its cheeks and jaw. Bands of quadrilaterals lie along the
// outline, from a curve inside the face to one outside. Within a band a pixel at v, 0 at the inner curve and 1 at the
// outer one, shows the pixel at v^(1 - 0.35 strength): one farther out if strength is positive, and itself at both
// curves, so that the background beside the cheek is stretched without a seam.

#include <algorithm>
#include <cmath>
#include <vector>

#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Photo/SettingsEffectFaceThinning.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FaceBands.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/Patches.h"
#include "Proc/Effects/EffectsPhoto/Shared/Power.h"
#include "Proc/Effects/EffectsPhoto/Shared/Quadrilateral.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

using Shared::BandCorners;
using Shared::Quadrilateral;

constexpr double kExponentGain = 0.35;

// The part of a frame that contains a band.
CropInfo BoxOf(const BandCorners& corners, const FrameInfo& info) {
    const auto byX = [](const Point<int>& a, const Point<int>& b) { return a.x < b.x; };
    const auto byY = [](const Point<int>& a, const Point<int>& b) { return a.y < b.y; };
    const auto [left, right] = std::minmax_element(corners.begin(), corners.end(), byX);
    const auto [top, bottom] = std::minmax_element(corners.begin(), corners.end(), byY);
    const auto clip = [](int position, std::uint32_t side) {
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(position, 0, side));
    };
    return {clip(left->x, info.width), clip(right->x, info.width), clip(top->y, info.height),
            clip(bottom->y, info.height)};
}

Quadrilateral Relative(BandCorners corners, const CropInfo& box) {
    for (Point<int>& corner : corners) {
        corner.x -= static_cast<int>(box.left);
        corner.y -= static_cast<int>(box.top);
    }
    return Quadrilateral(corners);
}

// A position rounded half away from zero, and whether every position within `error` rounds to the same value.
struct Rounded {
    static constexpr double kFarthest = 1 << 30;

    Rounded(double position, double error) {
        const bool isNumber = std::abs(position) < kFarthest;
        const double number = isNumber ? position : 0.0;
        const double raised = number + (number < 0.0 ? -0.5 : 0.5);
        value = static_cast<int>(raised);
        const double rest = std::abs(raised - value);
        isSure = isNumber & (rest > error) & (rest < 1.0 - error);
    }

    int value;
    bool isSure;
};

// Computes the source positions of the pixels in a band.
class Bend {
public:
    Bend(const Quadrilateral& shape, const Shared::Power& power)
        : shape_(shape), power_(power), error_(shape.GetSpan() * Shared::Power::kError + kRounding) {}

    // Source positions for the pixels of a row; only the marked ones are displaced.
    void FillRow(int y, int columns, const std::uint8_t* marks, float* sourceX, float* sourceY) {
        for (int x = 0; x < columns; ++x) sourceX[x] = static_cast<float>(x);
        std::fill(sourceY, sourceY + columns, static_cast<float>(y));
        for (int x = 0; x < columns; ++x) {
            if (marks[x] == 0) continue;
            const int first = x;
            while (x < columns && marks[x] != 0) ++x;
            BendRun(first, y, x - first, sourceX + first, sourceY + first);
        }
    }

private:
    static constexpr double kRounding = 1e-9;  // rounding error of the positions' own arithmetic

    void BendRun(int x, int y, int count, float* sourceX, float* sourceY) {
        const auto size = static_cast<std::size_t>(count);
        for (auto* const values : {&u_, &v_, &bentV_}) values->resize(std::max(values->size(), size));
        isSure_.resize(std::max(isSure_.size(), size));
        shape_.CoordinatesOfRow(x, y, count, u_.data(), v_.data());
        for (std::size_t i = 0; i < size; ++i) bentV_[i] = power_.Nearly(v_[i]);
        for (std::size_t i = 0; i < size; ++i) {
            const auto [nearX, nearY] = shape_.PointAt(u_[i], bentV_[i]);
            const Rounded fromX(nearX, error_), fromY(nearY, error_);
            sourceX[i] = static_cast<float>(fromX.value);
            sourceY[i] = static_cast<float>(fromY.value);
            isSure_[i] = fromX.isSure & fromY.isSure;
        }
        for (std::size_t i = 0; i < size; ++i) {
            if (isSure_[i] != 0) continue;
            const auto [exactX, exactY] = shape_.PointAt(u_[i], power_.Exactly(v_[i]));
            const bool isNumber = std::abs(exactX) < Rounded::kFarthest && std::abs(exactY) < Rounded::kFarthest;
            sourceX[i] = static_cast<float>(isNumber ? Rounded(exactX, 0.0).value : x + static_cast<int>(i));
            sourceY[i] = static_cast<float>(isNumber ? Rounded(exactY, 0.0).value : y);
        }
    }

    const Quadrilateral& shape_;
    const Shared::Power& power_;
    double error_;
    // For the pixels of a run.
    std::vector<double> u_, v_, bentV_;
    std::vector<std::int64_t> isSure_;  // as wide as the others, so that the loop can be vectorised
};

// A warped part of the picture, and the marks of its pixels that lie in the band.
struct Band {
    CropInfo box;
    FramePtr patch;
    std::vector<std::uint8_t> marks;
};

class FaceThinning : public EffectBaseOneInput<SettingsEffectFaceThinning> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        if (frame->GetPixFmt() == PixFmt::Pal8) converter_.Convert(frame, PixFmt::Rgba);  // for CopyColors
        const PixFmt pixFmt = frame->GetPixFmt();
        converter_.Prepare(pixFmt);
        const Shared::Power power(1.0 - settings_.GetStrength() * kExponentGain);
        // All bands are warped before the first is written back: each is computed from the original picture.
        std::vector<Band> bands;
        for (const BandCorners& corners :
             Shared::BandsAlong(settings_.GetOutline().GetContour(), frame->GetFrameInfo())) {
            const CropInfo box = Shared::AlignedToChroma(BoxOf(corners, frame->GetFrameInfo()), pixFmt);
            if (!Shared::IsEmpty(box)) bands.push_back(Bent(*frame, box, Relative(corners, box), power));
        }
        if (bands.empty()) return;
        MakeWritable(frame);
        for (Band& band : bands) {
            if (band.patch->GetPixFmt() != pixFmt) converter_.Convert(band.patch, pixFmt);
            Shared::CopyColors(*band.patch, *frame, band.box.left, band.box.top, band.marks);
        }
    }

    Band Bent(const IDataVideo& frame, const CropInfo& box, const Quadrilateral& shape, const Shared::Power& power) {
        const int width = static_cast<int>(box.right - box.left), height = static_cast<int>(box.bottom - box.top);
        Band band{box, Shared::ViewOf(frame, box), {}};
        band.marks.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        const auto marksOf = [&band, width](int y) { return &band.marks[static_cast<std::size_t>(y) * width]; };
        for (int y = 0; y < height; ++y) shape.MarkRow(y, width, marksOf(y));
        remapping_.SetRowFunction(
            [&marksOf, bend = Bend(shape, power)](int y, int columns, float* sourceX, float* sourceY) mutable {
                bend.FillRow(y, columns, marksOf(y), sourceX, sourceY);
            });
        remapper_->SetSettings(remapping_);
        remapper_->ProcessData(band.patch);
        return band;
    }

    OneInputPtr remapper_ = CreateOneInput<SettingsEffectRemapping>();
    SettingsEffectRemapping remapping_;
    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
};

}  // namespace

bool RegisterFaceThinning(IEffectFactory& factory) { return RegisterEffect<FaceThinning>(factory); }

}  // namespace Orvexa::Proc
