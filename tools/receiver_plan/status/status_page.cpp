#include "receiver_plan/status/status_page.h"

#include <algorithm>
#include <string_view>

#include "platform/text.h"
#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/status/status_texts.h"
#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/page_frame.h"

namespace receiver {

namespace {

// What is not well is not told by its colour alone.
constexpr std::string_view kStatusStyle = R"(
.state { white-space: nowrap; font-weight: 600; }
.state.bad { color: var(--mark); }
.state.bad::before { content: "\2716\00a0"; }
.state.well::before { content: "\2714\00a0"; color: var(--curve); }
td ul { margin: 0; padding-left: 1.1rem; }
td, li { overflow-wrap: anywhere; }
.soft { color: var(--soft); }
)";

std::string Items(const std::vector<std::string>& lines) {
    std::string html;
    for (const std::string& line : lines) html += "<li>" + EscapeHtml(line) + "</li>";
    return html;
}

std::string List(const char* title, const std::vector<std::string>& lines) {
    if (lines.empty()) return "";
    return std::string("<h2>") + title + "</h2>\n<ul class=verdicts>" + Items(lines) + "</ul>\n";
}

std::string FilesText(const RunStatus& run) {
    const size_t files = run.recordings.size();
    return files == 0 ? "none" : std::to_string(files);
}

std::string Row(const Plan* plan, const RunStatus& run) {
    const std::vector<std::string> findings = RunFindings(run);
    return "<tr><td class=time>" + LocalText(ZoneOf(plan, run), run.begins) + "</td><td>" +
           EscapeHtml(run.program) + "</td><td class=\"state " +
           (IsWell(run.state) ? "well" : "bad") + "\">" + StateName(run.state) +
           "</td><td class=number data-label=Files>" + FilesText(run) + "</td><td>" +
           (findings.empty() ? "" : "<ul>" + Items(findings) + "</ul>") + "</td></tr>\n";
}

// The newest first: what is looked for is mostly of today.
std::string Table(const Plan* plan, const std::vector<RunStatus>& runs) {
    if (runs.empty()) return "";
    std::string html =
        "<h2>Every run</h2>\n<div class=scroll><table><thead><tr><th>Begins</th><th>Programme</th>"
        "<th>State</th><th class=number>Files</th><th>What is to be known</th></tr></thead>\n"
        "<tbody>\n";
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) html += Row(plan, *run);
    return html + "</tbody></table></div>\n";
}

std::vector<std::string> Trouble(const Plan* plan, const std::vector<RunStatus>& runs) {
    std::vector<std::string> lines;
    for (const RunStatus& run : runs) {
        if (IsWell(run.state)) continue;
        lines.push_back(LocalText(ZoneOf(plan, run), run.begins) + ", " + run.program + ": " +
                        StateName(run.state));
    }
    return lines;
}

}  // namespace

std::string StatusPage(const Plan* plan, const std::vector<RunStatus>& runs,
                       const StatusStretch& stretch, const std::vector<std::string>& notes) {
    const std::vector<std::string> trouble = Trouble(plan, runs);
    PageHead head;
    head.headline = plan != nullptr ? ToUtf8(ToFilesystemPath(plan->path).filename())
                                    : std::string("Recordings");
    head.title = "What was recorded";
    head.kind = "What was recorded";
    const TimeZone zone = ZoneOf(nullptr, {});
    head.summary = SummaryLine(runs) + " From " + LocalText(zone, stretch.from) + " until " +
                   LocalText(zone, stretch.until) + ".";
    head.furtherStyle = kStatusStyle;
    std::string html = PageBeginning(head) + List("What is missed or damaged", trouble);
    if (trouble.empty()) html += "<p class=soft>Nothing is missed or damaged.</p>\n";
    return html + List("What could not be read", notes) + Table(plan, runs) +
           "</main>\n<footer>Made by receiver-plan.</footer>\n</body>\n</html>\n";
}

}  // namespace receiver
