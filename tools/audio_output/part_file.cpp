#include "audio_output/part_file.h"

#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/text.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr unsigned kMaxKeptAside = 1000;

fs::path PartOf(fs::path target) {
    target += ".part";
    return target;
}

class FileSink final : public RecordingSink {
public:
    explicit FileSink(OutputFile& file) : file_(file) {}
    bool CanSeek() const override { return true; }
    bool WriteAt(uint64_t offset, const void* data, size_t size) override {
        return file_.WriteAt(offset, data, size);
    }
    bool Truncate(uint64_t size) override { return file_.Truncate(size); }
    std::string FailureText() const override { return file_.FailureText(); }

private:
    OutputFile& file_;
};

}  // namespace

bool IsTaken(const fs::path& path) {
    std::error_code unreadable;
    return fs::exists(fs::symlink_status(path, unreadable));  // a link that leads nowhere, too
}

PartFile::PartFile(fs::path target, bool overwrite, bool replacePart)
    : target_(std::move(target)), part_(PartOf(target_)), overwrite_(overwrite) {
    std::error_code error;
    if (fs::is_directory(target_, error)) {
        throw std::runtime_error(ToUtf8(target_) + " is a directory");
    }
    const fs::path folder = target_.parent_path();
    if (!folder.empty() && !fs::is_directory(folder, error)) {
        throw std::runtime_error("No such folder: " + ToUtf8(folder));
    }
    if (!overwrite_ && IsTaken(target_)) {
        throw std::runtime_error(ToUtf8(target_) + " already exists (use --force to overwrite it)");
    }
    if (!overwrite_ && !replacePart && IsTaken(part_)) KeepAside();
    if (!file_.Create(part_, overwrite_ || replacePart)) {
        throw std::runtime_error("Cannot create " + ToUtf8(part_) + ": " + file_.FailureText());
    }
}

// What a recording that was cut off has left can mostly be played.
void PartFile::KeepAside() {
    std::error_code error;
    if (IsBeingWritten(part_)) {
        throw std::runtime_error(ToUtf8(part_) + ": another recording is writing it");
    }
    if (!fs::is_regular_file(fs::symlink_status(part_, error))) {
        throw std::runtime_error(ToUtf8(part_) + " already exists, and is no file");
    }
    for (unsigned n = 1; n <= kMaxKeptAside; ++n) {
        fs::path name = part_;
        name += "." + std::to_string(n);
        error = RenameFile(part_, name, false);
        if (!error) {
            keptAside_ = std::move(name);
            return;
        }
        if (error != std::errc::file_exists) break;
    }
    throw std::runtime_error("Cannot rename " + ToUtf8(part_) + ": " + error.message());
}

bool PartFile::WriteAt(uint64_t offset, const void* data, size_t size) {
    if (file_.WriteAt(offset, data, size)) return true;
    failure_ = file_.FailureText();
    return false;
}

bool PartFile::Truncate(uint64_t size) {
    if (file_.Truncate(size)) return true;
    failure_ = file_.FailureText();
    return false;
}

bool PartFile::ReplaceBy(const Copy& copy) {
    if (!FlushAndClose(file_)) return false;
    fs::path changed = part_;
    changed += ".copy";
    std::error_code error;
    try {
        OutputFile file;
        if (!file.Create(changed, true)) throw std::runtime_error(file.FailureText());
        FileSink sink(file);
        copy(part_, sink);
        if (!FlushAndClose(file)) throw std::runtime_error(failure_);
        error = RenameFile(changed, part_, true);
        if (error) throw std::runtime_error(error.message());
        return true;
    } catch (const std::exception& e) {
        failure_ = e.what();
    }
    fs::remove(changed, error);
    return false;
}

bool PartFile::FlushAndClose(OutputFile& file) {
    const bool flushed = !file.IsOpen() || file.Flush();
    if (!flushed) failure_ = file.FailureText();
    file.Close();
    return flushed;
}

bool PartFile::Commit() {
    if (!FlushAndClose(file_)) return false;
    const std::error_code error = RenameFile(part_, target_, overwrite_);
    if (!error) return true;
    failure_ = error == std::errc::file_exists
                   ? ToUtf8(target_) + " was created by another program in the meantime"
                   : error.message();
    return false;
}

void PartFile::Discard() {
    file_.Close();
    std::error_code error;
    fs::remove(part_, error);  // an empty file that cannot be removed does no harm
}

}  // namespace receiver
