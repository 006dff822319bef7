#include "receiver_scan/report/svg_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "command_line/duration.h"
#include "receiver_scan/listen/result_text.h"
#include "receiver_scan/report/envelope.h"
#include "receiver_scan/report/html_text.h"

namespace receiver {
namespace {

constexpr double kWidth = 1000.0;
constexpr double kLeft = 52.0;
constexpr double kRight = 984.0;
constexpr double kHead = 64.0;
constexpr double kLevelHeight = 56.0;
constexpr double kProgrammeHeight = 22.0;
constexpr double kCurveHeight = 104.0;
constexpr double kGap = 34.0;
constexpr double kMaxBer = 0.62;
constexpr size_t kMaxPoints = 1860;  // two for each unit of the width

constexpr const char* kStyle =
    "<style>text{font:12px system-ui,'DejaVu Sans',sans-serif;fill:#1d2126}"
    ".soft{fill:#5d6670}.title{font-size:16px;font-weight:600}.name{font-weight:600}"
    ".paper{fill:#fff}.line{stroke:#dcdfe3;fill:none}.curve{stroke:#1f5f8b;fill:none}"
    ".area{fill:#1f5f8b;fill-opacity:.25}.below{fill:#1f5f8b;fill-opacity:.08}"
    ".limit{stroke:#1d2126;stroke-dasharray:7 4}.mark{stroke:#a63c06;fill:none;stroke-width:1.5}"
    ".full{fill:#a63c06}.bar{fill:#d9e6ef;stroke:#1f5f8b}"
    "@media(prefers-color-scheme:dark){text{fill:#e6e8ea}.soft{fill:#9aa4ae}.paper{fill:#1b1f23}"
    ".line{stroke:#333a41}.curve{stroke:#7fbce6}.area,.below{fill:#7fbce6}.limit{stroke:#e6e8ea}"
    ".mark{stroke:#ffab73}.full{fill:#ffab73}.bar{fill:#24394a;stroke:#7fbce6}}</style>\n";

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string Text(double x, double y, const std::string& text, const std::string& attributes = "") {
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" " + attributes + ">" +
           EscapeHtml(text) + "</text>\n";
}

std::string Line(double x0, double y0, double x1, double y1, const char* kind) {
    return std::string("<line class=\"") + kind + "\" x1=\"" + Number(x0) + "\" y1=\"" +
           Number(y0) + "\" x2=\"" + Number(x1) + "\" y2=\"" + Number(y1) + "\"/>\n";
}

std::string Box(double x, double y, double width, double height, const char* kind) {
    return std::string("<rect class=\"") + kind + "\" x=\"" + Number(x) + "\" y=\"" + Number(y) +
           "\" width=\"" + Number(width) + "\" height=\"" + Number(height) + "\"/>\n";
}

class Plot {
public:
    explicit Plot(const ScanResult& result)
        : result_(result), seconds_(std::max(SecondsOf(result.heard.frames), 0.1)) {}

    std::string Draw() {
        Head();
        Level();
        ProgrammeBar();
        for (size_t i = 0; i < result_.references.size(); ++i) Curve(i);
        TimeAxis();
        const std::string size = Number(kWidth) + " " + Number(y_ + 14.0);
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size +
               "\" role=\"img\">\n<title>What the receiver hears in " + EscapeHtml(result_.source) +
               "</title>\n" + kStyle + "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n" +
               body_ + "</svg>\n";
    }

private:
    double X(double seconds) const {
        return kLeft + (kRight - kLeft) * std::clamp(seconds / seconds_, 0.0, 1.0);
    }

    void Head() {
        body_ += Text(16, 24, result_.source, "class=\"title\"");
        body_ += Text(16, 42,
                      "▼ heard   ○ nearly heard   ╌ 0.14: a recording is heard below it; lower is "
                      "more alike",
                      "class=\"soft\"");
        y_ = kHead;
    }

    template <typename Value, typename YOf>
    std::string Points(const std::vector<Value>& values, size_t bucket, YOf yOf) const {
        std::string points;
        for (size_t i = 0; i < values.size(); ++i) {
            points += Number(X(static_cast<double>(i * bucket) * 0.0125)) + "," +
                      Number(yOf(values[i])) + " ";
        }
        return points;
    }

    void Level() {
        const double top = y_ + 14.0;
        const double bottom = top + kLevelHeight;
        body_ += Text(16, y_ + 2.0, "Level, dB below full scale", "class=\"name\"");
        const size_t bucket = BucketSize(result_.heard.levels.size(), kMaxPoints);
        const auto louder = [](const WordLevel& a, const WordLevel& b) {
            return WordLevel{std::max(a.peak, b.peak), std::max(a.rms, b.rms)};
        };
        const auto y = [&](const WordLevel& level) {
            const double db = level.rms > 0.0f ? 20.0 * std::log10(level.rms) : -60.0;
            return bottom - kLevelHeight * std::clamp((db + 60.0) / 60.0, 0.0, 1.0);
        };
        for (const int db : {0, -30, -60}) {
            const double at = bottom - kLevelHeight * (db + 60) / 60.0;
            body_ += Line(kLeft, at, kRight, at, "line");
            body_ +=
                Text(kLeft - 6, at + 4, std::to_string(db), "class=\"soft\" text-anchor=\"end\"");
        }
        const std::vector<WordLevel> levels = Envelope(result_.heard.levels, bucket, louder);
        if (!levels.empty()) {
            body_ += "<polygon class=\"area\" points=\"" + Number(kLeft) + "," + Number(bottom) +
                     " " + Points(levels, bucket, y) +
                     Number(X(static_cast<double>((levels.size() - 1) * bucket) * 0.0125)) + "," +
                     Number(bottom) + "\"/>\n";
        }
        y_ = bottom + kGap - 8.0;
    }

    void ProgrammeBar() {
        body_ += Text(16, y_ + 2.0, "Programme", "class=\"name\"");
        const std::optional<Programme>& programme = result_.judgement.programme;
        const double top = y_ + 8.0;
        if (!programme) {
            body_ += Text(kLeft, top + 15, "none: no start recording was heard", "class=\"soft\"");
        } else {
            const double left = X(SecondsOf(programme->startSample));
            const double right = X(programme->goesOn ? seconds_ : SecondsOf(programme->endSample));
            const std::string text = DescribeEnd(*programme);
            body_ += Box(left, top, std::max(right - left, 2.0), kProgrammeHeight, "bar");
            const bool fits = right - left > 6.5 * static_cast<double>(text.size());
            const bool isAtRight = !fits && right > kWidth / 2;
            body_ += fits        ? Text(left + 6, top + 15, text)
                     : isAtRight ? Text(left - 6, top + 15, text, "text-anchor=\"end\"")
                                 : Text(right + 6, top + 15, text);
        }
        y_ = top + kProgrammeHeight + kGap - 8.0;
    }

    void Curve(size_t index) {
        const ScanReference& reference = result_.references[index];
        const ReferenceView& view = result_.views[index];
        body_ += Text(16, y_ + 2.0, reference.id + " (" + NameOf(reference.role) + ")",
                      "class=\"name\"");
        const double top = y_ + 10.0;
        const double bottom = top + kCurveHeight;
        const auto y = [&](double ber) {
            return bottom - kCurveHeight * std::min(ber / kMaxBer, 1.0);
        };
        body_ += Box(kLeft, y(kBerThreshold), kRight - kLeft, bottom - y(kBerThreshold), "below");
        for (const double ber : {0.0, 0.5}) {
            body_ += Line(kLeft, y(ber), kRight, y(ber), "line");
            body_ += Text(kLeft - 6, y(ber) + 4, Number(ber), "class=\"soft\" text-anchor=\"end\"");
        }
        body_ += Line(kLeft, y(kBerThreshold), kRight, y(kBerThreshold), "limit");
        body_ +=
            Text(kLeft - 6, y(kBerThreshold) + 4, "0.14", "class=\"soft\" text-anchor=\"end\"");
        const size_t bucket = BucketSize(view.curve.size(), kMaxPoints);
        const auto least = [](float a, float b) { return std::min(a, b); };
        body_ +=
            "<polyline class=\"curve\" points=\"" +
            Points(Envelope(view.curve, bucket, least), bucket, [&](float ber) { return y(ber); }) +
            "\"/>\n";
        for (const NearMiss& miss : view.misses) Mark(miss.sample, top, y(miss.ber), false);
        for (const JudgedMatch& judged : result_.judgement.matches) {
            if (judged.match.referenceIndex != index) continue;
            Mark(judged.match.sample, top, y(judged.match.ber), true);
        }
        y_ = bottom + kGap - 8.0;
    }

    void Mark(uint64_t sample, double top, double y, bool heard) {
        const double x = X(SecondsOf(sample));
        body_ += Line(x, top + 8, x, y, "mark");
        if (heard) {
            body_ += "<path class=\"mark full\" d=\"M" + Number(x - 5) + " " + Number(top - 2) +
                     "h10l-5 9z\"/>\n";
        } else {
            body_ += "<circle class=\"mark\" cx=\"" + Number(x) + "\" cy=\"" + Number(top + 3) +
                     "\" r=\"4.5\"/>\n";
        }
    }

    void TimeAxis() {
        constexpr std::array kSteps = {1.0,   2.0,   5.0,    10.0,   30.0,   60.0,    120.0,
                                       300.0, 600.0, 1800.0, 3600.0, 7200.0, 14400.0, 43200.0};
        const auto found = std::find_if(kSteps.begin(), kSteps.end(),
                                        [&](double step) { return seconds_ / step <= 9.0; });
        const double step = found == kSteps.end() ? seconds_ / 8.0 : *found;
        y_ -= kGap - 8.0;
        const int steps = static_cast<int>(seconds_ / step);
        for (int i = 0; i <= steps; ++i) {
            const double t = i * step;
            body_ += Line(X(t), y_, X(t), y_ + 5, "line");
            body_ += Text(X(t), y_ + 18, FormatClock(static_cast<uint64_t>(t * 1000.0)),
                          "class=\"soft\" text-anchor=\"middle\"");
        }
        y_ += 18.0;
    }

    const ScanResult& result_;
    const double seconds_;
    std::string body_;
    double y_ = 0.0;
};

}  // namespace

std::string SvgPlot(const ScanResult& result) {
    return Plot(result).Draw();
}

}  // namespace receiver
