#include "receiver_plan/report/week_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "receiver_plan/check/check_texts.h"
#include "receiver_plan/report/week.h"
#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/page_frame.h"

namespace receiver {

using namespace std::chrono;

namespace {

// Bars lie on the hours of their day; what cannot be as wide as its name shows it when it is
// pointed at, and the table below has it.
constexpr std::string_view kWeekStyle = R"(
.day { margin: 0 0 1.1rem; padding: 0.6rem 0.9rem; background: var(--card);
    border: 1px solid var(--line); border-radius: 6px; break-inside: avoid; }
.day h3 { display: flex; justify-content: space-between; gap: 1rem; }
.week { display: grid; grid-template-columns: minmax(0, 9rem) minmax(0, 1fr);
    column-gap: 0.7rem; align-items: center; font-size: 0.85rem; }
.station { overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.hours { position: relative; min-height: 1.5rem; border-left: 1px solid var(--line);
    border-right: 1px solid var(--line); overflow: hidden; }
.hours i { position: absolute; top: 0; bottom: 0; width: 1px; background: var(--line); }
.clock { min-height: 1.1rem; border: 0; color: var(--soft); font-size: 0.72rem;
    font-variant-numeric: tabular-nums; }
.clock span { position: absolute; transform: translateX(-50%); }
.run { position: absolute; height: 1.3rem; min-width: 4px; overflow: hidden; padding: 0 0.3rem;
    background: var(--bar); border: 1px solid var(--curve); border-radius: 3px;
    line-height: 1.15rem; font-size: 0.75rem; white-space: nowrap; text-overflow: ellipsis;
    print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.run.thin { padding: 0; }
.run.before { border-left-style: dashed; border-radius: 0 3px 3px 0; }
.run.on { border-right-style: dashed; border-radius: 3px 0 0 3px; }
.load { border: 0; min-height: 2rem; }
.load svg { position: absolute; width: 100%; height: 100%; display: block; }
.load rect { fill: var(--curve); opacity: 0.45; }
.load .peak { fill: var(--mark); opacity: 1; }
.soft { color: var(--soft); font-weight: 400; }
@media (max-width: 40rem) {
    .day { padding: 0.5rem; }
    .week { display: block; }
    .station { font-weight: 600; margin-top: 0.2rem; }
}
)";

constexpr double kLoadHeight = 100.0;
constexpr double kLeastNamed = 0.03;  // of a day: a narrower bar has no room for a name

std::string Percent(double place) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.3f%%", place * 100.0);
    return text.data();
}

std::string DayTitle(const Week& week, const WeekDay& day) {
    const auto morning = week.zone.ToUtc(day.date + hours(12));
    return morning ? LocalText(week.zone, *morning).substr(0, 14) : DateText(day.date);
}

std::string MinutesText(const TimeZone& zone, sys_seconds time) {
    const std::string clock = ClockText(zone.ToLocal(time));
    return clock.ends_with(":00") ? clock.substr(0, 5) : clock;
}

// "18:25 until 19:25 at the latest", as the station's clocks show it.
std::string TimesText(const Plan& plan, const PlannedRun& run) {
    const TimeZone& zone = plan.StationOf(plan.programs[run.program]).zone;
    return MinutesText(zone, run.start) + " until " + MinutesText(zone, run.latestEnd) +
           " at the latest";
}

std::string Bar(const Plan& plan, const WeekBar& bar) {
    const PlannedProgram& program = plan.programs[bar.run.program];
    const std::string name = EscapeHtml(program.name);
    const bool isThin = bar.width < kLeastNamed;
    return std::string("<div class=\"run") + (isThin ? " thin" : "") +
           (bar.beganBefore ? " before" : "") + (bar.goesOn ? " on" : "") +
           "\" style=\"left:" + Percent(bar.left) + ";width:" + Percent(bar.width) +
           ";top:" + std::to_string(bar.lane * 3 / 2) + (bar.lane % 2 == 0 ? ".1rem" : ".6rem") +
           "\" title=\"" + name + ", " +
           EscapeHtml(TimesText(plan, bar.run) + CopiesText(program.copies)) + "\">" +
           (isThin ? "" : name) + "</div>";
}

std::string HourLines(const WeekDay& day) {
    std::string html;
    for (const WeekHour& hour : day.hours) {
        html += "<i style=\"left:" + Percent(hour.left) + "\"></i>";
    }
    return html;
}

std::string Clock(const WeekDay& day) {
    std::string html = "<div></div><div class=\"hours clock\" aria-hidden=true>";
    for (const WeekHour& hour : day.hours) {
        html += "<span style=\"left:" + Percent(hour.left) + "\">" + hour.text + "</span>";
    }
    return html + "</div>\n";
}

size_t MostOf(const WeekDay& day) {
    size_t most = 0;
    for (const WeekLoad& load : day.load) most = std::max(most, load.runs);
    return most;
}

// How many run at once, over the day: each step as high as it is of the most that there are.
std::string Load(const Week& week, const WeekDay& day) {
    std::string html =
        "<div class=\"station soft\">at once</div><div class=\"hours load\"><svg "
        "viewBox=\"0 0 1000 100\" preserveAspectRatio=none role=img "
        "aria-label=\"Runs at once\">";
    for (size_t i = 0; i < day.load.size(); ++i) {
        const WeekLoad& load = day.load[i];
        if (load.runs == 0) continue;
        const double right = i + 1 < day.load.size() ? day.load[i + 1].left : 1.0;
        const double height =
            kLoadHeight * static_cast<double>(load.runs) / static_cast<double>(week.most);
        const bool isPeak = load.runs == week.most && week.most > 1;
        std::array<char, 200> rect{};
        std::snprintf(rect.data(), rect.size(),
                      "<rect%s x=\"%.2f\" y=\"%.2f\" width=\"%.2f\" height=\"%.2f\"><title>%zu at "
                      "once</title></rect>",
                      isPeak ? " class=peak" : "", load.left * 1000.0, kLoadHeight - height,
                      (right - load.left) * 1000.0, height, load.runs);
        html += rect.data();
    }
    return html + "</svg></div>\n";
}

std::string Day(const Plan& plan, const Week& week, const WeekDay& day) {
    const size_t most = MostOf(day);
    std::string html = "<section class=day><h3>" + DayTitle(week, day);
    if (most > 1) html += " <small>" + std::to_string(most) + " at once</small>";
    html += "</h3>\n";
    if (day.rows.empty()) return html + "<p class=soft>Nothing is recorded.</p></section>\n";
    html += "<div class=week>\n";
    for (const WeekRow& row : day.rows) {
        const std::string height =
            std::to_string(row.lanes * 3 / 2) + (row.lanes % 2 ? ".5" : ".0");
        html += "<div class=station>" + EscapeHtml(plan.stations[row.station].name) +
                "</div><div class=hours style=\"height:" + height + "rem\">" + HourLines(day);
        for (const WeekBar& bar : row.bars) html += Bar(plan, bar);
        html += "</div>\n";
    }
    return html + Load(week, day) + Clock(day) + "</div></section>\n";
}

std::string List(const char* title, const std::vector<std::string>& lines) {
    if (lines.empty()) return "";
    std::string html = std::string("<h2>") + title + "</h2>\n<ul class=verdicts>\n";
    for (const std::string& line : lines) html += "<li>" + EscapeHtml(line) + "</li>\n";
    return html + "</ul>\n";
}

std::string RunTable(const Plan& plan, const PlanCheck& check) {
    if (check.runs.empty()) return "";
    std::string html =
        "<h2>Every run</h2>\n<div class=scroll><table><thead><tr><th>Begins to listen</th>"
        "<th>Ends at the latest</th><th>Programme</th><th>Station</th><th class=number>Copies</th>"
        "</tr></thead>\n<tbody>\n";
    for (const PlannedRun& run : check.runs) {
        const PlannedProgram& program = plan.programs[run.program];
        const PlannedStation& station = plan.StationOf(program);
        html += "<tr><td class=time>" + LocalText(station.zone, run.start) +
                "</td><td class=time data-label=until>" +
                ClockText(station.zone.ToLocal(run.latestEnd)) + "</td><td>" +
                EscapeHtml(program.name) + "</td><td>" + EscapeHtml(station.name) +
                "</td><td class=number data-label=Copies>" + std::to_string(program.copies) +
                "</td></tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

std::string Summary(const PlanCheck& check, const Week& week, sys_seconds from, sys_seconds until) {
    const size_t runs = check.runs.size();
    return (runs == 0 ? "No run" : std::to_string(runs) + (runs == 1 ? " run" : " runs")) +
           " from " + LocalText(week.zone, from) + " until " + LocalText(week.zone, until) +
           ". The days are those of " + week.zone.Name() +
           (week.isStationsZone ? "." : ", as the stations are in several time zones.");
}

}  // namespace

std::string WeekPage(const Plan& plan, const PlanCheck& check, sys_seconds from,
                     sys_seconds until) {
    const Week week = WeekOf(plan, check.runs, from, until);
    PageHead head;
    head.headline = ToUtf8(ToFilesystemPath(plan.path).filename());
    head.title = "What " + head.headline + " records";
    head.kind = "What is to be recorded";
    head.summary = Summary(check, week, from, until);
    head.furtherStyle = kWeekStyle;
    std::string html = PageBeginning(head) +
                       List("What is to be mended", FindingLines(plan, check)) +
                       List("What it needs", NeedLines(plan, check.needs)) +
                       "<h2>Day by day</h2>\n<p class=soft>A bar is as long as its run may last. "
                       "Below each day is how many run at once, the peak in another colour.</p>\n";
    for (const WeekDay& day : week.days) html += Day(plan, week, day);
    return html + List("At the same time", OverlapLines(plan, check.runs)) + RunTable(plan, check) +
           "</main>\n<footer>Made by receiver-plan.</footer>\n</body>\n</html>\n";
}

}  // namespace receiver
