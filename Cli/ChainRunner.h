// Runs a chain of effects on pictures.
#pragma once

#include <functional>
#include <variant>
#include <vector>

#include "Cli/Chain.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

using PictureReader = std::function<Orvexa::Proc::FramePtr(const Orvexa::Core::ioPath& file)>;

class ChainRunner {
public:
    /// Creates the effects of `chain` and reads its further pictures; `chain` must outlive the runner. The effects report to `progress`,
    /// which may be empty.
    ChainRunner(const Orvexa::Proc::FactoryPtr& factory, const Chain& chain, const PictureReader& read,
                Orvexa::Core::ProgressPtr progress = {});

    /// Runs the steps one after another. A step for one picture runs on each that there is; a variable-input step takes all at once. Errors
    /// and cancellation throw `CommandError`.
    std::vector<Orvexa::Proc::FramePtr> Run(std::vector<Orvexa::Proc::FramePtr> pictures);

    /// What the effects have taken from the pictures.
    const Orvexa::Io::Notes& GetNotes() const { return notes_; }

    /// The effects' statistics, an array with one object a step.
    Json GetStatistics() const;

private:
    using AnyEffect = std::variant<Orvexa::Proc::OneInputPtr, Orvexa::Proc::TwoInputPtr, Orvexa::Proc::VarInputPtr>;
    struct RunningStep {
        const Step* step;
        AnyEffect effect;
        std::vector<Orvexa::Proc::FramePtr> with;
    };

    Orvexa::Proc::FactoryPtr factory_;
    Orvexa::Core::ProgressPtr progress_;
    Orvexa::Io::Notes notes_;
    std::vector<RunningStep> steps_;
};

/// The picture in a pixel format; `None` leaves it as it is.
Orvexa::Proc::FramePtr InFormat(const Orvexa::Proc::FactoryPtr& factory, Orvexa::Proc::FramePtr picture, Orvexa::PixFmt pixFmt);

}  // namespace Kalvatri
