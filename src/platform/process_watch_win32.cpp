#include <algorithm>

#include "platform/process_watch.h"
#include "platform/unique_handle_win32.h"

namespace receiver {
namespace {

class HandleWatch final : public ProcessWatch {
public:
    explicit HandleWatch(uint32_t id) {
        if (id == 0) return;
        handle_ = OwnHandle(OpenProcess(SYNCHRONIZE, FALSE, id));
        isGone_ = !handle_.IsValid() && GetLastError() == ERROR_INVALID_PARAMETER;
    }

    bool WaitForEnd(uint32_t ms) const override {
        if (isGone_ || !handle_.IsValid()) return isGone_;
        const DWORD bounded = std::min<DWORD>(ms, INFINITE - 1);
        return WaitForSingleObject(handle_.Get(), bounded) == WAIT_OBJECT_0;
    }

private:
    UniqueHandle handle_;
    bool isGone_ = false;
};

}  // namespace

std::unique_ptr<ProcessWatch> WatchProcess(uint32_t processId) {
    return std::make_unique<HandleWatch>(processId);
}

}  // namespace receiver
