// Starts a receiver, waits for a jingle on a radio stream, and writes the programme that
// follows to a file as raw 16-bit PCM.
//     record_program ReceiverHost receiver.log http://radio.example/live /jingle.wav program.pcm
#include <receiver_client/pcm1_reader.h>
#include <receiver_client/receiver_client.h>
#include <receiver_client/receiver_process.h>

#include <cstdio>
#include <fstream>
#include <vector>

using namespace std::chrono_literals;

static int Fail(const receiver::Error& error) {
    std::fprintf(stderr, "%s\n", error.text.c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 6) return 2;
    std::ofstream output(argv[5], std::ios::binary);
    const receiver::Cancellation stop;  // stop.Cancel() from any thread ends every wait
    receiver::ReceiverProcess process(stop);
    if (!process.Start(argv[1], argv[2], 10s)) return Fail(process.LastError());
    receiver::ReceiverClient client(stop);
    if (!client.Connect(process.ControlUri(), 10s)) return Fail(client.LastError());

    receiver::PrepareRequest request;
    request.sessionId = "example";
    request.url = argv[3];
    request.references = {{"jingle", receiver::Role::kStart, argv[4]}};
    request.program = receiver::ProgramLimits{5000, 1000};  // 5 s, faded out over the last one
    if (!client.Prepare(request, 10s)) return Fail(client.LastError());
    while (const auto event = client.NextEvent(10min)) {
        if (const auto* finished = std::get_if<receiver::FinishedEvent>(&event->body))
            return finished->session.reason == "eof" && client.Shutdown(10s) && output ? 0 : 1;
        const auto* ready = std::get_if<receiver::ReadyEvent>(&event->body);
        if (ready == nullptr) continue;
        receiver::Pcm1Reader audio(stop);
        if (!audio.Open(ready->uri, 10s)) return Fail(audio.LastError());
        std::vector<std::byte> pcm(65536);
        size_t bytes = 0;
        auto result = receiver::Pcm1Reader::Result::kError;
        while ((result = audio.Read(pcm, &bytes, 1min)) == receiver::Pcm1Reader::Result::kData)
            output.write(reinterpret_cast<const char*>(pcm.data()), bytes);
        if (result == receiver::Pcm1Reader::Result::kError) return Fail(audio.LastError());
        output.close();
        audio.Acknowledge(1s);
    }
    return Fail(client.LastError());
}
