// receiver-scan: what the receiver hears in a file or a stream, and the recordings that it
// listens for.
#include <cstdlib>
#include <exception>
#include <string>

#include "command_line/tool_commands.h"
#include "platform/standard_streams.h"
#include "receiver_scan/check/check_command.h"
#include "receiver_scan/cut/cut_command.h"
#include "receiver_scan/discover/discover_command.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/listen/listen_command.h"
#include "receiver_scan/source/interruption.h"
#include "receiver_scan/source/opened_source.h"
#include "receiver_scan/source/scan_output.h"

namespace receiver {
namespace {

ToolDescription DescribeTool() {
    ToolDescription tool = {};
    tool.name = "receiver-scan";
    tool.purpose = "show what the receiver hears";
    tool.usage = "COMMAND ...";
    tool.description =
        "Runs the receiver's own detector over a file or a stream, without a receiver.\n"
        "\"receiver-scan COMMAND --help\" tells about a command.";
    tool.exitCodes = {{0, "what was asked for was found"},
                      {1, "the tool itself failed"},
                      {2, "wrong command line"},
                      {3, "nothing was found"},
                      {4, "the source failed"},
                      {5, "interrupted"},
                      {6, "an output file could not be written"}};
    tool.environment = {{"NO_COLOR", "When it is set, nothing is coloured."}};
    return tool;
}

int Fail(const std::exception& error, ScanExitCode code) {
    WriteStandardErrorLine(std::string("receiver-scan: ") + error.what());
    return static_cast<int>(code);
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        OpenMissingStandardStreams();
        return RunTool(DescribeTool(),
                       {ListenCommand(), CheckCommand(), CutCommand(), DiscoverCommand()}, argc,
                       argv);
    } catch (const Interrupted& end) {
        return Fail(end, ScanExitCode::kInterrupted);
    } catch (const SourceError& error) {
        return Fail(error, ScanExitCode::kSourceError);
    } catch (const OutputError& error) {
        return Fail(error, ScanExitCode::kOutputError);
    } catch (const std::exception& error) {
        return Fail(error, ScanExitCode::kFailure);
    }
}
