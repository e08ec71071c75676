// Any text as a chain of effects: as JSON, and as the words of a command line, one a line.

#include <sstream>

#include "Cli/Chain.h"
#include "Cli/Errors.h"
#include "Tests/Fuzz/Fuzz.h"
#include "Tests/Support/Effects.h"

namespace {

using namespace Orvexa;
using namespace Kalvatri;

template <class Parse>
void Check(const Catalogue& catalogue, Parse&& parse) {
    try {
        const Chain chain = parse();
        CheckPictures(chain, 1);
        // What was taken can be written down and is the same when it is taken again.
        for (const Step& step : chain) {
            Json json = SettingsToJson(*step.settings);
            json["effect"] = step.effect->GetName();
            const Chain again = ParseChain(catalogue, Json::array({json}));
            Fuzz::Require(SettingsToJson(*again.at(0).settings) == SettingsToJson(*step.settings),
                          "settings survive JSON");
        }
    } catch (const CommandError& error) {
        Fuzz::Require(error.GetExitCode() == ExitCode::WrongUsage, "bad words are wrong usage");
        Fuzz::Require(std::string(error.what()).find('\n') == std::string::npos, "an error is one line");
    } catch (const Proc::SettingsException& error) {
        Fuzz::Require(std::string(error.what()).find('\n') == std::string::npos, "an error is one line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Catalogue catalogue(*Test::ModuleFactory());
    const std::string text(reinterpret_cast<const char*>(data), size);
    Check(catalogue, [&] { return ParseChain(catalogue, ParseJson(text)); });

    std::vector<std::string> words;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) words.push_back(line);
    Check(catalogue, [&] { return ParseChain(catalogue, words); });
    return 0;
}
