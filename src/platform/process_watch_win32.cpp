#include <algorithm>

#include "platform/process_watch.h"
#include "platform/unique_handle_win32.h"

namespace receiver {

class ProcessWatch::Process {
public:
    explicit Process(uint32_t id) {
        if (id == 0) return;
        handle_ = OwnHandle(OpenProcess(SYNCHRONIZE, FALSE, id));
        isGone_ = !handle_.IsValid() && GetLastError() == ERROR_INVALID_PARAMETER;
    }

    bool WaitForEnd(uint32_t ms) const {
        if (isGone_ || !handle_.IsValid()) return isGone_;
        const DWORD bounded = std::min<DWORD>(ms, INFINITE - 1);
        return WaitForSingleObject(handle_.Get(), bounded) == WAIT_OBJECT_0;
    }

private:
    UniqueHandle handle_;
    bool isGone_ = false;
};

ProcessWatch::ProcessWatch(uint32_t processId) : process_(std::make_unique<Process>(processId)) {}

ProcessWatch::~ProcessWatch() = default;

bool ProcessWatch::WaitForEnd(uint32_t ms) const {
    return process_->WaitForEnd(ms);
}

}  // namespace receiver
