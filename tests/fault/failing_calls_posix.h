// A receiver whose calls of the system fail when the test says so, one at a time.
//
//   Threads  one at a time.
//   Errors   a plan that cannot be mapped is thrown as std::system_error.
#pragma once

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

#include "fault/fault_plan_posix.h"
#include "platform/unique_fd_posix.h"
#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"

namespace receiver {

class FailingCalls final {
public:
    FailingCalls() : plan_(Map(Path())) {}

    // For the receiver that is to have the faults; it ends before this object.
    ReceiverDriver::Options Options() const {
        ReceiverDriver::Options options;
        options.launcher = {"/usr/bin/env", "LD_PRELOAD=" FAILING_CALLS_LIBRARY,
                            kFaultPlanVariable + ("=" + Path()),
                            // It must otherwise be the first library of all.
                            "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"};
        return options;
    }

    // Of the calls of this kind from here on, counted from 1, this one fails. With the name of
    // a thread only its own are counted.
    void FailNext(FaultKind kind, int64_t number, const std::string& thread = {}) {
        Stop();
        plan_->thread = {};
        thread.copy(plan_->thread.data(), plan_->thread.size() - 1);
        plan_->happened = 0;
        plan_->callsUntilFault = number;
        plan_->kind = kind;
    }
    void Stop() { plan_->kind = FaultKind::kNone; }
    // Lets go on what a FaultKind::kLock holds.
    void Release() {
        plan_->released = plan_->held.load();
        syscall(SYS_futex, &plan_->released, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    }

    // Whether the call has come, and then which it was.
    bool HasHappened() const { return plan_->happened != 0; }
    std::string Function() const { return plan_->function.data(); }
    // A line for each, the innermost first: the system's object, the offset in it, and the name
    // of the exported function there, or "-".
    std::string Callers() const { return plan_->callers.data(); }

private:
    struct Unmap {
        void operator()(FaultPlan* plan) const { munmap(plan, sizeof *plan); }
    };
    using PlanPtr = std::unique_ptr<FaultPlan, Unmap>;

    static PlanPtr Map(const std::string& path) {
        const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        void* const mapped = ftruncate(file.Get(), sizeof(FaultPlan)) == 0
                                 ? mmap(nullptr, sizeof(FaultPlan), PROT_READ | PROT_WRITE,
                                        MAP_SHARED, file.Get(), 0)
                                 : MAP_FAILED;
        if (mapped == MAP_FAILED) throw std::system_error(errno, std::generic_category(), path);
        return PlanPtr(static_cast<FaultPlan*>(mapped));  // zeros are a plan without a fault
    }
    std::string Path() const { return folder_.File("plan"); }

    const TempFolder folder_;
    const PlanPtr plan_;
};

}  // namespace receiver
