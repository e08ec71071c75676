#include "Cli/ChainInput.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Conf/PixFmtDescription.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

Json ReadJsonFile(const std::string& file) {
    const std::string text = While("reading " + file, [&] {
        std::ifstream stream(file, std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(stream), {}};
        if (!stream.is_open() || stream.bad()) Throw(std::strerror(errno));
        return content;
    });
    return While("reading " + file, ExitCode::WrongUsage, [&] { return ParseJson(text); });
}

}  // namespace

Chain MakeChain(const Catalogue& catalogue, const ChainOptions& options) {
    if (options.settingsFile.empty()) return ParseChain(catalogue, options.chain);
    if (!options.chain.empty())
        ThrowUsage(kReadingCommandLine, "the effects stand either in the --settings file or on the command line, not in both");
    return ParseChain(catalogue, ReadJsonFile(options.settingsFile));
}

void CheckPixFmt(const ChainOptions& options) {
    if (!options.pixFmt) return;
    const int number = *options.pixFmt;
    if (PixFmtDescription::Find(static_cast<PixFmt>(number)) != nullptr) return;
    std::string known;
    for (const auto& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        known += (known.empty() ? "" : ", ") + std::to_string(static_cast<int>(description.pixFmt));
    }
    ThrowUsage(kReadingCommandLine, "--pixfmt: " + std::to_string(number) + " is not a pixel format; the formats are " + known);
}

Proc::FramePtr Converted(Proc::FramePtr picture, const ChainOptions& options, const Proc::FactoryPtr& factory) {
    if (!options.pixFmt) return picture;
    return While("converting to pixel format " + std::to_string(*options.pixFmt),
                 [&] { return InFormat(factory, std::move(picture), static_cast<PixFmt>(*options.pixFmt)); });
}

void PrintNotes(const std::string& file, const Io::Notes& notes, const CommonOptions& options) {
    if (options.isQuiet) return;
    for (const std::string& note : notes) std::cerr << "kalvatri: note: " << ToLine(file + ": " + note) << '\n';
}

}  // namespace Kalvatri
