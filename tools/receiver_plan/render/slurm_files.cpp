// The runs of a day as batch scripts of Slurm, and a job that does the same for the next day.
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>

#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/cron_schedule.h"
#include "receiver_plan/render/recording_script.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {

using namespace std::chrono;

namespace {

// What may go by between the longest run and its being ended.
constexpr minutes kGrace{30};
// So long before its day begins the next one is submitted.
constexpr hours kAhead{2};
// A job that is begun anew goes on with its output: what has ended its first run stands there.
const std::string kOfAllJobs =
    "\n#SBATCH --requeue\n#SBATCH --open-mode=append\n#SBATCH --nodes=1\n#SBATCH --ntasks=1\n";

class SlurmDay final {
public:
    SlurmDay(const Plan& plan, TimeZone zone, local_days day)
        : plan_(plan), zone_(zone), day_(day) {}

    RenderedFiles Render() {
        std::string submit =
            "#!/bin/sh\n" +
            RenderedHeader(plan_, "sh FOLDER/submit.sh PLAN, once: submits the runs of " +
                                      DateText(day_) + ", and a job that goes on from there.") +
            "set -eu\nplan=$(realpath -- \"$1\")\ncd \"$(dirname \"$0\")\"\n"
            "# What this folder has submitted already is not submitted twice.\n"
            "submit() {\n  name=$1\n  shift\n"
            "  folders=$(squeue --noheader --name=\"$name\" --format=%Z)\n"
            "  printf '%s\\n' \"$folders\" | grep -qxF -- \"$(pwd -P)\" || sbatch \"$@\"\n}\n"
            "# Once those of the jobs that are still there are over, however they end.\n"
            "submit_after() {\n"
            "  jobs=$(squeue --noheader --name=\"$1\" --format='%A %Z')\n"
            "  after=$(printf '%s\\n' \"$jobs\" | while read -r job folder; do\n"
            "    [ \"$folder\" != \"$(pwd -P)\" ] || printf ':%s' \"$job\"\n"
            "  done)\n"
            "  submit \"$2\" ${after:+\"--dependency=afterany$after\"} \"runs/$2.sh\"\n}\n";
        for (const PlannedRun& run : AllRuns(plan_, Beginning(day_), Beginning(day_ + days(1)))) {
            const PlannedProgram& program = plan_.programs[run.program];
            std::string copies;
            for (unsigned copy = 1; copy <= program.copies; ++copy) {
                const std::string name = NameOf(run, std::to_string(copy));
                files_["runs/" + name + ".sh"] = Run(run, copy, name);
                submit.append("submit ").append(name).append(" runs/").append(name).append(".sh\n");
                copies.append(copies.empty() ? "" : ",").append(name);
            }
            if (!program.CanBeHealed()) continue;
            const std::string name = NameOf(run, "heal");
            files_["runs/" + name + ".sh"] = Healing(run, name);
            submit.append("submit_after ").append(copies).append(" ").append(name).append("\n");
        }
        files_["submit.sh"] = submit + "submit " + NextName() + " next-day.sh \"$plan\"\n";
        files_["next-day.sh"] = NextDay();
        if (!faults_.All().empty()) throw FaultyPlan(faults_);
        return std::move(files_);
    }

private:
    // Where clocks leave out midnight the day begins when they go on.
    sys_seconds Beginning(local_days day) const {
        for (minutes late{0}; late < hours(24); late += minutes(15)) {
            if (const auto time = zone_.ToUtc(day + late)) return *time;
        }
        throw std::invalid_argument("--zone: " + zone_.Name() + " leaves out " + DateText(day));
    }

    // "2026-03-30T18:25:00"
    std::string ClockTime(sys_seconds time) const {
        const local_seconds local = zone_.ToLocal(time);
        return DateText(local) + "T" + ClockText(local);
    }

    std::string NameOf(const PlannedRun& run, const std::string& what) const {
        const local_seconds local = zone_.ToLocal(run.start);
        const std::string clock = ClockText(local);
        return DateText(local) + "-" + clock.substr(0, 2) + clock.substr(3, 2) + clock.substr(6) +
               "-" + plan_.programs[run.program].name + "-" + what;
    }

    std::string NextName() const { return "receiver-plan-" + DateText(day_ + days(1)); }

    std::string Run(const PlannedRun& run, unsigned copy, const std::string& name) {
        const PlannedProgram& program = plan_.programs[run.program];
        if (zone_.ToUtc(zone_.ToLocal(run.start)) != run.start) {
            faults_.Add(FaultOf(program, "when",
                                "Slurm goes by the machines' clocks, which show " +
                                    ClockTime(run.start) + " twice, and it takes the first",
                                "choose a time outside that hour, or another --zone"));
        }
        const auto limit = ceil<minutes>(run.latestEnd - run.start) + kGrace;
        return "#!/bin/sh\n" +
               RenderedHeader(plan_, "A run of " + program.name + "; submit.sh submits it.") +
               "#SBATCH --job-name=" + name + "\n#SBATCH --begin=" + ClockTime(run.start) +
               "\n#SBATCH --time=" + std::to_string(limit.count()) + kOfAllJobs +
               "#SBATCH --cpus-per-task=1\n#SBATCH --mem=512M\n" +
               (program.copies > 1 ? "#SBATCH --exclusive\n" : "") +
               "# It may have waited for a node, or begun anew on another one.\n"
               "if [ \"$(date +%s)\" -ge " +
               std::to_string(run.latestEnd.time_since_epoch().count()) +
               " ]; then echo 'too late for this run' >&2; exit 1; fi\n"
               "anew=${SLURM_RESTART_COUNT:-0}\n"
               "if [ \"$anew\" -gt 0 ]; then echo 'begun anew: what was recorded before is left "
               "as .part' >&2; fi\n" +
               RecordingScript(plan_, program, copy) + "\n" +
               // With a start recording what is complete is whole, whenever its run has begun.
               (program.starts.empty() ? "if [ \"$anew\" -gt 0 ]; then echo 'the beginning is "
                                         "lacking' >&2; exit 7; fi\n"
                                       : "");
    }

    // Which files the copies have written their titles, times and other runs decide: those of the
    // time that are there. What a killed recorder has left may be what another one lacks, or
    // nothing that can be read.
    std::string Healing(const PlannedRun& run, const std::string& name) const {
        const PlannedProgram& program = plan_.programs[run.program];
        const auto moment = [](sys_seconds time) {
            return " -newermt @" + std::to_string(time.time_since_epoch().count());
        };
        const std::string find =
            "$(find . -maxdepth 1 -type f -size +0 -name '*.copy[1-9]*." + program.format;
        const std::string times =
            moment(run.start) + " !" + moment(run.latestEnd + kGrace) + " | sort)\n";
        return "#!/bin/sh\n" +
               RenderedHeader(plan_, "Puts the copies of " + program.name +
                                         " together when all are over; submit.sh submits it.") +
               "#SBATCH --job-name=" + name + "\n#SBATCH --time=60" + kOfAllJobs +
               "#SBATCH --cpus-per-task=1\n#SBATCH --mem=512M\n"
               "cd " +
               ShellWord(FolderOf(program)) +
               " || exit\n"
               "whole=" +
               find + "'" + times + "left=" + find + ".part*'" + times +
               "set -f\nIFS='\n'\n"
               "heal() {\n"
               "  [ $# -gt 1 ] || { echo 'there is nothing to put together' >&2; return 1; }\n"
               "  receiver-plan heal \"$@\" --force --output \"$(printf '%s' \"$1\" | "
               "sed 's/[.]copy[1-9]\\(.*\\)[.]" +
               program.format + ".*$/\\1." + program.format +
               "/')\"\n}\n"
               "heal $whole $left\ncode=$?\n"
               "if [ $code -eq 4 ] && [ -n \"$left\" ]; then heal $whole; code=$?; fi\n"
               "exit $code\n";
    }

    // A plan that has become faulty does not end the chain: it is looked at again every hour.
    std::string NextDay() const {
        const local_days next = day_ + days(1);
        return "#!/bin/sh\n" +
               RenderedHeader(plan_,
                              "Renders and submits the day that comes; submit.sh submits "
                              "it.") +
               "#SBATCH --job-name=" + NextName() +
               "\n#SBATCH --begin=" + ClockTime(Beginning(next) - kAhead) + "\n#SBATCH --time=30" +
               kOfAllJobs +
               "cd \"$SLURM_SUBMIT_DIR\" || exit\n"
               "if ! receiver-plan render \"$1\" --for slurm --zone " +
               zone_.Name() + " --from " + DateText(next) +
               " -o . --force; then\n  sbatch --begin=now+1hour next-day.sh \"$1\"\n  exit 1\nfi\n"
               "sh submit.sh \"$1\"\n";
    }

    const Plan& plan_;
    const TimeZone zone_;
    const local_days day_;
    RenderedFiles files_;
    PlanFaults faults_;
};

}  // namespace

RenderedFiles RenderSlurm(const Plan& plan, const RenderOptions& options) {
    if (options.machineZone.empty() || !options.day) {
        throw std::invalid_argument(
            "--zone and --from are required: Slurm goes by the clocks of the machines, which are "
            "to be known, and takes one day after another");
    }
    const auto zone = TimeZone::Find(options.machineZone);
    if (!zone) {
        throw std::invalid_argument("--zone: \"" + options.machineZone +
                                    "\" is not a time zone of this system");
    }
    return SlurmDay(plan, *zone, local_days(options.day->time_since_epoch())).Render();
}

}  // namespace receiver
