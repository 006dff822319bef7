// A recording on its way to its name: written as NAME.part beside the target, and
// renamed once it is a whole file. Not thread-safe.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "audio_output/output_file.h"
#include "audio_output/recording_sink.h"
#include "platform/output_stream.h"

namespace receiver {

// Whether there is anything of this name.
bool IsTaken(const std::filesystem::path& path);

class PartFile final : public RecordingSink {
public:
    // Creates the part file. Without `overwrite` the target may not exist, and a part file that an
    // earlier recording left is kept under another name, or with `replacePart` replaced. No link
    // is followed. Throws std::runtime_error with a text for people.
    PartFile(std::filesystem::path target, bool overwrite, bool replacePart = false);
    // What was neither committed nor discarded stays as the part file.
    ~PartFile() override = default;

    bool CanSeek() const override { return true; }
    bool WriteAt(uint64_t offset, const void* data, size_t size) override;
    bool Truncate(uint64_t size) override;
    std::string FailureText() const override { return failure_; }

    // Makes a changed copy of the whole file and puts it in the part file's place, which
    // is never gone meanwhile. `copy` reads a file and writes a sink, and may throw
    // std::exception. False leaves the part file as it was. Ends the writing.
    using Copy = std::function<void(const std::filesystem::path& from, RecordingSink& to)>;
    bool ReplaceBy(const Copy& copy);
    // Puts the file onto the disk and under its name. False leaves the part file.
    bool Commit();
    void Discard();

    const std::filesystem::path& PartPath() const { return part_; }
    // Where the part file of an earlier recording is now; empty when there was none.
    const std::filesystem::path& KeptAside() const { return keptAside_; }

private:
    void KeepAside();
    bool FlushAndClose(OutputFile& file);

    const std::filesystem::path target_;
    const std::filesystem::path part_;
    const bool overwrite_;
    std::filesystem::path keptAside_;
    OutputFile file_;
    std::string failure_;
};

// Standard output as a sink.
class StandardOutputSink final : public RecordingSink {
public:
    bool CanSeek() const override { return false; }
    bool WriteAt(uint64_t, const void* data, size_t size) override {
        return output_->Write(data, size);
    }
    bool Truncate(uint64_t) override { return false; }
    void Stop() override { output_->Stop(); }
    std::string FailureText() const override { return output_->FailureText(); }

private:
    const std::unique_ptr<OutputStream> output_ = OpenStandardOutput();
};

}  // namespace receiver
