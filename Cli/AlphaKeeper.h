// Transparency across effects that work without it.
#pragma once

#include <vector>

#include "Cli/Chain.h"

namespace Kalvatri {

/// Remembers the alpha of a picture while a step runs on it, where the step's effect would make it opaque.
class AlphaKeeper {
public:
    /// Before the step. Colours that hidden pixels would spread into visible ones are replaced.
    AlphaKeeper(const Orvexa::Proc::FactoryPtr& factory, const Step& step, Orvexa::Proc::FramePtr& picture);

    /// After the step: an opaque result of the same size gets its alpha back. False where the result has another size
    /// or a pixel format without alpha, so that transparency is lost.
    bool Restore(Orvexa::Proc::FramePtr& picture) const;

private:
    Orvexa::Conf::FrameInfo info_;
    std::vector<std::uint8_t> samples_;  ///< none for opaque pictures and for steps that look after alpha themselves
};

}  // namespace Kalvatri
