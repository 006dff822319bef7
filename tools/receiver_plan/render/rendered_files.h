// What a plan becomes for an engine: files by their paths below a folder. Pure.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "receiver_plan/plan/plan.h"

namespace receiver {

using RenderedFiles = std::map<std::string, std::string>;

struct RenderOptions {
    std::string machineZone;  // that of the machines' clocks, for engines that know no other
    std::optional<std::chrono::sys_days> day;  // for engines that take one after another
};

// The same plan gives the same bytes. Throws FaultyPlan for what the engine cannot express, and
// std::invalid_argument for an option that it lacks.
RenderedFiles RenderSystemd(const Plan& plan, const RenderOptions& options);
RenderedFiles RenderCron(const Plan& plan, const RenderOptions& options);
RenderedFiles RenderKubernetes(const Plan& plan, const RenderOptions& options);
RenderedFiles RenderSlurm(const Plan& plan, const RenderOptions& options);
RenderedFiles RenderTaskScheduler(const Plan& plan, const RenderOptions& options);

// The first lines of every file but a "#!", each behind "# ".
std::string RenderedHeader(const Plan& plan, const std::string& use);
// The same as a comment of XML.
std::string RenderedXmlHeader(const Plan& plan, const std::string& use);
// Whether a file begins as those do, after the line that has to be a script's first.
bool IsRendered(const std::string& text);

// The folder of the machine that records copy `copy` of each programme.
std::string MachineFolder(unsigned copy);
unsigned MachinesOf(const Plan& plan);

// As one word of a shell's command.
std::string ShellWord(const std::string& text);

}  // namespace receiver
