"""What the stations of the soak broadcast: a programme between two jingles, in several codings."""
import array
import io
import math
import pathlib
import random
import subprocess
import wave

RATE = 44100
CHANNELS = 2
FRAME_BYTES = 2 * CHANNELS
WAV_HEAD_BYTES = 44
ENCODE_S = 120

# name: content type and what ffmpeg makes it with
CODINGS = {
    "wav": ("audio/wav", None),
    "flac": ("audio/flac", ["-c:a", "flac"]),
    "ogg": ("application/ogg", ["-c:a", "flac"]),
    "mp3": ("audio/mpeg", ["-c:a", "libmp3lame", "-b:a", "192k"]),
    "aac": ("audio/aac", ["-c:a", "aac", "-b:a", "192k"]),
}
LOSSLESS = ("wav", "flac", "ogg")


def music(seed, seconds):
    """Chords that change about ten times a second, as interleaved samples."""
    chance = random.Random(seed)
    frames = int(seconds * RATE)
    samples = array.array("h")
    while len(samples) < frames * CHANNELS:
        count = 24 if chance.random() < 0.25 else chance.randrange(3, 7)
        length = int(chance.uniform(0.05, 0.15) * RATE)
        partials = []
        for _ in range(count):
            step = 2 * math.pi * 300 * 10 ** chance.random() / RATE
            size = 15000 / math.sqrt(count) * chance.uniform(0.4, 1.0)
            partials.append((step, chance.uniform(0, 2 * math.pi), size))
        edge = RATE // 200
        for at in range(length):
            value = sum(size * math.sin(step * at + phase) for step, phase, size in partials)
            value *= min(1.0, at / edge, (length - at) / edge)
            value = max(-32768, min(32767, round(value)))
            samples.extend((value, value * 3 // 4))
    return samples[: frames * CHANNELS]


def wav(samples):
    file = io.BytesIO()
    with wave.open(file, "wb") as output:
        output.setnchannels(CHANNELS)
        output.setsampwidth(2)
        output.setframerate(RATE)
        output.writeframes(samples.tobytes())
    return file.getvalue()


def aac_pieces(stream, count):
    """An ADTS stream in so many pieces of whole frames: the segments of a playlist."""
    starts, at = [], 0
    while at + 7 <= len(stream):
        starts.append(at)
        at += (stream[at + 3] & 3) << 11 | stream[at + 4] << 3 | stream[at + 5] >> 5
    edges = [starts[len(starts) * piece // count] for piece in range(count)] + [len(stream)]
    return [stream[first:end] for first, end in zip(edges, edges[1:])]


class Broadcast:
    """Positions are in frames; pcm is interleaved bytes; coded is name: (content type, bytes)."""

    def __init__(self, folder):
        folder = pathlib.Path(folder)
        parts = [music(seed, seconds)
                 for seed, seconds in enumerate((0.4, 0.7, 1.2, 0.7, 0.8), start=1)]
        edges = [0]
        for part in parts:
            edges.append(edges[-1] + len(part) // CHANNELS)
        self.start_jingle, self.programme, self.end_jingle, self.tail, self.frames = edges[1:]
        samples = sum(parts[1:], parts[0])
        self.pcm = samples.tobytes()
        self.start_path, self.end_path = folder / "start.wav", folder / "end.wav"
        self.start_path.write_bytes(wav(parts[1]))
        self.end_path.write_bytes(wav(parts[3]))
        self.coded = self._encode(folder, wav(samples))
        self.segments = aac_pieces(self.coded["aac"][1], 3)

    @staticmethod
    def _encode(folder, whole):
        source = folder / "broadcast.wav"
        source.write_bytes(whole)
        coded = {}
        for name, (content_type, options) in CODINGS.items():
            file = folder / f"broadcast.{name}"
            if options:
                subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", source, *options, file],
                               check=True, timeout=ENCODE_S, stdin=subprocess.DEVNULL)
            coded[name] = content_type, file.read_bytes()
        return coded

    def slice(self, first, end):
        return self.pcm[first * FRAME_BYTES : end * FRAME_BYTES]

    @staticmethod
    def wav_bytes(frame):
        """The bytes of the WAV coding up to a frame."""
        return WAV_HEAD_BYTES + frame * FRAME_BYTES
