#include "Cli/ChainRunner.h"

#include <algorithm>

#include "Cli/AlphaKeeper.h"
#include "Cli/Errors.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::DataPtr;
using Proc::FramePtr;
using Pictures = std::vector<FramePtr>;

namespace {

void RunStep(const Proc::OneInputPtr& effect, const Pictures&, Pictures& pictures) {
    for (FramePtr& picture : pictures) effect->ProcessData(picture);
}

void RunStep(const Proc::TwoInputPtr& effect, const Pictures& with, Pictures& pictures) {
    const Proc::ConstFramePtr second = with.empty() ? FramePtr() : with.front();
    for (FramePtr& picture : pictures) effect->ProcessData(picture, second);
}

void RunStep(const Proc::VarInputPtr& effect, const Pictures& with, Pictures& pictures) {
    std::vector<DataPtr> data(pictures.begin(), pictures.end());
    data.insert(data.end(), with.begin(), with.end());
    pictures.clear();
    // One result comes as the return value, many come in the vector.
    if (const DataPtr result = effect->Process(data)) data.assign(1, result);
    for (const DataPtr& item : data) pictures.push_back(boost::dynamic_pointer_cast<Proc::IDataVideo>(item));
}

void CheckResult(const Pictures& pictures) {
    const auto isMissing = [](const FramePtr& picture) { return picture == nullptr; };
    if (pictures.empty() || std::any_of(pictures.begin(), pictures.end(), isMissing)) Throw("the effect gave no picture");
}

Json ToJson(const Core::Property& property) {
    Json json = {{"name", property.GetName()}};
    if (!property.GetValue().empty()) json["value"] = property.GetValue();
    for (const Core::Property& child : property.GetChildren()) json["children"].push_back(ToJson(child));
    return json;
}

}  // namespace

FramePtr InFormat(const Proc::FactoryPtr& factory, FramePtr picture, PixFmt pixFmt) {
    if (pixFmt == PixFmt::None) return picture;
    Proc::OneInputPtr converter;
    factory->CreateOneInputEffect(converter, Proc::SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT, {});
    converter->SetSettings(Proc::SettingsColorspaceConverter(pixFmt, true));
    converter->ProcessData(picture);
    return picture;
}

ChainRunner::ChainRunner(const Proc::FactoryPtr& factory, const Chain& chain, const PictureReader& read, Core::ProgressPtr progress)
    : factory_(factory), progress_(std::move(progress)) {
    for (const Step& step : chain) {
        RunningStep running{&step, {}, {}};
        While("setting up " + step.effect->GetName(), [&] {
            const std::string& classId = step.effect->settings->classId;
            switch (step.effect->kind) {
                case Proc::EffectKind::OneInput:
                    factory->CreateOneInputEffect(running.effect.emplace<Proc::OneInputPtr>(), classId, ImplNames::ORVEXA, {});
                    break;
                case Proc::EffectKind::TwoInput:
                    factory->CreateTwoInputEffect(running.effect.emplace<Proc::TwoInputPtr>(), classId, ImplNames::ORVEXA, {});
                    break;
                case Proc::EffectKind::VarInput:
                    factory->CreateVarInputEffect(running.effect.emplace<Proc::VarInputPtr>(), classId, ImplNames::ORVEXA, {});
                    break;
            }
            std::visit(
                [&](const auto& effect) {
                    effect->SetProgressController(progress_);
                    effect->SetSettings(*step.settings);
                },
                running.effect);
        });
        for (const Core::ioPath& file : step.with)
            running.with.push_back(InFormat(factory, read(file), step.effect->settings->getSecondInput()));
        steps_.push_back(std::move(running));
    }
}

Pictures ChainRunner::Run(Pictures pictures) {
    for (const RunningStep& running : steps_) {
        const std::string& name = running.step->effect->GetName();
        While("running " + name, [&] {
            if (progress_ != nullptr) progress_->SetStage(name);
            const AlphaKeeper alpha(factory_, *running.step, pictures);
            std::visit([&](const auto& effect) { RunStep(effect, running.with, pictures); }, running.effect);
            alpha.Restore(pictures, notes_);
            if (progress_ != nullptr && progress_->IsCancelled()) Throw("cancelled");
            CheckResult(pictures);
        });
    }
    if (progress_ != nullptr) progress_->Finish();
    return pictures;
}

Json ChainRunner::GetStatistics() const {
    Json list = Json::array();
    for (const RunningStep& running : steps_) {
        const Core::Property statistic = std::visit([](const auto& effect) { return effect->GetStatistic(); }, running.effect);
        list.push_back({{"effect", running.step->effect->GetName()}, {"statistics", ToJson(statistic)}});
    }
    return list;
}

}  // namespace Kalvatri
