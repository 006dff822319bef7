// Started by the tests of ChildProcess: does what its first argument says.
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>

#include "platform/console_control.h"
#include "platform/manual_reset_event.h"
#include "platform/standard_streams.h"

namespace receiver {
namespace {

// Until it is asked to end, or, should nobody ask, until the test has long failed.
int WaitForRequest() {
    ManualResetEvent requested;
    const ConsoleControl control(requested);
    WriteStandardOutputLine("waiting");
    return requested.Wait(60000) ? 3 : 4;
}

}  // namespace
}  // namespace receiver

int main(int count, char** arguments) {
    using namespace receiver;
    const std::string mode = count > 1 ? arguments[1] : "";
    if (mode == "echo") {
        for (int i = 2; i < count; ++i) WriteStandardOutputLine(arguments[i]);
        return 0;
    }
    if (mode == "errors") {
        WriteStandardOutputLine("output");
        WriteStandardErrorLine("error one");
        WriteStandardErrorLine("error two");
        return 0;
    }
    if (mode == "flood") {
        const std::string line(999, 'x');
        for (int i = 0; i < 1000; ++i) WriteStandardOutputLine(line);
        for (int i = 0; i < 1000; ++i) WriteStandardErrorLine(line);
        return 0;
    }
    if (mode == "input") {
        const std::string input(std::istreambuf_iterator<char>(std::cin), {});
        WriteStandardOutputLine("read " + std::to_string(input.size()));
        return 0;
    }
    if (mode == "unfinished") {
        std::cout << "one\ntwo" << std::flush;
        return 0;
    }
    if (mode == "exit") return std::atoi(arguments[2]);
    if (mode == "wait") return WaitForRequest();
    return 99;
}
