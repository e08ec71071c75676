// Transparency across effects that work without it.
#pragma once

#include <vector>

#include "Cli/Chain.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

/// Remembers the alpha of pictures while a step runs on each of them, where the step's effect would make them opaque.
class AlphaKeeper {
public:
    /// Before the step. Colours that hidden pixels would spread into visible ones are replaced.
    AlphaKeeper(const Orvexa::Proc::FactoryPtr& factory, const Step& step, std::vector<Orvexa::Proc::FramePtr>& pictures);

    /// After the step: opaque results of the same size get their alpha back. Where the result's pixel format has none, a note says so.
    void Restore(std::vector<Orvexa::Proc::FramePtr>& pictures, Orvexa::Io::Notes& notes) const;

private:
    struct Alpha {
        std::uint32_t width, height;
        std::vector<std::uint8_t> samples;  // none of an opaque picture
    };

    const Step& step_;
    std::vector<Alpha> alphas_;  // one per picture, or none for steps that look after alpha themselves
};

}  // namespace Kalvatri
