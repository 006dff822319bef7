#include "receiver_record/request/record_options.h"

#include <limits>
#include <stdexcept>

#include "command_line/listening_options.h"
#include "command_line/public_url.h"
#include "receiver_record/exit_code.h"
#include "receiver_record/request/command_line.h"
#include "references/reference_list.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

static_assert(static_cast<int>(ExitCode::kUsage) == kUsageExitCode);

std::optional<uint32_t> OptionalDuration(const std::string& option, const std::string& text,
                                         uint64_t least, uint64_t most) {
    if (text.empty()) return {};
    return static_cast<uint32_t>(DurationOf(option, text, least, most));
}

std::optional<uint32_t> BlockBytes(const std::string& text) {
    if (text.empty()) return {};
    if (text.find_first_not_of("0123456789") != std::string::npos) {
        throw std::invalid_argument("--block: invalid number \"" + text + "\"");
    }
    const unsigned long bytes = text.size() < 8 ? std::stoul(text) : kMaxBlockBytes + 1;
    if (bytes < kMinBlockBytes || bytes > kMaxBlockBytes) {
        throw std::invalid_argument("--block: " + text + " is not between " +
                                    std::to_string(kMinBlockBytes) + " and " +
                                    std::to_string(kMaxBlockBytes));
    }
    return static_cast<uint32_t>(bytes);
}

constexpr uint64_t kMaxCutMs = uint64_t{24} * 3600 * 1000;

CutLimits LimitsFrom(const CommandLineValues& values) {
    CutLimits limits;
    limits.maximumMs = OptionalDuration("--max", values.maximum, kMinProgramMs, kMaxCutMs);
    limits.fadeMs = OptionalDuration("--fade", values.fade, 0, kMaxFadeMs).value_or(0);
    limits.minimumMs = OptionalDuration("--min", values.minimum, 0, kMaxCutMs).value_or(0);
    if (!values.trim.empty() && values.trim != kTrimStart && values.trim != kTrimEnd &&
        values.trim != kTrimBoth) {
        throw std::invalid_argument("--trim: \"" + values.trim + "\" is not start, end or both");
    }
    limits.trimStart = values.trim == kTrimStart || values.trim == kTrimBoth;
    limits.trimEnd = values.trim == kTrimEnd || values.trim == kTrimBoth;
    if (limits.minimumMs != 0 && values.ends.empty()) {
        throw std::invalid_argument("--min: there is no --end that could come too early");
    }
    if (limits.maximumMs && limits.minimumMs >= *limits.maximumMs) {
        throw std::invalid_argument("--min: " + values.minimum + " is not less than --max");
    }
    if (limits.trimEnd && values.ends.empty()) {
        throw std::invalid_argument("--trim " + values.trim + ": there is no --end to cut off");
    }
    return limits;
}

RecordOptions Check(const CommandLineValues& values) {
    RecordOptions options;
    options.url = CheckUrl(values.url);
    options.schedule = CheckSchedule(values.schedule);
    options.connection = CheckConnection(values.connection);
    if (values.starts.empty() && !options.schedule.startNow) {
        throw std::invalid_argument("--start is required, or --now");
    }
    if (!values.starts.empty() && options.schedule.startNow) {
        throw std::invalid_argument("--now does not wait for a --start");
    }
    options.output = values.output;
    options.encoder = CheckEncoder(values.encoder);
    options.metrics = CheckMetrics(values.metrics);
    EncoderFormat(options.output, options.encoder);  // throws for what cannot be
    options.references = MakeReferences(values.starts, values.ends, values.others);
    if (options.references.size() > kMaxReferences) {
        throw std::invalid_argument("too many recordings to listen for; at most " +
                                    std::to_string(kMaxReferences) + " are possible");
    }
    options.limits = LimitsFrom(values);
    options.ioTimeoutMs =
        OptionalDuration("--io-timeout", values.ioTimeout, kMinIoTimeoutMs, kMaxIoTimeoutMs);
    options.blockBytes = BlockBytes(values.block);
    if (!values.wait.empty()) {
        options.waitMs = DurationOf("--wait", values.wait, 1, std::numeric_limits<uint32_t>::max());
    }
    options.controlUri = values.control;
    options.receiverProgram = values.receiver;
    options.logPath = values.log;
    options.json = values.json;
    options.quiet = values.quiet;
    options.verbose = values.verbose;
    options.force = values.force;
    if (options.schedule.repeat && options.ToStandardOutput()) {
        throw std::invalid_argument("--repeat needs a file for each programme, not -o -");
    }
    if (options.json && options.ToStandardOutput()) {
        throw std::invalid_argument("--json and -o - cannot both write to standard output");
    }
    if (!options.controlUri.empty() && !(options.logPath + options.receiverProgram).empty()) {
        throw std::invalid_argument(
            "--log and --receiver are for a receiver that is started, not for --control");
    }
    return options;
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
    CommandLineValues values;
    const auto declare = [&](CLI::App& app) { DeclareCommandLine(app, values); };
    CommandLine line;
    line.answer = ParseToolCommandLine(RecordTool(), declare, argc, argv);
    if (line.answer) return line;
    try {
        line.options = Check(values);
    } catch (const std::exception& e) {
        line.answer = UsageError(RecordTool(), WithPublicUrls(e.what(), argc, argv));
    }
    return line;
}

}  // namespace receiver
