"""What a process holds of the system, and whether it holds more and more of it."""
import collections
import os
import pathlib
import statistics

from receiver import endpoint_folder

MIN_QUARTER = 5  # sessions; with fewer, a median says nothing

# What may be more in the last quarter than in the second. Descriptors, threads and files are given
# back at once or not at all; what the allocator holds wanders a little.
Allowance = collections.namedtuple("Allowance", "amount unit")
ALLOWED = {
    "descriptors": Allowance(0, ""),
    "threads": Allowance(0, ""),
    "private memory": Allowance(512, " kB"),
    "endpoint files": Allowance(0, ""),
    "work files": Allowance(0, ""),
}


def private_kilobytes(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        for line in rollup:
            if line.startswith("Private_Dirty:"):
                return int(line.split()[1])
    raise ValueError("no Private_Dirty")


def endpoint_files(names):
    """Those in the directory of endpoints that bear one of the names."""
    try:
        entries = os.listdir(endpoint_folder())
    except FileNotFoundError:
        return 0
    return sum(any(name in entry for name in names) for entry in entries)


def sample(pid, names, work):
    return {
        "descriptors": len(os.listdir(f"/proc/{pid}/fd")),
        "threads": len(os.listdir(f"/proc/{pid}/task")),
        "private memory": private_kilobytes(pid),
        "endpoint files": endpoint_files(names),
        "work files": sum(not path.is_dir() and path.parent.name != "log"
                          for path in pathlib.Path(work).rglob("*")),
    }


def growth(values, kinds):
    """The medians of the second and the last quarter of what follows a warm-up; None when there
    are too few. The warm-up is a tenth, and at least one session of each kind: what a library
    makes at its first use, it keeps."""
    settled = values[max(kinds, len(values) // 10) :]
    quarter = len(settled) // 4
    if quarter < MIN_QUARTER:
        return None
    return (statistics.median(settled[quarter : 2 * quarter]),
            statistics.median(settled[-quarter:]))


def judge(samples, kinds, unlimited=()):
    """(lines that tell each growth, the names of those that have grown too much); what is
    unlimited is told alone."""
    lines, grown = [], []
    for name, (allowed, unit) in ALLOWED.items():
        medians = growth([one[name] for one in samples], kinds)
        if medians is None:
            return ["too few sessions to tell whether anything grows"], []
        before, after = medians
        limit = "not limited" if name in unlimited else f"allowed: {allowed:g} more"
        lines.append(f"{name}: {before:g} in the second quarter, {after:g}{unit} in the last"
                     f" ({limit})")
        if name not in unlimited and after - before > allowed:
            grown.append(name)
    return lines, grown
