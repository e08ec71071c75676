#include "Cli/BatchPart.h"

#include "Host/Core/Exception.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

using namespace Orvexa;

std::uint64_t HashText(std::string_view text) {
    constexpr std::uint64_t kPrime = 0x100000001b3, kStart = 0xcbf29ce484222325;
    std::uint64_t hash = kStart;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    return hash;
}

bool BatchPart::Contains(std::string_view name) const {
    // The low bits of the hash depend only on the low bits of the characters, the high ones on all bits.
    const std::uint64_t hash = HashText(name);
    return (hash ^ hash >> 32) % count == number - 1;
}

BatchPart ParsePart(const std::string& text) {
    if (text.empty()) return {};
    const std::size_t slash = text.find('/');
    BatchPart part;
    try {
        if (slash == std::string::npos) Throw<Proc::SettingsException>("no slash");
        part.count = static_cast<std::uint64_t>(Proc::ParseInteger(text.substr(slash + 1), 1, BatchPart::kMaxCount));
        part.number = static_cast<std::uint64_t>(
            Proc::ParseInteger(text.substr(0, slash), 1, static_cast<std::int64_t>(part.count)));
    } catch (const Proc::SettingsException&) {
        Throw("\"" + text + "\" is not a part; 3/8 is the third of eight, the first is 1/8 and the last 8/8");
    }
    return part;
}

}  // namespace Kalvatri
