#!/usr/bin/env python3
"""Records one programme of a radio stream to a WAV file: a complete client of the receiver
in plain Python, for Linux. docs/protocol.md describes what it says and hears.

    record_program.py RECEIVER_HOST URL START_FILE OUTPUT.wav [MAXIMUM_SECONDS [KEY=JSON ...]]

MAXIMUM_SECONDS is 3600 if not given; 0 records up to the source's end. Each KEY is one of what a
PREPARE may ask for besides, such as

    lookBackMs=60000 reconnectMs=300000 preRollMs=500 report='["cause","damage","titles","station"]'
    http='{"userAgent":"MyRadio/1.0","headers":{"X-Key":"1"},"caFile":"/ca.pem"}'

With startNow=true START_FILE is "-": the recording begins at once.
"""
import json
import os
import socket
import struct
import subprocess
import sys
import tempfile
import uuid

MAGIC = 0x314D4350  # "PCM1"
TIMEOUT = 60  # seconds for any single answer
REPLIES = ("WELCOME", "ACK", "REJECTED")


class Failure(Exception):
    """What is told to the user, in words."""


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
            raise Failure("The receiver closed the pipe")
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
            raise Failure("The receiver sent a frame of invalid length")
        return json.loads(read(self.pipe, length))

    def command(self, kind, **keys):
        self.requests += 1
        request = f"{self.prefix}-{self.requests}"
        body = json.dumps({"type": kind, "version": 1, "requestId": request, **keys}).encode()
        self.pipe.sendall(struct.pack("<I", len(body)) + body)
        while True:
            message = self.receive()
            if message["type"] == "REJECTED" and message["requestId"] in (request, ""):
                raise Failure(f"The receiver refused {kind}: {message['message']}")
            if message.get("requestId") == request:
                return message
            if message["type"] not in REPLIES:
                self.events.append(message)

    def event(self):
        while not self.events:
            message = self.receive()
            if message["type"] == "REJECTED":  # a session that could not be started after all
                raise Failure(f"The receiver refused: {message['message']}")
            if message["type"] not in REPLIES:
                self.events.append(message)
        return self.events.pop(0)


def wav_header(rate, channels, pcm_bytes):
    return struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + pcm_bytes, b"WAVE", b"fmt ", 16, 1,
                       channels, rate, rate * channels * 2, channels * 2, 16, b"data", pcm_bytes)


class Recording:
    """The PCM1 stream behind a URI, written to a WAV file."""

    def __init__(self, path):
        self.path, self.rate, self.channels, self.frames = path, 0, 0, 0
        self.first_sample = 0
        self.source_failed = False

    def take(self, ready):
        pipe = connect(ready["uri"])
        # With preRollMs the audio begins before the programme does.
        self.first_sample = ready.get("servedSample", ready["sourceSample"])
        fields = struct.unpack("<IIIIHHIQQ", read(pipe, 40))
        magic, version, header_bytes, self.rate, self.channels, bits, _, _, token = fields
        if (magic, version, header_bytes, bits) != (MAGIC, 1, 40, 16):
            raise Failure("The audio is no PCM1 stream")
        with open(self.path, "wb") as output:
            output.write(wav_header(self.rate, self.channels, 0))
            while True:
                kind, count, first, status = struct.unpack("<IIQQ", read(pipe, 24))
                if first != self.frames or count % (2 * self.channels) or count > 1048576:
                    raise Failure("The audio came with a broken chunk")
                if kind != 1:
                    break
                output.write(read(pipe, count))
                self.frames += count // (2 * self.channels)
        pipe.sendall(struct.pack("<IIQ", MAGIC, 0, token))
        self.source_failed = kind == 3
        if self.source_failed:
            print(f"The source broke off (status {status}); the {self.frames} frames that came"
                  f" before are in {self.path}", file=sys.stderr, flush=True)

    def close(self, program):
        """A client at the live edge is sent more than the programme: cuts it off."""
        if program:
            self.frames = min(self.frames, program["endSample"] - self.first_sample)
        if self.rate:
            pcm_bytes = self.frames * self.channels * 2
            with open(self.path, "r+b") as output:
                output.write(wav_header(self.rate, self.channels, pcm_bytes))
                output.truncate(44 + pcm_bytes)
            print("frames", self.frames, flush=True)


def show(event):
    """What happened, and of what was asked for besides in what way."""
    details = {
        "RESUMED": "lost for {outageMs} ms, {lostFrames} frames are missing",
        "DAMAGED": "{kind} at {sample}",
        "TITLE": "{title}",
        "STATION": "{name}",
    }
    print(event["type"], flush=True)
    if event["type"] in details:
        print(" ", details[event["type"]].format_map(event), flush=True)
    if "cause" in event:
        print(event["cause"]["text"], file=sys.stderr, flush=True)


def record(control, url, start_file, output, maximum_seconds, additions):
    bounds = {}
    if float(maximum_seconds) > 0:
        bounds["program"] = {"maximumMs": int(float(maximum_seconds) * 1000), "fadeMs": 0}
    control.command("HELLO")
    references = []
    if start_file != "-":
        references = [{"id": "start", "role": "start", "path": os.path.abspath(start_file)}]
    answer = control.command("PREPARE", sessionId="python-example", url=url, **bounds, **additions,
                             references=references)
    # A receiver ignores the keys that it does not know, and names those that it does.
    unknown = set(additions) - set(answer["session"].get("additions", []))
    if unknown:
        raise Failure("The receiver does not know " + ", ".join(sorted(unknown)))
    recording = Recording(output)
    while True:
        event = control.event()
        show(event)
        if event["type"] == "READY":
            recording.take(event)
        if event["type"] == "FINISHED":
            recording.close(event.get("program"))
            if event["reason"] != "eof" and not recording.source_failed:
                raise Failure(f"The session ended with {event['reason']}: {event['message']}")
            return not recording.source_failed


def main(program, url, start_file, output, maximum_seconds="3600", *additions):
    keys = {key: json.loads(value) for key, _, value in (text.partition("=") for text in additions)}
    uri = f"pcm-pipe://receiver-control-{uuid.uuid4()}"
    with tempfile.TemporaryDirectory() as folder:
        log = os.path.join(folder, "receiver.log")
        with subprocess.Popen([program, uri, log], stdout=subprocess.PIPE) as receiver:
            try:
                if receiver.stdout.readline() != f"LISTENING {uri}\n".encode():
                    raise Failure("The receiver does not listen")
                control = Control(uri)
                complete = record(control, url, start_file, output, maximum_seconds, keys)
                control.command("SHUTDOWN")
                return 0 if complete and receiver.wait(TIMEOUT) == 0 else 1
            except Failure as failure:
                print(failure, file=sys.stderr)
                return 1
            finally:
                receiver.terminate()  # ends it cleanly if SHUTDOWN has not


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
