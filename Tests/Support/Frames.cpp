#include "Tests/Support/Frames.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>

#include "Host/Proc/VideoFrame.h"

namespace Orvexa::Proc {

void PrintTo(const ConstFramePtr& frame, std::ostream* out) {
    if (frame == nullptr) {
        *out << "no frame";
        return;
    }
    *out << Test::Name(frame->GetPixFmt()) << ' ' << frame->GetFrameInfo().width << 'x' << frame->GetFrameInfo().height;
}

}  // namespace Orvexa::Proc

namespace Orvexa::Test {

namespace {

constexpr std::uint32_t kGuardLeft = 5, kGuardTop = 3, kGuardRight = 7, kGuardBottom = 4;

void FillPlane(const Plane& plane, Pattern pattern, std::mt19937& random) {
    const std::uint64_t width = plane.GetWidth(), height = plane.GetHeight(), bpp = plane.GetBytesPerPixel();
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t b = 0; b < width; ++b) {
            const std::uint64_t x = b / bpp, channel = b % bpp;
            int value = 0;
            switch (pattern) {
                case Pattern::Ramp: value = static_cast<int>(y * width + b); break;
                case Pattern::Noise: value = static_cast<int>(random()); break;
                case Pattern::Checker: value = (x + y) % 2 == 0 ? 255 : 0; break;
                case Pattern::OnePixel: value = x == width / bpp / 2 && y == height / 2 ? 255 : 0; break;
                case Pattern::ColorCube:
                    value = static_cast<int>((y * (width / bpp) + x) /
                                             (channel == 0   ? 1
                                              : channel == 1 ? 6
                                                             : 36) %
                                             6 * 51);
                    break;
            }
            plane.GetRow(y)[b] = static_cast<std::uint8_t>(value);
        }
    }
}

void FillFrame(const FramePtr& frame, Pattern pattern, std::uint32_t seed) {
    std::mt19937 random(seed);
    for (std::uint8_t i = 0; i < GetPlanesCount(*frame); ++i) FillPlane(frame->GetPlane(i), pattern, random);
}

std::uint32_t SeedOf(PixFmt pixFmt, std::uint32_t width, std::uint32_t height) {
    return static_cast<std::uint32_t>(pixFmt) * 7919u + width * 31u + height;
}

}  // namespace

const AllocatorPtr& TestAllocator() {
    static const AllocatorPtr allocator = Core::MakeRefCounted<FrameAllocator>();
    return allocator;
}

FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, Pattern pattern) {
    FramePtr frame = NewFrame(TestAllocator(), pixFmt, FrameInfo(width, height));
    FillFrame(frame, pattern, SeedOf(pixFmt, width, height));
    return frame;
}

FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const Color& color) {
    FramePtr frame = NewFrame(TestAllocator(), pixFmt, FrameInfo(width, height));
    frame->Fill(color);
    return frame;
}

FramePtr MakeFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const std::vector<int>& samples) {
    FramePtr frame = NewFrame(TestAllocator(), pixFmt, FrameInfo(width, height));
    const Plane plane = frame->GetPlane(0);
    if (samples.size() != plane.GetWidth() * plane.GetHeight())
        throw std::invalid_argument("samples do not fill the frame");
    for (std::size_t i = 0; i < samples.size(); ++i) {
        plane.GetRow(i / plane.GetWidth())[i % plane.GetWidth()] = static_cast<std::uint8_t>(samples[i]);
    }
    return frame;
}

std::vector<PixFmt> AllPixFmts() {
    std::vector<PixFmt> formats;
    for (const PixFmtDescription& description : PixFmtDescription::GetPixelFormatDescroptionsList())
        formats.push_back(description.pixFmt);
    return formats;
}

FramePtr MakeCoordinates(std::uint32_t width, std::uint32_t height) {
    return DrawFrame(PixFmt::Rgb24, width, height, [](int x, int y, int k) { return k == 0 ? x : k == 1 ? y : 0; });
}

std::vector<std::uint8_t> Bytes(const ConstPlane& plane) {
    std::vector<std::uint8_t> bytes;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y)
        bytes.insert(bytes.end(), plane.GetRow(y), plane.GetRow(y) + plane.GetWidth());
    return bytes;
}

std::vector<std::uint8_t> Bytes(const IDataVideo& frame) {
    std::vector<std::uint8_t> bytes;
    for (std::uint8_t i = 0; i < GetPlanesCount(frame); ++i) {
        const auto plane = Bytes(frame.GetPlane(i));
        bytes.insert(bytes.end(), plane.begin(), plane.end());
    }
    return bytes;
}

testing::AssertionResult SameFrames(const ConstFramePtr& actual, const ConstFramePtr& expected, int tolerance) {
    if (actual == nullptr || expected == nullptr) {
        if (actual == expected) return testing::AssertionSuccess();
        return testing::AssertionFailure() << (actual == nullptr ? "there is no frame" : "there should be no frame");
    }
    const FrameInfo &a = actual->GetFrameInfo(), &e = expected->GetFrameInfo();
    if (actual->GetPixFmt() != expected->GetPixFmt() || a.width != e.width || a.height != e.height) {
        return testing::AssertionFailure() << "the frame is " << testing::PrintToString(actual) << " instead of "
                                           << testing::PrintToString(expected);
    }
    std::ostringstream differences;
    std::size_t count = 0;
    constexpr std::size_t kShown = 5;
    for (std::uint8_t i = 0; i < GetPlanesCount(*actual); ++i) {
        const ConstPlane p = actual->GetPlane(i), q = expected->GetPlane(i);
        if (p.GetWidth() != q.GetWidth() || p.GetHeight() != q.GetHeight())
            return testing::AssertionFailure() << "plane " << int{i} << " has another size";
        for (std::uint64_t y = 0; y < p.GetHeight(); ++y) {
            for (std::uint64_t b = 0; b < p.GetWidth(); ++b) {
                const int is = p.GetRow(y)[b], should = q.GetRow(y)[b];
                if (std::abs(is - should) <= tolerance || count++ >= kShown) continue;
                differences << "\n  plane " << int{i} << " (" << b / p.GetBytesPerPixel() << ", " << y << ") byte "
                            << b % p.GetBytesPerPixel() << ": " << is << " instead of " << should;
            }
        }
    }
    if (count == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << count << " samples of " << testing::PrintToString(actual) << " differ"
                                       << differences.str();
}

FramePtr MakeHalfHidden(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, const Color& shown,
                        const Color& hidden) {
    FramePtr frame = MakeFrame(pixFmt, width, height, shown);
    const FramePtr right = CloneFrame(*frame, kCloneView);
    right->Crop(width / 2, 0, width - width / 2, height);
    right->Fill(Color(hidden.red(), hidden.green(), hidden.blue(), 0));
    return frame;
}

GuardedFrame::GuardedFrame(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, Pattern pattern)
    : whole_(MakeFrame(pixFmt, kGuardLeft + width + kGuardRight, kGuardTop + height + kGuardBottom, Pattern::Noise)),
      view_(CloneFrame(*whole_, kCloneView)) {
    view_->Crop(kGuardLeft, kGuardTop, width, height);
    FillFrame(view_, pattern, SeedOf(pixFmt, width, height));
    before_ = Bytes(*whole_);
}

testing::AssertionResult GuardedFrame::IsGuardIntact() const {
    std::vector<std::uint8_t> after = Bytes(*whole_);
    // Planes follow each other in `before_`; what lies under the view is masked out of both.
    std::size_t offset = 0;
    for (std::uint8_t i = 0; i < GetPlanesCount(*whole_); ++i) {
        const ConstPlane all = std::as_const(*whole_).GetPlane(i), inner = std::as_const(*view_).GetPlane(i);
        const std::int64_t distance = inner.GetData() - all.GetData();
        const bool isInside = distance >= 0 && static_cast<std::uint64_t>(distance) <
                                                   static_cast<std::uint64_t>(all.GetStride()) * all.GetHeight();
        if (isInside) {
            const std::uint64_t top = static_cast<std::uint64_t>(distance / all.GetStride()),
                                left = static_cast<std::uint64_t>(distance % all.GetStride());
            for (std::uint64_t y = 0; y < inner.GetHeight(); ++y) {
                const std::size_t at = offset + (top + y) * all.GetWidth() + left;
                std::copy_n(before_.begin() + static_cast<std::ptrdiff_t>(at), inner.GetWidth(),
                            after.begin() + static_cast<std::ptrdiff_t>(at));
            }
        }
        offset += all.GetWidth() * all.GetHeight();
    }
    if (after == before_) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "bytes outside the view were written";
}

std::string Name(PixFmt pixFmt) {
    const PixFmtDescription* description = PixFmtDescription::Find(pixFmt);
    return description == nullptr ? "unknown" : description->name;
}

}  // namespace Orvexa::Test
