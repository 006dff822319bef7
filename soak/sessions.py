"""Sessions of every kind on one receiver that lives through the whole soak.

Each kind is a function of a Stage. It returns how its session ended, in a word, and raises Fault
when that is none of the ways that are allowed. What it may choose it chooses by stage.chance.
"""
import re
import struct

from receiver import Audio, Fault, Gone, connect, receive, remaining, within
from sound import FRAME_BYTES, LOSSLESS
from station import drip, head, reset, send, stall, whole

# What FINISHED may say where the source fails, by how far it came.
NOT_OPEN = "Network source Open failed"
NO_START = "Start reference not found before source ended or failed"
DETECTING = "Session stopped during detection"
BEFORE_READY = "Session stopped before READY"
NO_PCM = "Detected PCM is unavailable"
PIPE = r"Audio connection or source ended with an error \(pipe=\d+\)"
BAD_REFERENCE = r"Reference .*"
SOURCE_FAULTS = (NOT_OPEN, NO_START, DETECTING, BEFORE_READY, NO_PCM)

SHORT_IO_MS = 300  # where the source is to be found silent
END_S = 10  # an end that was asked for comes at once; this allows for a busy machine
LIVE_PIECE, LIVE_PAUSE_S = 16384, 0.02  # about four times as fast as a station
LIVE_S = 0.9  # the whole broadcast, so sent

KINDS = []


def kind(function):
    KINDS.append(function)
    return function


def judge(finished, reasons=(), messages=()):
    """The outcome in a word; Fault unless it is one of these."""
    reason, message = finished["reason"], finished["message"]
    if reason == "error" and any(re.fullmatch(one, message) for one in messages):
        return "error"
    if reason != "error" and reason in reasons:
        return reason
    raise Fault(f"FINISHED {reason}: {message}")


def serve_whole(stage, coding="wav"):
    return stage.serve(send(whole(*stage.broadcast.coded[coding])))


def serve_live(stage):
    answer = whole(*stage.broadcast.coded["wav"])
    return stage.serve(drip(answer, LIVE_PIECE, LIVE_PAUSE_S))


def run(stage, url, on_ready=None, **options):
    """One session from PREPARE to FINISHED; the audio's client and FINISHED."""
    stage.prepare(url, **options)
    audio = None
    while True:
        event = stage.control.event(stage.deadline)
        if event["type"] == "READY":
            audio = (on_ready or take)(stage, event["uri"])
        elif event["type"] == "FINISHED":
            return audio, event


def take(stage, uri):
    """Reads all and acknowledges it."""
    audio = Audio(uri, stage.deadline)
    if audio.read():
        audio.acknowledge()
    audio.close()
    return audio


def expect_pcm(stage, audio, finished, frames=None):
    first = finished["sourceSample"]
    end = first + frames if frames is not None else finished["program"]["endSample"]
    expected = stage.broadcast.slice(first, end)
    if not expected or bytes(audio.pcm[: len(expected)]) != expected:
        raise Fault(f"the audio is not what was broadcast from {first} to {end}")


# Programmes that come to their end


@kind
def programme(stage):
    coding = stage.chance.choice(sorted(stage.broadcast.coded))
    audio, finished = run(stage, serve_whole(stage, coding))
    outcome = judge(finished, ("eof",))
    if finished["program"]["reason"] != "outro":
        raise Fault(f"the {coding} programme ended by {finished['program']['reason']}")
    if coding in LOSSLESS:
        expect_pcm(stage, audio, finished)
    return outcome


@kind
def programme_from_a_live_station(stage):
    audio, finished = run(stage, serve_live(stage))
    outcome = judge(finished, ("eof",))
    expect_pcm(stage, audio, finished)
    return outcome


@kind
def programme_of_the_longest_allowed(stage):
    audio, finished = run(stage, serve_whole(stage), program={"maximumMs": 1000, "fadeMs": 200})
    if len(audio.pcm) != 44100 * FRAME_BYTES:
        raise Fault(f"one second has {len(audio.pcm)} bytes")
    expect_pcm(stage, audio, finished, frames=44100 * 4 // 5)
    return judge(finished, ("eof",))


@kind
def everything_to_the_source_s_end(stage):
    audio, finished = run(stage, serve_whole(stage), program=None)
    expect_pcm(stage, audio, finished, stage.broadcast.frames - finished["sourceSample"])
    return judge(finished, ("eof",))


@kind
def programme_behind_a_redirect(stage):
    stage.station.plans["/target"] = [send(whole(*stage.broadcast.coded["wav"]))]
    url = stage.serve(send(head("text/plain", "302 Found",
                                [f"Location: {stage.station.url('/target')}"])))
    return judge(run(stage, url)[1], ("eof",))


@kind
def programme_of_a_playlist(stage):
    return judge(run(stage, serve_playlist(stage, []))[1], ("eof",))


def serve_playlist(stage, last_segment_s_steps):
    """Each segment in full, but for the last one where steps are given for it."""
    plans, pieces = stage.station.plans, stage.broadcast.segments
    names = [f"/segment-{at}.aac" for at in range(len(pieces))]
    for name, piece in zip(names, pieces):
        plans[name] = [send(whole("audio/aac", piece))]
    if last_segment_s_steps:
        plans[names[-1]] = last_segment_s_steps
    lines = ["#EXTM3U", "#EXT-X-VERSION:3", "#EXT-X-TARGETDURATION:4"]
    for name in names:
        lines += ["#EXTINF:1.3,", stage.station.url(name)]
    text = "\n".join([*lines, "#EXT-X-ENDLIST", ""]).encode()
    return stage.serve(send(whole("application/vnd.apple.mpegurl", text)))


# Sources that fail


@kind
def source_that_ends_before_the_start(stage):
    body = stage.broadcast.coded["wav"][1]
    end = stage.broadcast.wav_bytes(stage.chance.randrange(stage.broadcast.start_jingle))
    return judge(run(stage, stage.serve(send(head() + body[:end])))[1], (), SOURCE_FAULTS)


def cut_somewhere(stage, last_step):
    content_type, body = stage.broadcast.coded[stage.chance.choice(("wav", "flac", "mp3", "aac"))]
    answer = whole(content_type, body)
    return stage.serve(send(answer[: stage.chance.randrange(len(answer))]), last_step)


@kind
def source_that_is_reset(stage):
    return judge(run(stage, cut_somewhere(stage, reset))[1], ("eof",), SOURCE_FAULTS)


@kind
def source_that_breaks_off(stage):
    return judge(run(stage, cut_somewhere(stage, send(b"")))[1], ("eof",), SOURCE_FAULTS)


@kind
def source_that_falls_silent(stage):
    url = cut_somewhere(stage, stall)
    return judge(run(stage, url, io_timeout_ms=SHORT_IO_MS)[1], ("eof",), SOURCE_FAULTS)


@kind
def unbounded_source_that_fails(stage):
    url = cut_somewhere(stage, stage.chance.choice((reset, stall)))
    finished = run(stage, url, io_timeout_ms=SHORT_IO_MS, program=None)[1]
    return judge(finished, ("eof",), (*SOURCE_FAULTS, PIPE))


@kind
def playlist_whose_last_segment_fails(stage):
    piece = stage.broadcast.segments[-1]
    steps = stage.chance.choice((
        [send(head("text/plain", "404 Not Found"))],
        [send((head("audio/aac") + piece)[: stage.chance.randrange(len(piece))]), reset],
        [send(head("audio/aac") + stage.chance.randbytes(20000))],
        [stall]))
    finished = run(stage, serve_playlist(stage, steps), io_timeout_ms=SHORT_IO_MS)[1]
    return judge(finished, ("eof",), SOURCE_FAULTS)


@kind
def garbage(stage):
    content_type = stage.chance.choice(("audio/mpeg", "audio/aac", "audio/flac", "audio/wav",
                                        "application/ogg", "video/mp4", "video/mp2t"))
    body = stage.chance.randbytes(stage.chance.randrange(1, 200000))
    return judge(run(stage, stage.serve(send(head(content_type) + body)))[1], (), SOURCE_FAULTS)


@kind
def damaged_stream(stage):
    content_type, body = stage.broadcast.coded[stage.chance.choice(sorted(stage.broadcast.coded))]
    damaged = bytearray(body)
    for _ in range(stage.chance.randrange(1, 40)):
        at = stage.chance.randrange(len(damaged))
        piece = stage.chance.randbytes(stage.chance.randrange(1, 64))
        damaged[at : at + len(piece)] = piece
    finished = run(stage, stage.serve(send(head(content_type) + bytes(damaged))))[1]
    return judge(finished, ("eof",), SOURCE_FAULTS)


@kind
def stream_of_a_wrong_type(stage):
    content_type, body = stage.chance.choice((
        ("text/html", b"<html><body>Not a stream</body></html>"),
        ("audio/mpeg", b"<html><body>Not a stream either</body></html>"),
        ("image/png", b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR" + bytes(64)),
        ("application/json", b'{"listeners":0}'),
        ("application/sdp", b"v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=R\r\nc=IN IP4 127.0.0.1\r\n"
                            b"t=0 0\r\nm=audio 47010 RTP/AVP 0\r\n"),
        ("application/vnd.apple.mpegurl", b"#EXTM3U\n#EXTINF:4,\nfile:///etc/hostname\n"),
        ("application/dash+xml", b'<?xml version="1.0"?><MPD type="static"></MPD>'),
        ("text/plain", b"ffconcat version 1.0\nfile /etc/hostname\n"),
        ("audio/mpeg", b"")))
    return judge(run(stage, stage.serve(send(head(content_type) + body)))[1], (), (NOT_OPEN,))


@kind
def no_stream_at_the_address(stage):
    status = stage.chance.choice(("404 Not Found", "500 Internal Server Error", "401 Unauthorized",
                                  "204 No Content", "302 Found", "999 Strange", "nothing"))
    return judge(run(stage, stage.serve(send(head("text/html", status))))[1], (), (NOT_OPEN,))


@kind
def redirect_to_nowhere(stage):
    target = stage.chance.choice((
        stage.station.url(stage.path), "file:///etc/hostname", stage.nobody, "/lost",
        "data:audio/wav;base64,UklGRg==", "https://" + "x" * 5000, "http://[::1", ""))
    url = stage.serve(send(head("text/plain", "302 Found", [f"Location: {target}"])))
    return judge(run(stage, url)[1], (), (NOT_OPEN,))


@kind
def huge_head(stage):
    fields = stage.chance.choice((
        [f"X-Field-{at}: {'x' * 200}" for at in range(4000)],
        [f"X-Field: {'x' * 1000000}"],
        [f"Icy-Name: {'n' * 100000}", "Set-Cookie: " + "a=b; " * 20000]))
    answer = whole(*stage.broadcast.coded["wav"], fields)
    return judge(run(stage, stage.serve(send(answer)))[1], ("eof",), SOURCE_FAULTS)


@kind
def head_without_an_end(stage):
    url = stage.serve(send(head()[:-2] + b"X-Field: x\r\n" * stage.chance.randrange(5000)), stall)
    return judge(run(stage, url, io_timeout_ms=SHORT_IO_MS)[1], (), (NOT_OPEN,))


@kind
def wild_titles_in_the_stream(stage):
    body, pieces = stage.broadcast.coded["mp3"][1], []
    for at in range(0, len(body), 4096):
        title = stage.chance.randbytes(16 * stage.chance.randrange(256))
        pieces += [body[at : at + 4096], bytes([len(title) // 16]), title]
    answer = head("audio/mpeg", fields=["icy-metaint: 4096"]) + b"".join(pieces)
    return judge(run(stage, stage.serve(send(answer)))[1], ("eof",), SOURCE_FAULTS)


@kind
def nobody_at_the_address(stage):
    return judge(run(stage, stage.nobody)[1], (), (NOT_OPEN,))


@kind
def certificate_that_nobody_vouches_for(stage):
    return judge(run(stage, stage.secure.url("/radio"))[1], (), (NOT_OPEN,))


@kind
def https_where_there_is_none(stage):
    return judge(run(stage, stage.station.url("/radio", "https"))[1], (), (NOT_OPEN,))


@kind
def unfit_reference(stage):
    url = serve_whole(stage)
    stage.prepare(url, start=stage.chance.choice(stage.unfit_references))
    return judge(stage.control.finished(stage.deadline), (), (BAD_REFERENCE,))


# Commands that come in between


def cancel(stage):
    """CANCEL, and the FINISHED that answers it, or the one that was faster."""
    bound = within(END_S)
    reply = stage.control.command("CANCEL", bound, sessionId=stage.session_id)
    if reply["type"] == "REJECTED" and reply["message"] != "Unknown sessionId":
        raise Fault(f"CANCEL was rejected: {reply['message']}")
    return stage.control.finished(bound)


@kind
def cancel_at_any_moment(stage):
    stage.prepare(serve_live(stage))
    moment = within(stage.chance.uniform(0, LIVE_S))
    audio = None
    while stage.control.has_event(moment):
        event = stage.control.event(stage.deadline)
        if event["type"] == "FINISHED":
            return judge(event, ("eof",))
        if event["type"] == "READY" and stage.chance.random() < 0.8:
            audio = Audio(event["uri"], stage.deadline)
            if audio.read(until=moment) and audio.end:
                audio.acknowledge()
    outcome = judge(cancel(stage), ("cancelled", "eof"))
    if audio:
        audio.close()
    return outcome


@kind
def cancel_of_a_silent_source(stage):
    url = cut_somewhere(stage, stall)
    stage.prepare(url)
    stage.control.has_event(within(stage.chance.uniform(0, 0.3)))
    return judge(cancel(stage), ("cancelled",))


@kind
def second_prepare_is_refused(stage):
    stage.prepare(stage.serve(send(head()), stall))
    reply = stage.control.command("PREPARE", stage.deadline, **stage.request(stage.url()))
    if reply.get("message") != "Receiver already has an active session":
        raise Fault(f"a second PREPARE was answered {reply}")
    return judge(cancel(stage), ("cancelled",))


@kind
def requests_that_are_refused(stage):
    good = stage.request(stage.url())
    for change in ({"url": "file:///etc/hostname"}, {"ioTimeoutMs": 1}, {"blockBytes": 0},
                   {"sessionId": ""}, {"references": []}, {"program": {"maximumMs": -1}},
                   {"references": good["references"] * 2}, {"url": 7}):
        reply = stage.control.command("PREPARE", stage.deadline, **{**good, **change})
        if reply["type"] != "REJECTED":
            raise Fault(f"{change} was answered {reply['type']}")
    return "refused"


# Clients that misbehave


@kind
def hostile_frames(stage):
    stage.control.close()
    for _ in range(8):
        pipe = connect(stage.veteran.uri, stage.deadline)
        body = stage.chance.choice((
            stage.chance.randbytes(stage.chance.randrange(1, 2000)), b"[" * 60000, b"{}", b"null",
            b'{"type":"PREPARE","version":1,"requestId":"x"}', b'"' + b"\xff" * 100 + b'"'))
        length = stage.chance.choice((len(body), len(body), 0, 65537, 0xFFFFFFFF, len(body) + 1))
        try:
            pipe.sendall(struct.pack("<I", length) + body)
            if length == len(body) or length == 0 or length > 65536:
                pipe.settimeout(END_S)
                receive(pipe, 4, within(END_S), "the answer to a hostile frame")
        except (ConnectionError, Gone) as error:
            raise Fault(f"a frame of length {length} was not answered") from error
        pipe.close()
    stage.join()
    return "refused"


@kind
def client_that_does_not_read(stage):
    stage.control.close()
    pipe = connect(stage.veteran.uri, stage.deadline)
    body = b'{"type":"HELLO","version":1,"requestId":"flood"}'
    frame = struct.pack("<I", len(body)) + body
    try:
        while True:
            pipe.settimeout(remaining(stage.deadline, "the end of a client that does not read"))
            pipe.sendall(frame * 64)
    except TimeoutError:
        raise Fault("a client that does not read is kept waiting") from None
    except ConnectionError:
        pipe.close()
    stage.join()
    return "dropped"


@kind
def client_that_leaves_and_comes_back(stage):
    stage.prepare(serve_live(stage))
    stage.control.has_event(within(stage.chance.uniform(0, LIVE_S / 2)))
    stage.control.close()
    stage.join()
    active = stage.control.welcome["active"]
    if not active or active["sessionId"] != stage.session_id:
        raise Fault(f"the session is gone after a reconnection: {active}")
    uri = active.get("uri")
    while not uri:
        event = stage.control.event(stage.deadline)
        uri = event.get("uri")
        if event["type"] == "FINISHED":
            return judge(event, (), SOURCE_FAULTS)
    take(stage, uri)
    return judge(stage.control.finished(stage.deadline), ("eof",))


@kind
def audio_client_that_never_comes(stage):
    stage.prepare(serve_whole(stage))
    while stage.control.event(stage.deadline)["type"] != "READY":
        pass
    return judge(cancel(stage), ("cancelled",))


@kind
def audio_client_that_leaves(stage):
    def leave(stage, uri):
        audio = Audio(uri, stage.deadline)
        audio.read(max_bytes=stage.chance.randrange(200000))
        audio.close()

    return judge(run(stage, serve_whole(stage), leave, program=None)[1], ("eof",), (PIPE,))


@kind
def audio_client_that_does_not_read(stage):
    kept = []

    def stand_still(stage, uri):
        kept.append(Audio(uri, stage.deadline))

    # More than the pipe holds, so that a write has to wait for its second.
    outcome = judge(run(stage, serve_whole(stage), stand_still, program=None)[1], (), (PIPE,))
    kept[0].close()
    return outcome


@kind
def acknowledgement_that_is_wrong_or_missing(stage):
    def answer_wrongly(stage, uri):
        audio = Audio(uri, stage.deadline)
        audio.read()
        how = stage.chance.choice(("token", "magic", "half", "none"))
        if how == "token":
            audio.acknowledge(token=audio.token ^ 1)
        elif how == "magic":
            audio.acknowledge(magic=0)
        elif how == "half":
            audio.pipe.sendall(b"PCM1")
        return audio

    audio, finished = run(stage, serve_whole(stage), answer_wrongly)
    audio.close()
    return judge(finished, (), (PIPE,))
