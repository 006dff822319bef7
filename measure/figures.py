"""The measurements, one function each. Every one returns Figures by name."""
import collections
import contextlib
import itertools
import statistics
import time

import sound
from cost import Figure, Meter, private_bytes, processor_s, wait_for_cost
from receiver import Fault, within
from stage import (AHEAD_BYTES, BYTES_PER_S, PATIENCE_S, Session, ended_after,
                   listening_after, paced)
from station import head, send

SETTLE_S = 8  # until what was sent at once has been heard
HOUR_S = 3600
STREAM_PIECE_BYTES = 209  # half a frame: what is waited for is not the next piece
JINGLE_S, PAUSE_S = 2, 1.5
LOOK_BACK_MS = 20000
# Looks at a file that does not change, as often as a receiver does at its session.
BARE_WAKE_UPS = ["tail", "-f", "---disable-inotify", "-s", "0.05", "/dev/null"]


def burst(stage, rounds):
    """As fast as it reads: processor seconds an hour of stream, and against ffmpeg's."""
    hours = stage.burst_s / HOUR_S
    url = stage.station.url("/burst")
    costs = collections.defaultdict(list)
    for _ in range(rounds):
        for name in ("ffmpeg", "mpg123"):
            costs[name].append(wait_for_cost(stage.start(stage.players(url)[name])) / hours)
        for build, count in itertools.product(stage.builds, (1, 32)):
            with contextlib.closing(Session(stage, build)) as session:
                idle = processor_s(session.pid)
                session.prepare(url, stage.starts(count))
                connected = processor_s(session.pid)
                session.control.finished(within(PATIENCE_S * 10))
                cost = (processor_s(session.pid) - connected) / hours
            costs[f"{build} {count}"].append(cost)
            costs[f"{build} {count} / ffmpeg"].append(cost / costs["ffmpeg"][-1])
            costs[f"{build} loading {count}"].append(connected - idle)
    return {name: Figure(values) for name, values in costs.items()}


def live(stage, rounds, window_s):
    """One of each at the same time: processor seconds an hour, wake-ups a second."""
    url = stage.station.url("/live")
    figures = {}
    with contextlib.ExitStack() as running:
        sessions, pids = {}, {}
        for build in stage.builds:
            idle = running.enter_context(contextlib.closing(Session(stage, build)))
            session = running.enter_context(contextlib.closing(Session(stage, build)))
            session.prepare(url, stage.starts(1))
            sessions[build] = session
            pids |= {f"{build} idle": idle.pid, build: session.pid}
        for name, command in (stage.players(url) | {"bare": BARE_WAKE_UPS}).items():
            process = stage.start(command)
            running.callback(process.kill)
            pids[name] = process.pid
        time.sleep(SETTLE_S)
        costs = {name: [] for name in pids}
        for _ in range(rounds):
            meters = {name: Meter(pid) for name, pid in pids.items()}
            time.sleep(window_s)
            for name, meter in meters.items():
                costs[name].append(meter.read())
        for name, readings in costs.items():
            figures[name] = Figure(cost for cost, _ in readings)
            figures[f"{name} wake-ups"] = Figure(rate for _, rate in readings)
        figures["bare us"] = Figure(cost / HOUR_S / rate * 1e6 for cost, rate in costs["bare"])
        for build, session in sessions.items():
            private = private_bytes(session.pid) - session.buffer()["retainedBytes"]
            figures[f"{build} private MiB"] = Figure([private / 2**20])
            idle = private_bytes(pids[f"{build} idle"])
            figures[f"{build} idle private MiB"] = Figure([idle / 2**20])
    return figures


def start(stage, count):
    figures = {"true ms": Figure(1000 * ended_after("true") for _ in range(count))}
    for build, folder in stage.builds.items():
        program = folder / "ReceiverHost"
        listening_after(program, stage.work)  # it is in memory from here on
        figures[f"{build} ms"] = Figure(1000 * listening_after(program, stage.work)
                                        for _ in range(count))
    return figures


def latency(stage, count):
    """From the sending of a jingle's last sample to DETECTED, ms."""
    jingle, pause = sound.music(77, JINGLE_S), sound.music(78, PAUSE_S)
    path = stage.work / "jingle.wav"
    path.write_bytes(sound.wav(jingle))
    data = stage.encode("jingles", pause + jingle + pause)
    end = round((PAUSE_S + JINGLE_S) * BYTES_PER_S)
    sent = []

    def note(position):
        # The round of the loop that this piece has completed the jingle of.
        if position % len(data) >= end > (position - STREAM_PIECE_BYTES) % len(data):
            sent.append(time.monotonic())

    stage.station.plans["/jingles"] = [send(head("audio/mpeg")),
                                       paced(data, STREAM_PIECE_BYTES, note)]
    delays = []
    with contextlib.closing(Session(stage)) as session:
        session.prepare(stage.station.url("/jingles"),
                        [*stage.starts(1), ("other", path)])
        skip = AHEAD_BYTES // len(data) + 1  # of these nobody knows when they were sent
        while len(delays) < count:
            event = session.control.event(within(PATIENCE_S))
            if event["type"] != "DETECTED":
                raise RuntimeError(f"{event['type']} instead of a jingle")
            now = time.monotonic()
            if skip:
                skip -= 1
                sent.clear()
            elif sent:
                delays.append(1000 * (now - sent[-1]))
    return {"release ms": Figure(delays)}


class Fleet:
    """Sessions of a process each, on one Icecast, and how far behind the stream they are."""

    def __init__(self, stage, count):
        self.count = count
        self._all = contextlib.ExitStack()
        try:
            self.icecast = self._all.enter_context(contextlib.closing(stage.icecast(count)))
            self.sessions = []
            for _ in range(count):
                session = self._all.enter_context(contextlib.closing(Session(stage)))
                # The audio of an hour and of 200 sessions fits into no machine's memory.
                session.begin(self.icecast.url, stage.starts(1), lookBackMs=LOOK_BACK_MS)
                self.sessions.append(session)
            # FFmpeg wants more of an MP3 joined amid a frame than what Icecast sends at once.
            for session in self.sessions:
                session.await_connection()
        except BaseException:
            self._all.close()
            raise

    def heard(self):
        """When and how much each has heard; None for one that has ended."""
        readings = []
        for session in self.sessions:
            with contextlib.suppress(Fault):
                buffer = session.buffer()
                readings.append(buffer and (time.monotonic(), buffer["nextSample"] / sound.RATE,
                                            buffer["retainedBytes"]))
                continue
            readings.append(None)
        return readings

    def processor_s(self):
        return sum(processor_s(session.pid) for session in self.sessions)

    def close(self):
        self._all.close()


def many(stage, count, minutes, every_s=10):
    """Lateness is against the first look: real time that has passed less what was heard."""
    with contextlib.closing(Fleet(stage, count)) as fleet:
        time.sleep(SETTLE_S)
        first = fleet.heard()
        began, cost = time.monotonic(), fleet.processor_s()
        server = processor_s(fleet.icecast.server.pid)
        worst, middle = [], []
        while time.monotonic() < began + 60 * minutes:
            time.sleep(every_s)
            now = fleet.heard()
            late = [(b[0] - a[0]) - (b[1] - a[1]) for a, b in zip(first, now) if a and b]
            worst.append(max(late, default=float("inf")))
            middle.append(statistics.median(late) if late else float("inf"))
        seconds = time.monotonic() - began
        quarter = max(1, len(worst) // 4)
        private = [private_bytes(session.pid) - reading[2]
                   for session, reading in zip(fleet.sessions, now) if reading]
        return {"sessions": count, "minutes": minutes,
                "alive": sum(reading is not None for reading in now),
                "processors": (fleet.processor_s() - cost) / seconds,
                "icecast processors": (processor_s(fleet.icecast.server.pid) - server) / seconds,
                "late at first s": statistics.median(worst[:quarter]),
                "late at last s": statistics.median(worst[-quarter:]),
                "median late s": statistics.median(middle[-quarter:]),
                "private MiB": statistics.median(private) / 2**20 if private else 0.0}
