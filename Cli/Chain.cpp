#include "Cli/Chain.h"

#include <algorithm>
#include <set>

#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kReadingChain[] = "reading the chain of effects";
constexpr char kWith[] = "with";
constexpr char kEffect[] = "effect";

std::string SettingUp(const Step& step) { return "setting up " + step.effect->GetName(); }

Step MakeStep(const Catalogue& catalogue, std::string_view name) {
    const EffectEntry& effect =
        WithContext(kReadingChain, ExitCode::WrongUsage, [&]() -> const EffectEntry& { return catalogue.Find(name); });
    if (effect.IsCppOnly())
        ThrowUsage(kReadingChain, effect.GetName() + " takes a C++ function and is not available on the command line");
    return {&effect, effect.settings->create(), {}, {}};
}

void SetMember(Step& step, const std::string& key, const Json& value, std::set<std::string>& given) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    if (!TakeFaceWord(step.faces, *step.settings, key, text)) SetFromJson(*step.settings, key, value, given);
}

}  // namespace

Chain ParseChain(const Catalogue& catalogue, const std::vector<std::string>& words) {
    Chain chain;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos) {
            chain.push_back(MakeStep(catalogue, word));
            continue;
        }
        if (chain.empty())
            ThrowUsage(kReadingChain, "\"" + word + "\" stands before any effect; the effect's name comes first");
        Step& step = chain.back();
        const std::string key = word.substr(0, equals), value = word.substr(equals + 1);
        if (key == kWith) {
            step.with.emplace_back(value);
        } else {
            WithContext(SettingUp(step), ExitCode::WrongUsage, [&] {
                if (!TakeFaceWord(step.faces, *step.settings, key, value)) Proc::SetField(*step.settings, key, value);
            });
        }
    }
    return chain;
}

Chain ParseChain(const Catalogue& catalogue, const Json& json) {
    constexpr char kForm[] = "a chain is an array of objects like {\"effect\": \"BalanceLuma\", \"shadows\": 40}";
    if (!json.is_array()) ThrowUsage(kReadingChain, kForm);
    Chain chain;
    for (const Json& object : json) {
        if (!object.is_object() || !object.contains(kEffect) || !object[kEffect].is_string())
            ThrowUsage(kReadingChain, kForm);
        Step step = MakeStep(catalogue, object[kEffect].get<std::string>());
        std::set<std::string> given;
        for (const auto& [key, value] : object.items()) {
            if (key == kEffect) continue;
            if (key != kWith) {
                WithContext(SettingUp(step), ExitCode::WrongUsage,
                            [&, name = key, &member = value] { SetMember(step, name, member, given); });
                continue;
            }
            for (const Json& file : value.is_array() ? value : Json::array({value})) {
                if (!file.is_string())
                    ThrowUsage(SettingUp(step), "\"with\" takes the name of a file or an array of such names");
                step.with.emplace_back(file.get<std::string>());
            }
        }
        chain.push_back(std::move(step));
    }
    return chain;
}

Json ChainToJson(const Chain& chain) {
    Json json = Json::array();
    for (const Step& step : chain) {
        Json object = {{kEffect, step.effect->GetName()}};
        object.update(DifferencesToJson(*step.settings, *step.effect->settings->create()));
        for (const Core::ioPath& file : step.with) object[kWith].push_back(file.string());
        AddToJson(step.faces, object);
        json.push_back(std::move(object));
    }
    return json;
}

std::vector<std::string> ChainToWords(const Chain& chain) {
    std::vector<std::string> words;
    for (const Step& step : chain) {
        words.push_back(step.effect->GetName());
        const auto start = step.effect->settings->create();
        for (const Proc::Field& field : step.settings->GetFields()) {
            if (!field.IsEqual(*step.settings, *start)) words.push_back(field.key + "=" + field.Format(*step.settings));
        }
        Json faces;
        AddToJson(step.faces, faces);
        for (const auto& [key, value] : faces.items()) words.push_back(key + "=" + value.dump());
        for (const Core::ioPath& file : step.with) words.push_back(std::string(kWith) + "=" + file.string());
    }
    return words;
}

void CheckPictures(const Chain& chain, std::size_t inputs) {
    if (chain.empty()) ThrowUsage(kReadingChain, "an effect is missing; `kalvatri list` shows the effects");
    for (const Step& step : chain) {
        const std::string& name = step.effect->GetName();
        for (const Core::ioPath& file : step.with) {
            if (file.empty()) ThrowUsage(SettingUp(step), "with= needs the name of a file");
        }
        if (step.effect->kind == Proc::EffectKind::OneInput && !step.with.empty()) {
            ThrowUsage(SettingUp(step), name + " takes one picture; with= is for effects that take more");
        }
        const bool isEnough = step.with.size() == 1 || (step.with.empty() && !step.settings->NeedsSecondInput());
        if (step.effect->kind == Proc::EffectKind::TwoInput && !isEnough) {
            ThrowUsage(SettingUp(step), name + " takes a second picture, given once as with=FILE");
        }
    }
    if (inputs > 1 && chain.front().effect->kind != Proc::EffectKind::VarInput) {
        ThrowUsage(
            SettingUp(chain.front()),
            chain.front().effect->GetName() + " takes one -i; several are for a first effect that takes many pictures");
    }
}

void CheckFormat(const Chain& chain, Io::FileFormat format) {
    if (Io::GetFormatInfo(format).hasAlpha) return;
    const auto step = std::find_if(chain.begin(), chain.end(),
                                   [](const Step& any) { return any.effect->settings->alpha == Proc::AlphaUse::Made; });
    if (step == chain.end()) return;
    Throw(step->effect->GetName() + " makes parts of the picture transparent, which " + Io::GetFormatInfo(format).name +
          " files cannot keep; PNG, WebP and TIFF files can");
}

}  // namespace Kalvatri
