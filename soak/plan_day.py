"""A plan's day in some minutes: stations whose programmes stand between jingles, the plan that has
two copies of each recorded, and what has to come of it."""
import array
import concurrent.futures
import contextlib
import dataclasses
import json
import os
import pathlib
import random
import subprocess
import time

from icecast import MOUNT, Icecast
from line import Line
from lines import CODECS, encode
from receiver import Fault
from sound import CHANNELS, FRAME_BYTES, RATE, music, wav
from troubles import decode, place_in

CODECS_USED = ("mp3", "vorbis", "flac")  # all decoders make the same samples of them
BURST_S = 1  # the server's: no outage is covered by it
JINGLE_S, PROGRAMME_S = 2, 18
FIRST_S = 36  # the first opening, from the stations' beginning on: until then all is submitted
EVERY_S = 34  # from one opening of a station to the next
AHEAD_S = 8  # so long before its programme a run begins
WAIT_S, MAXIMUM_S = 20, 60
AFTER_S = 20  # what is broadcast behind the last programme
CUT_AFTER_S = KILL_AFTER_S = JINGLE_S + PROGRAMME_S / 2  # from an opening's beginning on
OUTAGE_S = 3
MAX_BESIDE_S = 0.05  # codecs put some silence before all; no programme begins or ends this far off
PLAN_S = 60


@dataclasses.dataclass
class Programme:
    name: str
    station: int
    opening_s: float  # from the station's beginning on
    opening: pathlib.Path
    closing: pathlib.Path

    @property
    def end_s(self):
        return self.opening_s + 2 * JINGLE_S + PROGRAMME_S


class Sounds:
    """Pieces of chords in an order that never comes twice, so that each of them can be known."""

    def __init__(self, seed):
        self._chance = random.Random(seed)
        self._chords = [music(seed * 100 + one, 0.5) for one in range(16)]

    def make(self, seconds):
        samples = array.array("h")
        count = round(seconds * RATE) * CHANNELS
        while len(samples) < count:
            chord = self._chance.choice(self._chords)
            samples += chord[: 2 * self._chance.randrange(len(chord) // 4, len(chord) // 2)]
        return samples[:count]


class Stations:
    """All of them, from construction to close(). They are on air from begin() on."""

    def __init__(self, processes, work, seed, stations, programmes):
        self._processes, self._work = processes, work
        self._closing = contextlib.ExitStack()
        self.programmes, self._sounds = [], []
        sounds = Sounds(seed)
        for station in range(stations):
            mine = programmes // stations + (station < programmes % stations)
            self._sounds.append(self._compose(sounds, station, mine))
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
            self.masters = list(workers.map(encode, self._sounds, map(self.codec, range(stations))))
        self.line = None
        self._began, self.urls = [], []

    @staticmethod
    def codec(station):
        return CODECS_USED[station % len(CODECS_USED)]

    def _compose(self, sounds, station, count):
        folder = self._work / f"station{station + 1}"
        folder.mkdir()
        folder.chmod(0o777)
        closing, samples = sounds.make(JINGLE_S), sounds.make(FIRST_S)
        (folder / "closing.wav").write_bytes(wav(closing))
        for number in range(count):
            opening = sounds.make(JINGLE_S)
            name = f"programme-{station + 1}-{number + 1}"
            programme = Programme(name, station, len(samples) / CHANNELS / RATE,
                                  folder / f"{name}.wav", folder / "closing.wav")
            programme.opening.write_bytes(wav(opening))
            samples += opening + sounds.make(PROGRAMME_S) + closing
            samples += sounds.make(programme.opening_s + EVERY_S - programme.end_s)
            self.programmes.append(programme)
        samples += sounds.make(AFTER_S)
        (folder / "sound.wav").write_bytes(wav(samples))
        return folder / "sound.wav"

    def begin(self, line_of):
        """The station with this number has a line in front of it that can be cut."""
        for station, master in enumerate(self.masters):
            _, formats, bits, _ = CODECS[self.codec(station)]
            self._began.append(time.time())
            icecast = self._closing.enter_context(contextlib.closing(
                Icecast(self._processes, master.parent, master, formats, BURST_S * bits // 8, 20)))
            self.urls.append(icecast.url)
            if station == line_of:
                self.line = self._closing.enter_context(contextlib.closing(Line(icecast.port)))
                self.urls[-1] = f"http://127.0.0.1:{self.line.port}{MOUNT}"

    def time_of(self, programme, seconds=0):
        """When its opening is on air, or so much later, as seconds since 1970."""
        return self._began[programme.station] + programme.opening_s + seconds

    def close(self):
        self._closing.close()


def plan_text(stations, recordings, zone, zone_offset_s):
    """Of all programmes, each twice, beginning as the stations do."""
    text = (f'[defaults]\nfolder = "{recordings}"\nformat = "flac"\ncopies = 2\n'
            f'wait = "{WAIT_S}s"\nmax = "{MAXIMUM_S}s"\n')
    for number, url in enumerate(stations.urls, start=1):
        text += f'\n[stations.station-{number}]\nurl = "{url}"\nzone = "{zone}"\n'
    for programme in stations.programmes:
        moment = stations.time_of(programme, -AHEAD_S) + zone_offset_s
        when = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(moment))
        text += (f'\n[programs.{programme.name}]\nstation = "station-{programme.station + 1}"\n'
                 f'when = "{when}"\nstart = "{programme.opening}"\nend = "{programme.closing}"\n')
    return text


class Copies:
    """What has been recorded of one programme: `files` by the copy's number, and of the killed one
    what was left of it. A Fault when anything is missing, or there twice."""

    def __init__(self, recordings, programme, killed=()):
        self.programme = programme
        self.folder = recordings / programme.name
        self.files, expected = {}, set()
        for copy in (1, 2):
            found = list(self.folder.glob(f"*.copy{copy}.flac" + ".part" * (copy in killed)))
            if len(found) != 1:
                raise Fault(f"copy {copy} of {programme.name} is there {len(found)} times")
            [self.files[copy]] = found
            expected.update({found[0]} if copy in killed else {found[0], self.sidecar_path(copy)})
        # Named after the first that is whole.
        first = min(copy for copy in (1, 2) if copy not in killed)
        name = self.files[first].name.replace(f".copy{first}", "")
        self._healed = self.folder / name
        expected.update({self._healed, self.folder / f"{name}.json"})
        if more := set(self.folder.iterdir()) - expected:
            raise Fault(f"of {programme.name} there is also {sorted(map(str, more))}")

    def sidecar_path(self, copy):
        return pathlib.Path(f"{self.files[copy]}.json")

    def sidecar(self, copy):
        return json.loads(self.sidecar_path(copy).read_text())

    def healed(self):
        """The file that was put together, and what its sidecar says."""
        return self._healed, json.loads(pathlib.Path(f"{self._healed}.json").read_text())


def expect_master(file, programme, master):
    """The file holds what the master does from the opening's beginning to the closing's end, to
    the sample; returns its frames."""
    pcm = decode(file)
    begin = place_in(master, pcm)
    if not pcm or begin < 0:
        raise Fault(f"{file.name} of {programme.name} is not what was broadcast")
    end = begin + len(pcm) // FRAME_BYTES
    for found, expected in ((begin, programme.opening_s), (end, programme.end_s)):
        if abs(found / RATE - expected) > MAX_BESIDE_S:
            raise Fault(f"{file.name} of {programme.name} has {begin / RATE:.3f} s to "
                        f"{end / RATE:.3f} s of the broadcast, not {programme.opening_s:.3f} s to "
                        f"{programme.end_s:.3f} s")
    return end - begin
