#include "Host/Core/Json.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <istream>
#include <set>
#include <vector>

#include "Host/Core/Exception.h"

namespace Orvexa::Core {

namespace {

using Proc::SettingsException;

// Rejects, during parsing, input that the parser itself would accept.
class JsonLimits {
public:
    bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                if (static_cast<std::size_t>(depth) >= kMaxJsonDepth)
                    Throw<SettingsException>("arrays and objects stand in each other more than " +
                                             std::to_string(kMaxJsonDepth) + " deep");
                if (event == Json::parse_event_t::object_start) openObjects_.emplace_back();
                break;
            case Json::parse_event_t::key: AddKey(parsed.get_ref<const std::string&>()); break;
            case Json::parse_event_t::object_end: openObjects_.pop_back(); break;
            default: break;
        }
        return true;
    }

private:
    void AddKey(const std::string& key) {
        std::set<std::string>& keys = openObjects_.back();
        if (!keys.insert(key).second) {
            const std::string quoted = Json(key).dump(-1, ' ', false, Json::error_handler_t::replace);  // on one line
            Throw<SettingsException>("the key " + quoted + " is given twice in one object");
        }
        if (keys.size() > kMaxJsonMembers)
            Throw<SettingsException>("an object has more than " + std::to_string(kMaxJsonMembers) + " members");
    }

    std::vector<std::set<std::string>> openObjects_;  // their keys so far
};

}  // namespace

Json ParseJson(std::string_view text) {
    try {
        JsonLimits limits;
        return Json::parse(
            text, [&](int depth, Json::parse_event_t event, Json& parsed) { return limits(depth, event, parsed); });
    } catch (const Json::out_of_range& error) {
        const std::string what = error.what();  // ends with the number in quotes
        Throw<SettingsException>("the number " + what.substr(std::min(what.find('\''), what.size())) + " is too large");
    } catch (const Json::parse_error& error) {
        const std::string what = error.what();  // begins with the class of the error in brackets
        Throw<SettingsException>(what.substr(std::min(what.find("] ") + 2, what.size())));
    }
}

std::string ReadJsonText(std::istream& stream) {
    std::string text;
    char buffer[1 << 16];
    do {
        stream.read(buffer, sizeof buffer);
        text.append(buffer, static_cast<std::size_t>(stream.gcount()));
        if (text.size() > kMaxJsonBytes) Throw("it is larger than " + std::to_string(kMaxJsonBytes >> 20) + " MiB");
    } while (stream);
    if (stream.bad()) Throw(std::strerror(errno));
    return text;
}

std::string ReadJsonText(const ioPath& file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) Throw("it is a folder, not a JSON file");
    std::ifstream stream(file, std::ios::binary);
    if (!stream) Throw(std::strerror(errno));
    return ReadJsonText(stream);
}

}  // namespace Orvexa::Core
