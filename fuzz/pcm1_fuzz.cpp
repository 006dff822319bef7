// An audio stream of arbitrary bytes, over a real pipe and with a pause at an arbitrary
// place: the reader hands out the PCM of all whole chunks before the first fault, and
// acknowledges only a stream that has ended as it should.
#include <algorithm>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "fuzz.h"
#include "platform/manual_reset_event.h"
#include "receiver_client/pcm1_reader.h"
#include "testing/fake_peer.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

using receiver::ErrorKind;
using receiver::Pcm1Reader;
using std::chrono::milliseconds;

constexpr milliseconds kOpenTimeout(kPatienceMs);
constexpr milliseconds kReadStep(2);  // short, so that the pause is noticed
constexpr uint32_t kMaxChunk = 1048576;

struct Outcome {
    bool opened = false;
    std::string pcm;
    Pcm1Reader::Result last = Pcm1Reader::Result::kError;
    bool operator==(const Outcome&) const = default;
};

template <typename T>
bool Take(std::string& stream, T* record) {
    if (stream.size() < sizeof(T)) return false;
    std::memcpy(record, stream.data(), sizeof(T));
    stream.erase(0, sizeof(T));
    return true;
}

bool IsGood(const Pcm1Header& header) {
    return header.magic == kPcm1Magic && header.version == kPcm1Version &&
           header.headerBytes == sizeof(header) && header.bitsPerSample == 16 &&
           header.channels >= 1 && header.channels <= 64 && header.sampleRate >= 1 &&
           header.sampleRate <= 768000;
}

// What the format's description makes of the stream.
Outcome Expected(std::string stream, uint64_t* token) {
    Outcome outcome;
    Pcm1Header header;
    if (!Take(stream, &header) || !IsGood(header)) return outcome;
    *token = header.streamToken;
    outcome.opened = true;
    const uint32_t frame = header.channels * 2U;
    Pcm1ChunkRecord record;
    while (Take(stream, &record)) {
        if (record.firstFrame != outcome.pcm.size() / frame) return outcome;
        if (record.type == kPcm1Data) {
            const uint32_t bytes = record.byteCount;
            if (bytes == 0 || bytes > kMaxChunk || bytes % frame != 0 || record.status != 0) {
                return outcome;
            }
            const size_t there = std::min<size_t>(bytes, stream.size());
            outcome.pcm += stream.substr(0, there / frame * frame);
            stream.erase(0, there);
            if (there < bytes) return outcome;
        } else if (record.byteCount == 0 && record.type == kPcm1End && record.status == 0) {
            outcome.last = Pcm1Reader::Result::kEnd;
            return outcome;
        } else if (record.byteCount == 0 && record.type == kPcm1SourceFailed &&
                   record.status == kPcm1SourceFailedStatus) {
            outcome.last = Pcm1Reader::Result::kSourceFailed;
            return outcome;
        } else {
            return outcome;
        }
    }
    return outcome;
}

Outcome Received(Pcm1Reader& reader, const std::string& uri, size_t bufferBytes,
                 ManualResetEvent& readerWaits) {
    Outcome outcome;
    outcome.opened = reader.Open(uri, kOpenTimeout);
    if (!outcome.opened) return outcome;
    std::vector<std::byte> buffer(reader.Format().FrameBytes() + bufferBytes);
    for (;;) {
        size_t bytes = 0;
        outcome.last = reader.Read(buffer, &bytes, kReadStep);
        if (outcome.last == Pcm1Reader::Result::kData) {
            Expect(bytes > 0 && bytes <= buffer.size());
            outcome.pcm.append(reinterpret_cast<const char*>(buffer.data()), bytes);
            continue;
        }
        Expect(bytes == 0);
        const bool waits = outcome.last == Pcm1Reader::Result::kError &&
                           reader.LastError().kind == ErrorKind::kTimedOut;
        if (!waits) break;
        readerWaits.Signal();
    }
    Expect(reader.FramesRead() == outcome.pcm.size() / reader.Format().FrameBytes());
    const bool ended = outcome.last != Pcm1Reader::Result::kError;
    Expect(reader.Acknowledge(kOpenTimeout) == ended);
    return outcome;
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    if (size < 2) return 0;
    const size_t bufferBytes = data[0];
    const size_t pauseAfter = sizeof(Pcm1Header) + data[1];  // Open takes the head in one piece
    std::string stream(reinterpret_cast<const char*>(data) + 2, size - 2);
    uint64_t token = 0;
    const Outcome expected = Expected(stream, &token);
    // Behind an end that comes before the pause the reader has hung up.
    if (Expected(stream.substr(0, pauseAfter), &token).last != Pcm1Reader::Result::kError) {
        stream.resize(std::min(stream.size(), pauseAfter));
    }

    ManualResetEvent readerWaits;
    Pcm1Acknowledgement acknowledgement;
    acknowledgement.magic = 0;
    Outcome received;
    {
        FakePeer peer([&](FakePeer& p) {
            p.Send(stream.substr(0, pauseAfter));
            if (stream.size() > pauseAfter) {
                readerWaits.Wait(kPatienceMs);
                p.Send(stream.substr(pauseAfter));
            }
            if (expected.last == Pcm1Reader::Result::kError) return;
            Pcm1Acknowledgement came;
            p.Receive(&came, sizeof(came));
            acknowledgement = came;
        });
        receiver::Cancellation cancellation;
        Pcm1Reader reader(cancellation);
        received = Received(reader, peer.Uri(), bufferBytes, readerWaits);
        readerWaits.Signal();
        peer.Join();
    }
    Expect(received == expected);
    if (expected.last == Pcm1Reader::Result::kError) {
        Expect(acknowledgement.magic == 0);
    } else {
        Expect(acknowledgement.magic == kPcm1Magic && acknowledgement.status == 0 &&
               acknowledgement.streamToken == token);
    }
    return 0;
}
