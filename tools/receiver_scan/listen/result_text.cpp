#include "receiver_scan/listen/result_text.h"

#include <algorithm>
#include <cstdio>

#include "command_line/duration.h"
#include "command_line/harmless_text.h"

namespace receiver {
namespace {

using Row = std::vector<std::string>;

std::string Number(const char* format, double value) {
    char text[40];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

// The last column stays as long as it is.
void AppendTable(const std::vector<Row>& rows, std::vector<std::string>& lines) {
    std::vector<size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line.append(widths[i] - row[i].size() + 2, ' ');
        }
        lines.push_back(line);
    }
}

Row PlaceOf(const ScanReference& reference, uint64_t sample, double ber) {
    return {FormatPosition(MsOf(sample)), std::to_string(sample),
            Harmless(reference.id),       NameOf(reference.role),
            Number("%.4f", ber),          Number("%+.4f", kBerThreshold - ber)};
}

std::vector<Row> MatchRows(const ScanResult& result) {
    std::vector<Row> rows = {
        {"TIME", "SAMPLE", "RECORDING", "ROLE", "BER", "MARGIN", "THE RECEIVER"}};
    for (const JudgedMatch& judged : result.judgement.matches) {
        const DetectorMatch& match = judged.match;
        rows.push_back(PlaceOf(result.references[match.referenceIndex], match.sample, match.ber));
        rows.back().push_back(Describe(judged.fate));
    }
    return rows;
}

std::vector<Row> NearMissRows(const ScanResult& result) {
    std::vector<Row> rows = {{"TIME", "SAMPLE", "RECORDING", "ROLE", "BER", "MARGIN", "PROBABLY"}};
    for (size_t i = 0; i < result.views.size(); ++i) {
        for (const NearMiss& miss : result.views[i].misses) {
            rows.push_back(PlaceOf(result.references[i], miss.sample, miss.ber));
            rows.back().push_back(Describe(miss.cause));
        }
    }
    return rows;
}

std::string Times(size_t count) {
    return count == 1 ? "once" : count == 2 ? "twice" : std::to_string(count) + " times";
}

}  // namespace

std::string ReferenceLine(const ScanResult& result, size_t index) {
    const ScanReference& reference = result.references[index];
    const ReferenceView& view = result.views[index];
    const auto count = static_cast<size_t>(std::count_if(
        result.judgement.matches.begin(), result.judgement.matches.end(),
        [&](const JudgedMatch& judged) {
            return judged.match.referenceIndex == index && judged.fate != MatchFate::kHeardAgain;
        }));
    std::string line = Harmless(reference.id) + " (" + NameOf(reference.role) + "): ";
    if (count > 0) return line + "heard " + Times(count);
    line += "not heard";
    if (!view.best) return line + "; it is longer than what was listened to";
    if (!view.misses.empty()) return line + ", but nearly";
    const uint64_t at = result.heard.frameAt[view.best->offset];
    return line + "; the nearest place is " + FormatPosition(MsOf(at)) + " with a BER of " +
           Number("%.4f", view.best->ber) +
           ". It is the wrong file, or was not broadcast in this time";
}

std::string ProgrammeLine(const ScanResult& result) {
    const std::optional<Programme>& programme = result.judgement.programme;
    if (!programme) return "No programme: no start recording was heard";
    const auto clock = [](uint64_t sample) { return FormatPosition(MsOf(sample)); };
    std::string line = "The programme: from " + clock(programme->startSample) + " (sample " +
                       std::to_string(programme->startSample) + ")";
    if (programme->goesOn) return line + ", " + DescribeEnd(*programme);
    line += " to " + clock(programme->endSample) + " (sample " +
            std::to_string(programme->endSample) + "), " +
            clock(programme->endSample - std::min(programme->startSample, programme->endSample)) +
            " long; " + DescribeEnd(*programme);
    if (programme->fadeFrames == 0) return line;
    return line + ", after a fade of " + Number("%.1f s", SecondsOf(programme->fadeFrames));
}

std::string HeardText(const ScanResult& result) {
    const HeardAudio& heard = result.heard;
    std::string line = FormatPosition(MsOf(heard.frames)) + " heard, " +
                       std::to_string(heard.channels) +
                       (heard.channels == 1 ? " channel" : " channels");
    if (heard.end == HearingEnd::kSourceFailed) line += "; then the source failed";
    return line;
}

const char* Describe(MatchFate fate) {
    switch (fate) {
        case MatchFate::kStartsProgramme:
            return "starts the programme";
        case MatchFate::kEndsProgramme:
            return "ends the programme behind it";
        case MatchFate::kReportedOnly:
            return "reports it";
        case MatchFate::kHeardAgain:
            return "ignored: the same occurrence once more";
        case MatchFate::kStartAfterStart:
            return "ignored: the programme has begun already";
        case MatchFate::kEndBeforeStart:
            return "ignored: no programme has begun";
        case MatchFate::kEndTooLate:
            return "ignored: the programme ends before it would";
        case MatchFate::kAfterProgramme:
            break;
    }
    return "ignored: the programme is over";
}

std::string DescribeEnd(const Programme& programme) {
    if (programme.goesOn) return "still going on when the scan stopped listening";
    switch (programme.reason) {
        case ProgramEndReason::kMaximum:
            return "it has its maximum length";
        case ProgramEndReason::kOutro:
            return "an end recording ends it";
        case ProgramEndReason::kInterrupted:
            return "the source failed";
        case ProgramEndReason::kSourceEnded:
            break;
    }
    return "the source ended";
}

std::vector<std::string> ResultLines(const ScanResult& result) {
    std::vector<std::string> lines = {Harmless(result.source) + ": " + HeardText(result), ""};
    const std::vector<Row> matches = MatchRows(result);
    if (matches.size() > 1) {
        AppendTable(matches, lines);
    } else {
        lines.push_back("No recording was heard.");
    }
    const std::vector<Row> misses = NearMissRows(result);
    if (misses.size() > 1) {
        lines.insert(lines.end(), {"", "Near misses:"});
        AppendTable(misses, lines);
    }
    lines.push_back("");
    for (size_t i = 0; i < result.references.size(); ++i) lines.push_back(ReferenceLine(result, i));
    lines.push_back(ProgrammeLine(result));
    return lines;
}

}  // namespace receiver
