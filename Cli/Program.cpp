#include "Cli/Program.h"

#include <glog/logging.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>

#include "Cli/ChainOptions.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"
#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/NearestName.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

namespace {

constexpr char kInput[] = "-i,--input", kOutput[] = "-o,--output";

// glog writes only to stderr, and only when asked to.
void StartLogging(bool isVerbose) {
    constexpr int kEffectLogLevel = 30;
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = isVerbose ? google::GLOG_INFO : google::GLOG_FATAL;
    FLAGS_v = isVerbose ? kEffectLogLevel : 0;
    google::InitGoogleLogging("kalvatri");
}

// An option value that must not be empty, which would otherwise count as unset.
template <class Text>
CLI::Option* AddText(CLI::App& command, const std::string& names, Text& target, const std::string& help) {
    const auto check = [](const std::string& text) { return text.empty() ? "the value is empty" : ""; };
    return command.add_option(names, target, help)->check(check);
}

// An option value that `parse` accepts or rejects with an exception.
template <class Parse>
CLI::Option* AddParsed(CLI::App& command, const std::string& name, const std::string& help, Parse parse) {
    const auto checked = [parse, name](const std::string& text) {
        try {
            parse(text);
        } catch (const Orvexa::Core::Exception& exception) {
            throw CLI::ValidationError(name, exception.what());
        }
    };
    return command.add_option_function<std::string>(name, checked, help);
}

// A whole number in decimal digits. The command line library would also accept 0x10, -1 as 2^64 - 1, and an empty text
// as 0.
template <class Number>
CLI::Option* AddNumber(CLI::App& command, const std::string& names, Number& target, std::int64_t min, std::int64_t max,
                       const std::string& help) {
    const std::string name = names.substr(names.rfind(',') + 1);
    const auto parse = [&target, min, max, name](const std::string& text) {
        try {
            target = static_cast<Number>(Orvexa::Proc::ParseInteger(text, min, max));
        } catch (const Orvexa::Proc::SettingsException&) {
            throw CLI::ValidationError(name, "\"" + text + "\" is not a whole number in the range " +
                                                 std::to_string(min) + ".." + std::to_string(max));
        }
    };
    return command.add_option_function<std::string>(names, parse, help);
}

// An option that sets a settings field, with the usual checks.
void AddSetting(CLI::App& command, const std::string& name, Orvexa::Proc::Settings& settings, const std::string& key,
                const std::string& help) {
    const auto parse = [&settings, key, name](const std::string& text) {
        try {
            Orvexa::Proc::SetField(settings, key, text);
        } catch (const Orvexa::Proc::SettingsException& exception) {
            throw CLI::ValidationError(name, exception.what());
        }
    };
    command.add_option_function<std::string>(name, parse, help)->option_text("X");
}

int LastPixFmt() {
    int last = 0;
    for (const auto& description : Orvexa::PixFmtDescription::GetPixelFormatDescroptionsList())
        last = std::max(last, static_cast<int>(description.pixFmt));
    return last;
}

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
    AddText(command, "--module", options.module, "The module of effects, if not the installed one")
        ->option_text("FILE");
    command.add_flag("-q,--quiet", options.isQuiet, "Suppress notes about lost data");
    command.add_flag("-v,--verbose", options.isVerbose, "Log what happens, and where failures come from");
}

void AddReadOptions(CLI::App& command, Orvexa::Io::ReadOptions& options) {
    AddNumber(command, "--max-pixels", options.maxPixels, 1, ChainOptions::kMaxMaxPixels,
              "Refuse larger pictures, 2^28 if not given")
        ->option_text("N");
    command.add_flag("--allow-truncated", options.allowTruncated, "Read damaged files as far as they go");
    AddParsed(command, "--raw-white-balance", "Of camera raw files, the camera's if not given",
              [&options](const std::string& text) { options.raw.whiteBalance = ParseRawWhiteBalance(text); })
        ->option_text("camera|daylight|auto");
    AddParsed(command, "--raw-brightness", "Of camera raw files, a factor; auto if not given",
              [&options](const std::string& text) { options.raw.brightness = ParseRawBrightness(text); })
        ->option_text("auto|X");
}

void AddChainOptions(CLI::App& command, ChainOptions& options, const std::string& source) {
    AddText(command, "--settings", options.settingsFile, "Take the chain from a JSON file; - is stdin")
        ->option_text("FILE");
    command.add_flag("--print-settings", options.isPrintingSettings, "Print the chain as such a file, do nothing else");
    AddText(command, "--format", options.format, "File format, if not by the suffix of " + source)->option_text("NAME");
    AddNumber(command, "--quality", options.quality, Orvexa::Io::WriteOptions::kMinQuality,
              Orvexa::Io::WriteOptions::kMaxQuality,
              "Quality for lossy formats, " + std::to_string(options.quality) + " if not given")
        ->option_text("1..100");
    AddNumber(command, "--pixfmt", options.pixFmt, 0, LastPixFmt(), "Convert the input to this pixel format first")
        ->option_text("N");
    command.add_flag("--strict", options.isStrict, "Fail where an effect finds no face to work on");
    command.add_flag("--srgb", options.read.toSrgb, "Convert the input to sRGB by its colour profile");
    AddReadOptions(command, options.read);
}

void AddFacesOptions(CLI::App& command, FacesOptions& options) {
    command.add_option("inputs", options.inputs)->group("");  // shown in the usage line
    command.add_flag("--json", options.isJson, "As JSON, with all contours");
    command.add_flag("--descriptors", options.areDescriptorsWanted, "In JSON, the numbers that identify each person");
    command.add_flag("--compare", options.isComparing, "Show who is the same person");
    command.add_option("--limit", options.limit, "Distance below which faces are one person's, 0.55 if not given")
        ->check(CLI::Range(0.0, 2.0))
        ->option_text("X");
    AddSetting(command, "--threshold", options.detection, "threshold", "How sure to be of a face, 0.4 if not given");
    AddSetting(command, "--min-face", options.detection, "minFace", "Smallest face, of the picture's longer side");
    AddSetting(command, "--models", options.detection, "modelsRoot", "Folder of models, if not the installed one");
    AddReadOptions(command, options.read);
}

void AddSuggestOptions(CLI::App& command, SuggestOptions& options) {
    command.add_option("input", options.input)->group("");  // shown in the usage line
    AddText(command, kOutput, options.output, "The chain, for --settings; stdout if not given")->option_text("RECIPE");
    command.add_flag("--json", options.isJson, "Print scores, angle and chain as JSON");
    AddText(command, "--models", options.modelsRoot, "Folder of models, if not the installed one")->option_text("DIR");
    AddReadOptions(command, options.read);
}

void AddApplyOptions(CLI::App& command, ApplyOptions& options) {
    AddText(command, kInput, options.inputs, "A picture; - is stdin")->option_text("IN")->allow_extra_args(false);
    AddText(command, kOutput, options.output, "The result; - is stdout, {} a number if there are many")
        ->option_text("OUT");
    command.add_option("chain", options.chain)->group("");  // shown in the usage line
    AddChainOptions(command, options, "OUT");
    AddNumber(command, "--threads", options.threads, 1, ApplyOptions::kMaxThreads, "To work with, default: one per CPU")
        ->option_text("N");
    command.add_flag("--stats", options.isShowingStatistics, "Print the effects' statistics as JSON");
    AddText(command, "--results", options.results, "Write what effects find as JSON; - is stdout")->option_text("FILE");
}

void AddBatchOptions(CLI::App& command, BatchOptions& options) {
    command.add_option("inputs", options.inputs)->group("");  // shown in the usage line
    AddText(command, kOutput, options.outputFolder, "The folder of the results, named as the inputs")
        ->option_text("DIR");
    command.add_flag("-r,--recursive", options.isRecursive, "Sub-folders too, mirrored in DIR");
    AddText(command, "-T,--files-from", options.lists, "More inputs from a list, one a line; - is stdin")
        ->option_text("FILE")
        ->allow_extra_args(false);
    AddText(command, "--name", options.nameTemplate, "Name results by {stem}, {ext}, {n} and {folder}")
        ->option_text("{stem}-web.{ext}");
    AddNumber(command, "-j,--jobs", options.jobs, 1, BatchOptions::kMaxJobs, "Pictures at a time, default: one per CPU")
        ->option_text("N");
    AddText(command, "--memory", options.memory, "For all jobs, half of the machine's if not given")
        ->option_text("512M|2G");
    AddText(command, "--part", options.part, "Only part K of N, for as many machines")->option_text("K/N");
    command.add_flag("--force", options.isForced, "Rebuild up-to-date results");
    command.add_flag("--no-clobber", options.isKeepingExisting, "Skip what exists, up to date or not");
    command.add_flag("--dry-run", options.isDryRun, "Say what would be done");
    command.add_flag("--json", options.isJson, "Print a report as JSON");
    AddChainOptions(command, options, "IN");
    // Hidden so that the help fits on one screen; that of apply shows them.
    for (const char* const option : {"--raw-white-balance", "--raw-brightness"}) command.get_option(option)->group("");
}

void AddPreviewOptions(CLI::App& command, PreviewOptions& options) {
    constexpr int kMaxPort = 65535;
    command.add_option("inputs", options.inputs)->group("");  // shown in the usage line
    AddNumber(command, "--port", options.port, 1, kMaxPort, "Port of the address, a free one if not given")
        ->option_text("N");
    command.add_flag_callback(
        "--no-open", [&options] { options.isOpening = false; }, "Do not open the page in a browser");
    AddText(command, "--output-dir", options.outputFolder, "Folder for results, the current one if not given")
        ->option_text("DIR");
    AddNumber(command, "--threads", options.threads, 1, ApplyOptions::kMaxThreads, "To work with, default: one per CPU")
        ->option_text("N");
    command.add_flag("--srgb", options.read.toSrgb, "Convert photographs to sRGB by their colour profiles");
    AddReadOptions(command, options.read);
}

void Require(bool isGiven, const std::string& names) {
    if (!isGiven) throw CLI::RequiredError(names.substr(names.rfind(',') + 1));
}
void CheckRequired(const FacesOptions& options) {
    if (options.inputs.empty()) ThrowUsage(kReadingCommandLine, "pictures are missing: kalvatri faces IN...");
}
void CheckRequired(const SuggestOptions& options) {
    if (options.input.empty()) ThrowUsage(kReadingCommandLine, "the picture is missing: kalvatri suggest IN");
}
void CheckRequired(const ApplyOptions& options) {
    Require(!options.inputs.empty(), kInput);
    Require(!options.output.empty(), kOutput);
}
void CheckRequired(const BatchOptions& options) { Require(!options.outputFolder.empty(), kOutput); }

// The command line library's own texts have up to three lines.
std::string Description(const CLI::ParseError& error) {
    const std::string text = error.what();
    return text.substr(0, text.find('\n')) + " (--help shows the usage)";
}

// Shows each command's usage line as passed to AddCommand.
class HelpFormatter : public CLI::Formatter {
public:
    std::map<std::string, std::string> usages;
    std::string make_usage(const CLI::App* command, std::string) const override {
        const auto usage = usages.find(command->get_name());
        return "Usage: kalvatri " + (usage == usages.end() ? "COMMAND [options]" : usage->second) + "\n";
    }
    std::string make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(command, std::move(name), mode);
        for (std::size_t gap = text.find("\n\n\n"); gap != std::string::npos; gap = text.find("\n\n\n"))
            text.erase(gap, 1);
        return text;
    }
    std::string make_footer(const CLI::App* command) const override { return command->get_footer(); }
};

struct Program {
    CLI::App app{"Photo effects on the command line.", "kalvatri"};
    std::shared_ptr<HelpFormatter> formatter = std::make_shared<HelpFormatter>();
    ListOptions list;
    DescribeOptions describe;
    FormatsOptions formats;
    FacesOptions faces;
    SuggestOptions suggest;
    ApplyOptions apply;
    BatchOptions batch;
    PreviewOptions preview;
    std::function<void()> run;
    const CommonOptions* common = nullptr;

    Program() {
        app.set_version_flag("--version", "kalvatri " KALVATRI_VERSION);
        app.require_subcommand(1);
        formatter->column_width(26);
        app.formatter(formatter);
        const std::string examples =
            "Examples:\n"
            "  kalvatri apply -i photo.jpg -o balanced.jpg WhiteBalance color=#c8b496\n"
            "  kalvatri apply -i photo.jpg -o bokeh.png --stats BlurBokeh size=0.05\n";
        app.footer(examples);
        CLI::App* listCommand = AddCommand("list", "list [--json]", "Show the effects", list, RunList);
        listCommand->add_flag("--json", list.isJson, "As JSON");
        listCommand->add_flag("--markdown", list.isMarkdown, "As a table in Markdown");
        CLI::App* describeCommand =
            AddCommand("describe", "describe EFFECT [--json]", "Show an effect's settings", describe, RunDescribe);
        describeCommand->add_option("effect", describe.effect)->group("");  // shown in the usage line
        describeCommand->add_flag("--json", describe.isJson, "As JSON");
        describeCommand->add_flag("--markdown", describe.isMarkdown, "All effects, as a page in Markdown");
        CLI::App* formatsCommand =
            AddCommand("formats", "formats [--json]", "Show the kinds of files", formats, RunFormats);
        formatsCommand->add_flag("--json", formats.isJson, "As JSON");
        AddCommand("faces", "faces IN... [options]", "Find the faces of pictures", faces, RunFaces)
            ->footer(
                "Examples:\n"
                "  kalvatri faces photo.jpg\n"
                "  kalvatri faces --compare album/*.jpg\n"
                "  kalvatri faces --json photo.jpg > faces.json\n");
        AddCommand("suggest", "suggest IN [-o RECIPE] [options]", "Propose a chain for a picture", suggest, RunSuggest)
            ->footer(
                "Examples:\n"
                "  kalvatri suggest photo.jpg -o better.json\n"
                "  kalvatri apply -i photo.jpg -o better.jpg --settings better.json\n");
        CLI::App* applyCommand = AddCommand(
            "apply", "apply -i IN -o OUT [options]\n       EFFECT [key=value]... [with=FILE]... [EFFECT ...]...",
            "Run effects on a picture", apply, RunApply);
        applyCommand->footer(examples);
        CLI::App* batchCommand = AddCommand("batch", "batch -o DIR [options] IN... -- EFFECT [key=val]... [EFFECT]...",
                                            "Run effects on many pictures", batch, RunBatch);
        batchCommand->footer(
            "Examples:\n"
            "  kalvatri batch -o out photos -- WhiteBalance color=#c8b496\n"
            "  kalvatri batch -o web -r --name '{stem}-web.{ext}' photos -- Vignette\n");
        AddCommand("preview", "preview [PHOTO...|FOLDER] [options]", "Try effects on photographs in a browser", preview,
                   RunPreview)
            ->footer(
                "Examples:\n"
                "  kalvatri preview photo.jpg\n"
                "  kalvatri preview --output-dir out photos\n");
    }

    void Parse(const std::vector<std::string>& arguments) {
        std::vector<std::string> names;
        for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
            names.push_back(command->get_name());
        const std::string word = arguments.empty() ? "" : arguments[0];
        if (!word.starts_with('-') && std::find(names.begin(), names.end(), word) == names.end()) {
            const std::string nearest = Orvexa::Proc::NearestName(word, names);
            ThrowUsage(kReadingCommandLine,
                       (word.empty() ? "a command is missing" : "there is no command \"" + word + "\"") +
                           (nearest.empty() ? "; the commands are " + CLI::detail::join(names, ", ")
                                            : "; did you mean " + nearest + "?"));
        }
        // For a batch, the library parses only the arguments before "--".
        const auto mark = word == "batch" ? std::find(arguments.begin(), arguments.end(), "--") : arguments.end();
        if (mark != arguments.end()) batch.chain.assign(mark + 1, arguments.end());
        app.parse(std::vector<std::string>(std::make_reverse_iterator(mark),
                                           arguments.rend()));  // it takes them from the end
    }

private:
    template <class Options>
    CLI::App* AddCommand(const std::string& name, const std::string& usage, const std::string& summary,
                         Options& options, void (*command)(const Options&)) {
        formatter->usages[name] = usage;
        CLI::App* added = app.add_subcommand(name, summary);
        if constexpr (std::is_same_v<Options, ApplyOptions>) AddApplyOptions(*added, options);
        if constexpr (std::is_same_v<Options, FacesOptions>) AddFacesOptions(*added, options);
        if constexpr (std::is_same_v<Options, SuggestOptions>) AddSuggestOptions(*added, options);
        if constexpr (std::is_same_v<Options, BatchOptions>) AddBatchOptions(*added, options);
        if constexpr (std::is_same_v<Options, PreviewOptions>) AddPreviewOptions(*added, options);
        AddCommonOptions(*added, options);
        added->callback([this, &options, command] {
            common = &options;
            run = [&options, command] { command(options); };
            constexpr bool kTakesPictures =
                std::is_same_v<Options, FacesOptions> || std::is_same_v<Options, SuggestOptions>;
            if constexpr (kTakesPictures) CheckRequired(options);
            if constexpr (std::is_base_of_v<ChainOptions, Options>) {
                if (options.isPrintingSettings) {
                    run = [&options] { PrintSettings(options); };
                } else {
                    CheckRequired(options);
                }
            }
        });
        return added;
    }
};

int Fail(const CommandError& error, bool isVerbose) {
    std::cerr << "kalvatri: " << error.what() << '\n';
    if (isVerbose) std::cerr << error.GetOrigin();
    return static_cast<int>(error.GetExitCode());
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments) {
    Program program;
    try {
        try {
            program.Parse(arguments);
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() != 0) ThrowUsage(kReadingCommandLine, Description(error));
            program.app.exit(error);  // help or version was requested
        }
        if (program.run != nullptr) {
            StartLogging(program.common->isVerbose);
            WithContext("running the command", program.run);
        }
        if (!std::cout.flush())
            throw CommandError(ExitCode::Failed, "writing to stdout", "not everything could be written");
        return static_cast<int>(ExitCode::Done);
    } catch (const CommandError& error) {
        return Fail(error, program.common != nullptr && program.common->isVerbose);
    }
}

}  // namespace Kalvatri
