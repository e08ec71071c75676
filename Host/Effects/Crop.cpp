// Crop: cuts a rectangle out of a frame. On subsampled planes its offset is rounded down.

#include <cmath>
#include <string>

#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectCrop.h"

namespace Orvexa::Proc {
namespace {

struct Span {
    std::int64_t first, size;
};

// Both ends are rounded, so that adjacent parts of a picture fit together without gap or overlap.
Span SpanOf(const Length& start, const Length& length, std::uint32_t side) {
    const auto rounded = [](double value) { return static_cast<std::int64_t>(std::llround(std::min(value, 1e9))); };
    const double first = start.In(side), end = length.IsOpen() ? side : first + length.In(side);
    return {rounded(first), rounded(end) - rounded(first)};
}

class Crop : public HostOneInput<SettingsEffectCrop> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        const Span x = SpanOf(settings_.GetX(), settings_.GetWidth(), info.width),
                   y = SpanOf(settings_.GetY(), settings_.GetHeight(), info.height);
        if (x.first == 0 && y.first == 0 && x.size == info.width && y.size == info.height) return;
        if (x.size <= 0 || y.size <= 0 || x.first + x.size > info.width || y.first + y.size > info.height) {
            const auto pair = [](std::int64_t a, const char* between, std::int64_t b) {
                return std::to_string(a) + between + std::to_string(b);
            };
            Throw("A crop of " + pair(std::max(x.size, std::int64_t{0}), " x ", std::max(y.size, std::int64_t{0})) +
                  " pixels at (" + pair(x.first, ", ", y.first) + ") does not lie inside the picture of " +
                  pair(info.width, " x ", info.height) + " pixels!");
        }
        const FramePtr view = CloneFrame(*frame, kCloneView);
        view->Crop(static_cast<std::uint32_t>(x.first), static_cast<std::uint32_t>(y.first),
                   static_cast<std::uint32_t>(x.size), static_cast<std::uint32_t>(y.size));
        frame = CloneFrame(*view, kCloneIndependent);  // frees the memory of the parts cut off
    }
};

}  // namespace

OneInputPtr CreateCrop(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Crop>(factory, allocator);
}

}  // namespace Orvexa::Proc
