#include "receiver_plan/plan/plan_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "audio_output/output_format.h"
#include "platform/text.h"
#include "receiver_plan/plan/plan_section.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/plan/windows_path.h"
#include "receiver_record/request/command_line.h"
#include "receiver_record/request/connection_options.h"
#include "receiver_record/request/record_options.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kSecondMs = 1000;
constexpr uint64_t kMaxDurationMs = kSecondMs * 3600 * 24;
constexpr const char* kDefaultWait = "15m";
constexpr uint64_t kDefaultWaitMs = kSecondMs * 60 * 15;
constexpr const char* kDefaultFormat = "flac";
constexpr const char* kDefaultName = "%F %H%M";

std::vector<std::string> NamesOf(std::span<const PlanKey> keys, bool ofDefaults) {
    std::vector<std::string> names;
    for (const PlanKey& key : keys) {
        if (!ofDefaults || key.hasDefault) names.emplace_back(key.name);
    }
    return names;
}

class PlanReader final {
public:
    PlanReader(const toml::table& table, const std::string& path, const std::string& folder)
        : root_("", table, nullptr, faults_), folder_(ToFilesystemPath(folder)) {
        plan_.path = path;
    }

    Plan Read() {
        root_.Allow({kDefaultsSection, kStationsSection, kProgramsSection});
        static const toml::table kNone;
        const toml::table* defaults = nullptr;
        if (root_.Has(kDefaultsSection)) defaults = root_.Table(kDefaultsSection);
        const PlanSection defaultSection(kDefaultsSection, defaults != nullptr ? *defaults : kNone,
                                         nullptr, faults_);
        defaultSection.Allow(NamesOf(ProgramKeys(), true));
        ForEachNamed(kStationsSection, nullptr,
                     [&](const std::string& name, const PlanSection& section) {
                         ReadStation(name, section);
                     });
        ForEachNamed(kProgramsSection, &defaultSection,
                     [&](const std::string& name, const PlanSection& section) {
                         ReadProgram(name, section);
                     });
        if (faults_.All().empty()) AskRecorder();
        if (!faults_.All().empty()) throw FaultyPlan(faults_);
        return std::move(plan_);
    }

private:
    template <class Take>
    void ForEachNamed(const char* key, const PlanSection* defaults, const Take& take) {
        const toml::table* const tables = root_.Table(key);
        if (tables == nullptr) return;
        const PlanSection all(key, *tables, nullptr, faults_);
        if (tables->empty()) all.Fault("", "empty", "add [" + std::string(key) + ".NAME]");
        for (const auto& [name, node] : *tables) {
            const std::string text(name.str());
            if (!IsPlanName(text)) {
                all.Fault(text, "not a name",
                          "write up to 40 small letters, digits and hyphens between them");
            }
            if (const toml::table* const table = all.Table(text)) {
                take(text, PlanSection(std::string(key) + "." + text, *table, defaults, faults_));
            }
        }
    }

    void ReadStation(const std::string& name, const PlanSection& section) {
        section.Allow(NamesOf(StationKeys(), false));
        stationNames_.push_back(name);
        if (!section.Has("url")) section.Missing("url", "add the stream's address");
        if (!section.Has("zone")) section.Missing("zone", "add its time zone, as Europe/Berlin");
        std::string url;
        if (const auto text = section.Text("url")) {
            try {
                url = CheckUrl(*text);
            } catch (const std::invalid_argument&) {
                section.Fault("url", "not an address of a stream",
                              "write one that begins with http:// or https://");
            }
        }
        const auto zoneName = section.Text("zone");
        const auto zone = zoneName ? TimeZone::Find(*zoneName) : std::nullopt;
        if (zoneName && !zone) {
            section.Fault("zone", "\"" + *zoneName + "\" is not a time zone of this system",
                          "write one as Europe/Berlin; timedatectl list-timezones has them all");
        }
        stationOfName_.push_back(zone ? plan_.stations.size() : 0);
        if (zone) plan_.stations.push_back({name, url, *zone, section.LineOf("url")});
    }

    void ReadStationOf(const PlanSection& section, PlannedProgram& program) {
        const auto name = section.Text("station");
        if (!section.Has("station")) section.Missing("station", "name one of [stations]");
        if (!name) return;
        const auto found = std::find(stationNames_.begin(), stationNames_.end(), *name);
        if (found != stationNames_.end()) {
            program.station = stationOfName_[static_cast<size_t>(found - stationNames_.begin())];
            return;
        }
        const std::string nearest = NearestName(*name, stationNames_);
        section.Fault(
            "station", "there is no station \"" + *name + "\"",
            nearest.empty() ? "add [stations." + *name + "]" : "did you mean \"" + nearest + "\"?");
    }

    void ReadWhen(const PlanSection& section, PlannedProgram& program) {
        if (!section.Has("when")) section.Missing("when", "add a time, as Mon..Fri 18:25");
        for (const std::string& text : section.Texts("when")) {
            try {
                program.when.push_back(CalendarExpression::Parse(text));
            } catch (const std::invalid_argument& mistake) {
                section.Fault("when", "\"" + text + "\" is not understood", mistake.what());
            }
        }
    }

    // "[ID=]FILE" with the file's whole path.
    std::vector<std::string> Recordings(const PlanSection& section, const std::string& key) const {
        std::vector<std::string> recordings = section.Texts(key);
        for (std::string& recording : recordings) {
            const size_t file = recording.size() - FileOfRecording(recording).size();
            recording.replace(file, std::string::npos, Absolute(recording.substr(file)));
        }
        return recordings;
    }

    std::string Absolute(const std::string& path) const {
        if (IsWindowsPath(path)) return path;
        return ToUtf8((folder_ / ToFilesystemPath(path)).lexically_normal());
    }

    void ReadLengths(const PlanSection& section, PlannedProgram& program) {
        if (!section.Has("max")) section.Missing("max", "say how long it may become, as 1h30m");
        program.maximumMs = section.Duration("max", kSecondMs, kMaxDurationMs).value_or(0);
        program.maximum = section.Text("max").value_or("");
        if (section.Duration("min", 0, kMaxDurationMs)) program.minimum = *section.Text("min");
        if (section.Duration("fade", 0, kMaxDurationMs)) program.fade = *section.Text("fade");
        program.trim = section.Text("trim").value_or("");
        if (!program.trim.empty() && program.trim != kTrimStart && program.trim != kTrimEnd &&
            program.trim != kTrimBoth) {
            section.Fault("trim", "\"" + program.trim + "\" is nothing to trim",
                          "write start, end or both");
        }
        if (program.starts.empty()) return;
        program.waitMs = section.Duration("wait", 1, kMaxDurationMs).value_or(kDefaultWaitMs);
        program.wait = section.Text("wait").value_or(kDefaultWait);
    }

    void ReadOutput(const PlanSection& section, PlannedProgram& program) {
        if (!section.Has("folder")) section.Missing("folder", "say where recordings go");
        program.folder = Absolute(section.Text("folder").value_or(""));
        program.format = section.Text("format").value_or(kDefaultFormat);
        try {
            OutputFormatFor("x." + program.format);
        } catch (const std::invalid_argument&) {
            section.Fault("format", "\"" + program.format + "\" is not a format of recordings",
                          "these can be written here: " + SupportedExtensions());
        }
        program.fileName = section.Text("name").value_or(kDefaultName);
        if (program.fileName.find_first_of("/\\") != std::string::npos) {
            section.Fault("name", "leads into another folder", "say where it goes with \"folder\"");
        }
        program.run = section.Text("run").value_or("");
        program.keepMs = section.Age("keep");
        program.copies = section.Count("copies", kMaxCopies).value_or(1);
    }

    void ReadProgram(const std::string& name, const PlanSection& section) {
        section.Allow(NamesOf(ProgramKeys(), false));
        PlannedProgram program;
        program.name = name;
        program.line = section.Line();
        for (const PlanKey& key : ProgramKeys()) {
            if (section.Has(key.name)) program.lineOf[key.name] = section.LineOf(key.name);
        }
        ReadStationOf(section, program);
        ReadWhen(section, program);
        program.starts = Recordings(section, "start");
        program.ends = Recordings(section, "end");
        program.others = Recordings(section, "other");
        ReadLengths(section, program);
        ReadOutput(section, program);
        plan_.programs.push_back(std::move(program));
    }

    // What receiver-record would say of the command lines.
    void AskRecorder() {
        for (const PlannedProgram& program : plan_.programs) {
            const std::vector<std::string> arguments = RecorderArguments(plan_, program, 1);
            std::vector<const char*> argv = {"receiver-record"};
            argv.reserve(arguments.size() + 1);
            for (const std::string& argument : arguments) argv.push_back(argument.c_str());
            const auto answer = ParseCommandLine(static_cast<int>(argv.size()), argv.data()).answer;
            if (!answer) continue;
            faults_.Add({program.line, std::string(kProgramsSection) + "." + program.name,
                         "receiver-record refuses it",
                         answer->text.substr(0, answer->text.find('\n'))});
        }
    }

    PlanFaults faults_;
    const PlanSection root_;
    const fs::path folder_;
    Plan plan_;
    std::vector<std::string> stationNames_;
    std::vector<size_t> stationOfName_;  // of each of these
};

}  // namespace

Plan ParsePlan(std::string_view text, const std::string& path, const std::string& folder) {
    toml::table table;
    try {
        table = toml::parse(text);
    } catch (const toml::parse_error& error) {
        PlanFaults faults;
        faults.Add({error.source().begin.line, "", std::string(error.description()),
                    "the file is not TOML from here on"});
        throw FaultyPlan(std::move(faults));
    }
    return PlanReader(table, path, folder).Read();
}

Plan ReadPlan(const std::string& path) {
    std::ifstream file(ToFilesystemPath(path), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw std::runtime_error(path + ": cannot be read");
    return ParsePlan(text, path, ToUtf8(fs::absolute(ToFilesystemPath(path)).parent_path()));
}

}  // namespace receiver
