// A plan as CronJobs of Kubernetes, and a kustomization of them.
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/text.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/cron_schedule.h"
#include "receiver_plan/render/recording_script.h"
#include "receiver_plan/render/rendered_files.h"
#include "references/reference_list.h"

namespace receiver {
namespace {

// What may go by between the longest run and its being ended: the station's reconnections, the
// tags.
constexpr uint64_t kGraceSeconds = 1800;
constexpr unsigned kUserId = 65534;  // nobody
constexpr const char* kHealing = "receiver-plan-heal";
constexpr const char* kScratchMount =
    "            - name: scratch\n"
    "              mountPath: /tmp\n";

// As a YAML scalar on one line.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

// The folders of the recordings to listen for.
std::set<std::string> ReferenceFolders(const PlannedProgram& program) {
    std::set<std::string> folders;
    for (const auto& reference : MakeReferences(program.starts, program.ends, program.others)) {
        folders.insert(ToUtf8(ToFilesystemPath(reference.path).parent_path()));
    }
    return folders;
}

std::string Mount(const std::string& volume, const std::string& folder, bool isReadOnly) {
    const std::string at = "            ";
    return at + "- name: " + volume + "\n" + at + "  mountPath: " + Quoted(folder) + "\n" + at +
           "  subPath: " + Quoted(folder.substr(1)) + "\n" +
           (isReadOnly ? at + "  readOnly: true\n" : "");
}

std::string Mounts(const PlannedProgram& program) {
    std::string mounts = "            volumeMounts:\n" + Mount("recordings", program.folder, false);
    for (const std::string& folder : ReferenceFolders(program)) {
        mounts += Mount("references", folder, true);
    }
    return mounts + kScratchMount;
}

std::string Volumes(bool hasReferences) {
    std::string volumes =
        "          volumes:\n"
        "          - name: recordings\n"
        "            persistentVolumeClaim:\n"
        "              claimName: recordings\n";
    if (hasReferences) {
        volumes +=
            "          - name: references\n"
            "            persistentVolumeClaim:\n"
            "              claimName: references\n"
            "              readOnly: true\n";
    }
    return volumes +
           "          - name: scratch\n"
           "            emptyDir: {}\n";
}

// No two copies on one node.
std::string Apart(const PlannedProgram& program) {
    if (program.copies == 1) return "";
    return "          affinity:\n"
           "            podAntiAffinity:\n"
           "              requiredDuringSchedulingIgnoredDuringExecution:\n"
           "              - topologyKey: kubernetes.io/hostname\n"
           "                labelSelector:\n"
           "                  matchLabels:\n"
           "                    receiver-plan/program: " +
           program.name + "\n";
}

struct Job {
    std::string name, schedule;
    std::string settings;   // of the CronJob
    std::string policy;     // of the job
    std::string labels;     // of the pod
    std::string placement;  // of the pod
    std::string container, command;
    std::string mounts, volumes;
};

std::string CronJob(const Plan& plan, const Job& job) {
    const std::string user = std::to_string(kUserId);
    return RenderedHeader(plan, "Claims \"recordings\" and \"references\" have to be there.") +
           "apiVersion: batch/v1\nkind: CronJob\nmetadata:\n  name: " + job.name +
           "\nspec:\n  schedule: " + Quoted(job.schedule) + "\n" + job.settings +
           "  jobTemplate:\n    spec:\n" + job.policy + "      template:\n" + job.labels +
           "        spec:\n          restartPolicy: Never\n"
           "          automountServiceAccountToken: false\n"
           "          terminationGracePeriodSeconds: 300\n"
           "          securityContext:\n            runAsNonRoot: true\n            runAsUser: " +
           user + "\n            runAsGroup: " + user + "\n            fsGroup: " + user +
           "\n            seccompProfile:\n              type: RuntimeDefault\n" + job.placement +
           "          containers:\n          - name: " + job.container +
           "\n            image: receiverhost\n"
           "            command:\n            - /bin/sh\n            - -c\n            - " +
           Quoted(job.command) +
           "\n            env:\n            - name: XDG_STATE_HOME\n              value: /tmp\n"
           "            resources:\n"
           "              requests:\n                cpu: 10m\n                memory: 64Mi\n"
           "              limits:\n                memory: 512Mi\n"
           "            securityContext:\n              allowPrivilegeEscalation: false\n"
           "              readOnlyRootFilesystem: true\n"
           "              capabilities:\n                drop:\n                - ALL\n" +
           job.mounts + job.volumes;
}

std::string Recording(const Plan& plan, const PlannedProgram& program, unsigned copy,
                      const std::string& name, const std::string& schedule) {
    const uint64_t deadline = program.LongestMs() / 1000 + kGraceSeconds;
    return CronJob(
        plan,
        {.name = name,
         .schedule = schedule,
         .settings = "  timeZone: " + Quoted(plan.StationOf(program).zone.Name()) +
                     "\n  concurrencyPolicy: Forbid\n  startingDeadlineSeconds: 120\n",
         .policy =
             "      activeDeadlineSeconds: " + std::to_string(deadline) +
             "\n      backoffLimit: 3\n"
             "      # A wrong setting, a start that did not come, a file that cannot be written.\n"
             "      podFailurePolicy:\n        rules:\n        - action: FailJob\n"
             "          onExitCodes:\n            containerName: recorder\n"
             "            operator: In\n            values: [2, 3, 6]\n",
         .labels = "        metadata:\n          labels:\n            receiver-plan/program: " +
                   program.name +
                   "\n            receiver-plan/copy: " + Quoted(std::to_string(copy)) + "\n",
         .placement = Apart(program),
         .container = "recorder",
         .command = RecordingScript(plan, program, copy),
         .mounts = Mounts(program),
         .volumes = Volumes(!ReferenceFolders(program).empty())});
}

// Nothing here waits for jobs of others: whatever runs are over are looked at every hour.
std::string Healing(const Plan& plan, const std::set<std::string>& folders) {
    std::string command = "receiver-plan heal-all";
    std::string mounts = "            volumeMounts:\n";
    for (const std::string& folder : folders) {
        command += " " + ShellWord(folder);
        mounts += Mount("recordings", folder, false);
    }
    return CronJob(plan, {.name = kHealing,
                          .schedule = "40 * * * *",
                          .settings = "  concurrencyPolicy: Forbid\n",
                          .policy = "      backoffLimit: 0\n",
                          .labels = "",
                          .placement = "",
                          .container = "healer",
                          .command = command,
                          .mounts = mounts + kScratchMount,
                          .volumes = Volumes(false)});
}

}  // namespace

RenderedFiles RenderKubernetes(const Plan& plan, const RenderOptions&) {
    RenderedFiles files;
    PlanFaults faults;
    std::string kustomization =
        RenderedHeader(plan, "kubectl apply --kustomize; \"images\" says where the image is.") +
        "apiVersion: kustomize.config.k8s.io/v1beta1\nkind: Kustomization\nimages:\n"
        "- name: receiverhost\n  newName: receiverhost\n  newTag: latest\nresources:\n";
    std::set<std::string> healed;  // folders
    for (const PlannedProgram& program : plan.programs) {
        if (program.CanBeHealed()) healed.insert(program.folder);
        for (unsigned copy = 1; copy <= program.copies; ++copy) {
            for (size_t i = 0; i < program.when.size(); ++i) {
                std::string name = program.name;
                name.append("-").append(std::to_string(copy));
                name.append("-").append(std::to_string(i + 1));
                const std::string schedule =
                    CronSchedule(program, program.when[i], "Kubernetes", faults);
                kustomization.append("- ").append(name).append(".yaml\n");
                const std::string job = Recording(plan, program, copy, name, schedule);
                files[name.append(".yaml")] = job;
            }
        }
    }
    if (!faults.All().empty()) throw FaultyPlan(faults);
    if (!healed.empty()) {
        const std::string file = std::string(kHealing) + ".yaml";
        kustomization.append("- ").append(file).append("\n");
        files[file] = Healing(plan, healed);
    }
    files["kustomization.yaml"] = kustomization;
    return files;
}

}  // namespace receiver
