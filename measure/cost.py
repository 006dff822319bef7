"""What processes have cost so far, as the system counts it; and medians with their spread."""
import contextlib
import os
import pathlib
import re
import statistics
import time

CPUCLOCK_SCHED = 2  # of linux/posix-timers.h: the clock of a process, to the nanosecond


def processor_s(pid):
    """Of all its threads, those that have ended too."""
    return time.clock_gettime((~pid << 3) | CPUCLOCK_SCHED)


def wake_ups(pid):
    """How often its threads have begun to wait."""
    count = 0
    for status in pathlib.Path(f"/proc/{pid}/task").glob("*/status"):
        with contextlib.suppress(FileNotFoundError):
            count += int(re.search(r"\nvoluntary_ctxt_switches:\s+(\d+)", status.read_text())[1])
    return count


def private_bytes(pid):
    """Pages that no other process shares. What is read of files alone is left out: whether another
    receiver has read it, too, is chance."""
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return 1024 * int(re.search(r"\nPrivate_Dirty:\s+(\d+) kB", text)[1])


class Meter:
    """A process over a window."""

    def __init__(self, pid):
        self._pid = pid
        self.begin()

    def begin(self):
        self._began = time.monotonic()
        self._processor = processor_s(self._pid)
        self._wake_ups = wake_ups(self._pid)

    def read(self):
        """Processor seconds an hour, wake-ups a second."""
        seconds = time.monotonic() - self._began
        return ((processor_s(self._pid) - self._processor) / seconds * 3600,
                (wake_ups(self._pid) - self._wake_ups) / seconds)


def wait_for_cost(process):
    """Until it has ended: its processor time."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_utime + usage.ru_stime


class Figure:
    """What was measured several times."""

    def __init__(self, values):
        self.values = list(values)

    @property
    def median(self):
        return statistics.median(self.values)

    def text(self, digits, unit=""):
        if len(self.values) == 1:
            return f"{self.values[0]:.{digits}f}{unit}"
        low, high = (f"{value:.{digits}f}" for value in (min(self.values), max(self.values)))
        return f"{self.median:.{digits}f}{unit} ({low}…{high})"
