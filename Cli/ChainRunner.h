// Runs a chain of effects on pictures.
#pragma once

#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "Cli/Chain.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

using PictureReader = std::function<Orvexa::Proc::FramePtr(const Orvexa::Core::ioPath& file)>;

/// The state of a run between two steps of its chain. Resuming from it gives the same result as the whole run.
struct ChainPoint {
    std::size_t stepsDone = 0;
    std::vector<Orvexa::Proc::FramePtr> pictures;
    FaceFinder faces;  ///< including those of the picture, while there is only one
    Json findings = Json::array();
    std::vector<std::string> notes;
};

/// Options of a run apart from its chain.
struct RunOptions {
    std::string file;           ///< the first picture's file; selects among faces given for several pictures
    bool isStrict = false;      ///< a picture without the faces that a step needs is an error
    std::size_t firstStep = 0;  ///< earlier steps belong to an earlier run, whose `ChainPoint` goes to `Resume`
    /// Called between two steps and after the last one; may be empty.
    std::function<void(const ChainPoint&)> afterStep = {};
    bool keepsEffects = false;  ///< keeps them, and their memory, for further runs; disables statistics
};

class ChainRunner {
public:
    /// Creates the effects of `chain` and reads its further pictures; `chain` must outlive the runner. The effects
    /// report to `progress`, which may be empty.
    ChainRunner(const Orvexa::Proc::FactoryPtr& factory, const Chain& chain, const PictureReader& read,
                Orvexa::Core::ProgressPtr progress = {}, RunOptions options = {});

    /// Runs the steps. A variable-input step takes all pictures at once. Between two such steps several pictures,
    /// such as the patches of a large one, go through the steps in parallel (`Core::ParallelFor`), each with its own
    /// effects, because effects retain state from their last use; together they form one stage of the progress. Errors
    /// and cancellation throw `CommandError`; if several pictures fail, the first one's error is reported.
    std::vector<Orvexa::Proc::FramePtr> Run(std::vector<Orvexa::Proc::FramePtr> pictures);
    /// Runs the steps after `point`, of a run that began with the picture `original`.
    std::vector<Orvexa::Proc::FramePtr> Resume(ChainPoint point, const Orvexa::Proc::FramePtr& original);

    /// The effects' statistics, an array with one object per step; counters are summed over the effects that
    /// processed several pictures.
    Json GetStatistics() const;
    /// The effects' findings: an array with one object for each run of an effect that found something.
    const Json& GetFindings() const { return course_.findings; }
    /// Notes about the run for the user, one sentence each.
    const std::vector<std::string>& GetNotes() const { return notes_; }

private:
    using AnyEffect = std::variant<Orvexa::Proc::OneInputPtr, Orvexa::Proc::TwoInputPtr, Orvexa::Proc::VarInputPtr>;
    struct RunningStep {
        const Step* step;
        AnyEffect effect;  ///< for the first picture; null once used
        std::vector<Orvexa::Proc::FramePtr> with;
        Json statistics;  ///< summed over the effects used; null if there are none
    };
    /// What is known about a picture as it passes through the chain.
    struct Course {
        FaceFinder faces;
        Json findings = Json::array();
    };

    using StepPlace = std::vector<RunningStep>::iterator;

    std::vector<Orvexa::Proc::FramePtr> RunFrom(StepPlace next, std::vector<Orvexa::Proc::FramePtr> pictures,
                                                const Orvexa::Proc::FramePtr& original);
    void ReportPoint(StepPlace next, const std::vector<Orvexa::Proc::FramePtr>& pictures);
    AnyEffect MakeEffect(const Step& step, const Orvexa::Core::ProgressPtr& progress) const;
    template <class Use>
    void Spend(RunningStep& running, Use&& use);
    void Record(RunningStep& running, const AnyEffect& effect);
    void RunOnAll(const RunningStep& running, std::vector<Orvexa::Proc::FramePtr>& pictures) const;
    void RunOnOne(const RunningStep& running, const AnyEffect& effect, Orvexa::Proc::FramePtr& picture, Course& course);
    void RunOnFaces(const RunningStep& running, Orvexa::Proc::IOneInputEffectVideo& effect,
                    const Orvexa::Proc::FaceSettings& settings, Orvexa::Proc::FramePtr& picture, Course& course);
    void RunOnEach(std::span<RunningStep> steps, std::vector<Orvexa::Proc::FramePtr>& pictures);
    void AddNote(const RunningStep& running, const std::string& text);
    void SetStage(std::string_view name) const;
    void ThrowIfCancelled() const;

    Orvexa::Proc::FactoryPtr factory_;
    Orvexa::Core::ProgressPtr progress_;
    RunOptions options_;
    std::vector<RunningStep> steps_;
    Course course_;  ///< of the picture, while there is only one; in the end of all pictures
    std::mutex notesMutex_;
    std::vector<std::string> notes_;
};

/// The picture converted to a pixel format; `None` leaves it unchanged.
Orvexa::Proc::FramePtr InFormat(const Orvexa::Proc::FactoryPtr& factory, Orvexa::Proc::FramePtr picture,
                                Orvexa::PixFmt pixFmt);

}  // namespace Kalvatri
