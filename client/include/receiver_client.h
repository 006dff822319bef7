/* The client library for C, and for every language that can call C: drives a receiver and takes
 * the audio that it serves. docs/protocol.md says what the words mean;
 * docs/examples/record_program.c uses all that a recording needs.
 *
 *   Units    times are milliseconds; samples are frames at 44100 Hz, counted from the stream's
 *            first; a frame is one 16-bit sample of every channel, interleaved.
 *   Texts    UTF-8 with an end of 0. What is passed in is copied. What comes out belongs to the
 *            library and is valid until the next call on the same object, if not said otherwise.
 *   Threads  one thread at a time uses an object, but for receiver_client_request_cancel and
 *            receiver_cancellation_signal, which any thread may call at any time.
 *   Signals  only receiver_cancellation_signal may be called in a signal handler.
 *   Errors   calls return a receiver_status; RECEIVER_OK is 0. X_error_text tells the cause of the
 *            object's last failed call to people, X_error_code its system's number or 0. A null
 *            object, text or place for a result is RECEIVER_INVALID_ARGUMENT. No C++ exception
 *            leaves the library. _destroy takes null, too, and never fails.
 *   Growth   records that are passed in begin with their size: set it to sizeof of the record,
 *            all else that is not needed to 0. Records that come out may grow at their ends.
 */
#ifndef RECEIVER_CLIENT_H
#define RECEIVER_CLIENT_H

#include <stddef.h>
#include <stdint.h>

/* Only the library's own build has to say how a function is exported. */
#ifndef RECEIVER_C_API
#define RECEIVER_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef enum receiver_status {
    RECEIVER_OK = 0,
    RECEIVER_TIMED_OUT = 1,        /* nothing came in time; the connection is still good */
    RECEIVER_CANCELLED = 2,        /* the cancellation was signalled, or the session cancelled */
    RECEIVER_DISCONNECTED = 3,     /* there is no connection, or it was lost */
    RECEIVER_REJECTED = 4,         /* the receiver refused the command; the text is its message */
    RECEIVER_PROTOCOL = 5,         /* the peer broke the protocol; the connection was closed */
    RECEIVER_INVALID_ARGUMENT = 6, /* nothing was sent */
    RECEIVER_SYSTEM = 7,           /* the system, or the receiver program, failed */
    RECEIVER_SESSION_FAILED = 8,   /* the session ended with an error; the text is its message */
    RECEIVER_NO_MEMORY = 9,
    RECEIVER_END = 10,        /* receiver_audio_read: the stream is complete */
    RECEIVER_UNSUPPORTED = 11 /* the receiver does not know what was asked for; the text names it */
} receiver_status;

/* For people, in English; never null. The text lasts for ever. */
RECEIVER_C_API const char* receiver_status_text(receiver_status status);
/* The library's version, such as "0.1.0". Lasts for ever. */
RECEIVER_C_API const char* receiver_version(void);

/* ---- the stop signal of all waits ---------------------------------------------------------- */

typedef struct receiver_cancellation receiver_cancellation;

/* Null when the system gives no event, or there is no memory. */
RECEIVER_C_API receiver_cancellation* receiver_cancellation_create(void);
/* Objects that were made with it may live on. */
RECEIVER_C_API void receiver_cancellation_destroy(receiver_cancellation* cancellation);
/* Ends every wait of every object made with it, at once and for good. Any thread, and signal
 * handlers. To end a recording cleanly use receiver_client_request_cancel. */
RECEIVER_C_API void receiver_cancellation_signal(receiver_cancellation* cancellation);

/* ---- a receiver of one's own ---------------------------------------------------------------- */

typedef struct receiver_process receiver_process;

/* Null as above. The cancellation may be null: nothing but time-outs ends the waits then. */
RECEIVER_C_API receiver_process* receiver_process_create(receiver_cancellation* cancellation);
/* A receiver that still runs is asked to end, waited for up to 5 seconds, and then killed. It
 * also ends with this process. */
RECEIVER_C_API void receiver_process_destroy(receiver_process* process);
/* Starts the program `receiver_host` and returns once it listens. It logs to files beside and
 * named after `log_path`. Once only. */
RECEIVER_C_API receiver_status receiver_process_start(receiver_process* process,
                                                      const char* receiver_host,
                                                      const char* log_path, uint32_t timeout_ms);
/* For receiver_client_connect; null before the start. Lasts as long as the object. */
RECEIVER_C_API const char* receiver_process_control_uri(const receiver_process* process);
/* RECEIVER_TIMED_OUT while it still runs. */
RECEIVER_C_API receiver_status receiver_process_wait(receiver_process* process, uint32_t timeout_ms,
                                                     int* exit_code);
RECEIVER_C_API const char* receiver_process_error_text(const receiver_process* process);

/* ---- the control connection ------------------------------------------------------------------ */

typedef struct receiver_client receiver_client;

typedef enum receiver_role {
    RECEIVER_ROLE_START = 0,
    RECEIVER_ROLE_END = 1,
    RECEIVER_ROLE_OTHER = 2
} receiver_role;

typedef struct receiver_reference {
    const char* id;   /* 1..80 characters of A-Z a-z 0-9 - _ */
    const char* path; /* as the receiver's process sees the file */
    receiver_role role;
} receiver_reference;

/* A header field for the source's server. */
typedef struct receiver_header {
    const char* name;
    const char* value;
} receiver_header;

/* What is told besides; add them up. */
enum {
    RECEIVER_REPORT_CAUSE = 1,  /* the cause_... of events */
    RECEIVER_REPORT_DAMAGE = 2, /* RECEIVER_EVENT_DAMAGED */
    RECEIVER_REPORT_TITLES = 4, /* RECEIVER_EVENT_TITLE */
    RECEIVER_REPORT_STATION = 8 /* RECEIVER_EVENT_STATION */
};

typedef struct receiver_request {
    size_t size;                          /* sizeof(receiver_request) */
    const char* session_id;               /* formed like a reference's id */
    const char* url;                      /* "http://..." or "https://..." */
    const receiver_reference* references; /* 1..32, at least one a start unless start_now */
    size_t reference_count;
    uint32_t io_timeout_ms; /* 100..60000; 0: the receiver's default, 15000 */
    uint32_t block_bytes;   /* 4..1048576; 0: the receiver's default, 8192 */
    uint32_t maximum_ms;    /* 1000..3600000; 0: no bounds, up to the source's end */
    uint32_t fade_ms;       /* 0..3600000; before the end, unless an end reference made it */

    /* The additions: 0 and null ask for none. A receiver that does not know one ignores it, see
     * receiver_client_missing_additions. */
    uint32_t look_back_ms;  /* held before a start was heard; 1000..3600000; 0: everything */
    uint32_t reconnect_ms;  /* a lost source is opened again; 0..86400000 */
    uint32_t pre_roll_ms;   /* served before the start; 0..60000 */
    int start_now;          /* not 0: the programme begins with the first sample */
    uint32_t report;        /* of RECEIVER_REPORT_... */
    const char* user_agent; /* 1..256 bytes, no control characters; null: the usual one */
    const receiver_header* headers; /* up to 32, each name once, of 4096 bytes at most */
    size_t header_count;
    const char* ca_file;     /* PEM, as the receiver's process sees it; null: the system's */
    int reconnect_lost_only; /* not 0: not what never opened, or ended where it had told */
} receiver_request;

typedef enum receiver_event_type {
    RECEIVER_EVENT_UNKNOWN = 0, /* of a newer receiver; see json */
    RECEIVER_EVENT_CONNECTED = 1,
    RECEIVER_EVENT_DETECTED = 2,
    RECEIVER_EVENT_PROGRAM_END = 3,
    RECEIVER_EVENT_READY = 4,
    RECEIVER_EVENT_SOURCE_ERROR = 5,
    RECEIVER_EVENT_FINISHED = 6,
    RECEIVER_EVENT_RESUMED = 7,
    RECEIVER_EVENT_DAMAGED = 8,
    RECEIVER_EVENT_TITLE = 9,
    RECEIVER_EVENT_STATION = 10
} receiver_event_type;

/* What the type does not speak of is null or 0. */
typedef struct receiver_event {
    receiver_event_type type;
    const char* type_name;    /* as on the wire */
    const char* session_id;   /* "" if it names none */
    const char* json;         /* the whole message */
    uint64_t sequence;        /* 1, 2, ... within the session */
    const char* reference_id; /* DETECTED */
    receiver_role role;       /* DETECTED */
    double bit_error_rate;    /* DETECTED: 0 is a perfect match */
    uint64_t sample;          /* DETECTED: where the reference begins; READY: the start; RESUMED,
                                 DAMAGED, TITLE and STATION: where it is */
    const char* uri;          /* READY: of the audio */
    uint64_t start_sample;    /* PROGRAM_END */
    uint64_t end_sample;      /* PROGRAM_END; SOURCE_ERROR: what was received before it */
    const char* reason;       /* PROGRAM_END and FINISHED */
    const char* message;      /* FINISHED: the cause of an error */
    uint32_t error;           /* SOURCE_ERROR */
    int can_drain;            /* SOURCE_ERROR: what is buffered is still served */
    uint64_t served_sample;   /* READY: the audio's first sample; the start without pre_roll_ms */
    /* Of SOURCE_ERROR, FINISHED and RESUMED, where RECEIVER_REPORT_CAUSE asked for it. */
    const char* cause_kind;         /* "http", "timeout", ...: docs/protocol.md lists them */
    const char* cause_text;         /* one line for people */
    const char* cause_reference_id; /* of the kind "reference" */
    uint32_t cause_status;          /* of the kind "http": the server's answer */
    int exact;                      /* RESUMED: the samples were the same up to the joint */
    uint64_t outage_ms;             /* RESUMED */
    uint64_t repeated_frames;       /* RESUMED: heard before, and left out */
    uint64_t lost_frames;           /* RESUMED: silence; DAMAGED: missing, 0 if not known */
    uint64_t attempts;              /* RESUMED: openings */
    const char* damage_kind;        /* DAMAGED: "undecodable" or "discontinuity" */
    const char* title;              /* TITLE: "" when the station says that there is none */
    const char* station;            /* STATION: what it calls itself */
} receiver_event;

/* Null as above. */
RECEIVER_C_API receiver_client* receiver_client_create(receiver_cancellation* cancellation);
RECEIVER_C_API void receiver_client_destroy(receiver_client* client);

/* Connects and introduces itself, waiting while the receiver does not listen or serves another. */
RECEIVER_C_API receiver_status receiver_client_connect(receiver_client* client, const char* uri,
                                                       uint32_t timeout_ms);
/* To the same receiver again, keeping the events not yet taken. */
RECEIVER_C_API receiver_status receiver_client_reconnect(receiver_client* client,
                                                         uint32_t timeout_ms);
RECEIVER_C_API void receiver_client_disconnect(receiver_client* client);
RECEIVER_C_API int receiver_client_is_connected(const receiver_client* client);

/* What the receiver is doing: `json` (may be null) is its WELCOME. */
RECEIVER_C_API receiver_status receiver_client_hello(receiver_client* client, uint32_t timeout_ms,
                                                     const char** json);
/* Starts the receiver's one session; the events tell how it goes. */
RECEIVER_C_API receiver_status receiver_client_prepare(receiver_client* client,
                                                       const receiver_request* request,
                                                       uint32_t timeout_ms);
/* What the receiver did not understand of the last request that it acknowledged: the wire's keys,
 * such as "preRollMs, reconnectMs"; "" when it knows them all. It is of an older version then:
 * cancel the session, or go on without. */
RECEIVER_C_API const char* receiver_client_missing_additions(const receiver_client* client);
/* Asks the session to stop and waits for the reply; FINISHED follows. */
RECEIVER_C_API receiver_status receiver_client_cancel(receiver_client* client,
                                                      const char* session_id, uint32_t timeout_ms);
/* The same from any thread, beside another that is in a call on this client, without waiting for
 * the reply: the session ends by itself. Also before PREPARE, and without a connection: the wish
 * is kept until the session's FINISHED is taken. Leaves the error text alone. */
RECEIVER_C_API receiver_status receiver_client_request_cancel(receiver_client* client,
                                                              const char* session_id);
/* Ends the receiver. */
RECEIVER_C_API receiver_status receiver_client_shutdown(receiver_client* client,
                                                        uint32_t timeout_ms);

/* The next event. With a time-out of 0 it never waits: RECEIVER_TIMED_OUT when there is none. */
RECEIVER_C_API receiver_status receiver_client_next_event(receiver_client* client,
                                                          uint32_t timeout_ms,
                                                          const receiver_event** event);
/* For event loops: a descriptor to poll for reading; on Windows a HANDLE to wait for; -1 without a
 * connection. Take events with a time-out of 0 until there are none, ask for the descriptor, wait,
 * and begin again; so, too, after every other call. Never read or close it. */
RECEIVER_C_API intptr_t receiver_client_event_descriptor(receiver_client* client);

RECEIVER_C_API const char* receiver_client_error_text(const receiver_client* client);
RECEIVER_C_API uint32_t receiver_client_error_code(const receiver_client* client);

/* ---- a whole recording -------------------------------------------------------------------------
 */

/* Called on the thread that records, one after another; any may be null. They may take their
 * time. No exception and no longjmp may leave them. */
typedef struct receiver_sink {
    size_t size; /* sizeof(receiver_sink) */
    void* user;  /* handed to each of them */
    /* Before any audio. 0 to go on; anything else ends the recording cleanly. */
    int (*begin)(void* user, uint32_t sample_rate, uint16_t channels);
    /* Whole frames of the programme, nothing beyond its end. The same. */
    int (*write)(void* user, const void* pcm, size_t bytes);
    /* Each event of the session; valid during the call. */
    void (*event)(void* user, const receiver_event* event);
} receiver_sink;

typedef struct receiver_result {
    size_t size;          /* sizeof(receiver_result), set by the caller */
    int complete;         /* all of the programme was written */
    int source_failed;    /* the audio ended because the source broke off */
    uint32_t sample_rate; /* 0 before there was audio */
    uint16_t channels;
    uint64_t frames;        /* written */
    uint64_t start_sample;  /* 0 when no start was found */
    uint64_t end_sample;    /* where the programme ends by its bounds; 0 without */
    const char* reason;     /* FINISHED's; "" if it was lost. Valid until the next call. */
    const char* message;    /* FINISHED's, the same */
    uint64_t served_sample; /* of the first frame written: the start, or pre_roll_ms before it */
} receiver_result;

/* One session from PREPARE to FINISHED: writes its audio to the sink, no further than the
 * programme's end, acknowledges it, survives the loss of the connection, and returns when the
 * session is over. RECEIVER_OK when it is complete; `result` (may be null) is set in every case.
 * A receiver that does not know an addition is told to cancel: RECEIVER_UNSUPPORTED. */
RECEIVER_C_API receiver_status receiver_client_record(receiver_client* client,
                                                      const receiver_request* request,
                                                      const receiver_sink* sink,
                                                      receiver_result* result);

/* ---- the audio alone
 * ----------------------------------------------------------------------------- */

typedef struct receiver_audio receiver_audio;

/* Null as above. */
RECEIVER_C_API receiver_audio* receiver_audio_create(receiver_cancellation* cancellation);
RECEIVER_C_API void receiver_audio_destroy(receiver_audio* audio);
/* Connects to the URI of READY. The receiver gives up on a client that does not read for a
 * second: read on a thread that does nothing else. */
RECEIVER_C_API receiver_status receiver_audio_open(receiver_audio* audio, const char* uri,
                                                   uint32_t timeout_ms, uint32_t* sample_rate,
                                                   uint16_t* channels);
/* Fills at most `size` bytes, room for at least one frame, with whole frames. RECEIVER_END after
 * the last one, RECEIVER_SESSION_FAILED when the source broke off there; acknowledge both.
 * RECEIVER_TIMED_OUT loses nothing: call again. */
RECEIVER_C_API receiver_status receiver_audio_read(receiver_audio* audio, void* buffer, size_t size,
                                                   uint32_t timeout_ms, size_t* bytes);
/* That all of the stream has arrived; closes it. */
RECEIVER_C_API receiver_status receiver_audio_acknowledge(receiver_audio* audio,
                                                          uint32_t timeout_ms);
RECEIVER_C_API const char* receiver_audio_error_text(const receiver_audio* audio);

#ifdef __cplusplus
}
#endif

#endif
