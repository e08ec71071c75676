// Preserves transparency across effects that work without alpha.
#pragma once

#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// Keeps the alpha of a picture while a step runs on it whose effect would make it opaque.
class AlphaKeeper {
public:
    /// Call before the step. Replaces colours of hidden pixels that would bleed into visible ones.
    AlphaKeeper(const Orvexa::Proc::FactoryPtr& factory, const Step& step, Orvexa::Proc::FramePtr& picture);

    /// Call after the step: restores the alpha of an opaque result of the same size. False if the result has another
    /// size or a pixel format without alpha, so that transparency is lost.
    bool Restore(Orvexa::Proc::FramePtr& picture) const;

private:
    Orvexa::Conf::FrameInfo info_;
    std::vector<std::uint8_t> samples_;  ///< empty for opaque pictures and for steps that handle alpha themselves
};

}  // namespace Kalvatri
