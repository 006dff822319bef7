#include "record/command_line_app.h"

#include <memory>
#include <sstream>
#include <utility>

#include "record/exit_code.h"
#include "recording/output_format.h"

namespace receiver {
namespace {

constexpr size_t kHelpColumns = 80;
constexpr size_t kDescriptionColumn = 30;

// Breaks descriptions between words; the base puts each piece into the right column. And one
// empty line between groups will do.
class WrappingFormatter final : public CLI::Formatter {
public:
    WrappingFormatter() { column_width(kDescriptionColumn); }
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        for (size_t at = text.find("\n\n\n"); at != text.npos; at = text.find("\n\n\n", at)) {
            text.erase(at, 1);
        }
        return text;
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        std::istringstream words(CLI::Formatter::make_option_desc(option));
        std::string text;
        size_t used = 0;
        for (std::string word; words >> word;) {
            const bool fits = used + 1 + word.size() <= kHelpColumns - kDescriptionColumn;
            if (used > 0) text += fits ? ' ' : '\n';
            used = used > 0 && fits ? used + 1 + word.size() : word.size();
            text += word;
        }
        return text;
    }
};

std::string Footer() {
    std::string text = "Durations: 90s, 55m, 1h30m, 2.5s, 00:55:00, or seconds.\n\nExamples:\n";
    for (const CommandExample& example : CommandExamples()) {
        text += std::string("  # ") + example.purpose + "\n  " + example.command + "\n";
    }
    text += "\nExit codes:\n";
    for (const ExitCodeMeaning& exit : ExitCodeMeanings()) {
        text += "  " + std::to_string(exit.code) + "  " + exit.meaning + "\n";
    }
    return text;
}

void DeclareReferences(CLI::App& app, CommandLineValues& values) {
    const char* const group = "What to listen for";
    app.add_option("--start", values.starts,
                   "A recording whose beginning starts the program; may be repeated")
        ->type_name("[ID=]FILE")
        ->allow_extra_args(false)  // what follows the file is not another one
        ->group(group)
        ->required();
    app.add_option("--end", values.ends, "A recording whose end ends the program; may be repeated")
        ->type_name("[ID=]FILE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--other", values.others, "A recording that is only reported; may be repeated")
        ->type_name("[ID=]FILE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--wait", values.wait, "Give up when no start has come after so long")
        ->type_name("DURATION")
        ->group(group);
}

void DeclareProgram(CLI::App& app, CommandLineValues& values) {
    const char* const group = "The program";
    app.add_option("--max", values.maximum,
                   "Longest program, 1s to 1h (1h when --end or --fade is given, otherwise the "
                   "program lasts until the source ends)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--fade", values.fade,
                   "Fade out before the end, unless an --end recording made it")
        ->type_name("DURATION")
        ->group(group);
}

void DeclareOutput(CLI::App& app, CommandLineValues& values) {
    const char* const group = "Output";
    app.add_option("-o,--output", values.output,
                   "The file to write; its name chooses the format (" + SupportedExtensions() +
                       "); - writes WAV to standard output")
        ->type_name("FILE")
        ->group(group)
        ->required();
    app.add_flag("--force", values.force, "Overwrite the file")->group(group);
    app.add_flag("--json", values.json, "Write the events to standard output, a JSON object a line")
        ->group(group);
    app.add_flag("-q,--quiet", values.quiet, "Report nothing but failures")->group(group);
    app.add_flag("-v,--verbose", values.verbose, "Report also what helps to find a fault")
        ->group(group);
}

void DeclareReceiver(CLI::App& app, CommandLineValues& values) {
    const char* const group = "The receiver";
    app.add_option("--io-timeout", values.ioTimeout,
                   "Longest silence of the source, 100ms to 60s (15s)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--block", values.block, "Bytes of one block of its buffer, 4 to 1048576 (8192)")
        ->type_name("BYTES")
        ->group(group);
    app.add_option("--control", values.control,
                   "Join the receiver that runs at this URI instead of starting one")
        ->type_name("URI")
        ->group(group);
    app.add_option("--receiver", values.receiver,
                   "The receiver program to start (ReceiverHost beside this program)")
        ->type_name("PROGRAM")
        ->group(group);
    app.add_option("--log", values.log, "Where the started receiver writes its log")
        ->type_name("FILE")
        ->group(group);
}

}  // namespace

void DeclareCommandLine(CLI::App& app, CommandLineValues& values) {
    app.name("receiver-record");
    app.description(
        "Records one program of an internet radio stream, exact to the sample, from\n"
        "the beginning of a start recording to the end of an end recording or a maximum length.");
    app.formatter(std::make_shared<WrappingFormatter>());
    app.set_help_flag();  // comes last
    app.add_option("URL", values.url, "The stream, http:// or https://")->required();
    DeclareReferences(app, values);
    DeclareProgram(app, values);
    DeclareOutput(app, values);
    DeclareReceiver(app, values);
    app.set_help_flag("-h,--help", "Print this help")->group("Other");
    app.add_option("--generate", values.document, "")
        ->group("");  // man, bash or zsh: for the build
    app.footer(Footer());
}

const std::vector<CommandExample>& CommandExamples() {
    static const std::vector<CommandExample> examples = {
        {"from the jingle to the outro, at most 55 minutes",
         "receiver-record http://radio.example/live --start jingle.wav --end outro.wav \\\n"
         "      --max 55m -o show.flac"},
        {"exactly half an hour with a fade, into another tool",
         "receiver-record http://radio.example/live --start jingle.wav --max 30m \\\n"
         "      --fade 3s -o - | ffmpeg -i - show.mp3"},
        {"for a scheduler: events as JSON, and no longer than the slot",
         "receiver-record http://radio.example/live --start news=jingle.wav --wait 10m \\\n"
         "      --json -o news.wav"},
    };
    return examples;
}

const std::vector<ExitCodeMeaning>& ExitCodeMeanings() {
    static const std::vector<ExitCodeMeaning> meanings = {
        {static_cast<int>(ExitCode::kComplete), "the program is complete"},
        {static_cast<int>(ExitCode::kFailure), "the receiver failed or refused the request"},
        {static_cast<int>(ExitCode::kUsage),
         "wrong command line, or a recording to listen for is missing or unfit"},
        {static_cast<int>(ExitCode::kStartNotFound), "no start recording was heard"},
        {static_cast<int>(ExitCode::kSourceError),
         "the source failed, or ended before the program did"},
        {static_cast<int>(ExitCode::kInterrupted), "interrupted"},
        {static_cast<int>(ExitCode::kOutputError), "the output could not be written"},
    };
    return meanings;
}

}  // namespace receiver
