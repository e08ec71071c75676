// kalvatri suggest: a chain that levels and corrects a photograph, based on two effects that analyse it.
#include <cmath>
#include <initializer_list>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>
#include <utility>

#include "Cli/Catalogue.h"
#include "Cli/Chain.h"
#include "Cli/ChainRunner.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/Neural.h"
#include "Host/Settings/Photo/SettingsEffectDeepAdjuster.h"
#include "Host/Settings/Photo/SettingsEffectDeepAligner.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr double kLeastAngle = 0.1;   // degrees; a smaller tilt is not visible
constexpr double kLeastGain = 1.005;  // of the score; a smaller gain is not visible
constexpr char kWriting[] = "writing ";

// A candidate chain, and the score of its result.
struct Proposal {
    Json chain = Json::array();
    double score = 0;
};

struct Suggestion {
    Proposal before, best;  // equal if nothing scores higher than the picture itself
    std::optional<double> angle;
};

// Analyses one picture, which is not modified.
class Adviser {
public:
    Adviser(const SuggestOptions& options, Proc::FactoryPtr factory)
        : options_(options), factory_(std::move(factory)), catalogue_(*factory_) {}

    Suggestion Advise(const Proc::FramePtr& picture) const {
        Suggestion suggestion;
        suggestion.before.score = Score(picture);
        suggestion.best = suggestion.before;
        suggestion.angle = FindAngle(picture);
        const Json rotation = Rotation(suggestion.angle.value_or(0));
        // Adjustments are computed for the rotated picture, from which brighter borders may have been cropped.
        Json levelled = rotation;
        for (Json& step : Adjustments(Run(rotation, picture))) levelled.push_back(std::move(step));
        for (const Json& chain : {levelled, Adjustments(picture), rotation}) {
            if (chain.empty()) continue;
            const double score = Score(Run(chain, picture));
            const bool isBetter = score > kLeastGain * suggestion.before.score && score > suggestion.best.score;
            if (isBetter) suggestion.best = {chain, score};
        }
        return suggestion;
    }

private:
    template <class SettingsT>
    SettingsT FindingsOf(Proc::FramePtr picture) const {
        SettingsT settings;
        settings.SetModelsRoot(options_.modelsRoot);
        Proc::OneInputPtr effect;
        factory_->CreateOneInputEffect(effect, SettingsT::CLASS_ID, ImplNames::DEFAULT, {});
        effect->SetSettings(settings);
        picture = Proc::CloneFrame(*picture, Proc::kCloneView);
        effect->ProcessData(picture);
        return dynamic_cast<const SettingsT&>(effect->GetSettingsBase());
    }

    std::optional<double> FindAngle(const Proc::FramePtr& picture) const {
        const auto found = FindingsOf<Proc::SettingsEffectDeepAligner>(picture);
        return found.GetHorizonDetected() ? std::optional(found.GetAngle()) : std::nullopt;
    }

    static Json Rotation(double angle) {
        Json chain = Json::array();
        if (std::abs(angle) >= kLeastAngle)
            chain.push_back({{"effect", "Rotate"}, {"angle", -angle}, {"outputSizeMode", "inscribed"}});
        return chain;
    }

    // The corrections in the order in which their values were estimated, omitting those without effect.
    Json Adjustments(const Proc::FramePtr& picture) const {
        const auto found = FindingsOf<Proc::SettingsEffectDeepAdjuster>(picture);
        Json chain = Json::array();
        const auto add = [&](const char* effect, std::initializer_list<std::pair<const char*, int>> settings) {
            Json step{{"effect", effect}};
            for (const auto& [key, value] : settings) {
                if (value != 0) step[key] = value;
            }
            if (step.size() > 1) chain.push_back(std::move(step));
        };
        add("Vibrance", {{"strength", found.GetVibrance()}});
        add("BalanceLuma", {{"shadows", found.GetShadows()}, {"highlights", found.GetHighlights()}});
        add("ColorBalanceAuto", {{"exposure", found.GetExposure()}});
        add("ColorBalance", {{"brightness", found.GetBrightness()}, {"contrast", found.GetContrast()}});
        return chain;
    }

    Proc::FramePtr Run(const Json& json, const Proc::FramePtr& picture) const {
        const Chain chain = ParseChain(catalogue_, json);
        ChainRunner runner(factory_, chain, {});
        return runner.Run({Proc::CloneFrame(*picture, Proc::kCloneView)}).front();
    }

    double Score(Proc::FramePtr picture) const {
        using namespace Proc::Neural;
        return CreateNeural(NeuralType::ImageScore, ImplName::Default, options_.modelsRoot)
            ->Process(picture)
            ->GetDouble();
    }

    const SuggestOptions& options_;
    Proc::FactoryPtr factory_;
    Catalogue catalogue_;
};

std::string Rounded(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << value;
    return text.str();
}

// A valid recipe in any case: if there is nothing to do, an effect that changes nothing.
std::string RecipeOf(const Json& chain) {
    return FormatJson(chain.empty() ? Json::array({{{"effect", "EmptyEffect"}}}) : chain) + '\n';
}

Json ReportOf(const std::string& file, const Suggestion& suggestion) {
    return {{"file", file},
            {"scoreBefore", suggestion.before.score},
            {"scoreAfter", suggestion.best.score},
            {"horizonDetected", suggestion.angle.has_value()},
            {"angle", suggestion.angle.value_or(0)},
            {"chain", suggestion.best.chain}};
}

std::string SummaryOf(const Suggestion& suggestion) {
    const std::string before = "score " + Rounded(suggestion.before.score);
    return suggestion.best.chain.empty() ? before + ", nothing to suggest"
                                         : before + " before, " + Rounded(suggestion.best.score) + " after";
}

}  // namespace

void RunSuggest(const SuggestOptions& options) {
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    const Adviser adviser(options, factory);
    const Io::LoadedImage image = ReadPicture(options.input, options.read, factory);
    const std::string name = InputName(options.input);
    const Suggestion suggestion = WithContext("looking at " + name, [&] { return adviser.Advise(image.frame); });
    const std::string recipe = RecipeOf(suggestion.best.chain);
    if (!options.output.empty()) WithContext(kWriting + options.output, [&] { Io::WriteFile(options.output, recipe); });
    if (options.isJson) {
        std::cout << FormatJson(ReportOf(options.input, suggestion)) << '\n';
    } else if (options.output.empty()) {
        std::cout << recipe;
    }
    if (!options.isQuiet && !options.isJson) std::cerr << ToLine(name) << ": " << SummaryOf(suggestion) << '\n';
}

}  // namespace Kalvatri
