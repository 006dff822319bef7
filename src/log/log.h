// The front of the receiver's log: filters by level and gives a line its form.
//
//   Threads  one thread writes (the host's main thread); the sink alone is shared.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "log/store_log.h"

namespace receiver {

class CLog {
public:
    enum Level : int32_t { kError = 0, kWarning = 1, kInformation = 2, kDebug = 3 };

    struct Options {
        int32_t levelLimit = kInformation;  // lines above it are dropped
        bool flushEachLine = true;
        bool timeStamps = true;
    };

    CLog(std::unique_ptr<IStoreLog> sink, Options options);
    virtual ~CLog();  // flushes the sink
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    int32_t Write(int32_t level, std::string_view message);  // always 0

protected:
    virtual const char* CategoryText() const;  // the level text of an unknown level

private:
    const char* LevelText(int32_t level) const;

    const std::unique_ptr<IStoreLog> sink_;
    const Options options_;
};

}  // namespace receiver
