"""Receivers as processes, and both of their pipes. Deadlines are of time.monotonic()."""
import contextlib
import ctypes
import hashlib
import json
import os
import pathlib
import select
import signal
import socket
import struct
import subprocess
import time

MAGIC = 0x314D4350  # "PCM1"
RETRY_S = 0.01  # a client that finds a pipe missing or busy tries again so soon
REPLIES = ("WELCOME", "ACK", "REJECTED")
MAX_BODY_BYTES = 65536
PR_SET_CHILD_SUBREAPER = 36
# glibc's allocator keeps what is free, by thread and by the largest piece that it has seen; so that
# what is in use can be told from it, it is to give all back at once.
SPARING_ALLOCATOR = {"MALLOC_ARENA_MAX": "1", "MALLOC_MMAP_THRESHOLD_": "65536",
                     "MALLOC_TRIM_THRESHOLD_": "65536"}


class Fault(Exception):
    """A session did what it may not."""


class Gone(Exception):
    """The receiver has closed the pipe."""


def within(seconds):
    return time.monotonic() + seconds


def remaining(deadline, what):
    left = deadline - time.monotonic()
    if left <= 0:
        raise Fault(f"{what} did not come in time")
    return left


def endpoint_folder():
    return f"/tmp/corvadel-{os.geteuid()}"


def connect(uri, deadline):
    """Waits for the pipe to be there and free, as docs/protocol.md says."""
    path = f"{endpoint_folder()}/Corvadel.PCM.{uri[len('pcm-pipe://'):]}"
    while True:
        pipe = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            # A socket's address has no room for long names; a file's descriptor makes it short.
            handle = os.open(path, os.O_PATH)
            try:
                pipe.settimeout(remaining(deadline, f"the pipe {uri}"))
                pipe.connect(f"/proc/self/fd/{handle}")
            finally:
                os.close(handle)
            return pipe
        except (FileNotFoundError, ConnectionRefusedError, BlockingIOError):
            pipe.close()
        remaining(deadline, f"the pipe {uri}")
        time.sleep(RETRY_S)


def receive(pipe, count, deadline, what):
    data = bytearray()
    while len(data) < count:
        pipe.settimeout(remaining(deadline, what))
        try:
            piece = pipe.recv(min(count - len(data), 1 << 16))
        except TimeoutError:
            continue
        except ConnectionError as error:
            raise Gone(what) from error
        if not piece:
            raise Gone(what)
        data += piece
    return bytes(data)


class Control:
    """An introduced control client. A command's id follows from its content: a receiver
    remembers each id with its command, and equal ones are remembered once."""

    def __init__(self, uri, deadline):
        self.events = []
        while True:
            self.pipe = connect(uri, deadline)
            try:
                self.welcome = self.command("HELLO", deadline)
                return
            except Gone:  # it was the queue's last place behind another client
                self.pipe.close()

    def close(self):
        self.pipe.close()

    def send(self, data, deadline):
        self.pipe.settimeout(remaining(deadline, "room for a frame"))
        try:
            self.pipe.sendall(data)
        except TimeoutError:
            raise Fault("a receiver takes no frames") from None
        except ConnectionError as error:
            raise Gone("the control pipe") from error

    def message(self, deadline, what):
        (length,) = struct.unpack("<I", receive(self.pipe, 4, deadline, what))
        if not 1 <= length <= MAX_BODY_BYTES:
            raise Fault(f"a frame of {length} bytes")
        return json.loads(receive(self.pipe, length, deadline, what))

    def command(self, kind, deadline, **keys):
        body = {"type": kind, "version": 1, **keys}
        text = json.dumps(body, sort_keys=True).encode()
        body["requestId"] = hashlib.sha256(text).hexdigest()[:40]
        frame = json.dumps(body).encode()
        self.send(struct.pack("<I", len(frame)) + frame, deadline)
        while True:
            message = self.message(deadline, f"the reply to {kind}")
            if message["type"] not in REPLIES:
                self.events.append(message)
            elif message["requestId"] == body["requestId"]:
                return message

    def accepted(self, kind, deadline, **keys):
        reply = self.command(kind, deadline, **keys)
        if reply["type"] == "REJECTED":
            raise Fault(f"{kind} was rejected: {reply['message']}")
        return reply

    def event(self, deadline, what="the next event"):
        while not self.events:
            message = self.message(deadline, what)
            if message["type"] not in REPLIES:
                self.events.append(message)
        return self.events.pop(0)

    def has_event(self, until):
        """Waits for one at most so long."""
        left = max(0.0, until - time.monotonic())
        return bool(self.events) or bool(select.select([self.pipe], [], [], left)[0])

    def finished(self, deadline):
        while True:
            event = self.event(deadline, "FINISHED")
            if event["type"] == "FINISHED":
                return event

    def settle(self, deadline):
        """Until the receiver has done with its session, threads and all."""
        while self.command("HELLO", deadline)["active"] is not None:
            pass
        self.events.clear()


class Audio:
    """A client of an audio pipe."""

    def __init__(self, uri, deadline):
        self.pipe = connect(uri, deadline)
        self.deadline = deadline
        self.pcm = bytearray()
        self.end = None  # the type of the end record
        fields = struct.unpack("<IIIIHHIQQ", receive(self.pipe, 40, deadline, "the audio's header"))
        if fields[:3] != (MAGIC, 1, 40):
            raise Fault("an audio pipe without a PCM1 header")
        self.channels, self.token = fields[4], fields[8]

    def close(self):
        self.pipe.close()

    def read(self, max_bytes=None, until=None):
        """To the end, so many bytes, or that time; False once the pipe is closed without an end."""
        frame_bytes = 2 * self.channels
        while self.end is None and (max_bytes is None or len(self.pcm) < max_bytes):
            if until is not None:
                left = max(0.0, until - time.monotonic())
                if not select.select([self.pipe], [], [], left)[0]:
                    return True
            try:
                record = receive(self.pipe, 24, self.deadline, "the next audio")
                kind, count, first, _ = struct.unpack("<IIQQ", record)
                if kind not in (1, 2, 3) or first != len(self.pcm) // frame_bytes:
                    raise Fault("a broken chunk of audio")
                if kind == 1:
                    self.pcm += receive(self.pipe, count, self.deadline, "the rest of a chunk")
                else:
                    self.end = kind
            except Gone:
                return False
        return True

    def acknowledge(self, token=None, magic=MAGIC):
        with contextlib.suppress(ConnectionError):
            self.pipe.sendall(struct.pack("<IIQ", magic, 0, self.token if token is None else token))


class Processes:
    """All that the soak starts, and what that starts: none outlives it, however it ends."""

    def __init__(self, temporary, environment):
        self._environment = {**os.environ, "TMPDIR": str(temporary), "LC_ALL": "C.UTF-8",
                             **environment}
        self._running = []
        # What a killed recorder leaves behind comes to us.
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)

    def start(self, command, **options):
        # A session of its own: Ctrl+C in a terminal ends the soak, and the soak its children.
        process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "--", *(str(part) for part in command)],
            env=self._environment, start_new_session=True,
            **{"stdin": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options})
        self._running = [one for one in self._running if one.poll() is None] + [process]
        return process

    @staticmethod
    def alive():
        """The numbers of all children; those that have ended are gone after it."""
        numbers = set()
        for children in pathlib.Path("/proc/self/task").glob("*/children"):
            for number in map(int, children.read_text().split()):
                with contextlib.suppress(ChildProcessError):
                    if os.waitid(os.P_PID, number, os.WEXITED | os.WNOHANG | os.WNOWAIT) is None:
                        numbers.add(number)
        return numbers

    def expect_only(self, process):
        """Fault if another one is still there."""
        for number in self.alive() - {process.pid}:
            with contextlib.suppress(FileNotFoundError):
                command = pathlib.Path(f"/proc/{number}/cmdline").read_bytes().split(b"\0")
                raise Fault(f"a process is left: {b' '.join(command).decode(errors='replace')}")

    def close(self):
        for process in self._running:
            with contextlib.suppress(ProcessLookupError):
                process.kill()
            process.wait()
        while numbers := self.alive():
            for number in numbers:
                with contextlib.suppress(ProcessLookupError, ChildProcessError):
                    os.kill(number, signal.SIGKILL)
                    os.waitpid(number, 0)


def exit_code(process, deadline, what):
    try:
        return process.wait(remaining(deadline, f"the end of {what}"))
    except subprocess.TimeoutExpired:
        raise Fault(f"{what} did not end in time") from None


class Receiver:
    """A receiver that the soak has started, listening."""

    def __init__(self, processes, program, name, log, deadline, launcher=()):
        self.uri = f"pcm-pipe://{name}"
        self.log = log
        self.process = processes.start([*launcher, program, self.uri, log],
                                       stdout=subprocess.PIPE)
        if launcher:
            return  # it may have nothing to say it with
        stdout = self.process.stdout
        left = remaining(deadline, "the receiver")
        line = stdout.readline() if select.select([stdout], [], [], left)[0] else b""
        if line != f"LISTENING {self.uri}\n".encode():
            raise Fault(f"a receiver that says {line!r} instead of LISTENING")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def shut_down(self, control, deadline):
        control.accepted("SHUTDOWN", deadline)
        code = exit_code(self.process, deadline, "the receiver after SHUTDOWN")
        if code != 0:
            raise Fault(f"a receiver ended with {code} after SHUTDOWN")

    def terminate(self, deadline):
        self.process.send_signal(signal.SIGTERM)
        code = exit_code(self.process, deadline, "the receiver after SIGTERM")
        if code != 0:
            raise Fault(f"a receiver ended with {code} after SIGTERM")
