#include "station.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "testing/audio_encoder.h"
#include "testing/http_station.h"

namespace receiver {
namespace {

using Clock = std::chrono::steady_clock;

// Where the broadcast stands, by the clock, and the bytes of any stretch of it.
class OnAir {
public:
    OnAir(std::string round, double secondsPerRound)
        : round_(std::move(round)),
          bytesPerSecond_(static_cast<double>(round_.size()) / secondsPerRound) {}

    uint64_t Position() const {
        const std::chrono::duration<double> onAir = Clock::now() - begin_;
        return static_cast<uint64_t>(onAir.count() * bytesPerSecond_);
    }
    Clock::time_point TimeOf(uint64_t position) const {
        return begin_ + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                            static_cast<double>(position) / bytesPerSecond_));
    }
    uint64_t BytesIn(double seconds) const {
        return static_cast<uint64_t>(seconds * bytesPerSecond_);
    }
    std::string Bytes(uint64_t from, uint64_t count) const {
        std::string bytes;
        while (bytes.size() < count) {
            const size_t at = (from + bytes.size()) % round_.size();
            bytes += round_.substr(at, static_cast<size_t>(count) - bytes.size());
        }
        return bytes;
    }

private:
    const std::string round_;
    const double bytesPerSecond_;
    const Clock::time_point begin_ = Clock::now();
};

// One listener: what it is sent, and when.
class Listener {
public:
    Listener(const OnAir& onAir, const std::filesystem::path& tape)
        : onAir_(onAir),
          tape_(tape, std::ios::binary | std::ios::trunc),
          next_(onAir.Position() - std::min(onAir.Position(), onAir.BytesIn(2.0))) {}

    // When it is due.
    std::string Next() {
        const uint64_t piece = onAir_.BytesIn(0.1);
        {
            // The pace of the broadcast: a wait on the clock that nothing cuts short.
            std::unique_lock lock(mutex_);
            while (pace_.wait_until(lock, onAir_.TimeOf(next_ + piece)) !=
                   std::cv_status::timeout) {
            }
        }
        std::string bytes = onAir_.Bytes(next_, piece);
        tape_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush();
        next_ += piece;
        return bytes;
    }

private:
    const OnAir& onAir_;
    std::ofstream tape_;
    uint64_t next_;
    std::mutex mutex_;
    std::condition_variable pace_;
};

}  // namespace

void RunStation(const std::filesystem::path& mp3, double secondsPerRound,
                const std::filesystem::path& tape) {
    std::ifstream file(mp3, std::ios::binary);
    std::string round{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (round.empty()) throw std::runtime_error("cannot read " + mp3.string());
    const OnAir onAir(std::move(round), secondsPerRound);

    StationRoute live;
    live.contentType = MimeTypeOf(AudioCoding::kMp3);
    live.headers = {{"icy-name", "The demo station"}};
    live.framing = BodyFraming::kChunked;
    live.tuneIn = [&onAir, &tape] {
        return [listener = std::make_shared<Listener>(onAir, tape)] { return listener->Next(); };
    };
    HttpStation station;
    station.Serve("/live.mp3", std::move(live));
    std::cout << station.Url("/live.mp3") << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}

}  // namespace receiver
