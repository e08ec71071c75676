// Compose: combines two pictures by a function of their samples, D of the first input and S of the second.
//
// The functions are those of W3C "Compositing and Blending Level 1" on samples of 0..1; soft light is its cubic and
// square-root form. They are intended for RGB and grey: Y'CbCr frames are composed as RGB. D is unchanged where the
// inputs do not overlap, and so is its alpha.

#include <algorithm>
#include <cmath>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectCompose.h"

namespace Orvexa::Proc {
namespace {

using Table = std::array<std::uint8_t, 256 * 256>;  // by D * 256 + S

double HardLight(double d, double s) { return s <= 0.5 ? 2 * s * d : 2 * s + d - 1 - (2 * s - 1) * d; }

double SoftLight(double d, double s) {
    if (s <= 0.5) return d - (1 - 2 * s) * d * (1 - d);
    const double lit = d <= 0.25 ? ((16 * d - 12) * d + 4) * d : std::sqrt(d);
    return d + (2 * s - 1) * (lit - d);
}

double Composed(ComposeOperator composition, double d, double s) {
    switch (composition) {
        case ComposeOperator::Multiply: return d * s;
        case ComposeOperator::Screen: return d + s - d * s;
        case ComposeOperator::Overlay: return HardLight(s, d);
        case ComposeOperator::SoftLight: return SoftLight(d, s);
        case ComposeOperator::HardLight: return HardLight(d, s);
        case ComposeOperator::ColorDodge: return d == 0 ? 0 : s == 1 ? 1 : std::min(1.0, d / (1 - s));
        case ComposeOperator::ColorBurn: return d == 1 ? 1 : s == 0 ? 0 : 1 - std::min(1.0, (1 - d) / s);
        case ComposeOperator::Darken: return std::min(d, s);
        case ComposeOperator::Lighten: return std::max(d, s);
        case ComposeOperator::Difference: return std::abs(d - s);
    }
    Throw("Compose operator is not supported! It must be 0..9.");
}

void FillTable(Table& table, ComposeOperator composition, double opacity) {
    for (std::size_t d = 0; d < 256; ++d) {
        for (std::size_t s = 0; s < 256; ++s) {
            const double under = static_cast<double>(d) / 255,
                         over = Composed(composition, under, static_cast<double>(s) / 255);
            table[d * 256 + s] = static_cast<std::uint8_t>((under + (over - under) * opacity) * 255 + 0.5);
        }
    }
}

class Compose : public HostTwoInput<SettingsEffectCompose> {
public:
    Compose(const FactoryPtr& factory, const AllocatorPtr& allocator) : HostTwoInput(factory, allocator) {
        MakeTable();
    }

    void SetSettings(const Settings& settings) override {
        HostTwoInput::SetSettings(settings);
        MakeTable();
    }

protected:
    void Process(FramePtr& frame, const ConstFramePtr& second) override {
        const PixFmtDescription& original = PixFmtDescription::Get(frame->GetPixFmt());
        const bool isReady =
            original.kind == PixFmtDescription::Kind::Packed || original.kind == PixFmtDescription::Kind::Gray;
        const PixFmt working = isReady ? original.pixFmt : original.HasAlpha() ? PixFmt::Rgba : PixFmt::Rgb24;
        FramePtr result = isReady ? CloneFrame(*frame, kCloneIndependent) : ConvertPixFmt(*frame, working, allocator_);
        const ConstFramePtr layer = InFormat(second, working, allocator_);
        ComposeInto(result->GetPlane(0), layer->GetPlane(0), PixFmtDescription::Get(working).alpha);
        frame = InFormat(result, ExpandedFormat(original.pixFmt), allocator_);
    }

private:
    void MakeTable() { FillTable(table_, settings_.GetOperator(), settings_.GetOpacity() / 100.0); }

    void ComposeInto(const Plane& d, const ConstPlane& s, int alpha) const {
        const std::uint64_t bytesPerPixel = d.GetBytesPerPixel(), width = std::min(d.GetWidth(), s.GetWidth());
        for (std::uint64_t y = 0; y < std::min(d.GetHeight(), s.GetHeight()); ++y) {
            std::uint8_t* to = d.GetRow(y);
            const std::uint8_t* from = s.GetRow(y);
            if (alpha < 0) {
                for (std::uint64_t i = 0; i < width; ++i)
                    to[i] = table_[static_cast<std::size_t>(to[i]) << 8 | from[i]];
                continue;
            }
            for (std::uint64_t i = 0; i < width; ++i) {
                if (static_cast<int>(i % bytesPerPixel) != alpha)
                    to[i] = table_[static_cast<std::size_t>(to[i]) << 8 | from[i]];
            }
        }
    }

    Table table_;
};

}  // namespace

TwoInputPtr CreateCompose(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Compose>(factory, allocator);
}

}  // namespace Orvexa::Proc
