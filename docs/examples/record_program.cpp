// Starts a receiver, waits for a jingle on a radio stream, and writes the programme that
// follows to a file as raw 16-bit PCM.
//     record_program ReceiverHost receiver.log http://radio.example/live /jingle.wav program.pcm
#include <receiver_client/receiver_client.h>
#include <receiver_client/receiver_process.h>

#include <cstdio>
#include <fstream>

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
    request.sessionId = "example";  // client.RequestCancel("example") from any thread ends it
    request.url = argv[3];
    request.references = {{"jingle", receiver::Role::kStart, argv[4]}};
    request.program = receiver::ProgramLimits{5000, 1000};  // 5 s, faded out over the last one
    receiver::ProgramSink sink;
    sink.event = [](const receiver::Event& event) { std::printf("%s\n", event.type.c_str()); };
    sink.write = [&](std::span<const std::byte> pcm) {
        output.write(reinterpret_cast<const char*>(pcm.data()), std::ssize(pcm));
        return output.good();
    };
    const receiver::ProgramResult result = client.RecordProgram(request, sink);
    client.Shutdown(10s);  // the receiver ends by itself, and `process` waits for it
    output.close();
    return result.complete && output ? 0 : Fail(result.error);
}
