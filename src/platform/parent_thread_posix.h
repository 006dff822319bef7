// Starts a program that ends with this process, however this one ends: SIGKILL, a crash, a
// lack of memory. For the *_posix files.
//
// The system sends a child the signal it has asked for when its parent ends, and by the parent
// it means the thread that started it. So each child has a thread that does nothing else but
// start it and live as long. (A pipe that the child watches would need the child's help, which
// has no argument for it; and a receiver started by hand must not end with its standard input.)
//
//   Threads  one thread at a time. The object's own thread blocks every signal.
//   Errors   the constructor throws std::runtime_error.
#pragma once

#include <sys/types.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

namespace receiver {

// What a child's descriptors 0, 1 and 2 become: copies of descriptors above them, which are
// closed on exec as all of ours are. -1 hands down our own.
struct ChildStreams {
    int input = -1;
    int output = -1;
    int errors = -1;
};

class ParentThread final {
public:
    // The child leads a process group of its own and gets SIGTERM when the object goes.
    // SIGINT, SIGTERM and SIGPIPE act on it as on a fresh program; whatever else is ignored
    // here, such as SIGHUP below nohup, it ignores too.
    ParentThread(const std::string& program, const std::vector<std::string>& arguments,
                 const ChildStreams& streams);
    ~ParentThread();
    ParentThread(const ParentThread&) = delete;
    ParentThread& operator=(const ParentThread&) = delete;

    pid_t Child() const { return child_; }  // somebody else waits for its end

private:
    std::promise<void> release_;  // ends the thread
    std::thread thread_;
    pid_t child_ = -1;
};

}  // namespace receiver
