"""Sessions on receivers of their own, and of receiver-record: a process ends, starves or is blind.

As in sessions.py, each kind returns how it ended and raises Fault when it may not end so. Its files
go into stage.folder, which is emptied after it.
"""
import contextlib
import functools
import os
import re
import select
import signal
import subprocess
import sys
import time

from receiver import Control, Fault, Receiver, exit_code, remaining, within
from sessions import (END_S, LIVE_S, SHORT_IO_MS, cut_somewhere, judge, kind, run, serve_live,
                      serve_whole)
from station import reset, send, stall

COMPLETE, FAILURE, NO_START, SOURCE_ERROR, INTERRUPTED, OUTPUT_ERROR, GAPS = 0, 1, 3, 4, 5, 6, 7
LOG_SECONDS = 60  # a log's name tells the second of its opening; it is opened within so many
RECORDING = r"programme\.wav(\.part|\.part\.copy|\.json)?"


@contextlib.contextmanager
def own_receiver(stage, name="own", log="own.log", **options):
    """A receiver in place of the one that lives on, with the stage's control client."""
    receiver = Receiver(stage.processes, stage.program("ReceiverHost"), f"{stage.name}-{name}",
                        stage.folder / log, stage.deadline, **options)
    others = stage.control
    try:
        stage.control = Control(receiver.uri, stage.deadline)
        stage.note_instance(stage.control.welcome["instanceId"])
        yield receiver
    finally:
        stage.control.close()
        stage.control = others
        receiver.close()


def complete_session(stage):
    return judge(run(stage, serve_whole(stage))[1], ("eof",))


def wait_for_events(stage, most_s):
    """Lets the session run for a while; READY is left unanswered."""
    moment = within(stage.chance.uniform(0, most_s))
    while stage.control.has_event(moment):
        stage.control.event(stage.deadline)


@kind
def receiver_that_is_killed(stage):
    with own_receiver(stage) as killed:
        stage.prepare(serve_live(stage))
        wait_for_events(stage, LIVE_S)
        killed.process.kill()
        exit_code(killed.process, stage.deadline, "a killed receiver")
    with own_receiver(stage) as successor:
        complete_session(stage)
        successor.shut_down(stage.control, within(END_S))
    return "replaced"


@kind
def receiver_that_is_terminated(stage):
    with own_receiver(stage) as receiver:
        if stage.chance.random() < 0.5:
            stage.prepare(serve_live(stage))
            wait_for_events(stage, LIVE_S)
        else:
            stage.prepare(cut_somewhere(stage, stall))
        receiver.terminate(within(END_S))
    return "terminated"


@kind
def receiver_without_standard_descriptors(stage):
    closed = stage.chance.choice(("<&-", ">&-", "2>&-", "<&- >&-", "<&- >&- 2>&-"))
    shell = ["sh", "-c", f'exec "$@" {closed}', "sh"]
    with own_receiver(stage, launcher=shell) as receiver:
        complete_session(stage)
        receiver.shut_down(stage.control, within(END_S))
    for log in stage.folder.glob("own*.log"):
        for line in log.read_bytes().splitlines():
            if b" RECEIVER " not in line:
                raise Fault(f"{line!r} is in the log")
    return "eof"


def on_a_small_disk(folder):
    """The command before which a program has a disk of one page there, which nobody else sees.
    Not for others than root: the receiver's endpoint has its user's name in it."""
    return ["unshare", "--map-root-user", "--mount", "sh", "-c",
            'mount -t tmpfs -o size=4k soak "$0" && exec "$@"', folder]


@functools.cache
def small_disk_is_there():
    if os.geteuid() == 0 and subprocess.run([*on_a_small_disk("/mnt"), "true"],
                                            stderr=subprocess.DEVNULL).returncode == 0:
        return True
    print("no disk can be mounted here: /dev/full takes its place", file=sys.stderr, flush=True)
    return False


@kind
def receiver_whose_disk_is_full(stage):
    log, launcher = "own.log", ()
    if small_disk_is_there():
        (stage.folder / "disk").mkdir()
        log, launcher = "disk/own.log", on_a_small_disk(stage.folder / "disk")
    else:
        # Each name that the log may get leads to a device without room.
        now = time.time()
        for second in range(LOG_SECONDS):
            stamp = time.strftime("_%Y%m%d_%H%M%S", time.localtime(now + second))
            (stage.folder / f"own{stamp}.log").symlink_to("/dev/full")
    with own_receiver(stage, log=log, launcher=launcher) as receiver:
        complete_session(stage)
        complete_session(stage)
        receiver.shut_down(stage.control, within(END_S))
    return "eof"


# receiver-record


class Recorder:
    """receiver-record on a receiver of its own, or one that it joins."""

    def __init__(self, stage, url, *further, output="programme.wav", control=None, **options):
        self.stage = stage
        self.started = stage.folder / "started"  # number and address of each receiver
        wrapper = stage.folder / "receiver"
        wrapper.write_text(f'#!/bin/sh\necho "$$ $1" >"{self.started}"\n'
                           f'exec "{stage.program("ReceiverHost")}" "$@"\n')
        wrapper.chmod(0o700)
        command = [stage.program("receiver-record"), url,
                   "--start", f"opening={stage.broadcast.start_path}",
                   "--end", f"closing={stage.broadcast.end_path}", "--max", "20s",
                   "-o", "-" if output == "-" else stage.folder / output, *further]
        if control:
            command += ["--control", control]
        else:
            command += ["--receiver", wrapper, "--log", stage.folder / "receiver.log"]
        self.process = stage.processes.start(command, **{"stdout": subprocess.DEVNULL, **options})

    def exit(self, *allowed):
        code = exit_code(self.process, self.stage.deadline, "receiver-record")
        if code not in allowed:
            raise Fault(f"receiver-record ended with {code}")
        return code

    def pause(self, most_s):
        with contextlib.suppress(subprocess.TimeoutExpired):
            self.process.wait(self.stage.chance.uniform(0, most_s))

    def signal(self, number):
        if self.process.poll() is None:
            self.process.send_signal(number)

    def receiver_pid(self):
        """Of the receiver that it has started; None if it has not come so far."""
        with contextlib.suppress(FileNotFoundError, ValueError):
            number, uri = self.started.read_text().split()
            self.stage.note_instance(uri.removeprefix("pcm-pipe://"))
            return int(number)

    def expect_no_receiver(self):
        """What it started ends with it, however it ended."""
        number = self.receiver_pid()
        if number is None:
            return
        bound = within(END_S)
        with contextlib.suppress(ProcessLookupError):
            handle = os.pidfd_open(number)
            try:
                if not select.select([handle], [], [], remaining(bound, "the receiver's end"))[0]:
                    raise Fault("a receiver outlives the program that started it")
            finally:
                os.close(handle)
        with contextlib.suppress(ChildProcessError):
            os.waitpid(number, 0)  # ours, where the recorder had no time for it
        for log in self.stage.folder.glob("receiver*.log"):
            for instance in re.findall(r"instanceId=([0-9A-F-]{36})", log.read_text()):
                self.stage.note_instance(instance)

    def expect_files(self, pattern=RECORDING):
        for file in self.stage.folder.iterdir():
            known = file.name in ("receiver", "started") or file.suffix == ".log"
            if not known and not re.fullmatch(pattern, file.name):
                raise Fault(f"receiver-record left {file.name}")


def expect_what_came(stage):
    """A part file holds the programme from its start, as far as it was written."""
    part = stage.folder / "programme.wav.part"
    if not part.exists():
        return
    _, found, audio = part.read_bytes().partition(b"data")
    came = audio[4:]  # behind the length, which is not known yet
    start = stage.broadcast.start_jingle
    if found and not stage.broadcast.slice(start, stage.broadcast.frames).startswith(came):
        raise Fault("the part file holds something else than the programme")


@kind
def recording(stage):
    coding = stage.chance.choice(("wav", "mp3", "flac"))
    recorder = Recorder(stage, serve_whole(stage, coding))
    recorder.exit(COMPLETE)
    recorder.expect_no_receiver()
    recorder.expect_files(r"programme\.wav(\.json)?")
    return "recorded"


@kind
def recording_of_a_failing_source(stage):
    last_step = stage.chance.choice((stall, reset, send(b"")))
    recorder = Recorder(stage, cut_somewhere(stage, last_step), "--io-timeout", f"{SHORT_IO_MS}ms",
                        "--reconnect", "0")
    code = recorder.exit(COMPLETE, NO_START, SOURCE_ERROR)
    recorder.expect_no_receiver()
    recorder.expect_files(r"programme\.wav(\.json)?")
    return f"exit {code}"


@kind
def recording_onto_a_full_disk(stage):
    with open("/dev/full", "wb") as full:
        recorder = Recorder(stage, serve_whole(stage), output="-", stdout=full)
        recorder.exit(OUTPUT_ERROR)
    recorder.expect_no_receiver()
    recorder.expect_files()
    return "exit 6"


@kind
def recording_whose_reader_leaves(stage):
    recorder = Recorder(stage, serve_whole(stage), output="-", stdout=subprocess.PIPE)
    recorder.process.stdout.read(stage.chance.randrange(1, 1000))
    recorder.process.stdout.close()
    recorder.exit(OUTPUT_ERROR)
    recorder.expect_no_receiver()
    return "exit 6"


@kind
def recording_that_is_interrupted(stage):
    recorder = Recorder(stage, serve_live(stage))
    recorder.pause(LIVE_S + 0.2)
    recorder.signal(stage.chance.choice((signal.SIGINT, signal.SIGTERM)))
    # Before it has a handler, the signal itself ends it.
    code = recorder.exit(COMPLETE, INTERRUPTED, -signal.SIGINT, -signal.SIGTERM)
    recorder.expect_no_receiver()
    recorder.expect_files(r"programme\.wav(\.json)?")
    return f"exit {code}"


@kind
def recorder_that_is_killed(stage):
    recorder = Recorder(stage, serve_live(stage))
    recorder.pause(LIVE_S + 0.2)
    recorder.signal(signal.SIGKILL)
    recorder.exit(COMPLETE, -signal.SIGKILL)
    recorder.expect_no_receiver()
    recorder.expect_files()
    expect_what_came(stage)
    return "killed"


@kind
def recorder_whose_receiver_is_killed(stage):
    recorder = Recorder(stage, serve_live(stage))
    recorder.pause(LIVE_S + 0.2)
    number = recorder.receiver_pid()
    if number is not None and recorder.process.poll() is None:
        with contextlib.suppress(ProcessLookupError):
            os.kill(number, signal.SIGKILL)
    # One that is killed at its start is not started again: it may be what kills it.
    has_begun = any("RECEIVER READY" in log.read_text()
                    for log in stage.folder.glob("receiver*.log"))
    code = recorder.exit(COMPLETE, GAPS, *(() if has_begun else (FAILURE,)))
    recorder.expect_no_receiver()
    recorder.expect_files(r"programme\.wav(\.json)?")
    return f"exit {code}"


@kind
def client_that_is_killed(stage):
    """A recorder that has joined the receiver that lives on, which must forget it."""
    stage.control.close()
    recorder = Recorder(stage, serve_live(stage), control=stage.veteran.uri)
    recorder.pause(LIVE_S)
    recorder.signal(signal.SIGKILL)
    recorder.exit(COMPLETE, -signal.SIGKILL)
    stage.join()
    active = stage.control.welcome["active"]
    if active and active["state"] != "FINISHED":
        bound = within(END_S)
        reply = stage.control.command("CANCEL", bound, sessionId=active["sessionId"])
        if reply["type"] == "ACK":
            stage.control.finished(bound)
    return "killed"
