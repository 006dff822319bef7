"""What is measured on: sounds, stations on 127.0.0.1, programs."""
import os
import random
import secrets
import select
import shutil
import subprocess
import time
import wave

import sound
from icecast import Icecast
from receiver import Control, Processes, Receiver, within
from station import Station, head, send, whole

PATIENCE_S = 60
BIT_RATE = 128000
BYTES_PER_S = BIT_RATE // 8
PIECE_BYTES = 1400  # what a packet of a live stream brings
AHEAD_BYTES = 65536  # what a station sends at once when somebody tunes in
REFERENCE_S = 10
LOOP_S = 30


def paced(data, piece_bytes, sent=None):
    """A plan's step: the data over and over, live. `sent(position)` is told of every piece."""

    def step(connection, closing):
        connection.sendall(data[:AHEAD_BYTES])
        began, at = time.monotonic(), AHEAD_BYTES
        while not closing.wait(max(0.0, began + (at - AHEAD_BYTES) / BYTES_PER_S
                                   - time.monotonic())):
            place = at % len(data)
            piece = data[place : place + piece_bytes]
            connection.sendall(piece)
            at += len(piece)
            if sent:
                sent(at)

    return step


class Session:
    """A receiver process with a client; listening once prepare(), or begin() and then
    await_connection(), has returned."""

    def __init__(self, stage, build="release"):
        name = f"measure-{os.getpid()}-{secrets.token_hex(4)}"
        self.receiver = Receiver(stage.processes, stage.builds[build] / "ReceiverHost", name,
                                 stage.work / "receiver.log", within(PATIENCE_S))
        self.pid = self.receiver.process.pid
        self.control = Control(self.receiver.uri, within(PATIENCE_S))

    def prepare(self, url, references, **keys):
        """`references` are pairs of role and path."""
        self.begin(url, references, **keys)
        self.await_connection()

    def begin(self, url, references, **keys):
        self.control.accepted("PREPARE", within(PATIENCE_S), sessionId="s", url=url, references=[
            {"id": f"r{number}", "role": role, "path": str(path)}
            for number, (role, path) in enumerate(references)], **keys)

    def await_connection(self):
        event = self.control.event(within(PATIENCE_S))
        if event["type"] != "CONNECTED":
            raise RuntimeError(f"a session that does not connect: {event.get('message')}")

    def buffer(self):
        """The statistics of this moment; None once the session has ended."""
        active = self.control.command("HELLO", within(PATIENCE_S))["active"]
        return active and active.get("buffer")

    def close(self):
        self.control.close()
        self.receiver.close()


class Stage:
    def __init__(self, builds, work, burst_minutes):
        """`builds` are the folders of programs by name: release, and where wanted lean."""
        self.builds, self.work = builds, work
        self.processes = Processes(work, {})
        self.station = Station()
        samples = sound.music(1, LOOP_S)
        self.loop = self.encode("loop", samples)
        # The station's piece for a burst: as long as the stream is, and with an end.
        self.burst_s = LOOP_S * max(1, round(60 * burst_minutes / LOOP_S))
        self.station.plans["/burst"] = [
            send(whole("audio/mpeg", self.loop * (self.burst_s // LOOP_S)))]
        self.station.plans["/live"] = [send(head("audio/mpeg")), paced(self.loop, PIECE_BYTES)]
        # Nothing that is broadcast is like them.
        self.references = [self.noise(f"reference{n}", n) for n in range(32)]

    def noise(self, name, seed):
        path = self.work / f"{name}.wav"
        with wave.open(str(path), "wb") as output:
            output.setnchannels(1)
            output.setsampwidth(2)
            output.setframerate(sound.RATE)
            output.writeframes(random.Random(seed).randbytes(2 * sound.RATE * REFERENCE_S))
        return path

    def encode(self, name, samples):
        """A bare MP3 stream of constant rate: its bytes lie where the time is."""
        (self.work / f"{name}.wav").write_bytes(sound.wav(samples))
        path = self.work / f"{name}.mp3"
        subprocess.run(["ffmpeg", "-v", "error", "-i", self.work / f"{name}.wav", "-c:a",
                        "libmp3lame", "-b:a", str(BIT_RATE), "-write_xing", "0",
                        "-id3v2_version", "0", path], check=True, stdin=subprocess.DEVNULL)
        return path.read_bytes()

    def starts(self, count):
        return [("start", path) for path in self.references[:count]]

    def players(self, url):
        """Others that take the same stream: name and command."""
        script = self.work / "relay.liq"
        script.write_text(f'settings.init.allow_root.set(true)\nsettings.log.stdout.set(false)\n'
                          f'settings.log.file.set(false)\n'
                          f'output.dummy(fallible=true, input.http("{url}"))\n')
        return {"ffmpeg": ["ffmpeg", "-v", "error", "-threads", "1", "-i", url, "-f", "null", "-"],
                "mpg123": ["mpg123", "-q", "-t", url],
                "liquidsoap": ["liquidsoap", script]}

    def icecast(self, listeners):
        return Icecast(self.processes, self.work, self.work / "loop.mp3",
                       ["-f", "mp3", "-content_type", "audio/mpeg"], AHEAD_BYTES, listeners)

    def start(self, command):
        return self.processes.start(command, stdout=subprocess.DEVNULL)

    def close(self):
        self.processes.close()
        self.station.close()
        shutil.rmtree(self.work, ignore_errors=True)


def listening_after(program, work):
    """Seconds from the start of a receiver to its LISTENING line."""
    uri = f"pcm-pipe://measure-{os.getpid()}-{secrets.token_hex(4)}"
    began = time.monotonic()
    process = subprocess.Popen([program, uri, work / "start.log"], stdout=subprocess.PIPE,
                               stdin=subprocess.DEVNULL)
    try:
        select.select([process.stdout], [], [], PATIENCE_S)
        line = process.stdout.readline()
        took = time.monotonic() - began
    finally:
        process.terminate()
        process.wait()
        process.stdout.close()
    if not line.startswith(b"LISTENING"):
        raise RuntimeError("a receiver that does not listen")
    return took


def ended_after(program):
    began = time.monotonic()
    subprocess.run([program], check=True)
    return time.monotonic() - began

