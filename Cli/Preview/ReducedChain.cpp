#include "Cli/Preview/ReducedChain.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr std::string_view kUnit = "pixels";
// In pixels, but not those of the photograph: the size of an aperture image, and the overlap of network tiles.
constexpr std::string_view kOtherPixels[] = {"aperture.size", "overlapX", "overlapY"};

// A non-zero integer must not become 0, which usually means no effect.
double ScaledWhole(double value, double factor) {
    const double scaled = std::round(value * factor);
    return scaled == 0.0 && value != 0.0 ? std::copysign(1.0, value) : scaled;
}

double Limited(double value, const Proc::Limits& limits) {
    return std::clamp(value, limits.min.value_or(value), limits.max.value_or(value));
}

// Scales points in lists of numbers, and the size of a picture, but not scores and the like.
void ScaleFaces(Json& json, double factor) {
    if (json.is_array()) {
        for (Json& item : json) {
            if (item.is_number()) {
                item = static_cast<std::int64_t>(std::llround(item.get<double>() * factor));
            } else {
                ScaleFaces(item, factor);
            }
        }
    } else if (json.is_object()) {
        for (auto& [key, member] : json.items()) {
            if (member.is_number_unsigned() && (key == "width" || key == "height")) {
                member = static_cast<std::uint64_t>(std::llround(member.get<double>() * factor));
            } else {
                ScaleFaces(member, factor);
            }
        }
    }
}

// A list, a length such as 120, 12.5% or rest, or a box such as 2000x1500.
std::string ScaledText(const std::string& text, char separator, double factor) {
    std::string scaled;
    for (const std::string_view part : Proc::SplitText(text, separator)) {
        const Json number = Json::parse(part, nullptr, false);
        if (!scaled.empty()) scaled += separator;
        scaled +=
            number.is_number() ? Proc::FormatDouble(ScaledWhole(number.get<double>(), factor)) : std::string(part);
    }
    return scaled;
}

void ScaleField(Proc::Settings& settings, const Proc::Field& field, double factor) {
    const std::string text = field.Format(settings);
    if (field.type == "json") {
        if (text.empty()) return;
        Json json = ParseJson(text);
        ScaleFaces(json, factor);
        field.Parse(settings, json.dump());
    } else if (field.type == "int" || field.type == "double") {
        const double value = Json::parse(text).get<double>();
        const double scaled = field.type == "int" ? ScaledWhole(value, factor) : value * factor;
        field.Parse(settings, Proc::FormatDouble(Limited(scaled, field.limits)));
    } else {
        field.Parse(settings, ScaledText(text, field.type == "box" ? 'x' : ',', factor));
    }
}

bool IsOfPicture(const Proc::Field& field) {
    return field.unit == kUnit &&
           std::find(std::begin(kOtherPixels), std::end(kOtherPixels), field.key) == std::end(kOtherPixels);
}

}  // namespace

Chain MakeReducedChain(const Catalogue& catalogue, const Json& json, double factor) {
    Chain chain = ParseChain(catalogue, json);
    if (factor == 1.0) return chain;
    for (Step& step : chain) {
        WithContext("setting up " + step.effect->GetName(), [&] {
            for (const Proc::Field& field : step.settings->GetFields()) {
                if (IsOfPicture(field)) ScaleField(*step.settings, field, factor);
            }
            if (step.faces.given.empty()) return;
            Json words;
            AddToJson(step.faces, words);
            ScaleFaces(words["faces"], factor);
            step.faces.given.clear();
            TakeFaceWord(step.faces, *step.settings, "faces", words["faces"].dump());
        });
    }
    return chain;
}

}  // namespace Kalvatri
