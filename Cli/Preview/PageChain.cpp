#include "Cli/Preview/PageChain.h"

#include <algorithm>

#include "Cli/Errors.h"
#include "Host/Core/Exception.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kReadingChain[] = "reading the chain of effects";
constexpr std::size_t kMaxSteps = 64;

bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsPictureName(std::string_view name) {
    for (const std::string_view kind : {"upload:", "photo:"}) {
        if (name.starts_with(kind)) return IsDigits(name.substr(kind.size()));
    }
    return false;
}

// The only words of a step whose parsing would read a file.
void CheckFaceWords(const Json& step) {
    for (const char* const key : {"face", "faces"}) {
        const auto value = step.find(key);
        if (value == step.end() || !value->is_string()) continue;
        const auto& text = value->get_ref<const std::string&>();
        if (text.empty() || IsDigits(text) || text.starts_with('[') || text.starts_with('{')) continue;
        ThrowUsage(kReadingChain, std::string(key) +
                                      ": faces are given here as `kalvatri faces --json` prints them, "
                                      "not as a file");
    }
}

void CheckPaths(const Step& step) {
    const auto defaults = step.effect->settings->create();
    for (const Proc::Field& field : step.settings->GetFields()) {
        if (field.type == "path" && !field.IsEqual(*step.settings, *defaults))
            ThrowUsage("setting up " + step.effect->GetName(), field.key + ": a page cannot choose folders");
    }
    for (const Core::ioPath& name : step.with) {
        if (!IsPictureName(name.string()))
            ThrowUsage("setting up " + step.effect->GetName(),
                       "with: \"" + name.string() + "\" is neither upload:N nor photo:N");
    }
}

}  // namespace

Chain ParsePageChain(const Catalogue& catalogue, const Json& json) {
    if (json.is_array()) {
        if (json.size() > kMaxSteps)
            ThrowUsage(kReadingChain, "a preview takes up to " + std::to_string(kMaxSteps) + " steps");
        for (const Json& step : json) {
            if (step.is_object()) CheckFaceWords(step);
        }
    }
    Chain chain = ParseChain(catalogue, json);
    for (const Step& step : chain) CheckPaths(step);
    if (!chain.empty()) CheckPictures(chain, 1);
    return chain;
}

std::vector<std::string> GetPictureNames(const Chain& chain) {
    std::vector<std::string> names;
    for (const Step& step : chain) {
        for (const Core::ioPath& name : step.with) names.push_back(name.string());
    }
    return names;
}

void RenamePictures(Chain& chain, const std::function<std::string(const std::string&)>& rename) {
    for (Step& step : chain) {
        for (Core::ioPath& name : step.with) name = rename(name.string());
    }
}

void CheckTarget(const std::string& target) {
    constexpr char kNaming[] = "naming the file";
    constexpr std::size_t kLongest = 200;  // bytes; file systems allow 255, and temporary names are longer
    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    if (target.empty()) ThrowUsage(kNaming, "a name is missing");
    if (target.size() > kLongest) ThrowUsage(kNaming, "the name is too long");
    if (target.find('/') != std::string::npos || target.starts_with('.') ||
        std::any_of(target.begin(), target.end(), isControl))
        ThrowUsage(kNaming, "\"" + target + "\" is not the plain name of a file");
    if (target.find("{}") != std::string::npos) ThrowUsage(kNaming, "{} stands for numbers, which are not given here");
}

std::string QuoteForShell(const std::string& word) {
    const auto isPlain = [](unsigned char c) {
        return std::isalnum(c) != 0 || std::string_view("_./:=,+%@#-").find(static_cast<char>(c)) != std::string::npos;
    };
    if (!word.empty() && word.front() != '#' && std::all_of(word.begin(), word.end(), isPlain)) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace Kalvatri
