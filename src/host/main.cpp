#include <exception>

#include "host/receiver_host.h"
#include "platform/standard_streams.h"

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        OpenMissingStandardStreams();
        if (argc != 3) {
            WriteStandardErrorLine(
                "ReceiverHost pcm-pipe://receiver-control-instance receiver.log");
            return 2;
        }
        CReceiverHost host(argv[1], argv[2]);
        return host.Run();
    } catch (const std::exception& error) {
        WriteStandardErrorLine(error.what());
        return 1;
    }
}
