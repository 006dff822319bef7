// A part of a test that runs beside it, on a thread of its own, and must end in time: a thread
// that hangs ends the program with its name instead of the test's patience with ctest.
//
//     TestTask reader("the reader", [&] { return pipe.Read(bytes, 4, deadline); });
//     ...
//     EXPECT_TRUE(reader.Get());
//
//   Threads  one at a time uses the object; the body runs on its own.
//   Errors   what the body throws is thrown by Get; from a task that nobody asks it ends the
//            program.
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "platform/thread_safety.h"
#include "testing/patience.h"

namespace receiver {

// The value that another thread sets, which must come in time.
template <typename Value>
Value Await(std::future<Value> future, const std::string& what, uint32_t timeoutMs = kPatienceMs) {
    if (future.wait_until(DeadlineIn(timeoutMs)) != std::future_status::ready) {
        GiveUp(what + " has not come", timeoutMs);
    }
    return future.get();
}

template <typename Result>
class TestTask final {
public:
    TestTask() = default;  // nothing runs
    template <typename Body>
    TestTask(std::string name, Body body) : name_(std::move(name)) {
        std::packaged_task<Result()> task(std::move(body));
        result_ = task.get_future();
        thread_ = std::thread(std::move(task));
    }
    ~TestTask() {
        if (result_.valid()) Get();
    }
    TestTask(TestTask&&) = default;
    TestTask& operator=(TestTask&& other) {
        if (result_.valid()) Get();
        name_ = std::move(other.name_);
        result_ = std::move(other.result_);
        thread_ = std::move(other.thread_);
        return *this;
    }

    bool IsRunning() const { return result_.valid(); }  // until Get
    bool HasEndedWithin(uint32_t ms) const {
        return result_.wait_until(DeadlineIn(ms)) == std::future_status::ready;
    }
    // Waits for the body's end and gives what it returned; once.
    Result Get(uint32_t timeoutMs = kPatienceMs) {
        if (!HasEndedWithin(timeoutMs)) GiveUp(name_ + " has not ended", timeoutMs);
        thread_.join();  // it has only to leave
        return result_.get();
    }

private:
    std::string name_;
    std::future<Result> result_;
    std::thread thread_;
};

template <typename Body>
TestTask(std::string, Body) -> TestTask<std::invoke_result_t<Body>>;
template <typename Body>
TestTask(const char*, Body) -> TestTask<std::invoke_result_t<Body>>;

}  // namespace receiver
