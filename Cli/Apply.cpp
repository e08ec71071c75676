// kalvatri apply: runs a chain of effects on a picture.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "Cli/Catalogue.h"
#include "Cli/Chain.h"
#include "Cli/ChainRunner.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Host/Conf/PixFmtDescription.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kStdStream[] = "-";
constexpr char kNumberMark[] = "{}";
constexpr char kCommandLine[] = "reading the command line";

std::string NameOf(const std::string& file, const char* stream) { return file == kStdStream ? stream : file; }

class Notes {
public:
    explicit Notes(bool isQuiet) : isQuiet_(isQuiet) {}
    void Print(const std::string& file, const Io::Notes& notes) const {
        if (isQuiet_) return;
        for (const std::string& note : notes) std::cerr << "kalvatri: note: " << file << ": " << note << '\n';
    }

private:
    bool isQuiet_;
};

std::vector<std::uint8_t> ReadStdin() {
    std::vector<std::uint8_t> bytes;
    std::uint8_t buffer[1 << 16];
    while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, stdin)) bytes.insert(bytes.end(), buffer, buffer + size);
    if (std::ferror(stdin) != 0) Throw(std::strerror(errno));
    return bytes;
}

void WriteStdout(const std::vector<std::uint8_t>& bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0) Throw(std::strerror(errno));
}

Io::LoadedImage Read(const std::string& file, const ApplyOptions& options, const Proc::FactoryPtr& factory) {
    return While("reading " + NameOf(file, "stdin"), [&] {
        Io::LoadedImage image = file == kStdStream ? Io::ReadImage(ReadStdin(), factory->GetAllocator(), options.read)
                                                   : Io::ReadImage(Core::ioPath(file), factory->GetAllocator(), options.read);
        Notes(options.isQuiet).Print(NameOf(file, "stdin"), image.notes);
        return image;
    });
}

Json ReadJsonFile(const std::string& file) {
    const std::string text = While("reading " + file, [&] {
        std::ifstream stream(file, std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(stream), {}};
        if (!stream.is_open() || stream.bad()) Throw(std::strerror(errno));
        return content;
    });
    return While("reading " + file, ExitCode::WrongUsage, [&] { return ParseJson(text); });
}

Chain MakeChain(const Catalogue& catalogue, const ApplyOptions& options) {
    if (options.settingsFile.empty()) return ParseChain(catalogue, options.chain);
    if (!options.chain.empty())
        ThrowUsage(kCommandLine, "the effects stand either in the --settings file or on the command line, not in both");
    return ParseChain(catalogue, ReadJsonFile(options.settingsFile));
}

Io::FileFormat OutputFormat(const ApplyOptions& options) {
    if (options.output == kStdStream && options.format.empty()) ThrowUsage(kCommandLine, "writing to stdout needs --format");
    const std::string suffix = options.format.empty() ? Core::ioPath(options.output).extension().string() : options.format;
    return While("choosing the format of " + NameOf(options.output, "stdout"), ExitCode::WrongUsage,
                 [&] { return Io::FindFormat(suffix); });
}

void CheckPixFmt(int number) {
    if (PixFmtDescription::Find(static_cast<PixFmt>(number)) != nullptr) return;
    std::string known;
    for (const auto& description : PixFmtDescription::GetPixelFormatDescroptionsList()) {
        known += (known.empty() ? "" : ", ") + std::to_string(static_cast<int>(description.pixFmt));
    }
    ThrowUsage(kCommandLine, "--pixfmt: " + std::to_string(number) + " is not a pixel format; the formats are " + known);
}

void Convert(std::vector<Proc::FramePtr>& pictures, int pixFmt, const Proc::FactoryPtr& factory) {
    While("converting to pixel format " + std::to_string(pixFmt), [&] {
        for (Proc::FramePtr& picture : pictures) picture = InFormat(factory, std::move(picture), static_cast<PixFmt>(pixFmt));
    });
}

void Write(const std::string& file, Io::FileFormat format, const Proc::FramePtr& picture, const Io::WriteOptions& writing,
           const ApplyOptions& options, const Proc::FactoryPtr& factory) {
    While("writing " + NameOf(file, "stdout"), [&] {
        Io::Notes notes;
        if (file == kStdStream) {
            std::vector<std::uint8_t> bytes;
            notes = Io::EncodeImage(bytes, format, picture, writing, factory);
            WriteStdout(bytes);
        } else {
            notes = Io::WriteImage(file, format, picture, writing, factory);
        }
        Notes(options.isQuiet).Print(NameOf(file, "stdout"), notes);
    });
}

std::string Numbered(std::string file, std::size_t number) {
    const std::size_t mark = file.find(kNumberMark);
    return mark == std::string::npos ? file : file.replace(mark, std::strlen(kNumberMark), std::to_string(number));
}

}  // namespace

void RunApply(const ApplyOptions& options) {
    const Io::FileFormat format = OutputFormat(options);
    if (options.pixFmt) CheckPixFmt(*options.pixFmt);
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    const Chain chain = MakeChain(catalogue, options);
    CheckPictures(chain, options.inputs.size());

    ChainRunner runner(factory, chain, [&](const Core::ioPath& file) { return Read(file.string(), options, factory).frame; });
    std::vector<Proc::FramePtr> pictures;
    Io::WriteOptions writing;
    writing.quality = options.quality;
    for (const std::string& input : options.inputs) {
        Io::LoadedImage image = Read(input, options, factory);
        if (pictures.empty()) writing.metadata = std::move(image.metadata);
        pictures.push_back(std::move(image.frame));
    }
    if (options.pixFmt) Convert(pictures, *options.pixFmt, factory);

    pictures = runner.Run(std::move(pictures));
    if (pictures.size() > 1 && options.output.find(kNumberMark) == std::string::npos) {
        ThrowUsage("writing " + NameOf(options.output, "stdout"),
                   "the chain gives " + std::to_string(pictures.size()) + " pictures; a {} in the name takes their numbers");
    }
    for (std::size_t i = 0; i < pictures.size(); ++i) Write(Numbered(options.output, i), format, pictures[i], writing, options, factory);
    if (options.isShowingStatistics) (options.output == kStdStream ? std::cerr : std::cout) << FormatJson(runner.GetStatistics()) << '\n';
}

}  // namespace Kalvatri
