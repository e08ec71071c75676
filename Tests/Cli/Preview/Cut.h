// A part of a picture, as a picture of its own.
#pragma once

#include "Host/Proc/IData.h"

namespace Orvexa::Test {

inline Proc::FramePtr Cut(const Proc::FramePtr& frame, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                          std::uint32_t height) {
    Proc::FramePtr part = CloneFrame(*frame, Proc::kCloneView);
    part->Crop(x, y, width, height);
    return CloneFrame(*part, Proc::kCloneCopy);
}

}  // namespace Orvexa::Test
