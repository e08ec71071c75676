#include "Proc/Effects/EffectsPhoto/Shared/Patches.h"

#include <cstring>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"

namespace Orvexa::Proc::Shared {

namespace {

// The samples to copy in one plane.
struct Samples {
    std::size_t size;                   // bytes from one sample to the next
    std::vector<std::size_t> channels;  // bytes of a sample to copy
};

Samples SamplesOf(const PixFmtDescription& description, std::uint8_t plane) {
    Samples samples{description.GetBytesPerPixel(plane), {}};
    const bool isPacked = description.GetRole(plane) == PlaneRole::Packed;
    for (std::size_t k = 0; k < samples.size; ++k) {
        if (!isPacked || static_cast<int>(k) != description.alpha) samples.channels.push_back(k);
    }
    return samples;
}

void CopySamples(const Samples& samples, const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    if (samples.channels.size() == samples.size) {
        std::memcpy(to, from, count * samples.size);
        return;
    }
    for (std::size_t i = 0; i < count * samples.size; i += samples.size) {
        for (const std::size_t channel : samples.channels) to[i + channel] = from[i + channel];
    }
}

}  // namespace

CropInfo AlignedToChroma(CropInfo box, PixFmt pixFmt) {
    const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
    box.left = box.left >> description.chromaShiftX << description.chromaShiftX;
    box.top = box.top >> description.chromaShiftY << description.chromaShiftY;
    return box;
}

void CopyColors(const IDataVideo& patch, IDataVideo& frame, std::uint32_t x, std::uint32_t y,
                const std::vector<std::uint8_t>& mask) {
    const PixFmtDescription& description = PixFmtDescription::Get(patch.GetPixFmt());
    if (frame.GetPixFmt() != patch.GetPixFmt()) Throw("Frames to copy must have the same pixel format!");
    if (description.kind == PixFmtDescription::Kind::Indexed) Throw("Pixel format is not supported!");
    const FrameInfo& info = patch.GetFrameInfo();
    for (std::uint8_t i = 0; i < description.planes; ++i) {
        if (description.GetRole(i) == PlaneRole::Alpha) continue;
        const std::uint8_t shiftX = description.GetShiftX(i), shiftY = description.GetShiftY(i);
        const Samples samples = SamplesOf(description, i);
        const ConstPlane from = patch.GetPlane(i);
        const Plane to = frame.GetPlane(i).MakeSubplane(x, y, info.width, info.height,
                                                        static_cast<std::uint8_t>(samples.size), shiftX, shiftY);
        const std::size_t columns = from.GetPixelsPerRow();
        for (std::uint64_t row = 0; row < from.GetHeight(); ++row) {
            const std::uint8_t* const marks = &mask[(row << shiftY) * info.width];
            const auto isMarked = [&](std::size_t column) { return marks[column << shiftX] != 0; };
            for (std::size_t column = 0; column < columns; ++column) {
                if (!isMarked(column)) continue;
                const std::size_t first = column;
                while (++column < columns && isMarked(column)) {
                }
                CopySamples(samples, from.GetRow(row) + first * samples.size, to.GetRow(row) + first * samples.size,
                            column - first);
            }
        }
    }
}

}  // namespace Orvexa::Proc::Shared
