#!/usr/bin/env python3
"""Records one programme of a radio stream to a WAV file: a complete client of the receiver
in plain Python, for Linux. docs/protocol.md describes what it says and hears.

    record_program.py RECEIVER_HOST URL START_FILE OUTPUT.wav [MAXIMUM_SECONDS]
"""
import json
import os
import socket
import struct
import subprocess
import sys
import tempfile
import uuid
import wave

MAGIC = 0x314D4350  # "PCM1"
TIMEOUT = 60  # seconds for any single answer


def connect(uri):
    """The socket behind "pcm-pipe://NAME"."""
    name = uri[len("pcm-pipe://"):]
    path = f"/tmp/corvadel-{os.geteuid()}/Corvadel.PCM.{name}"
    pipe = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    pipe.settimeout(TIMEOUT)
    # A socket address holds about 100 bytes; a descriptor of the file makes it short.
    handle = os.open(path, os.O_PATH)
    try:
        pipe.connect(f"/proc/self/fd/{handle}")
    finally:
        os.close(handle)
    return pipe


def read(pipe, count):
    data = b""
    while len(data) < count:
        piece = pipe.recv(count - len(data))
        if not piece:
            raise ConnectionError("the receiver closed the pipe")
        data += piece
    return data


class Control:
    """The control pipe: commands and their replies, and events in between."""

    def __init__(self, uri):
        self.pipe = connect(uri)
        self.events = []
        # Request ids are remembered for as long as the receiver runs.
        self.prefix, self.requests = uuid.uuid4().hex, 0

    def receive(self):
        (length,) = struct.unpack("<I", read(self.pipe, 4))
        if not 1 <= length <= 65536:
            raise ValueError("a frame of invalid length")
        return json.loads(read(self.pipe, length))

    def command(self, kind, **keys):
        self.requests += 1
        request = f"{self.prefix}-{self.requests}"
        body = json.dumps({"type": kind, "version": 1, "requestId": request, **keys}).encode()
        self.pipe.sendall(struct.pack("<I", len(body)) + body)
        while True:
            message = self.receive()
            if message["type"] == "REJECTED" and message["requestId"] in (request, ""):
                raise RuntimeError(message["message"])
            if message.get("requestId") == request:
                return message
            if message["type"] not in ("WELCOME", "ACK", "REJECTED"):
                self.events.append(message)

    def event(self):
        while not self.events:
            message = self.receive()
            if message["type"] not in ("WELCOME", "ACK", "REJECTED"):
                self.events.append(message)
        return self.events.pop(0)


def save_audio(uri, path):
    """Writes the PCM1 stream behind the URI to a WAV file; returns its frames."""
    pipe = connect(uri)
    fields = struct.unpack("<IIIIHHIQQ", read(pipe, 40))
    magic, version, header_bytes, rate, channels, bits, _, _, token = fields
    if (magic, version, header_bytes, bits) != (MAGIC, 1, 40, 16):
        raise ValueError("this is no PCM1 stream")
    frames = 0
    with wave.open(path, "wb") as output:
        output.setnchannels(channels)
        output.setsampwidth(2)
        output.setframerate(rate)
        while True:
            kind, count, first, status = struct.unpack("<IIQQ", read(pipe, 24))
            if first != frames or count % (2 * channels) or count > 1048576:
                raise ValueError("a broken chunk")
            if kind != 1:
                break
            output.writeframesraw(read(pipe, count))
            frames += count // (2 * channels)
    pipe.sendall(struct.pack("<IIQ", MAGIC, 0, token))
    if kind != 2:
        raise RuntimeError(f"the source failed with status {status}")
    return frames


def record(control, url, start_file, output, maximum_seconds):
    control.command("HELLO")
    control.command(
        "PREPARE", sessionId="python-example", url=url,
        program={"maximumMs": int(float(maximum_seconds) * 1000), "fadeMs": 0},
        references=[{"id": "start", "role": "start", "path": os.path.abspath(start_file)}])
    while True:
        event = control.event()
        print(event["type"], flush=True)
        if event["type"] == "READY":
            print("frames", save_audio(event["uri"], output), flush=True)
        if event["type"] == "FINISHED":
            return event["reason"] == "eof"


def main(program, url, start_file, output, maximum_seconds="3600"):
    uri = f"pcm-pipe://receiver-control-{uuid.uuid4()}"
    with tempfile.TemporaryDirectory() as folder:
        log = os.path.join(folder, "receiver.log")
        with subprocess.Popen([program, uri, log], stdout=subprocess.PIPE) as receiver:
            try:
                if receiver.stdout.readline() != f"LISTENING {uri}\n".encode():
                    raise RuntimeError("the receiver does not listen")
                control = Control(uri)
                complete = record(control, url, start_file, output, maximum_seconds)
                control.command("SHUTDOWN")
                return 0 if complete and receiver.wait(TIMEOUT) == 0 else 1
            finally:
                receiver.kill()


if __name__ == "__main__":
    if len(sys.argv) not in (5, 6):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
