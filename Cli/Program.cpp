#include "Cli/Program.h"

#include <glog/logging.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>

#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

namespace {

// glog writes to stderr alone, and that only when asked to.
void StartLogging(bool isVerbose) {
    constexpr int kEffectLogLevel = 30;
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = isVerbose ? google::GLOG_INFO : google::GLOG_FATAL;
    FLAGS_v = isVerbose ? kEffectLogLevel : 0;
    google::InitGoogleLogging("kalvatri");
}

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
    command.add_option("--module", options.module, "The module of effects, if not the installed one")->option_text("FILE");
    command.add_flag("-q,--quiet", options.isQuiet, "No notes on what is lost");
    command.add_flag("-v,--verbose", options.isVerbose, "Log what happens, and where failures come from");
}

void AddChainOptions(CLI::App& command, ChainOptions& options, const std::string& source) {
    command.add_option("--settings", options.settingsFile, "Take the chain from a JSON file")->option_text("FILE");
    command.add_option("--format", options.format, "File format, if not by the suffix of " + source)->option_text("NAME");
    command.add_option("--quality", options.quality, "Of lossy formats, " + std::to_string(options.quality) + " if not given")
        ->option_text("1..100")
        ->check(CLI::Range(Orvexa::Io::WriteOptions::kMinQuality, Orvexa::Io::WriteOptions::kMaxQuality));
    command.add_option("--pixfmt", options.pixFmt, "Convert the input to this pixel format first")->option_text("N");
    command.add_option("--max-pixels", options.read.maxPixels, "Refuse larger pictures, 2^28 if not given")->option_text("N");
    command.add_flag("--allow-truncated", options.read.allowTruncated, "Read damaged files as far as they go");
}

void AddApplyOptions(CLI::App& command, ApplyOptions& options) {
    command.add_option("-i,--input", options.inputs, "A picture; - is stdin")->option_text("IN")->required()->allow_extra_args(false);
    command.add_option("-o,--output", options.output, "The result; - is stdout, {} a number if there are many")
        ->option_text("OUT")
        ->required();
    command.add_option("chain", options.chain)->group("");  // told in the usage
    AddChainOptions(command, options, "OUT");
    command.add_flag("--stats", options.isShowingStatistics, "Print the effects' statistics as JSON");
}

void AddBatchOptions(CLI::App& command, BatchOptions& options) {
    command.add_option("inputs", options.inputs)->group("");  // told in the usage
    command.add_option("-o,--output", options.outputFolder, "The folder of the results, named as the inputs")
        ->option_text("DIR")
        ->required();
    command.add_flag("-r,--recursive", options.isRecursive, "Sub-folders too, mirrored in DIR");
    command.add_option("-T,--files-from", options.lists, "More inputs from a list, one a line; - is stdin")
        ->option_text("FILE")
        ->allow_extra_args(false);
    command.add_option("--name", options.nameTemplate, "Name results by {stem}, {ext}, {n} and {folder}")->option_text("{stem}-web.{ext}");
    command.add_option("-j,--jobs", options.jobs, "Pictures at a time, one a processor if not given")
        ->option_text("N")
        ->check(CLI::Range(1, BatchOptions::kMaxJobs));
    command.add_option("--memory", options.memory, "For all jobs, half of the machine's if not given")->option_text("512M|2G");
    command.add_flag("--force", options.isForced, "Make anew what is up to date");
    command.add_flag("--no-clobber", options.isKeepingExisting, "Skip what exists, up to date or not");
    command.add_flag("--dry-run", options.isDryRun, "Say what would be done");
    command.add_flag("--json", options.isJson, "Print a report as JSON");
    AddChainOptions(command, options, "IN");
}

// The command line library's own texts have up to three lines.
std::string Description(const CLI::ParseError& error) {
    const std::string text = error.what();
    return text.substr(0, text.find('\n')) + " (--help shows the usage)";
}

// Shows each command's usage as it was given to AddCommand.
class HelpFormatter : public CLI::Formatter {
public:
    std::map<std::string, std::string> usages;
    std::string make_usage(const CLI::App* command, std::string) const override {
        const auto usage = usages.find(command->get_name());
        return "Usage: kalvatri " + (usage == usages.end() ? "COMMAND [options]" : usage->second) + "\n";
    }
    std::string make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(command, std::move(name), mode);
        for (std::size_t gap = text.find("\n\n\n"); gap != std::string::npos; gap = text.find("\n\n\n")) text.erase(gap, 1);
        return text;
    }
    std::string make_footer(const CLI::App* command) const override { return command->get_footer(); }
};

struct Program {
    CLI::App app{"Photo effects on the command line.", "kalvatri"};
    std::shared_ptr<HelpFormatter> formatter = std::make_shared<HelpFormatter>();
    ListOptions list;
    DescribeOptions describe;
    ApplyOptions apply;
    BatchOptions batch;
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
        CLI::App* describeCommand = AddCommand("describe", "describe EFFECT [--json]", "Show an effect's settings", describe, RunDescribe);
        describeCommand->add_option("effect", describe.effect)->group("");  // told in the usage
        describeCommand->add_flag("--json", describe.isJson, "As JSON");
        describeCommand->add_flag("--markdown", describe.isMarkdown, "All effects, as a page in Markdown");
        CLI::App* applyCommand =
            AddCommand("apply", "apply -i IN -o OUT [options]\n       EFFECT [key=value]... [with=FILE]... [EFFECT ...]...",
                       "Run effects on a picture", apply, RunApply);
        applyCommand->footer(examples);
        CLI::App* batchCommand = AddCommand("batch", "batch -o DIR [options] IN... -- EFFECT [key=val]... [EFFECT]...",
                                            "Run effects on many pictures", batch, RunBatch);
        batchCommand->footer(
            "Examples:\n"
            "  kalvatri batch -o out -j 4 --format png *.jpg -- BlurBokeh size=0.05\n"
            "  kalvatri batch -o web -r --name '{stem}-web.{ext}' photos -- WhiteBalance\n");
    }

    void Parse(const std::vector<std::string>& arguments) {
        std::vector<std::string> names;
        for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) names.push_back(command->get_name());
        const std::string word = arguments.empty() ? "" : arguments[0];
        if (!word.starts_with('-') && std::find(names.begin(), names.end(), word) == names.end()) {
            const std::string nearest = Orvexa::Proc::NearestName(word, names);
            ThrowUsage(kReadingCommandLine,
                       (word.empty() ? "a command is missing" : "there is no command \"" + word + "\"") +
                           (nearest.empty() ? "; the commands are " + CLI::detail::join(names, ", ") : "; did you mean " + nearest + "?"));
        }
        // Of a batch's two lists the library is given the first.
        const auto mark = word == "batch" ? std::find(arguments.begin(), arguments.end(), "--") : arguments.end();
        if (mark != arguments.end()) batch.chain.assign(mark + 1, arguments.end());
        app.parse(std::vector<std::string>(std::make_reverse_iterator(mark), arguments.rend()));  // it takes them from the back
    }

private:
    template <class Options>
    CLI::App* AddCommand(const std::string& name, const std::string& usage, const std::string& summary, Options& options,
                         void (*command)(const Options&)) {
        formatter->usages[name] = usage;
        CLI::App* added = app.add_subcommand(name, summary);
        if constexpr (std::is_same_v<Options, ApplyOptions>) AddApplyOptions(*added, options);
        if constexpr (std::is_same_v<Options, BatchOptions>) AddBatchOptions(*added, options);
        AddCommonOptions(*added, options);
        added->callback([this, &options, command] {
            common = &options;
            run = [&options, command] { command(options); };
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
            if (error.get_exit_code() == 0) return program.app.exit(error);  // help or version were asked for
            ThrowUsage(kReadingCommandLine, Description(error));
        }
        StartLogging(program.common->isVerbose);
        While("running the command", program.run);
        if (!std::cout.flush()) throw CommandError(ExitCode::Failed, "writing to stdout", "not everything could be written");
        return static_cast<int>(ExitCode::Done);
    } catch (const CommandError& error) {
        return Fail(error, program.common != nullptr && program.common->isVerbose);
    }
}

}  // namespace Kalvatri
