#include "receiver_plan/render/recording_script.h"

#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {

std::string RecordingScript(const Plan& plan, const PlannedProgram& program, unsigned copy) {
    const std::string folder = ShellWord(FolderOf(program));
    std::string script = "mkdir -p " + folder + "; receiver-record";
    for (const std::string& argument : RecorderArguments(plan, program, copy)) {
        script.append(" ").append(ShellWord(argument));
    }
    script += "; code=$?; ";
    if (program.keepMs) {
        script += "find " + folder + " -type f -mmin +" + std::to_string(*program.keepMs / 60000) +
                  " -delete; ";
    }
    script += "case $code in 0|7) ;; *) exit $code ;; esac";
    if (!program.run.empty()) {
        script += "; export RECORDINGS=" + folder + "; sh -c " + ShellWord(program.run) +
                  " || echo 'run has failed' >&2";
    }
    return script;
}

}  // namespace receiver
