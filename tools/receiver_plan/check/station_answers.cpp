#include "receiver_plan/check/station_answers.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "command_line/public_url.h"
#include "receiver_plan/online/asked_addresses.h"
#include "receiver_plan/plan/plan_keys.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

std::map<std::string, AskedAddress> Ask(const Plan& plan, const std::set<size_t>& stations) {
    std::set<std::string> different;
    for (const size_t station : stations) different.insert(plan.stations[station].url);
    const std::vector<std::string> urls(different.begin(), different.end());
    const std::vector<AskedAddress> asked = AskAddresses(urls, kDefaultIoTimeoutMs);
    std::map<std::string, AskedAddress> answers;
    for (size_t i = 0; i < urls.size(); ++i) answers[urls[i]] = asked[i];
    return answers;
}

PlanFault FaultOf(const PlannedStation& station, const AskedAddress& asked) {
    return {station.urlLine, std::string(kStationsSection) + "." + station.name + ".url",
            asked.address + " does not answer with audio: " + asked.failure,
            asked.mayPass ? "try again in a while; it may pass by itself"
                          : "mend the address, or ask the station for another one"};
}

}  // namespace

StationAnswers AskStations(const Plan& plan) {
    std::set<size_t> stations;
    for (const PlannedProgram& program : plan.programs) stations.insert(program.station);
    size_t width = 0;
    for (const size_t station : stations) {
        width = std::max(width, plan.stations[station].name.size());
    }
    const std::map<std::string, AskedAddress> answers = Ask(plan, stations);
    StationAnswers told;
    for (const size_t index : stations) {
        const PlannedStation& station = plan.stations[index];
        const AskedAddress& asked = answers.at(station.url);
        if (!asked.answers) {
            told.faults.Add(FaultOf(station, asked));
            continue;
        }
        std::string line = "  " + station.name;
        line.resize(2 + width, ' ');
        line += "  " + PublicUrl(station.url);
        if (asked.address != PublicUrl(station.url)) line += ", a playlist of " + asked.address;
        told.lines.push_back(std::move(line));
    }
    if (!told.lines.empty()) told.lines.insert(told.lines.begin(), "Stations that answer:");
    return told;
}

}  // namespace receiver
