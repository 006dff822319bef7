// Where a recording goes, from the first byte to the file that has its name, its final tags
// and its sidecar; or standard output, which has none of these.
//
//   Threads  one at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio_output/output_format.h"
#include "audio_output/part_file.h"
#include "audio_output/recording_sink.h"
#include "receiver_record/output/counting_sink.h"
#include "receiver_record/output/recording_tags.h"
#include "receiver_record/record_report.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

class RecordingOutput final {
public:
    struct Closing {
        std::string file;     // where there is something to play; empty where not
        std::string failure;  // why a whole file did not get its name; empty if it did
        std::vector<std::string> warnings;
    };

    // Creates the part file. Without --force neither the audio nor its sidecar may exist. Throws
    // std::runtime_error with a text for people.
    explicit RecordingOutput(const RecordOptions& options);

    const OutputFormat& Format() const { return format_; }
    RecordingSink& Sink() { return *sink_; }
    uint64_t BytesWritten() const { return sink_->Bytes(); }  // any thread
    // Where what an earlier recording left is now; empty when it left nothing.
    std::string KeptAside() const;
    // Of a recording with these frames; an empty one leaves no file. The sidecar is the
    // report with the file's name. Once.
    Closing Close(RecordReport report, bool playable);

private:
    void WriteTags(const RecordReport& report, Closing& closing);

    const std::string name_;
    const bool overwrite_;
    const OutputFormat format_;
    std::unique_ptr<CountingSink> sink_;
    PartFile* part_ = nullptr;  // behind the sink, when that is a file
};

}  // namespace receiver
