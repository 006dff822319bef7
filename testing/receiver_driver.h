// Runs the built receiver as a controlling program would see it: a child process,
// its two standard streams, its control pipe, its log. Everything received is kept,
// so that a test can look at the whole conversation afterwards.
//
//   Units    time-outs are ms.
//   Threads  one at a time.
//   Errors   what keeps a test from going on (no LISTENING line, no answer in time,
//            a lost connection) is thrown as std::runtime_error that says so;
//            what a test is about is returned or checked with GoogleTest.
#pragma once

#include <deque>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "testing/raw_control_client.h"
#include "testing/temp_folder.h"

namespace receiver {

class ReceiverDriver final {
public:
    struct Options {
        std::string uri{};                    // empty: a name of its own
        std::string logPath{};                // empty: in a folder of its own
        std::vector<std::string> launcher{};  // the receiver's command line is appended to it
    };
    struct Message {
        std::string bytes;
        nlohmann::json value;
    };

    ReceiverDriver() : ReceiverDriver(Options{}) {}
    // Returns once the LISTENING line has been read.
    explicit ReceiverDriver(const Options& options);
    // Stops what still runs, and checks that it ends cleanly.
    ~ReceiverDriver();
    ReceiverDriver(const ReceiverDriver&) = delete;
    ReceiverDriver& operator=(const ReceiverDriver&) = delete;

    static std::string ProgramPath();  // of the receiver that lies beside the test
    static std::string UniqueUri();

    const std::string& Uri() const { return uri_; }
    RawControlClient& Control() { return control_; }
    ChildProcess& Process() { return *process_; }

    // Connects and introduces itself; returns WELCOME.
    nlohmann::json Introduce();
    void Disconnect();  // events that were not given out are forgotten
    // Sends a command, with the next requestId and the version unless it has them,
    // and returns the reply. Events on the way are kept.
    nlohmann::json Ask(nlohmann::json command);
    Message AskRaw(const std::string& body);  // the next message is the reply

    // The next message that is an event, in order of arrival; each is given out once.
    nlohmann::json NextEvent() { return NextEventMessage().value; }
    Message NextEventMessage();
    // Takes events up to the first of this type, which it returns.
    nlohmann::json WaitFor(const std::string& type);

    std::string InstanceId() const { return instanceId_; }  // after Introduce
    std::string AudioUri(int session) const;

    // What has reached the log so far.
    std::string LogText() const;
    std::vector<std::string> LogLines() const;

    // SHUTDOWN, then ExpectCleanEnd.
    void Shutdown();
    // Ends the process without a chance to tidy up.
    void Kill();
    // The process has ended in a way that the test itself looks at.
    void Forget() { ended_ = true; }
    // Waits for the process and checks its exit code, that standard output held the
    // LISTENING line alone and standard error nothing, and that no pipe is left.
    void ExpectCleanEnd();

private:
    Message Receive();

    const TempFolder folder_;
    const std::string uri_;
    const std::string logPath_;
    std::unique_ptr<ChildProcess> process_;
    RawControlClient control_;
    std::string instanceId_;
    int nextRequest_ = 1;
    int sessions_ = 0;  // PREPARE commands that were acknowledged
    bool ended_ = false;
    std::deque<Message> waitingEvents_;  // came while a reply was awaited
};

}  // namespace receiver
