#include "detect/reference_list.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <stdexcept>
#include <thread>

#include "platform/files.h"
#include "platform/thread_name.h"
#include "platform/thread_safety.h"
#include "wire/messages.h"

namespace receiver {
namespace {

// References are handed out in their order, so whatever comes before a failure has been begun
// and is seen to its end; what comes after it is given up. A file counts as it is when its turn
// comes, when all before it are loaded: one that has gone by then cannot be opened, although it
// may have been begun long before.
class ReferenceListLoading final {
public:
    ReferenceListLoading(const std::vector<std::string>& paths,
                         const std::function<bool()>& stopRequested)
        : paths_(paths),
          stopRequested_(stopRequested),
          references_(paths.size()),
          failures_(paths.size()),
          firstFailed_(paths.size()),
          isLoaded_(paths.size()),
          isGone_(paths.size()) {}
    ~ReferenceListLoading() { Join(); }
    ReferenceListLoading(const ReferenceListLoading&) = delete;
    ReferenceListLoading& operator=(const ReferenceListLoading&) = delete;

    void Start(size_t helpers) {
        try {
            helpers_.reserve(helpers);
            while (helpers_.size() < helpers) {
                helpers_.emplace_back([this] {
                    SetCurrentThreadName("loader");
                    LoadNextOnes();
                });
            }
        } catch (const std::exception&) {
            // No thread or no memory for one: those that there are will do.
        }
    }

    void LoadNextOnes() {
        for (size_t index = next_++; index < firstFailed_; index = next_++) {
            if (Load(index)) PassTurn(index);
        }
    }

    std::vector<ReferenceFingerprint> Take(size_t* failed) {
        Join();
        if (firstFailed_ < paths_.size()) {
            if (failed) *failed = firstFailed_;
            if (IsGone(firstFailed_)) throw std::runtime_error(kFinishedReferenceOpen);
            std::rethrow_exception(failures_[firstFailed_]);
        }
        return std::move(references_);
    }

private:
    bool Load(size_t index) {
        const auto isPointless = [this, index] {
            return index > firstFailed_ || (stopRequested_ && stopRequested_());
        };
        try {
            if (isPointless()) throw std::runtime_error(kFinishedCancelledLoading);
            references_[index] = LoadReference(paths_[index], isPointless);
            return true;
        } catch (...) {
            failures_[index] = std::current_exception();
            NoteFailure(index);
            return false;
        }
    }

    // Looks at the files whose turn has come with this one's end.
    void PassTurn(size_t index) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        isLoaded_[index] = true;
        while (turn_ < paths_.size() && isLoaded_[turn_] && !isGone_[turn_]) {
            if (++turn_ == paths_.size() || IsExistingFile(paths_[turn_])) continue;
            isGone_[turn_] = true;
            NoteFailure(turn_);
        }
    }

    bool IsGone(size_t index) const EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return isGone_[index];
    }

    void NoteFailure(size_t index) {
        size_t first = firstFailed_;
        while (index < first && !firstFailed_.compare_exchange_weak(first, index)) {
        }
    }

    void Join() {
        for (std::thread& helper : helpers_) helper.join();
        helpers_.clear();
    }

    const std::vector<std::string>& paths_;
    const std::function<bool()>& stopRequested_;
    // Each element is that thread's alone which has taken its index.
    std::vector<ReferenceFingerprint> references_;
    std::vector<std::exception_ptr> failures_;
    std::atomic<size_t> next_{0};
    std::atomic<size_t> firstFailed_;  // the number of paths while there is none
    std::vector<std::thread> helpers_;

    mutable Mutex mutex_;
    size_t turn_ GUARDED_BY(mutex_) = 0;  // all before it are loaded
    std::vector<bool> isLoaded_ GUARDED_BY(mutex_);
    std::vector<bool> isGone_ GUARDED_BY(mutex_);
};

}  // namespace

std::vector<ReferenceFingerprint> LoadReferenceList(const std::vector<std::string>& paths,
                                                    const std::function<bool()>& stopRequested,
                                                    size_t* failed, size_t threads) {
    if (threads == 0) threads = std::max(std::thread::hardware_concurrency(), 1U);
    ReferenceListLoading loading(paths, stopRequested);
    const size_t useful = std::min(threads, paths.size());
    if (useful > 1) loading.Start(useful - 1);
    loading.LoadNextOnes();
    return loading.Take(failed);
}

}  // namespace receiver
