/* Starts a receiver, waits for a jingle on a radio stream, and writes the programme that follows
 * to a file as raw 16-bit PCM.
 *     record_program_c ReceiverHost receiver.log http://radio.example/live /jingle.wav program.pcm
 *                      [RECONNECT_SECONDS]
 */
#include <receiver_client.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

static receiver_cancellation* stop;

static void on_interrupt(int number) {
    (void)number;
    receiver_cancellation_signal(stop); /* the one call that a signal handler may make */
}

static int write_pcm(void* user, const void* pcm, size_t bytes) {
    return fwrite(pcm, 1, bytes, (FILE*)user) == bytes ? 0 : 1;
}

static void show_event(void* user, const receiver_event* event) {
    (void)user;
    printf("%s\n", event->type_name);
    if (event->type == RECEIVER_EVENT_RESUMED) {
        printf("  lost for %llu ms, %llu frames are missing\n",
               (unsigned long long)event->outage_ms, (unsigned long long)event->lost_frames);
    } else if (event->type == RECEIVER_EVENT_DAMAGED) {
        printf("  %s at %llu\n", event->damage_kind, (unsigned long long)event->sample);
    } else if (event->type == RECEIVER_EVENT_TITLE) {
        printf("  %s\n", event->title);
    }
    if (event->cause_text) fprintf(stderr, "%s\n", event->cause_text);
}

/* What a receiver may be asked for besides; each may be left out. An older one does not know them,
 * and the recording then ends with RECEIVER_UNSUPPORTED. */
static void ask_for_more(receiver_request* request, int argc, char** argv) {
    request->look_back_ms = 60000; /* holds a minute while it waits, not all since the beginning */
    request->reconnect_ms = argc > 6 ? (uint32_t)(1000 * strtoul(argv[6], NULL, 10)) : 0;
    request->report = RECEIVER_REPORT_CAUSE | RECEIVER_REPORT_DAMAGE | RECEIVER_REPORT_TITLES |
                      RECEIVER_REPORT_STATION;
    /* Further: pre_roll_ms, start_now (then without references), user_agent, headers, ca_file. */
}

static int record(receiver_process* process, receiver_client* client, int argc, char** argv,
                  FILE* output) {
    const receiver_reference jingle = {"jingle", argv[4], RECEIVER_ROLE_START};
    receiver_request request = {0};
    receiver_sink sink = {0};
    receiver_result result = {0};
    receiver_status status = receiver_process_start(process, argv[1], argv[2], 10000);
    if (status != RECEIVER_OK) {
        fprintf(stderr, "%s\n", receiver_process_error_text(process));
        return 1;
    }
    request.size = sizeof request;
    request.session_id = "example";
    request.url = argv[3];
    request.references = &jingle;
    request.reference_count = 1;
    request.maximum_ms = 5000; /* faded out over the last second */
    request.fade_ms = 1000;
    ask_for_more(&request, argc, argv);
    sink.size = sizeof sink;
    sink.user = output;
    sink.write = write_pcm;
    sink.event = show_event;
    result.size = sizeof result;
    status = receiver_client_connect(client, receiver_process_control_uri(process), 10000);
    if (status == RECEIVER_OK) {
        status = receiver_client_record(client, &request, &sink, &result);
    }
    if (status != RECEIVER_OK) {
        fprintf(stderr, "%s: %s\n", receiver_status_text(status),
                receiver_client_error_text(client));
        return 1;
    }
    printf("%llu frames\n", (unsigned long long)result.frames);
    return receiver_client_shutdown(client, 10000) == RECEIVER_OK ? 0 : 1;
}

int main(int argc, char** argv) {
    receiver_process* process;
    receiver_client* client;
    FILE* output;
    int code = 1;
    if (argc != 6 && argc != 7) return 2;
    stop = receiver_cancellation_create();
    signal(SIGINT, on_interrupt);
    process = receiver_process_create(stop);
    client = receiver_client_create(stop);
    output = fopen(argv[5], "wb");
    if (stop && process && client && output) code = record(process, client, argc, argv, output);
    if (output && fclose(output) != 0) code = 1;
    receiver_client_destroy(client);
    receiver_process_destroy(process); /* waits for the receiver's end */
    signal(SIGINT, SIG_DFL);
    receiver_cancellation_destroy(stop);
    return code;
}
