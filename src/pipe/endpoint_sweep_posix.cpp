#include "pipe/endpoint_sweep_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <set>
#include <string_view>

#include "pipe/endpoint_lock_posix.h"
#include "pipe/endpoint_names_posix.h"

namespace receiver {
namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

std::set<std::string> EntriesOf(const EndpointDirectory& directory) {
    std::set<std::string> entries;
    UniqueFd fd(openat(directory.Fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, DirectoryCloser> stream(fd.IsValid() ? fdopendir(fd.Get())
                                                                    : nullptr);
    if (stream == nullptr) return entries;
    fd.Release();
    while (const dirent* const entry = readdir(stream.get())) entries.insert(entry->d_name);
    return entries;
}

// What follows the prefix; empty without it.
std::string_view After(std::string_view prefix, std::string_view entry) {
    return entry.starts_with(prefix) ? entry.substr(prefix.size()) : std::string_view();
}

std::set<std::string> NamesIn(const std::set<std::string>& entries) {
    std::set<std::string> names;
    for (const std::string& entry : entries) {
        names.emplace(After(kSocketPrefix, entry));
        names.emplace(After(kLockPrefix, entry));
    }
    names.erase("");
    return names;
}

// The temporary names of all servers that hold a lock now.
std::set<std::string> LivingTemporaryNames(const EndpointDirectory& directory) {
    std::set<std::string> names;
    for (const std::string& entry : EntriesOf(directory)) {
        struct stat lock {};
        if (After(kLockPrefix, entry).empty()) continue;
        if (fstatat(directory.Fd(), entry.c_str(), &lock, AT_SYMLINK_NOFOLLOW) != 0) continue;
        names.insert(TemporaryFileName(lock.st_ino));
    }
    return names;
}

}  // namespace

void SweepEndpoints(const EndpointDirectory& directory) {
    const std::set<std::string> entries = EntriesOf(directory);
    for (const std::string& name : NamesIn(entries)) {
        EndpointLock lock;
        if (lock.Take(directory.Fd(), name, 0) != 0) continue;
        unlinkat(directory.Fd(), SocketFileName(name).c_str(), 0);
    }
    // Its lock is older than a temporary name and outlives it, so one that was seen before the
    // locks were looked at and belongs to none of them is nobody's.
    const std::set<std::string> living = LivingTemporaryNames(directory);
    for (const std::string& entry : entries) {
        if (After(kTemporaryPrefix, entry).empty() || living.contains(entry)) continue;
        unlinkat(directory.Fd(), entry.c_str(), 0);
    }
}

}  // namespace receiver
