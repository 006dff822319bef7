// Keeps what a log writes to its store, in order; a flush is an entry "<flush>".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log/store_log.h"

namespace receiver {

class MemoryLog final : public IStoreLog {
public:
    explicit MemoryLog(std::vector<std::string>& lines) : lines_(lines) {}
    void Flush() override { lines_.emplace_back("<flush>"); }
    int32_t Write(std::string_view line) override {
        lines_.emplace_back(line);
        return static_cast<int32_t>(line.size());
    }
    void SetBufferSize(int32_t) override {}

private:
    std::vector<std::string>& lines_;
};

}  // namespace receiver
