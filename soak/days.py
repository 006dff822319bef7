"""A recorder that waits for days: the station sends them as fast as they are taken."""
import contextlib
import os
import pathlib
import random
import select
import signal
import subprocess
import threading
import wave

from receiver import Fault, exit_code, remaining, within
from sound import CHANNELS, RATE, music, wav
from station import Station, head, send
from watch import private_kilobytes

HOUR_MINUTES = 60
JINGLE_S, PROGRAMME_S = 2, 20
CODING = ["-c:a", "libmp3lame", "-b:a", "24k", "-ar", "22050", "-ac", "1", "-write_xing", "0",
          "-id3v2_version", "0", "-f", "mp3"]
CODED_RATE = 22050
MAX_LENGTH_ERROR_S = 0.002
HOUR_S = 120  # of listening to one, on a busy machine
END_S = 60
# What may be held and written, whatever the number of days.
MAX_PRIVATE_KB = {"receiver-record": 24 * 1024, "ReceiverHost": 32 * 1024}
MAX_GROWTH_KB = 1024  # from the third hour on
MAX_LOG_BYTES_A_DAY = 16384
MAX_TOLD_BYTES_A_DAY = 4096


def encode(samples):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "wav", "-i", "-", *CODING, "-"],
                          input=wav(samples), check=True, stdout=subprocess.PIPE).stdout


class Broadcast:
    """Minutes of filler that are always the same, and a programme between two jingles."""

    def __init__(self, folder, seed):
        chance = random.Random(seed)
        chords = [music(seed * 100 + one, 0.5) for one in range(16)]

        def filler(seconds):
            samples = chords[0][:0]
            while len(samples) < seconds * RATE * CHANNELS:
                chord = chance.choice(chords)
                samples += chord[: 2 * chance.randrange(len(chord) // 4, len(chord) // 2)]
            return samples[: seconds * RATE * CHANNELS]

        start, end = (music(seed * 100 + 90 + one, JINGLE_S) for one in range(2))
        self.start, self.end = folder / "start.wav", folder / "end.wav"
        self.start.write_bytes(wav(start))
        self.end.write_bytes(wav(end))
        self.minute = encode(filler(60))
        self.programme = encode(filler(5) + start + filler(PROGRAMME_S) + end + filler(5))


class Recorder:
    """receiver-record and the receiver that it starts; what both hold is looked at each hour of the
    stream, by the thread that sends it."""

    def __init__(self, processes, programs, folder, broadcast, days, repeat):
        self._broadcast, self._days = broadcast, days
        self._sent = 0
        self._hours = []  # (kB of the recorder, kB of the receiver)
        self._fault = None
        self._mutex = threading.Lock()
        self._folder = folder
        self.output = folder / "output"
        self.output.mkdir()
        self._told = folder / "told.txt"
        self._station = Station()
        self._station.plans["/radio"] = [self._send_day]
        name = "programme {n}.wav" if repeat else "programme.wav"
        with self._told.open("wb") as told:
            self.process = processes.start(
                [programs / "receiver-record", self._station.url("/radio"), "--start",
                 broadcast.start, "--end", broadcast.end, *(["--repeat"] if repeat else []),
                 "--log", folder / "receiver.log", "-o", self.output / name],
                stdout=subprocess.DEVNULL, stderr=told)

    def close(self):
        self._station.close()
        self.process.kill()
        self.process.wait()

    def _receiver(self):
        for children in pathlib.Path(f"/proc/{self.process.pid}/task").glob("*/children"):
            for number in children.read_text().split():
                return int(number)
        raise Fault("the recorder has no receiver")

    def _send_day(self, connection, closing):
        if self._sent == self._days:
            return closing.wait()  # silent after the last one
        self._sent += 1
        send(head("audio/mpeg"))(connection, closing)
        for _ in range(24):
            connection.settimeout(HOUR_S)
            for _ in range(HOUR_MINUTES):
                connection.sendall(self._broadcast.minute)
            with self._mutex:
                self._hours.append((private_kilobytes(self.process.pid),
                                    private_kilobytes(self._receiver())))
        connection.sendall(self._broadcast.programme)
        closing.wait()

    def hours(self):
        with self._mutex:
            return list(self._hours)

    def files(self):
        return sorted(self.output.glob("*.wav"))

    def check(self, days):
        """What it holds and has written until now."""
        hours = self.hours()
        for name, held in zip(MAX_PRIVATE_KB, zip(*hours)):
            if max(held) > MAX_PRIVATE_KB[name]:
                raise Fault(f"{name} holds {max(held)} kB")
            if held[-1] - held[2] > MAX_GROWTH_KB:
                raise Fault(f"{name} grew from {held[2]} kB to {held[-1]} kB")
        logged = sum(log.stat().st_size for log in self._folder.glob("receiver*.log"))
        told = self._told.stat().st_size
        if logged > days * MAX_LOG_BYTES_A_DAY or told > days * MAX_TOLD_BYTES_A_DAY:
            raise Fault(f"{logged} bytes of log and {told} bytes told after {days} days")
        for file in self.files():
            with wave.open(str(file)) as recording:
                seconds = recording.getnframes() / recording.getframerate()
            if abs(seconds - PROGRAMME_S - 2 * JINGLE_S) > MAX_LENGTH_ERROR_S:
                raise Fault(f"{file.name} is {seconds:.4f} s long")
        others = set(self.output.iterdir()) - set(self.files())
        others -= {file.with_suffix(".wav.json") for file in self.files()}
        if len(self.files()) != days or others:
            raise Fault(f"{len(self.files())} recordings and {sorted(others)} after {days} days")
        record, receiver = hours[-1]
        return (f"{record} kB and {receiver} kB private, {logged} bytes of log, {told} bytes told")


def wait_for_day(recorder, day, progress):
    """Until a day's programme is there; hours that pass are told."""
    deadline = within(24 * HOUR_S)
    seen = 0
    while len(recorder.files()) < day:
        remaining(deadline, f"the programme of day {day}")
        if recorder.process.poll() is not None and len(recorder.files()) < day:
            raise Fault(f"the recorder has ended with {recorder.process.returncode}")
        if len(recorder.hours()) != seen:
            seen = len(recorder.hours())
            progress(seen)
        select.select([], [], [], 0.2)


def one_day(processes, programs, folder, broadcast, progress):
    with contextlib.closing(
            Recorder(processes, programs, folder, broadcast, 1, False)) as recorder:
        wait_for_day(recorder, 1, progress)
        code = exit_code(recorder.process, within(END_S), "the recorder")
        if code != 0:
            raise Fault(f"the recorder ended with {code}")
        return f"a day of waiting: {recorder.check(1)}"


def repeated_days(processes, programs, folder, broadcast, days, progress):
    with contextlib.closing(
            Recorder(processes, programs, folder, broadcast, days, True)) as recorder:
        for day in range(1, days + 1):
            wait_for_day(recorder, day, progress)
        os.kill(recorder.process.pid, signal.SIGINT)
        code = exit_code(recorder.process, within(END_S), "the recorder")
        if code != 5:
            raise Fault(f"the recorder ended with {code} after Ctrl+C")
        return f"{days} days, one recorder: {recorder.check(days)}"
