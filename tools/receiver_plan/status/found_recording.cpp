#include "receiver_plan/status/found_recording.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "audio_output/output_file.h"
#include "audio_output/output_format.h"
#include "platform/text.h"

namespace receiver {

using namespace std::chrono;

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxRecordBytes = uint64_t{4} << 20;
// Where locks do not reach, as across a network, a file that has changed lately is being written.
constexpr minutes kLately{10};
constexpr std::string_view kRecordEnding = ".json";
constexpr std::string_view kPartEnding = ".part";
constexpr std::string_view kCopyMark = ".copy";

bool IsAudioName(const std::string& name) {
    try {
        OutputFormatFor(name);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "news.flac" of "news.flac.part" and "news.flac.part.1"; nothing for any other name.
std::optional<std::string> WholeNameOf(const std::string& part) {
    std::string_view name = part;
    const size_t dot = name.rfind('.');
    if (dot != std::string_view::npos && IsNumber(name.substr(dot + 1))) name = name.substr(0, dot);
    if (!name.ends_with(kPartEnding)) return {};
    return std::string(name.substr(0, name.size() - kPartEnding.size()));
}

UtcMoment ChangeOf(const fs::path& path) {
    std::error_code error;
    const fs::file_time_type time = fs::last_write_time(path, error);
    if (error) return {};
    return floor<milliseconds>(file_clock::to_sys(time));
}

std::string TextOf(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) throw NoRecord("it is no file");
    const uint64_t size = fs::file_size(path, error);
    if (error) throw NoRecord(error.message());
    if (size > kMaxRecordBytes) throw NoRecord("it is larger than any record");
    std::ifstream file(path, std::ios::binary);
    std::string text(static_cast<size_t>(size), '\0');
    file.read(text.data(), static_cast<std::streamsize>(size));
    if (!file) throw NoRecord("it cannot be read");
    return text;
}

class FolderSearch final {
public:
    explicit FolderSearch(UtcMoment now) : now_(now) {}

    FoundRecordings Below(const fs::path& root) {
        std::vector<fs::path> folders = {root};
        while (!folders.empty()) {
            const fs::path folder = std::move(folders.back());
            folders.pop_back();
            std::error_code error;
            for (fs::directory_iterator at(folder, error), end; !error && at != end;
                 at.increment(error)) {
                if (IsFolder(*at)) {
                    folders.push_back(at->path());
                } else {
                    Look(at->path());
                }
            }
            if (!error) continue;
            if (folder == root) throw std::runtime_error(ToUtf8(root) + ": " + error.message());
            Note(folder, error.message());
        }
        std::sort(found_.recordings.begin(), found_.recordings.end(),
                  [](const FoundRecording& a, const FoundRecording& b) { return a.file < b.file; });
        std::sort(found_.notes.begin(), found_.notes.end());
        return std::move(found_);
    }

private:
    static bool IsFolder(const fs::directory_entry& entry) {
        std::error_code error;
        return entry.is_directory(error) && !entry.is_symlink(error);
    }

    void Note(const fs::path& path, const std::string& text) {
        found_.notes.push_back(ToUtf8(path) + ": " + text);
    }

    void Look(const fs::path& path) {
        std::error_code error;
        if (!fs::is_regular_file(path, error)) return;
        const std::string name = ToUtf8(path.filename());
        if (IsAudioName(name)) {
            AddAudio(path, name);
        } else if (const auto whole = WholeNameOf(name); whole && IsAudioName(*whole)) {
            AddPart(path, *whole);
        } else if (name.ends_with(kRecordEnding)) {
            LookForAudioOf(path, name.substr(0, name.size() - kRecordEnding.size()));
        }
    }

    FoundRecording Named(const fs::path& path, const std::string& name) const {
        FoundRecording recording;
        recording.file = ToUtf8(path);
        recording.folder = ToUtf8(fs::absolute(path).parent_path().filename());
        const CopyName copy = ReadCopyName(name);
        recording.name = copy.name;
        recording.copy = copy.copy;
        recording.changed = ChangeOf(path);
        return recording;
    }

    void AddAudio(const fs::path& path, const std::string& name) {
        FoundRecording recording = Named(path, name);
        fs::path beside = path;
        beside += kRecordEnding;
        std::error_code error;
        if (!fs::exists(fs::symlink_status(beside, error))) {
            recording.why = "There is no " + ToUtf8(beside.filename()) + " beside it";
        } else if (ReadBeside(beside, recording) && fs::file_size(path, error) == 0 && !error) {
            recording.state = RecordingState::kDamaged;
            recording.why = "The file is empty";
        }
        found_.recordings.push_back(std::move(recording));
    }

    bool ReadBeside(const fs::path& beside, FoundRecording& recording) {
        try {
            recording.record = ReadRecord(TextOf(beside));
        } catch (const NoRecord& why) {
            recording.why = "What stands beside it cannot be read: " + std::string(why.what());
            Note(beside, std::string("left out: ") + why.what());
            return false;
        }
        const RecordingRecord& record = recording.record;
        recording.state = record.isComplete ? RecordingState::kWhole : RecordingState::kDamaged;
        if (!record.isComplete) {
            recording.why = record.message.empty() ? record.outcome : record.message;
        }
        return true;
    }

    void AddPart(const fs::path& path, const std::string& whole) {
        FoundRecording recording = Named(path, whole);
        const bool isChanging = now_ - recording.changed < kLately;
        const bool isKeptAside = !recording.file.ends_with(kPartEnding);
        if (!isKeptAside && (isChanging || IsBeingWritten(path))) {
            recording.state = RecordingState::kRecording;
        } else {
            recording.state = RecordingState::kLeft;
            recording.why = "Its recorder was ended before the file was whole";
        }
        found_.recordings.push_back(std::move(recording));
    }

    // A record of what is no longer there.
    void LookForAudioOf(const fs::path& beside, const std::string& audio) {
        std::error_code error;
        const fs::path path = beside.parent_path() / ToFilesystemPath(audio);
        if (!IsAudioName(audio) || fs::exists(fs::symlink_status(path, error))) return;
        FoundRecording recording = Named(path, audio);
        recording.changed = ChangeOf(beside);
        if (ReadBeside(beside, recording)) {
            recording.state = RecordingState::kDamaged;
            recording.why = "The audio is not there";
            recording.isThere = false;
            found_.recordings.push_back(std::move(recording));
        }
    }

    const UtcMoment now_;
    FoundRecordings found_;
};

}  // namespace

CopyName ReadCopyName(const std::string& name) {
    const size_t mark = name.rfind(kCopyMark);
    const size_t digit = mark == std::string::npos ? mark : mark + kCopyMark.size();
    const size_t dot = name.rfind('.');
    if (digit == std::string::npos || digit >= dot || name[digit] < '1' || name[digit] > '9') {
        return {name, 1};
    }
    // Where the name was taken the recorder has added "-2".
    const std::string_view more = std::string_view(name).substr(digit + 1, dot - digit - 1);
    if (!more.empty() && (more[0] != '-' || !IsNumber(more.substr(1)))) return {name, 1};
    return {name.substr(0, mark) + name.substr(digit + 1),
            static_cast<unsigned>(name[digit] - '0')};
}

FoundRecordings FindRecordings(const std::string& folder, UtcMoment now) {
    return FolderSearch(now).Below(ToFilesystemPath(folder));
}

}  // namespace receiver
