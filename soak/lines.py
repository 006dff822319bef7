"""Two listeners of one station, one of them on a line that breaks: what both heard is compared."""
import audioop
import contextlib
import os
import random
import select
import subprocess

from icecast import MOUNT, Icecast
from line import Line
from receiver import Audio, Control, Fault, Receiver, within
from sound import CHANNELS, FRAME_BYTES, RATE, music, wav

PATIENCE_S = 60
IO_TIMEOUT_MS = 4000  # of the line that breaks, where it falls silent
PATIENT_MS = 15000
BURST_S = 14  # the server's, where it is to cover the outages
SHORT_BURST_S = 1
LONGEST_OUTAGE_S = 2.5
SOUND_S = 300
JINGLE_S, JINGLE_EVERY_S = 1.5, 7
GRID_FRAMES = 552  # matches lie on a grid of the detector's words
ALIGNED_S = 0.5  # compared where two connections are aligned, not identical
SETTLED_S = 1.5  # after the first sample, until a decoder that began amid the stream has settled
MAX_GAP_ERROR = round(0.05 * RATE)

# name: ffmpeg's encoder, its output to the station, bits a second, and how far what two
# connections decode may differ (None: in noise that the decoder makes up).
CODECS = {
    "mp3": (["-c:a", "libmp3lame", "-b:a", "128k"], ["-f", "mp3", "-content_type", "audio/mpeg"],
            128000, 0),
    "aac": (["-c:a", "aac", "-b:a", "128k"], ["-f", "adts", "-content_type", "audio/aac"],
            128000, None),
    "vorbis": (["-c:a", "libvorbis", "-b:a", "128k"],
               ["-f", "ogg", "-content_type", "application/ogg"], 128000, 0),
    "opus": (["-c:a", "libopus", "-b:a", "128k"],
             ["-f", "ogg", "-content_type", "application/ogg"], 128000, 1),
    "flac": (["-c:a", "flac"], ["-f", "ogg", "-content_type", "application/ogg"], 800000, 0),
}
SUFFIXES = {"mp3": "mp3", "aac": "aac"}


def make_sound(folder, seed):
    """Minutes in which nothing is heard twice but a jingle; the paths of both."""
    chance = random.Random(seed)
    chords = [music(seed * 100 + one, 0.5) for one in range(16)]
    jingle = music(seed * 100 + 99, JINGLE_S)
    samples = chords[0][:0]
    pause = JINGLE_EVERY_S * RATE * CHANNELS
    while len(samples) < SOUND_S * RATE * CHANNELS:
        while len(samples) < pause:
            chord = chance.choice(chords)
            samples += chord[: 2 * chance.randrange(len(chord) // 4, len(chord) // 2)]
        samples += jingle
        pause = len(samples) + round(chance.uniform(0.5, 1.5) * JINGLE_EVERY_S * RATE) * CHANNELS
    sound, path = folder / "sound.wav", folder / "jingle.wav"
    sound.write_bytes(wav(samples))
    path.write_bytes(wav(jingle))
    return sound, path


def encode(sound, codec):
    suffix = SUFFIXES.get(codec, "ogg")
    file = sound.with_name(f"{os.getpid()}-{codec}.{suffix}")
    # What is never the same twice makes one place of the broadcast unlike all others.
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", sound, "-f", "lavfi", "-i",
                    f"anoisesrc=seed=7:amplitude=0.01:sample_rate={RATE}", "-filter_complex",
                    "amix=inputs=2:duration=first:normalize=0", "-ac", str(CHANNELS),
                    *CODECS[codec][0], file], check=True, stdin=subprocess.DEVNULL)
    # Others may want the same at the same time.
    return file.rename(sound.with_name(f"{codec}.{suffix}"))


class Listener:
    """A receiver whose programme has begun with the first sample; all that it heard and told."""

    def __init__(self, processes, program, name, log, url, jingle, io_timeout_ms=PATIENT_MS,
                 **keys):
        deadline = within(PATIENCE_S)
        self.receiver = Receiver(processes, program, name, log, deadline)
        self.control = Control(self.receiver.uri, deadline)
        self.control.accepted(
            "PREPARE", deadline, sessionId="lines", url=url, startNow=True,
            report=["cause", "damage"], ioTimeoutMs=io_timeout_ms,
            references=[{"id": "jingle", "role": "other", "path": str(jingle)}], **keys)
        self.jingles, self.resumed, self.damaged, self.audio = [], [], [], None
        while (event := self.control.event(deadline))["type"] != "READY":
            self._note(event)
        self._uri = event["uri"]

    def begin(self):
        """From here on the audio has to be taken as it comes."""
        self.audio = Audio(self._uri, within(24 * 3600))

    def _note(self, event):
        if event["type"] == "DETECTED":
            self.jingles.append(event["sample"])
        elif event["type"] == "RESUMED":
            self.resumed.append(event)
        elif event["type"] == "DAMAGED":
            self.damaged.append(event)
        elif event["type"] in ("SOURCE_ERROR", "FINISHED"):
            raise Fault(f"the session ended: {event}")

    def pipes(self):
        return self.audio.pipe, self.control.pipe

    def take(self, ready):
        if self.audio.pipe in ready and not self.audio.read(max_bytes=len(self.audio.pcm) + 1):
            raise Fault("the audio pipe was closed")
        if self.control.pipe in ready:
            self._note(self.control.event(within(PATIENCE_S)))
        while self.control.events:
            self._note(self.control.events.pop(0))

    def seconds(self):
        return len(self.audio.pcm) / FRAME_BYTES / RATE

    def slice(self, first, count):
        return bytes(self.audio.pcm[first * FRAME_BYTES : (first + count) * FRAME_BYTES])

    def close(self):
        if self.audio:
            self.audio.close()
        self.control.close()
        self.receiver.close()


def mono(pcm):
    return audioop.tomono(pcm, 2, 0.5, 0.5)


def place_of(piece, listener, near, reach):
    """Where a listener heard what is most like a piece, in frames, at most so far from there."""
    first, count = max(0, near - reach), len(piece) // FRAME_BYTES
    around = listener.slice(first, near + reach + count - first)
    if len(around) < len(piece):
        raise Fault("nothing was heard there to compare with")
    return first + audioop.findfit(mono(around), mono(piece))[0]


class Scene:
    """A station of one codec with both listeners."""

    def __init__(self, processes, programs, work, name, codec, sound, jingle, burst_s):
        self.codec = codec
        self._closing = contextlib.ExitStack()
        folder = work / f"{codec}-{burst_s}"
        folder.mkdir()
        folder.chmod(0o777)
        _, formats, bits, self.tolerance = CODECS[codec]
        try:
            self.station = self._enter(Icecast(processes, folder, encode_once(sound, codec), formats,
                                               round(burst_s * bits / 8), 8))
            self.line = self._enter(Line(self.station.port))
            program = programs / "ReceiverHost"
            # What goes on converts a rate from 16 bits, as what ends with its connection does not:
            # where a codec has another rate, both go on.
            goes_on = {"reconnectMs": 1000 * PATIENCE_S}
            self.whole = self._enter(Listener(
                processes, program, f"{name}-whole", folder / "whole.log", self.station.url, jingle,
                **(goes_on if self.tolerance else {})))
            self.broken = self._enter(Listener(
                processes, program, f"{name}-broken", folder / "broken.log",
                f"http://127.0.0.1:{self.line.port}{MOUNT}", jingle,
                IO_TIMEOUT_MS if burst_s == BURST_S else PATIENT_MS,
                **goes_on))
            for listener in (self.whole, self.broken):
                listener.begin()
        except BaseException:
            self._closing.close()
            raise

    def _enter(self, what):
        return self._closing.enter_context(contextlib.closing(what))

    def close(self):
        self._closing.close()

    def listen(self, until):
        """Both take what comes until then."""
        pipes = self.whole.pipes() + self.broken.pipes()
        while (left := until - within(0)) > 0:
            ready = select.select(pipes, [], [], left)[0]
            for listener in (self.whole, self.broken):
                listener.take(ready)

    def listen_until(self, condition, what):
        deadline = within(PATIENCE_S)
        while not condition():
            if within(0) > deadline:
                raise Fault(f"{what} did not come in time")
            self.listen(within(0.1))

    # What breaks the line. Each returns whether the receiver has to open the stream again.

    def cut(self, outage_s):
        self.line.cut()
        self.listen(within(outage_s))
        self.line.mend()
        return True

    def stall(self, outage_s):
        self.line.stall()
        self.listen(within(1.2 * IO_TIMEOUT_MS / 1000 + outage_s / 4))
        self.line.mend()
        return True

    def hold_up(self, outage_s):
        self.line.stall()
        self.listen(within(min(outage_s, 0.3 * IO_TIMEOUT_MS / 1000)))
        self.line.mend()
        return False

    def break_once(self, chance):
        before = len(self.broken.resumed)
        how = chance.choice((self.cut, self.cut, self.stall, self.hold_up))
        if how(chance.uniform(0, LONGEST_OUTAGE_S)):
            self.listen_until(lambda: len(self.broken.resumed) > before,
                              f"RESUMED after {how.__name__}")
        self.listen(within(chance.uniform(0.2, 2)))

    # What both have heard.

    def offset(self):
        """The position of the broken listener's first sample in what the other one has heard."""
        return self.offset_at(round(SETTLED_S * RATE), None)

    def offset_at(self, place, expected):
        piece = self.broken.slice(place, round(ALIGNED_S * RATE))
        if self.tolerance == 0:
            found = self._identical(piece, place, expected)
        elif expected is not None:
            found = place_of(piece, self.whole, place + expected, 2 * MAX_GAP_ERROR)
        else:
            found = self._most_like(piece)
        if found is None:
            raise Fault(f"what was heard at {place} was never broadcast")
        return found - place

    def _identical(self, piece, place, expected):
        near = place + (expected or 0)
        for first in (max(0, near - 10 * RATE) * FRAME_BYTES, 0):
            at = self.whole.audio.pcm.find(piece, first)
            while at >= 0 and at % FRAME_BYTES:
                at = self.whole.audio.pcm.find(piece, at + 1)
            if at >= 0:
                return at // FRAME_BYTES
        return None

    def _most_like(self, piece):
        # First at a sixteenth of the rate, then around what was found there.
        reach = min(round(30 * RATE), len(self.whole.audio.pcm) // FRAME_BYTES)

        def coarse(pcm):
            return audioop.ratecv(mono(pcm), 2, 1, RATE, RATE // 16, None)[0]

        at = audioop.findfit(coarse(self.whole.slice(0, reach)), coarse(piece))[0]
        return place_of(piece, self.whole, 16 * at + RATE // 10, RATE // 5)

    def check_identity(self, offset):
        """Where the burst covered every outage, the line's breaks leave no trace."""
        begin = round(SETTLED_S * RATE)
        end = min(len(self.broken.audio.pcm) // FRAME_BYTES,
                  len(self.whole.audio.pcm) // FRAME_BYTES - offset)
        for event in self.broken.resumed:
            if event["lostFrames"]:
                raise Fault(f"silence although the burst covered the outage: {event}")
        if self.tolerance is None:
            for event in self.broken.resumed:
                self._check_alignment(event, offset, end)
            return end - begin
        mine = self.broken.slice(begin, end - begin)
        theirs = self.whole.slice(begin + offset, end - begin)
        if self.tolerance == 0:
            if mine != theirs:
                first = next(at for at in range(0, len(mine), FRAME_BYTES)
                             if mine[at : at + FRAME_BYTES] != theirs[at : at + FRAME_BYTES])
                raise Fault(f"another sample at {begin + first // FRAME_BYTES}; {self._joints()}")
        else:
            difference = audioop.add(mine, audioop.mul(theirs, 2, -1), 2)
            for event in self.broken.resumed:
                # The decoder of a new connection settles while it repeats what was heard.
                first = (event["sample"] - begin) * FRAME_BYTES
                unsettled = max(0, round(ALIGNED_S * RATE) - event["repeatedFrames"]) * FRAME_BYTES
                difference = (difference[:first] + bytes(len(difference[first : first + unsettled])) +
                              difference[first + unsettled :])
            worst = audioop.max(difference, 2)
            if worst > self.tolerance:
                at = next(at for at in range(0, len(difference), 2)
                          if audioop.max(difference[at : at + 2], 2) > self.tolerance)
                raise Fault(f"samples differ by {worst}, first at {begin + at // FRAME_BYTES}; "
                            f"{self._joints()}")
        return end - begin

    def _check_alignment(self, event, offset, end):
        place = event["sample"] + RATE // 10
        if place + round(ALIGNED_S * RATE) > end:
            return
        found = self.offset_at(place, offset)
        if found != offset:
            raise Fault(f"{found - offset} frames beside the truth after {event}")

    def _joints(self):
        return "joints (and repeated frames) at " + ", ".join(
            f"{event['sample']} ({event['repeatedFrames']})" for event in self.broken.resumed)

    def check_jingles(self, offset):
        """Every jingle that one has heard the other has, once."""
        first = round(SETTLED_S * RATE)
        last = min(len(self.broken.audio.pcm) // FRAME_BYTES,
                   len(self.whole.audio.pcm) // FRAME_BYTES - offset) - 4 * RATE
        mine = [at for at in self.broken.jingles if first < at < last]
        theirs = [at - offset for at in self.whole.jingles if first < at - offset < last]
        if len(mine) != len(theirs) or any(abs(a - b) > GRID_FRAMES for a, b in zip(mine, theirs)):
            raise Fault(f"jingles heard at {mine} instead of {theirs}")
        return len(mine)

    def check_gap(self, event, offset):
        """After a silence the stream goes on where it would be by the clock; by how much not."""
        place = event["sample"] + event["lostFrames"] + RATE
        self.listen_until(lambda: self.broken.seconds() * RATE > place + RATE and
                          self.whole.seconds() * RATE > place + offset + 2 * RATE, "the audio")
        return self.offset_at(place, offset) - offset


def encode_once(sound, codec):
    file = sound.with_name(f"{codec}.{SUFFIXES.get(codec, 'ogg')}")
    return file if file.exists() else encode(sound, codec)


def through_breaks(scene, breaks, chance):
    """Breaks that the burst covers."""
    scene.listen(within(SETTLED_S + ALIGNED_S))
    for _ in range(breaks):
        scene.break_once(chance)
    scene.listen(within(2))
    offset = scene.offset()
    frames = scene.check_identity(offset)
    jingles = scene.check_jingles(offset)
    worst = max((event["outageMs"] for event in scene.broken.resumed), default=0)
    compared = {0: "identical", None: "aligned"}.get(scene.tolerance, "as near as the codec allows")
    return (f"{breaks} breaks, {len(scene.broken.resumed)} times connected anew, the longest "
            f"outage {worst / 1000:.1f} s: {frames / RATE:.0f} s {compared}, {jingles} jingles")


def through_gaps(scene, gaps, chance):
    """Outages that no burst covers."""
    scene.listen(within(SETTLED_S + ALIGNED_S + 1))
    offset, worst, missing = scene.offset(), 0, 0
    for _ in range(2 * gaps):
        if missing == gaps:
            break
        before = len(scene.broken.resumed)
        scene.cut(chance.uniform(2, 5))
        scene.listen_until(lambda: len(scene.broken.resumed) > before, "RESUMED")
        event = scene.broken.resumed[-1]
        error = scene.check_gap(event, offset)
        if not event["lostFrames"]:  # a burst counts bytes: of what is quiet it holds more
            if error:
                raise Fault(f"{error} frames beside the truth after {event}")
            continue
        missing += 1
        worst = max(worst, abs(error))
        if abs(error) > MAX_GAP_ERROR:
            raise Fault(f"a gap of {1000 * error / RATE:.0f} ms too much: {event}")
    if missing < gaps:
        raise Fault(f"only {missing} of {2 * gaps} outages have left anything out")
    return f"{gaps} gaps, none more than {1000 * worst / RATE:.1f} ms from the truth"
