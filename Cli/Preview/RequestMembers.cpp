#include "Cli/Preview/RequestMembers.h"

#include <cmath>

#include "Cli/Errors.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Settings/TextCodec.h"

namespace Kalvatri {

using namespace Orvexa;

const Json& Member(const Json& json, const char* key) {
    if (!json.is_object()) ThrowUsage(kReadingRequest, "it must be a JSON object");
    const auto member = json.find(key);
    if (member == json.end()) ThrowUsage(kReadingRequest, std::string("\"") + key + "\" is missing");
    return *member;
}

std::string TextMember(const Json& json, const char* key) {
    const Json& member = Member(json, key);
    if (!member.is_string()) ThrowUsage(kReadingRequest, std::string("\"") + key + "\" must be a text");
    return member.get<std::string>();
}

bool FlagMember(const Json& json, const char* key) {
    const auto member = json.find(key);
    if (member == json.end() || member->is_null()) return false;
    if (!member->is_boolean()) ThrowUsage(kReadingRequest, std::string("\"") + key + "\" must be true or false");
    return member->get<bool>();
}

double NumberMember(const Json& json, const char* key, double min, double max) {
    const Json& member = Member(json, key);
    const double number = member.is_number() ? member.get<double>() : NAN;
    if (!(number >= min && number <= max))
        ThrowUsage(kReadingRequest, std::string("\"") + key + "\" must be a number in the range " +
                                        Proc::FormatDouble(min) + ".." + Proc::FormatDouble(max));
    return number;
}

int QualityMember(const Json& json) {
    using Io::WriteOptions;
    if (!json.contains("quality") || json["quality"].is_null()) return WriteOptions().quality;
    return static_cast<int>(
        std::lround(NumberMember(json, "quality", WriteOptions::kMinQuality, WriteOptions::kMaxQuality)));
}

}  // namespace Kalvatri
