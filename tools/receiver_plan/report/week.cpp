#include "receiver_plan/report/week.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace receiver {

using namespace std::chrono;

namespace {

constexpr hours kHourStep{3};

// Where clocks leave out midnight the day begins with the next full hour that they show.
sys_seconds BeginningOf(const TimeZone& zone, local_days date) {
    for (hours hour{0}; hour < hours(24); ++hour) {
        if (const auto time = zone.ToUtc(date + hour)) return *time;
    }
    throw std::runtime_error(zone.Name() + " has a day without hours");
}

std::pair<TimeZone, bool> ZoneOfDays(const Plan& plan) {
    const TimeZone& first = plan.stations.at(0).zone;
    const bool isOne = std::all_of(
        plan.stations.begin(), plan.stations.end(),
        [&](const PlannedStation& station) { return station.zone.Name() == first.Name(); });
    if (isOne) return {first, true};
    const std::optional<TimeZone> utc = TimeZone::Find("UTC");
    if (!utc) throw std::runtime_error("the system's time zones lack UTC");
    return {*utc, false};
}

class DayLayout final {
public:
    DayLayout(const TimeZone& zone, local_days date)
        : zone_(zone), begin_(BeginningOf(zone, date)), end_(BeginningOf(zone, date + days(1))) {
        day_.date = date;
    }

    // In the order of their starts.
    WeekDay Lay(const Plan& plan, const std::vector<PlannedRun>& runs) {
        std::map<size_t, WeekRow> rows;
        for (const PlannedRun& run : runs) {
            if (run.start >= end_ || run.latestEnd <= begin_) continue;
            const size_t station = plan.programs[run.program].station;
            rows[station].station = station;
            Add(run, rows[station]);
        }
        for (auto& [station, row] : rows) day_.rows.push_back(std::move(row));
        AddHours();
        AddLoad();
        return std::move(day_);
    }

private:
    double PlaceOf(sys_seconds time) const {
        const auto length = static_cast<double>(std::max<int64_t>(1, (end_ - begin_).count()));
        return static_cast<double>((std::clamp(time, begin_, end_) - begin_).count()) / length;
    }

    void Add(const PlannedRun& run, WeekRow& row) {
        WeekBar bar;
        bar.run = run;
        bar.left = PlaceOf(run.start);
        bar.width = PlaceOf(run.latestEnd) - bar.left;
        bar.beganBefore = run.start < begin_;
        bar.goesOn = run.latestEnd > end_;
        std::vector<bool> isTaken(row.lanes + 1);
        for (const WeekBar& other : row.bars) {
            if (other.run.latestEnd > run.start) isTaken[other.lane] = true;
        }
        bar.lane =
            static_cast<size_t>(std::find(isTaken.begin(), isTaken.end(), false) - isTaken.begin());
        row.lanes = std::max(row.lanes, bar.lane + 1);
        row.bars.push_back(bar);
    }

    void AddHours() {
        for (hours hour = kHourStep; hour < hours(24); hour += kHourStep) {
            const auto time = zone_.ToUtc(day_.date + hour);
            if (time) day_.hours.push_back({PlaceOf(*time), std::to_string(hour.count())});
        }
    }

    void AddLoad() {
        std::map<sys_seconds, int> changes;
        for (const WeekRow& row : day_.rows) {
            for (const WeekBar& bar : row.bars) {
                ++changes[std::max(bar.run.start, begin_)];
                --changes[std::min(bar.run.latestEnd, end_)];
            }
        }
        if (changes.empty()) return;
        day_.load.push_back({0.0, 0});
        int runs = 0;
        for (const auto& [time, change] : changes) {
            if (change == 0) continue;  // one hands over to the next
            runs += change;
            if (time > begin_) day_.load.push_back({PlaceOf(time), 0});
            day_.load.back().runs = static_cast<size_t>(runs);
        }
    }

    const TimeZone& zone_;
    const sys_seconds begin_;
    const sys_seconds end_;
    WeekDay day_;
};

}  // namespace

Week WeekOf(const Plan& plan, const std::vector<PlannedRun>& runs, sys_seconds from,
            sys_seconds until) {
    const auto [zone, isStationsZone] = ZoneOfDays(plan);
    Week week{zone, isStationsZone, 0, {}};
    const local_days last = floor<days>(zone.ToLocal(until - seconds(1)));
    for (local_days date = floor<days>(zone.ToLocal(from)); date <= last; date += days(1)) {
        WeekDay day = DayLayout(zone, date).Lay(plan, runs);
        // Of a day that is not asked about as a whole nobody can say that nothing is recorded.
        const bool isWhole =
            BeginningOf(zone, date) >= from && BeginningOf(zone, date + days(1)) <= until;
        if (day.rows.empty() && !isWhole) continue;
        week.days.push_back(std::move(day));
        for (const WeekLoad& load : week.days.back().load) {
            week.most = std::max(week.most, load.runs);
        }
    }
    return week;
}

}  // namespace receiver
