// Starts a receiver, waits for a jingle on a radio stream, and writes the programme that
// follows to a file as raw 16-bit PCM.
//     record_program ReceiverHost receiver.log http://radio.example/live /jingle.wav program.pcm
//                    [RECONNECT_SECONDS]
#include <receiver_client/receiver_client.h>
#include <receiver_client/receiver_process.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

using namespace std::chrono_literals;

static int Fail(const receiver::Error& error) {
    std::fprintf(stderr, "%s\n", error.text.c_str());
    return 1;
}

static void Show(const receiver::Event& event) {
    std::printf("%s\n", event.type.c_str());
    if (const auto* resumed = std::get_if<receiver::ResumedEvent>(&event.body)) {
        std::printf("  lost for %llu ms, %llu frames are missing\n",
                    static_cast<unsigned long long>(resumed->resumption.outageMs),
                    static_cast<unsigned long long>(resumed->resumption.lostFrames));
    } else if (const auto* damaged = std::get_if<receiver::DamagedEvent>(&event.body)) {
        std::printf("  %s at %llu\n", damaged->kind.c_str(),
                    static_cast<unsigned long long>(damaged->sample));
    } else if (const auto* title = std::get_if<receiver::TitleEvent>(&event.body)) {
        std::printf("  %s\n", title->title.c_str());
    }
}

// What a receiver may be asked for besides; each may be left out. An older one does not know them,
// and RecordProgram then fails with ErrorKind::kUnsupported.
static void AskForMore(receiver::PrepareRequest& request, int argc, char** argv) {
    request.lookBackMs = 60000;  // holds a minute while it waits, not all since the beginning
    if (argc > 6) request.reconnectMs = static_cast<uint32_t>(1000 * std::atoi(argv[6]));
    request.report = {.cause = true, .damage = true, .titles = true, .station = true};
    // Further: preRollMs, startNow (then without references), and in http userAgent, headers,
    // caFile.
}

int main(int argc, char** argv) {
    if (argc != 6 && argc != 7) return 2;
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
    AskForMore(request, argc, argv);
    receiver::ProgramSink sink;
    sink.event = Show;
    sink.write = [&](std::span<const std::byte> pcm) {
        output.write(reinterpret_cast<const char*>(pcm.data()), std::ssize(pcm));
        return output.good();
    };
    const receiver::ProgramResult result = client.RecordProgram(request, sink);
    if (result.session && result.session->cause) {
        std::fprintf(stderr, "%s\n", result.session->cause->text.c_str());
    }
    client.Shutdown(10s);  // the receiver ends by itself, and `process` waits for it
    output.close();
    return result.complete && output ? 0 : Fail(result.error);
}
