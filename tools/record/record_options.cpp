#include "record/record_options.h"

#include <limits>
#include <stdexcept>

#include "record/command_line_app.h"
#include "record/duration.h"
#include "record/exit_code.h"
#include "record/help_documents.h"
#include "record/reference_list.h"
#include "recording/output_format.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

uint64_t Duration(const std::string& option, const std::string& text, uint64_t least,
                  uint64_t most) {
    const std::optional<uint64_t> ms = ParseDuration(text);
    if (!ms) throw std::invalid_argument(option + ": \"" + text + "\" is no duration");
    if (*ms < least || *ms > most) {
        throw std::invalid_argument(option + ": " + text + " is not from " + FormatPosition(least) +
                                    " to " + FormatPosition(most));
    }
    return *ms;
}

std::optional<uint32_t> OptionalDuration(const std::string& option, const std::string& text,
                                         uint64_t least, uint64_t most) {
    if (text.empty()) return {};
    return static_cast<uint32_t>(Duration(option, text, least, most));
}

std::optional<uint32_t> BlockBytes(const std::string& text) {
    if (text.empty()) return {};
    const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long bytes = digits && text.size() < 8 ? std::stoul(text) : 0;
    if (bytes < kMinBlockBytes || bytes > kMaxBlockBytes) {
        throw std::invalid_argument("--block: " + text + " is not from 4 to 1048576");
    }
    return static_cast<uint32_t>(bytes);
}

// An end recording can only end a program that has a maximum.
std::optional<receiver::ProgramLimits> ProgramFrom(const CommandLineValues& values) {
    const std::optional<uint32_t> maximum =
        OptionalDuration("--max", values.maximum, kMinProgramMs, kMaxProgramMs);
    const std::optional<uint32_t> fade = OptionalDuration("--fade", values.fade, 0, kMaxFadeMs);
    if (!maximum && !fade && values.ends.empty()) return {};
    return receiver::ProgramLimits{maximum.value_or(kMaxProgramMs), fade.value_or(0)};
}

RecordOptions Check(const CommandLineValues& values) {
    RecordOptions options;
    if (values.url.rfind("http://", 0) != 0 && values.url.rfind("https://", 0) != 0) {
        throw std::invalid_argument("URL: " + values.url +
                                    " begins with neither http:// nor https://");
    }
    options.url = values.url;
    options.output = values.output;
    if (!options.ToStandardOutput()) OutputFormatFor(options.output);
    options.references = MakeReferences(values.starts, values.ends, values.others);
    if (options.references.size() > kMaxReferences) {
        throw std::invalid_argument("There can be at most 32 recordings to listen for");
    }
    options.program = ProgramFrom(values);
    options.ioTimeoutMs =
        OptionalDuration("--io-timeout", values.ioTimeout, kMinIoTimeoutMs, kMaxIoTimeoutMs);
    options.blockBytes = BlockBytes(values.block);
    if (!values.wait.empty()) {
        options.waitMs = Duration("--wait", values.wait, 1, std::numeric_limits<uint32_t>::max());
    }
    options.controlUri = values.control;
    options.receiverProgram = values.receiver;
    options.logPath = values.log;
    options.json = values.json;
    options.quiet = values.quiet;
    options.verbose = values.verbose;
    options.force = values.force;
    if (options.json && options.ToStandardOutput()) {
        throw std::invalid_argument("--json and -o - both want standard output");
    }
    if (!options.controlUri.empty() && !(options.logPath + options.receiverProgram).empty()) {
        throw std::invalid_argument(
            "--log and --receiver are for a receiver of one's own, not for --control");
    }
    return options;
}

CommandLine UsageError(const std::string& text) {
    CommandLine line;
    line.exitCode = static_cast<int>(ExitCode::kUsage);
    line.text = "receiver-record: " + text + "\nTry receiver-record --help";
    return line;
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
    CommandLineValues values;
    CLI::App app;
    DeclareCommandLine(app, values);
    // The build asks for documents without recording anything.
    if (argc == 3 && argv[1] == std::string_view("--generate")) {
        const std::optional<std::string> document = HelpDocument(app, argv[2]);
        if (!document) return UsageError("no such document");
        return {{}, static_cast<int>(ExitCode::kComplete), *document};
    }
    try {
        app.parse(argc, argv);
        return {Check(values), {}, ""};
    } catch (const CLI::CallForHelp&) {
        std::string help = app.help();
        while (!help.empty() && help.back() == '\n') help.pop_back();
        return {{}, static_cast<int>(ExitCode::kComplete), help};
    } catch (const std::exception& e) {
        return UsageError(e.what());
    }
}

}  // namespace receiver
