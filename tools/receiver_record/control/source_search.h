// Which address of the source the next session is to open: the one that was given, or what a
// playlist names in its place, one after another until one opens.
//
//   Threads  one; the interrupted event may be signalled from anywhere.
#pragma once

#include <optional>
#include <string>

#include "platform/manual_reset_event.h"
#include "playlists/stream_addresses.h"
#include "receiver_record/display/record_console.h"
#include "receiver_record/request/record_options.h"
#include "receiver_record/session_record.h"

namespace receiver {

class SourceSearch final {
public:
    // All outlive the object.
    SourceSearch(const RecordOptions& options, const ManualResetEvent& interrupted,
                 RecordConsole& console);

    // Sets the request's address, and takes from it what only the server of the given address is to
    // know. Asks for playlists.
    void SetAddress(PrepareRequest& request);
    // The address that was set, without its secrets; before, the given one's.
    const std::string& PublicAddress() const { return publicAddress_; }
    // Tells what is waited for, once for each address.
    void TellOfWaiting();
    // After a session that did not open its source: whether there is another address to try at
    // once, which is told.
    bool Next(const SessionRecord& session);
    // When there is none: what decides whether all are tried again after a pause.
    std::optional<Cause> CauseToJudge(const SessionRecord& session) const;

private:
    const RecordOptions& options_;
    RecordConsole& console_;
    StreamAddresses addresses_;
    std::string publicAddress_;
    std::string told_;
    bool isRoundOver_ = true;
    std::optional<Cause>
        roundsCause_;  // of the newest round: one that passes by itself, or the last
};

}  // namespace receiver
