#include "Cli/ChainOptions.h"

#include <iostream>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Conf/PixFmtDescription.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

Json ReadSettings(const std::string& file) {
    const bool isStdin = file == kStdStream;
    const std::string reading = "reading " + (isStdin ? "the settings from stdin" : file);
    const std::string text = WithContext(
        reading, [&] { return isStdin ? Core::ReadJsonText(std::cin) : Core::ReadJsonText(Core::ioPath(file)); });
    return WithContext(reading, ExitCode::WrongUsage, [&] { return ParseJson(text); });
}

}  // namespace

Chain MakeChain(const Catalogue& catalogue, const ChainOptions& options) {
    if (options.settingsFile.empty()) return ParseChain(catalogue, options.chain);
    if (!options.chain.empty())
        ThrowUsage(kReadingCommandLine,
                   "the effects stand either in the --settings file or on the command line, not in both");
    return ParseChain(catalogue, ReadSettings(options.settingsFile));
}

void PrintSettings(const ChainOptions& options) {
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    const Chain chain = MakeChain(catalogue, options);
    CheckPictures(chain, 1);
    try {
        std::cout << ChainToJson(chain).dump(2) << '\n';
    } catch (const Json::type_error&) {
        throw CommandError(ExitCode::Failed, "printing the settings",
                           "a text or the name of a file is not UTF-8, as JSON has to be");
    }
}

void CheckPixFmt(const ChainOptions& options) {
    if (!options.pixFmt) return;
    const int number = *options.pixFmt;
    if (PixFmtDescription::Find(static_cast<PixFmt>(number)) != nullptr) return;
    std::string known;
    for (const auto& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        known += (known.empty() ? "" : ", ") + std::to_string(static_cast<int>(description.pixFmt));
    }
    ThrowUsage(kReadingCommandLine,
               "--pixfmt: " + std::to_string(number) + " is not a pixel format; the formats are " + known);
}

Proc::FramePtr Converted(Proc::FramePtr picture, const ChainOptions& options, const Proc::FactoryPtr& factory) {
    if (!options.pixFmt) return picture;
    return WithContext("converting to pixel format " + std::to_string(*options.pixFmt),
                       [&] { return InFormat(factory, std::move(picture), static_cast<PixFmt>(*options.pixFmt)); });
}

void PrintNotes(const std::string& file, const Io::Notes& notes, const CommonOptions& options) {
    if (options.isQuiet) return;
    for (const std::string& note : notes) std::cerr << "kalvatri: note: " << ToLine(file + ": " + note) << '\n';
}

}  // namespace Kalvatri
