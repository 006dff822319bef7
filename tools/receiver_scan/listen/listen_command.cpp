#include "receiver_scan/listen/listen_command.h"

#include <cstdio>
#include <iostream>
#include <memory>

#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/listen/listen_options.h"
#include "receiver_scan/listen/matches.h"
#include "receiver_scan/listen/programme.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/opened_source.h"
#include "receiver_scan/source/progress_bar.h"
#include "receiver_scan/source/reference_audio.h"

namespace receiver {
namespace {

HeardAudio Listen(const ListenOptions& options) {
    const OpenedSource source = OpenSource(options.source, options.ioTimeoutMs);
    ProgressBar bar(std::cerr, ProgressWidth());
    const uint64_t totalMs = options.listenMs.value_or(source.lengthMs);
    HearingOptions hearing;
    if (options.listenMs) hearing.maxFrames = *options.listenMs * kStreamSampleRate / 1000;
    hearing.onProgress = [&](uint64_t frames) {
        const uint64_t ms = frames * 1000 / kStreamSampleRate;
        bar.Show(ms, totalMs, FormatClock(ms) + " heard");
    };
    return Hear(*source.file, hearing);
}

int Run(const ListenOptions& options) {
    const std::vector<ScanReference> references =
        LoadScanReferences(options.starts, options.ends, options.others);
    const HeardAudio heard = Listen(options);
    const Judgement judgement =
        Judge(FindMatches(heard, references), references, heard, options.limits);
    for (const JudgedMatch& judged : judgement.matches) {
        char line[200];
        std::snprintf(line, sizeof(line), "%llu %s %.4f %d",
                      static_cast<unsigned long long>(judged.match.sample),
                      references[judged.match.referenceIndex].id.c_str(), judged.match.ber,
                      static_cast<int>(judged.fate));
        WriteStandardOutputLine(line);
    }
    return static_cast<int>(judgement.matches.empty() ? ScanExitCode::kNotFound
                                                      : ScanExitCode::kFound);
}

}  // namespace

ToolCommand ListenCommand() {
    const auto values = std::make_shared<ListenValues>();
    return {DescribeListen(), [values](CLI::App& app) { DeclareListenOptions(app, *values); },
            [values] { return Run(CheckListenOptions(*values)); }};
}

}  // namespace receiver
