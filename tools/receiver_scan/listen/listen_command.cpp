#include "receiver_scan/listen/listen_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "receiver_scan/check/quick_check.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/listen/curve_files.h"
#include "receiver_scan/listen/listen_options.h"
#include "receiver_scan/listen/matches.h"
#include "receiver_scan/listen/result_json.h"
#include "receiver_scan/listen/result_text.h"
#include "receiver_scan/listen/scan_result.h"
#include "receiver_scan/report/html_page.h"
#include "receiver_scan/report/svg_plot.h"
#include "receiver_scan/source/interruption.h"
#include "receiver_scan/source/opened_source.h"
#include "receiver_scan/source/progress_bar.h"
#include "receiver_scan/source/scan_output.h"

namespace receiver {
namespace {

constexpr size_t kLivePieceWords = 80;  // a second

HeardAudio Listen(const ListenOptions& options, const Interruption& interruption) {
    const OpenedSource source = OpenSource(options.source, options.ioTimeoutMs);
    ProgressBar bar(std::cerr, ProgressWidth());
    const uint64_t totalMs = options.listenMs.value_or(source.lengthMs);
    HearingOptions hearing;
    if (options.listenMs) hearing.maxFrames = *options.listenMs * kStreamSampleRate / 1000;
    hearing.pieceWords = source.isLive ? kLivePieceWords : hearing.pieceWords;
    hearing.onProgress = [&](uint64_t frames) {
        const uint64_t ms = frames * 1000 / kStreamSampleRate;
        bar.Show(ms, totalMs, FormatClock(ms) + " heard");
    };
    hearing.stopRequested = interruption.Asked();
    return Hear(*source.file, hearing);
}

std::vector<size_t> WordsHeardAt(const ScanResult& result, size_t index) {
    std::vector<size_t> words;
    for (const JudgedMatch& judged : result.judgement.matches) {
        if (judged.match.referenceIndex != index) continue;
        words.push_back(WordAtFrame(result.heard, judged.match.sample));
    }
    return words;
}

ScanResult Scan(const ListenOptions& options, const Interruption& interruption) {
    ScanResult result;
    result.source = PublicName(options.source);
    result.references = LoadScanReferences(options.starts, options.ends, options.others);
    std::vector<std::string> paths;
    for (const ScanReference& reference : result.references) paths.push_back(reference.path);
    for (const std::string& warning : ReferenceWarnings(paths)) {
        WriteStandardErrorLine("receiver-scan: " + warning);
    }
    result.heard = Listen(options, interruption);
    result.judgement = Judge(FindMatches(result.heard, result.references), result.references,
                             result.heard, options.limits);
    for (size_t i = 0; i < result.references.size(); ++i) {
        result.views.push_back(ViewReference(result.heard, result.references[i],
                                             WordsHeardAt(result, i), options.maxNearMisses));
        if (!options.WantsCurves()) result.views.back().curve = {};
    }
    return result;
}

void Print(const ScanResult& result, bool json) {
    if (!json) {
        for (const std::string& line : ResultLines(result)) WriteStandardOutputLine(line);
        return;
    }
    for (const nlohmann::json& object : ResultObjects(result)) {
        WriteStandardOutputLine(object.dump());
    }
}

void WriteFiles(const ScanResult& result, const ListenOptions& options) {
    if (!options.berFile.empty()) WriteBerFile(options.berFile, result);
    if (!options.wordsFile.empty()) WriteWordsFile(options.wordsFile, result.heard);
    if (!options.reportFile.empty()) WriteWholeFile(options.reportFile, ReportPage(result));
    if (!options.plotFile.empty()) WriteWholeFile(options.plotFile, SvgPlot(result));
}

ScanExitCode ExitCodeOf(const ScanResult& result, bool wasInterrupted) {
    if (wasInterrupted) return ScanExitCode::kInterrupted;
    if (result.heard.end == HearingEnd::kSourceFailed) return ScanExitCode::kSourceError;
    return result.judgement.matches.empty() ? ScanExitCode::kNotFound : ScanExitCode::kFound;
}

int Run(const ListenValues& values) {
    // Before anything is opened, also by the checks.
    const Interruption interruption({values.source});
    const ListenOptions options = CheckListenOptions(values);
    const ScanResult result = Scan(options, interruption);
    Print(result, options.json);
    WriteFiles(result, options);
    return static_cast<int>(ExitCodeOf(result, interruption.IsRequested()));
}

}  // namespace

ToolCommand ListenCommand() {
    const auto values = std::make_shared<ListenValues>();
    return {DescribeListen(), [values](CLI::App& app) { DeclareListenOptions(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver
