// Started by the tests of ChildProcess: does what its first argument says.
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/console_control.h"
#include "platform/manual_reset_event.h"
#include "platform/standard_streams.h"

namespace receiver {
namespace {

constexpr uint32_t kLongMs = 60000;  // until whoever waits has long given up

int WaitForRequest() {
    ManualResetEvent requested;
    const ConsoleControl control(requested);
    WriteStandardOutputLine("waiting");
    if (!requested.Wait(kLongMs)) return 4;
    WriteStandardErrorLine("asked to end");
    return 3;
}

// Takes its time to end.
int LingerAfterRequest() {
    ManualResetEvent requested;
    const ManualResetEvent never;
    const ConsoleControl control(requested);
    WriteStandardOutputLine("waiting");
    if (!requested.Wait(kLongMs)) return 4;
    WriteStandardOutputLine("asked to end");
    never.Wait(kLongMs);
    return 3;
}

// Has a child of its own that shares its error stream, and does nothing to end it.
int WaitWithChild(const char* program) {
    ChildProcess child(program, {"wait"});
    const ManualResetEvent never;
    WriteStandardOutputLine(child.ReadLine(TickMs() + kLongMs).value_or("no child"));
    never.Wait(kLongMs);
    return 4;
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
    if (mode == "linger") return LingerAfterRequest();
    if (mode == "parent") return WaitWithChild(arguments[0]);
    return 99;
}
