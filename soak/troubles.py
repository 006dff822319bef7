"""What happens to stations: each in front of one listener that goes on. The broadcast is a file that
is known, so that every sample heard can be looked up in it."""
import contextlib
import select
import subprocess
import time

from icecast import Icecast, free_port
from lines import CODECS, Listener, encode_once
from receiver import Fault, remaining, within
from sound import CHANNELS, FRAME_BYTES, RATE

PATIENCE_S = 60
RECONNECT_S = 600
SETTLED_S = 1.5  # after a connection's first sample, until its decoder has settled
PIECE_S = 0.5
BURST_S = 1
MAX_BESIDE_CLOCK_S = 1.0  # a source that comes back brings no more of its past than this
ELSEWHERE_S = 100  # in the broadcast: nothing of what was heard before comes again
SEGMENT_S = 2
MISSING = "37"  # segments whose number ends so are not there
MIN_MISSING = 4


def decode(file):
    """What a listener of the file from its beginning hears."""
    return subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", file, "-f", "s16le", "-ac", str(CHANNELS),
         "-ar", str(RATE), "-"], check=True, stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE).stdout


def place_in(pcm, piece):
    """Where in what was broadcast a piece is, in frames; -1 when it never was."""
    at = pcm.find(piece)
    while at >= 0 and at % FRAME_BYTES:
        at = pcm.find(piece, at + 1)
    return at // FRAME_BYTES if at >= 0 else -1


class Ear:
    """A listener that must not end, and how it goes with the clock."""

    def __init__(self, processes, programs, folder, name, url, jingle, **keys):
        self.listener = Listener(processes, programs / "ReceiverHost", name, folder / "log.txt",
                                 url, jingle, **keys)
        self.listener.begin()

    def close(self):
        self.listener.close()

    def listen(self, until):
        while (left := until - within(0)) > 0:
            self.listener.take(select.select(self.listener.pipes(), [], [], left)[0])

    def listen_until(self, condition, what, patience_s=PATIENCE_S):
        deadline = within(patience_s)
        while not condition():
            remaining(deadline, what)
            self.listen(within(0.05))

    def ahead_of_clock(self):
        """Seconds heard less seconds passed: as long as nothing is lost it stays the same."""
        return self.listener.seconds() - time.monotonic()

    def piece_at(self, frame):
        wanted = frame + round(PIECE_S * RATE)
        self.listen_until(lambda: self.listener.seconds() * RATE >= wanted, "the audio")
        return self.listener.slice(frame, round(PIECE_S * RATE))


def resumed(ear, before, patience_s=PATIENCE_S):
    ear.listen_until(lambda: len(ear.listener.resumed) > before, "RESUMED", patience_s)
    return ear.listener.resumed[-1]


def check_silence(ear, event):
    lost = event["lostFrames"]
    if event["exact"] or not lost:
        raise Fault(f"nothing is missing, although the broadcast goes on elsewhere: {event}")
    ear.piece_at(event["sample"] + lost)
    if ear.listener.slice(event["sample"], lost).strip(b"\0"):
        raise Fault(f"what is missing is not silent: {event}")


def beside_clock(ear, before, event):
    """Seconds that the stream is off since `before`, of ahead_of_clock()."""
    ear.listen(within(3))
    beside = ear.ahead_of_clock() - before
    if abs(beside) > MAX_BESIDE_CLOCK_S:
        raise Fault(f"{beside:.2f} s beside the clock after {event}")
    return beside


def make_folder(work, name):
    """For servers that go on as nobody."""
    folder = work / name
    folder.mkdir()
    folder.chmod(0o777)
    return folder


def interrupted(processes, programs, work, name, sound, jingle, away_s, stop, start):
    """A station of MP3 that is gone for a time, and comes back elsewhere in its broadcast."""
    formats, bits = CODECS["mp3"][1:3]
    folder = make_folder(work, name)
    file = encode_once(sound, "mp3")
    broadcast = decode(file)
    with contextlib.ExitStack() as closing:
        station = closing.enter_context(contextlib.closing(
            Icecast(processes, folder, file, formats, round(BURST_S * bits / 8), 8)))
        ear = closing.enter_context(contextlib.closing(
            Ear(processes, programs, folder, name, station.url, jingle,
                reconnectMs=1000 * RECONNECT_S)))
        ear.listen(within(2 * SETTLED_S + 2))
        before = ear.ahead_of_clock()
        if place_in(broadcast, ear.piece_at(round(SETTLED_S * RATE))) < 0:
            raise Fault("what was heard at first was never broadcast")
        stop(station)
        ear.listen(within(away_s))
        start(station)
        event = resumed(ear, 0)
        check_silence(ear, event)
        again = event["sample"] + event["lostFrames"] + round(SETTLED_S * RATE)
        if place_in(broadcast, ear.piece_at(again)) < 0:
            raise Fault(f"what was heard after {event} was never broadcast")
        beside = beside_clock(ear, before, event)
        return (f"away for {event['outageMs'] / 1000:.1f} s ({event['cause']['kind']}), "
                f"{event['attempts']} attempts, {event['lostFrames'] / RATE:.1f} s of silence, "
                f"{1000 * beside:+.0f} ms beside the clock")


def server_restart(processes, programs, work, name, sound, jingle, _away_s):
    """Icecast is killed and comes back."""

    def stop(station):
        station.stop_server()
        station.stop_source()

    return interrupted(processes, programs, work, name, sound, jingle, 3, stop,
                       lambda station: station.start(ELSEWHERE_S))


def source_away(processes, programs, work, name, sound, jingle, away_s):
    """The studio's line to Icecast is gone; its listeners are sent away meanwhile."""
    return interrupted(processes, programs, work, name, sound, jingle, away_s,
                       lambda station: station.stop_source(),
                       lambda station: station.start_source(ELSEWHERE_S))


def other_codec(processes, programs, work, name, sound, jingle, _away_s):
    """While the studio is away, its MP3 mount falls back to one of Vorbis, with another broadcast."""
    formats, bits = CODECS["mp3"][1:3]
    folder = make_folder(work, name)
    spare_formats = CODECS["vorbis"][1]
    spare = encode_once(sound, "vorbis")
    broadcast = decode(spare)
    with contextlib.ExitStack() as closing:
        station = closing.enter_context(contextlib.closing(
            Icecast(processes, folder, encode_once(sound, "mp3"), formats,
                    round(BURST_S * bits / 8), 8,
                    (spare, spare_formats, ELSEWHERE_S))))
        ear = closing.enter_context(contextlib.closing(
            Ear(processes, programs, folder, name, station.url, jingle,
                reconnectMs=1000 * RECONNECT_S)))
        ear.listen(within(2 * SETTLED_S + 2))
        before = ear.ahead_of_clock()
        station.stop_source()
        event = resumed(ear, 0)
        heard = ear.piece_at(event["sample"] + event["lostFrames"] + round(SETTLED_S * RATE))
        if place_in(broadcast, heard) < 0:
            raise Fault(f"after {event} it is not the mount that it falls back to")
        beside = beside_clock(ear, before, event)
        return (f"MP3, then Vorbis: {event['attempts']} attempts, "
                f"{event['lostFrames'] / RATE:.1f} s of silence, {1000 * beside:+.0f} ms beside "
                "the clock")


def missing_segments(processes, programs, work, name, sound, jingle, _away_s):
    """A playlist by nginx, some of whose segments are not there."""
    folder = make_folder(work, name)
    (folder / "web").mkdir()
    file = encode_once(sound, "mp3")
    broadcast = decode(file)
    port = free_port()
    (folder / "nginx.conf").write_text(
        f"daemon off; pid {folder}/pid; error_log {folder}/error.log; events {{ }} http {{"
        "types { application/vnd.apple.mpegurl m3u8; video/mp2t ts; } access_log off; "
        + "".join(f"{kind}_temp_path {folder}/{kind};" for kind in
                  ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        + f"server {{ listen 127.0.0.1:{port}; root {folder}/web; "
        f"location ~ [{MISSING}]\\.ts$ {{ return 404; }} }} }}")
    (folder / "web").chmod(0o755)
    processes.start(["ffmpeg", "-v", "error", "-re", "-i", file, "-c", "copy", "-f", "hls",
                     "-hls_time", str(SEGMENT_S), "-hls_list_size", "5", "-hls_flags",
                     "delete_segments", "-hls_segment_filename", folder / "web" / "%d.ts",
                     folder / "web" / "live.m3u8"])
    processes.start(["/usr/sbin/nginx", "-c", folder / "nginx.conf", "-e", folder / "error.log"])
    playlist = folder / "web" / "live.m3u8"
    deadline = within(PATIENCE_S)
    while not (playlist.exists() and playlist.read_text().count(".ts") >= 3):
        remaining(deadline, "the playlist")
        time.sleep(0.05)
    with contextlib.closing(Ear(processes, programs, folder, name,
                                f"http://127.0.0.1:{port}/live.m3u8", jingle)) as ear:
        ear.listen_until(lambda: len(ear.listener.damaged) >= MIN_MISSING, "DAMAGED",
                         4 * MIN_MISSING * SEGMENT_S + PATIENCE_S)
        ear.listen(within(SEGMENT_S))
        begin, told = round(SETTLED_S * RATE), 0
        place = place_in(broadcast, ear.piece_at(begin)) - begin
        for event in ear.listener.damaged[:MIN_MISSING]:
            after = event["sample"] + begin
            found = place_in(broadcast, ear.piece_at(after))
            if found < 0:
                raise Fault(f"what was heard after {event} was never broadcast")
            if found - after - place != event["frames"]:
                raise Fault(f"{found - after - place} frames are missing, but it says {event}")
            place = found - after
            told += event["frames"]
        return (f"{MIN_MISSING} segments missing, each told with its length to the sample, "
                f"{told / RATE:.1f} s in all")


TROUBLES = {"restart": server_restart, "away": source_away, "fallback": other_codec,
            "segments": missing_segments}
