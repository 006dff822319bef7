#include "receiver_record/control/receiver_logs.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/process_watch.h"
#include "platform/text.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kPrefix = "receiver-";
constexpr std::string_view kExtension = ".log";

struct LogFile {
    fs::path path;
    fs::file_time_type written;
    uint64_t bytes = 0;
    uint32_t processId = 0;
};

// "receiver-PROCESS_DATE_TIME.log"; nothing for any other name.
std::optional<uint32_t> ProcessOf(std::string_view name) {
    if (!name.starts_with(kPrefix) || !name.ends_with(kExtension)) return {};
    uint32_t id = 0;
    const char* const begin = name.data() + kPrefix.size();
    const auto [end, error] = std::from_chars(begin, name.data() + name.size(), id);
    if (error != std::errc() || end == begin || *end != '_') return {};
    return id;
}

std::vector<LogFile> NewestFirst(const fs::path& folder) {
    std::vector<LogFile> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::optional<uint32_t> process = ProcessOf(ToUtf8(entry->path().filename()));
        std::error_code gone;
        if (!process || !entry->is_regular_file(gone)) continue;
        LogFile file{entry->path(), entry->last_write_time(gone), 0, *process};
        if (!gone) file.bytes = entry->file_size(gone);
        if (!gone) files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(), [](const LogFile& a, const LogFile& b) {
        return std::tie(a.written, a.path) > std::tie(b.written, b.path);
    });
    return files;
}

}  // namespace

fs::path ReceiverLogs::NewLog(uint32_t processId) const {
    return folder_ / (std::string(kPrefix) + std::to_string(processId) + std::string(kExtension));
}

void ReceiverLogs::Tidy(uint32_t processId) const {
    size_t kept = 0;
    size_t own = 0;
    uint64_t bytes = 0;
    for (const LogFile& file : NewestFirst(folder_)) {
        const bool isOwn = file.processId == processId;
        if (!isOwn && !WatchProcess(file.processId)->WaitForEnd(0)) continue;
        const bool isNewestOwn = isOwn && ++own == 1;
        const bool fits =
            kept < kMaxFiles && bytes + file.bytes <= kMaxBytes && (!isOwn || own <= kMaxOwnFiles);
        std::error_code ignored;
        if (isNewestOwn || fits) {
            ++kept;
            bytes += file.bytes;
        } else {
            fs::remove(file.path, ignored);
        }
    }
}

fs::path NewestLog(const fs::path& log) {
    const std::string begin = ToUtf8(log.stem()) + "_";
    const std::string end = ToUtf8(log.extension());
    fs::path newest;
    std::error_code error;
    const fs::path folder = log.has_parent_path() ? log.parent_path() : fs::path(".");
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = ToUtf8(entry->path().filename());
        const size_t stampLength = std::string_view("YYYYMMDD_HHMMSS").size();
        const bool fits = name.size() == begin.size() + stampLength + end.size() &&
                          name.starts_with(begin) && name.ends_with(end);
        if (fits && name > ToUtf8(newest.filename())) newest = entry->path();
    }
    return newest;
}

}  // namespace receiver
