#include "receiver_record/output/recording_output.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "audio_output/tagged_copy.h"
#include "platform/text.h"
#include "receiver_record/output/sidecar.h"

namespace receiver {

RecordingOutput::RecordingOutput(const RecordOptions& options)
    : name_(options.output),
      overwrite_(options.force),
      format_(EncoderFormat(options.output, options.encoder)) {
    if (options.ToStandardOutput()) {
        sink_ = std::make_unique<CountingSink>(std::make_unique<StandardOutputSink>());
        return;
    }
    if (!overwrite_ && IsTaken(ToFilesystemPath(name_ + ".json"))) {
        throw std::runtime_error(name_ + ".json already exists (use --force to overwrite it)");
    }
    auto part = std::make_unique<PartFile>(ToFilesystemPath(name_), overwrite_);
    part_ = part.get();
    sink_ = std::make_unique<CountingSink>(std::move(part));
}

std::string RecordingOutput::KeptAside() const {
    return part_ == nullptr ? "" : ToUtf8(part_->KeptAside());
}

RecordingOutput::Closing RecordingOutput::Close(RecordReport report, bool playable) {
    Closing closing;
    if (part_ == nullptr) return closing;
    if (report.frames == 0) {
        part_->Discard();
        return closing;
    }
    // A disk that is full has no room for a copy either.
    if (playable && report.exitCode != ExitCode::kOutputError) WriteTags(report, closing);
    if (!playable || !part_->Commit()) {
        closing.warnings.push_back("What was recorded is in " + name_ + ".part");
        if (playable) closing.failure = part_->FailureText();
        return closing;
    }
    report.output = closing.file = name_;
    try {
        WriteSidecar(name_ + ".json", report, overwrite_);
    } catch (const std::exception& e) {
        closing.warnings.push_back("Cannot write " + name_ + ".json: " + e.what());
    }
    return closing;
}

// The recording is good without them.
void RecordingOutput::WriteTags(const RecordReport& report, Closing& closing) {
    constexpr double kPacketSeconds = 0.5;  // more than the longest
    const double seconds = static_cast<double>(report.frames) / report.format.sampleRate;
    const bool written =
        part_->ReplaceBy([&](const std::filesystem::path& from, RecordingSink& to) {
            CopyWithTags(from, format_, MakeTags(report), seconds - kPacketSeconds, to);
        });
    if (written) return;
    closing.warnings.push_back("The tags do not say where and why the recording ended: " +
                               part_->FailureText());
}

}  // namespace receiver
