#include "Python/PythonChain.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"

namespace Kalvatri::Python {

using namespace Orvexa;
using Proc::FramePtr;
using Pictures = std::vector<FramePtr>;

namespace {

constexpr char kReading[] = "reading the picture", kReadingChain[] = "reading the chain of effects";
constexpr char kEffect[] = "effect", kInputs[] = "inputs", kWith[] = "with";

bool IsList(const py::handle& object) { return py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object); }

}  // namespace

void RunProgress::SetStage(std::string_view name) {
    const std::lock_guard lock(mutex_);
    stage_ = name;
    done_ = total_ = 0;
}

void RunProgress::SetTotal(std::uint64_t steps) {
    done_ = 0;
    total_ = steps;
}

void RunProgress::Start() {
    isCancelled_ = false;
    SetStage("");
}

std::string RunProgress::GetStage() const {
    const std::lock_guard lock(mutex_);
    return stage_;
}

double RunProgress::GetFraction() const {
    const std::uint64_t total = total_;
    return total == 0 ? 0 : std::min(1.0, static_cast<double>(done_) / static_cast<double>(total));
}

PythonChain::PythonChain(const py::object& steps, bool isStrict) : isStrict_(isStrict) {
    const py::object list = IsList(steps) ? steps : py::object(py::make_tuple(steps));
    Json json = Json::array();
    for (const py::handle& step : list) {
        if (py::isinstance<py::str>(step)) {
            json.push_back({{kEffect, step.cast<std::string>()}});
            continue;
        }
        if (!py::isinstance<py::dict>(step))
            ThrowUsage(kReadingChain, "a step is the name of an effect, or what kalvatri.step gives");
        Json object = Json::object();
        for (const auto& [key, value] : py::reinterpret_borrow<py::dict>(step)) {
            const auto name = py::str(key).cast<std::string>();
            if (name == kInputs) {
                AddInputs(object, value);
            } else if (!value.is_none()) {
                object[name] = ToJson(value, name);
            }
        }
        json.push_back(std::move(object));
    }
    chain_ = ParseChain(session_.catalogue, json);
}

void PythonChain::AddInputs(Json& step, const py::handle& inputs) {
    const py::object list = IsList(inputs) ? py::reinterpret_borrow<py::object>(inputs)
                                           : py::object(py::make_tuple(py::reinterpret_borrow<py::object>(inputs)));
    for (const py::handle& input : list) {
        if (const Core::ioPath file = ToPath(input); !file.empty()) {
            step[kWith].push_back(file.string());
        } else {
            // No file name can contain a null character.
            const std::string name = "array " + std::to_string(inputs_.size() + 1) + '\0';
            inputs_[name] = ToFrame(input, *session_.allocator, "reading the further picture");
            step[kWith].push_back(name);
        }
    }
}

FramePtr PythonChain::ReadInput(const Core::ioPath& file) const {
    const auto array = inputs_.find(file);
    return array != inputs_.end() ? array->second : ReadPicture(file.string(), {}, session_.factory).frame;
}

py::object PythonChain::Run(const py::object& pictures, const py::object& progress) {
    Pictures frames;
    const py::object list = IsList(pictures) ? pictures : py::object(py::make_tuple(pictures));
    for (const py::handle& picture : list) frames.push_back(ToFrame(picture, *session_.allocator, kReading));
    if (frames.empty()) ThrowUsage(kReading, "there is none");
    CheckPictures(chain_, frames.size());
    frames = RunUnlocked(std::move(frames), progress);
    if (frames.size() == 1) return FromFrame(std::move(frames.front()), session_.factory);
    py::list arrays;
    for (FramePtr& frame : frames) arrays.append(FromFrame(std::move(frame), session_.factory));
    return arrays;
}

Pictures PythonChain::RunUnlocked(Pictures pictures, const py::object& progress) {
    constexpr std::chrono::milliseconds kPause{50};
    Pictures results;
    Io::Notes notes;
    std::optional<py::error_already_set> raised;
    {
        const py::gil_scoped_release unlocked;
        const std::lock_guard turn(turn_);
        progress_->Start();
        // The work runs on a second thread, so that this one can check for signals, which Python delivers to the main
        // thread.
        std::future<Pictures> work = std::async(std::launch::async, [&] {
            if (!runner_) {
                RunOptions options;
                options.isStrict = isStrict_;
                options.keepsEffects = true;
                const auto read = [this](const Core::ioPath& file) { return ReadInput(file); };
                runner_.emplace(session_.factory, chain_, read, progress_, options);
            }
            return runner_->Run(std::move(pictures));
        });
        while (work.wait_for(kPause) != std::future_status::ready) {
            if (raised) continue;
            const py::gil_scoped_acquire locked;
            try {
                if (PyErr_CheckSignals() != 0) throw py::error_already_set();
                if (!progress.is_none()) progress(progress_->GetStage(), progress_->GetFraction());
            } catch (py::error_already_set& error) {
                raised.emplace(std::move(error));
                progress_->Cancel();
            }
        }
        try {
            results = work.get();
            notes = runner_->GetNotes();
        } catch (...) {
            runner_.reset();  // effects may have been interrupted in an inconsistent state
            if (!raised) throw;
        }
    }
    if (raised) throw py::error_already_set(std::move(*raised));
    if (!progress.is_none()) progress(progress_->GetStage(), 1.0);
    Warn("", notes);
    return results;
}

}  // namespace Kalvatri::Python
