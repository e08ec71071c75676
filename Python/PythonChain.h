// A chain of effects as Python programs specify it.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cli/ChainRunner.h"
#include "Python/Convert.h"
#include "Python/Session.h"

namespace Kalvatri::Python {

/// Records the progress of a run for polling, and lets it be cancelled.
class RunProgress : public Orvexa::Core::IProgressController {
public:
    void SetStage(std::string_view name) override;
    void SetTotal(std::uint64_t steps) override;
    void Finish() override {}
    void Step(std::uint64_t steps) override { done_ += steps; }
    bool IsCancelled() const override { return isCancelled_; }

    void Start();
    void Cancel() { isCancelled_ = true; }
    std::string GetStage() const;
    double GetFraction() const;

private:
    std::atomic<bool> isCancelled_ = false;
    std::atomic<std::uint64_t> done_ = 0, total_ = 0;
    mutable std::mutex mutex_;
    std::string stage_;
};

class PythonChain {
public:
    /// `steps`: a name; a dictionary with the name under "effect", the settings under their keys and further pictures
    /// under "inputs"; or a list of these.
    PythonChain(const py::object& steps, bool isStrict);
    PythonChain(const PythonChain&) = delete;
    PythonChain& operator=(const PythonChain&) = delete;

    /// Runs on an array, or on a list of them if the first effect takes many pictures. The interpreter's lock is
    /// released meanwhile; runs of one chain wait for each other. `progress` is None or is called with a stage's name
    /// and its fraction done, about twenty times a second. An exception that it raises cancels the run, as an interrupt
    /// does.
    py::object Run(const py::object& pictures, const py::object& progress);

private:
    void AddInputs(Orvexa::Core::Json& step, const py::handle& inputs);
    std::vector<Orvexa::Proc::FramePtr> RunUnlocked(std::vector<Orvexa::Proc::FramePtr> pictures,
                                                    const py::object& progress);
    Orvexa::Proc::FramePtr ReadInput(const Orvexa::Core::ioPath& file) const;

    const Session& session_ = GetSession();
    const bool isStrict_;
    std::map<Orvexa::Core::ioPath, Orvexa::Proc::FramePtr> inputs_;  ///< by names that stand for them in the chain
    Chain chain_;
    boost::intrusive_ptr<RunProgress> progress_ = Orvexa::Core::MakeRefCounted<RunProgress>();
    std::mutex turn_;
    std::optional<ChainRunner> runner_;
};

}  // namespace Kalvatri::Python
