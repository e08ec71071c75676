#include "Cli/ChainRunner.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Cli/AlphaKeeper.h"
#include "Cli/ChainProgress.h"
#include "Cli/Errors.h"
#include "Cli/OriginalStep.h"
#include "Host/Core/Property.h"
#include "Host/Core/Threads.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::DataPtr;
using Proc::FramePtr;
using Pictures = std::vector<FramePtr>;

namespace {

constexpr char kNoPicture[] = "the effect gave no picture";

Json ToJson(const Core::Property& property) {
    Json json = {{"name", property.GetName()}};
    if (!property.GetValue().empty()) json["value"] = property.GetValue();
    for (const Core::Property& child : property.GetChildren()) json["children"].push_back(ToJson(child));
    return json;
}

template <class AnyEffect>
Core::Property StatisticsOf(const AnyEffect& effect) {
    return std::visit([](const auto& any) { return any->GetStatistic(); }, effect);
}

// Adds the counters in the statistics of another effect of the same class to `sum`, which is initially null.
void AddStatistics(Json& sum, const Json& other) {
    if (sum.is_null()) {
        sum = other;
        return;
    }
    if (sum["name"] == "count" || sum["name"] == "total") {
        const auto number = [](const Json& json) { return std::stoll(json["value"].get<std::string>()); };
        sum["value"] = std::to_string(number(sum) + number(other));
    }
    if (!sum.contains("children") || !other.contains("children")) return;
    Json& children = sum["children"];
    for (std::size_t i = 0; i < std::min(children.size(), other["children"].size()); ++i)
        AddStatistics(children[i], other["children"][i]);
}

template <class AnyEffect>
bool IsSpent(const AnyEffect& effect) {
    return std::visit([](const auto& any) { return any == nullptr; }, effect);
}

// Adds the effect's findings in a picture, if there are any.
void AddFindings(Json& list, const std::string& effect, const Proc::Settings& settings) {
    const std::vector<Proc::Finding> findings = settings.GetFindings();
    if (findings.empty()) return;
    Json object = {{"effect", effect}};
    for (const Proc::Finding& finding : findings) object[finding.key] = Json::parse(finding.json);
    list.push_back(std::move(object));
}

bool TakesAll(const Step& step) { return step.effect->kind == Proc::EffectKind::VarInput; }
bool IsOriginal(const Step& step) { return step.effect->settings->classId == OriginalStep::CLASS_ID; }

}  // namespace

FramePtr InFormat(const Proc::FactoryPtr& factory, FramePtr picture, PixFmt pixFmt) {
    if (pixFmt == PixFmt::None) return picture;
    Proc::OneInputPtr converter;
    factory->CreateOneInputEffect(converter, Proc::SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT, {});
    converter->SetSettings(Proc::SettingsColorspaceConverter(pixFmt, true));
    converter->ProcessData(picture);
    return picture;
}

ChainRunner::ChainRunner(const Proc::FactoryPtr& factory, const Chain& chain, const PictureReader& read,
                         Core::ProgressPtr progress, RunOptions options)
    : factory_(factory), progress_(std::move(progress)), options_(std::move(options)), course_{FaceFinder(factory)} {
    for (const Step& step : chain) {
        const bool isLeftOut = steps_.size() < options_.firstStep;
        RunningStep& running = steps_.emplace_back(RunningStep{&step, AnyEffect(), {}, nullptr});
        if (isLeftOut) continue;
        if (!IsOriginal(step)) running.effect = MakeEffect(step, progress_);
        for (const Core::ioPath& file : step.with) {
            const PixFmt pixFmt = running.with.empty() ? step.effect->settings->getSecondInput() : PixFmt::None;
            running.with.push_back(InFormat(factory, read(file), pixFmt));
        }
    }
}

ChainRunner::AnyEffect ChainRunner::MakeEffect(const Step& step, const Core::ProgressPtr& progress) const {
    return WithContext("setting up " + step.effect->GetName(), [&] {
        AnyEffect made;
        const std::string &classId = step.effect->settings->classId, &implName = step.effect->implName;
        switch (step.effect->kind) {
            case Proc::EffectKind::OneInput:
                factory_->CreateOneInputEffect(made.emplace<Proc::OneInputPtr>(), classId, implName, {});
                break;
            case Proc::EffectKind::TwoInput:
                factory_->CreateTwoInputEffect(made.emplace<Proc::TwoInputPtr>(), classId, implName, {});
                break;
            case Proc::EffectKind::VarInput:
                factory_->CreateVarInputEffect(made.emplace<Proc::VarInputPtr>(), classId, implName, {});
                break;
        }
        std::visit(
            [&](const auto& effect) {
                effect->SetProgressController(progress);
                effect->SetSettings(*step.settings);
            },
            made);
        return made;
    });
}

Pictures ChainRunner::Run(Pictures pictures) {
    course_ = Course{FaceFinder(factory_)};
    notes_.clear();
    const bool goesBack =
        std::any_of(steps_.begin(), steps_.end(), [](const RunningStep& running) { return IsOriginal(*running.step); });
    const FramePtr original = goesBack ? pictures.front() : FramePtr();
    return RunFrom(steps_.begin(), std::move(pictures), original);
}

Pictures ChainRunner::Resume(ChainPoint point, const FramePtr& original) {
    course_ = {std::move(point.faces), std::move(point.findings)};
    notes_ = std::move(point.notes);
    return RunFrom(steps_.begin() + static_cast<std::ptrdiff_t>(point.stepsDone), std::move(point.pictures), original);
}

Pictures ChainRunner::RunFrom(StepPlace next, Pictures pictures, const FramePtr& original) {
    const StepPlace begin = next;
    while (next != steps_.end()) {
        if (options_.afterStep && next != begin) ReportPoint(next, pictures);
        if (IsOriginal(*next->step)) {
            pictures.insert(pictures.begin(), original);
            course_.faces.Forget();
            ++next;
            continue;
        }
        const auto end =
            std::find_if(next, steps_.end(), [](const RunningStep& running) { return TakesAll(*running.step); });
        if (next == end) {
            Spend(*next, [&] { RunOnAll(*next, pictures); });
            course_.faces.Forget();
            ++next;
        } else if (pictures.size() == 1) {
            SetStage(next->step->effect->GetName());
            Spend(*next, [&] { RunOnOne(*next, next->effect, pictures.front(), course_); });
            ++next;
        } else {
            RunOnEach({next, end}, pictures);
            course_.faces.Forget();
            next = end;
        }
    }
    if (options_.afterStep && next != begin) ReportPoint(next, pictures);
    if (progress_ != nullptr) progress_->Finish();
    return pictures;
}

void ChainRunner::ReportPoint(StepPlace next, const Pictures& pictures) {
    options_.afterStep(
        {static_cast<std::size_t>(next - steps_.begin()), pictures, course_.faces, course_.findings, notes_});
}

// Releases the step's effect afterwards. Effects retain masks and pictures of the size that they last processed, which
// need not occupy memory during the next steps.
template <class Use>
void ChainRunner::Spend(RunningStep& running, Use&& use) {
    if (IsSpent(running.effect)) running.effect = MakeEffect(*running.step, progress_);
    use();
    Record(running, running.effect);
    if (!options_.keepsEffects) running.effect = AnyEffect();
}

void ChainRunner::Record(RunningStep& running, const AnyEffect& effect) {
    const Core::Property statistics = StatisticsOf(effect);
    if (!options_.keepsEffects) AddStatistics(running.statistics, ToJson(statistics));
    const Core::Property* const note = statistics.FindChild(Core::kNoteKey);
    if (note != nullptr) AddNote(running, note->GetValue());
}

void ChainRunner::AddNote(const RunningStep& running, const std::string& text) {
    std::string note = running.step->effect->GetName() + ": " + text;
    const std::lock_guard lock(notesMutex_);
    if (std::find(notes_.begin(), notes_.end(), note) == notes_.end()) notes_.push_back(std::move(note));
}

void ChainRunner::RunOnAll(const RunningStep& running, Pictures& pictures) const {
    SetStage(running.step->effect->GetName());
    WithContext("running " + running.step->effect->GetName(), [&] {
        std::vector<DataPtr> data(pictures.begin(), pictures.end());
        data.insert(data.end(), running.with.begin(), running.with.end());
        pictures.clear();
        // A single result is returned, several are left in the vector.
        if (const DataPtr result = std::get<Proc::VarInputPtr>(running.effect)->Process(data)) data.assign(1, result);
        for (const DataPtr& item : data) pictures.push_back(boost::dynamic_pointer_cast<Proc::IDataVideo>(item));
        ThrowIfCancelled();
        if (pictures.empty() || std::count(pictures.begin(), pictures.end(), nullptr) > 0) Throw(kNoPicture);
    });
}

void ChainRunner::RunOnOne(const RunningStep& running, const AnyEffect& effect, FramePtr& picture, Course& course) {
    WithContext("running " + running.step->effect->GetName(), [&] {
        const AlphaKeeper alpha(factory_, *running.step, picture);
        const Proc::Settings& settings = *running.step->settings;
        if (const auto* const ofFaces = dynamic_cast<const Proc::FaceSettings*>(&settings)) {
            RunOnFaces(running, *std::get<Proc::OneInputPtr>(effect), *ofFaces, picture, course);
        } else if (const auto* const oneInput = std::get_if<Proc::OneInputPtr>(&effect)) {
            (*oneInput)->ProcessData(picture);
            AddFindings(course.findings, running.step->effect->GetName(), (*oneInput)->GetSettingsBase());
            course.faces.Forget();
        } else {
            const Proc::ConstFramePtr second = running.with.empty() ? FramePtr() : running.with.front();
            std::get<Proc::TwoInputPtr>(effect)->ProcessData(picture, second);
            course.faces.Forget();
        }
        ThrowIfCancelled();
        if (picture == nullptr) Throw(kNoPicture);
        if (!alpha.Restore(picture)) AddNote(running, "it works without transparency, which is lost");
    });
}

void ChainRunner::RunOnFaces(const RunningStep& running, Proc::IOneInputEffectVideo& effect,
                             const Proc::FaceSettings& settings, FramePtr& picture, Course& course) {
    const auto addFindings = [&] {
        AddFindings(course.findings, running.step->effect->GetName(), effect.GetSettingsBase());
    };
    if (settings.HasFaces()) {
        settings.CheckFacesInside(picture->GetFrameInfo().width, picture->GetFrameInfo().height);
        effect.ProcessData(picture);
        return addFindings();
    }
    const auto faces = course.faces.GetFaces(running.step->faces, settings, picture, options_.file);
    if (faces.empty() && !settings.RequiresFaces()) {
        const std::uint32_t number = running.step->faces.number;
        const std::string what = number > 1 ? "there is no face number " + std::to_string(number) : "no face was found";
        if (options_.isStrict) Throw(what);
        AddNote(running, what + ", so the picture stays as it is");
    }
    Proc::ProcessFaces(effect, settings, faces, picture, addFindings);
    // A mask shows no faces.
    if (settings.GetFaceRun() == Proc::FaceRun::Merged) course.faces.Forget();
}

void ChainRunner::RunOnEach(std::span<RunningStep> steps, Pictures& pictures) {
    std::string stage;
    for (const RunningStep& running : steps) stage += (stage.empty() ? "" : ", ") + running.step->effect->GetName();
    SetStage(stage);
    SharedProgress progress(progress_, pictures.size(), steps.size());
    // An effect may modify pixels that nobody else can see. Whether others can see them must not depend on the progress
    // of other threads, so pixels shared between pictures stay shared until all are done.
    Pictures shared;
    for (const FramePtr& picture : pictures) {
        if (picture->SharesPixels()) shared.push_back(Proc::CloneFrame(*picture, Proc::kCloneView));
    }
    std::vector<Course> courses(pictures.size(), Course{FaceFinder(factory_)});
    std::mutex mutex;
    Core::ParallelFor(pictures.size(), [&](std::size_t i) {
        const auto part = progress.MakePart();
        for (RunningStep& running : steps) {
            const AnyEffect effect = MakeEffect(*running.step, part);
            RunOnOne(running, effect, pictures[i], courses[i]);
            part->FinishStep();
            const std::lock_guard lock(mutex);
            Record(running, effect);
        }
    });
    for (const Course& course : courses)
        course_.findings.insert(course_.findings.end(), course.findings.begin(), course.findings.end());
}

void ChainRunner::SetStage(std::string_view name) const {
    if (progress_ != nullptr) progress_->SetStage(name);
}

void ChainRunner::ThrowIfCancelled() const {
    if (progress_ != nullptr && progress_->IsCancelled()) Throw("cancelled");
}

Json ChainRunner::GetStatistics() const {
    Json list = Json::array();
    for (const RunningStep& running : steps_) {
        if (IsOriginal(*running.step) || (running.statistics.is_null() && IsSpent(running.effect))) continue;
        list.push_back(
            {{"effect", running.step->effect->GetName()},
             {"statistics", running.statistics.is_null() ? ToJson(StatisticsOf(running.effect)) : running.statistics}});
    }
    return list;
}

}  // namespace Kalvatri
