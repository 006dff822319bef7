"""What a kind of session is given to work with."""
import contextlib
import random
import shutil
import socket
import subprocess

from receiver import Control, Processes, Receiver, within
from sound import Broadcast, music, wav
from station import Station

SESSION_S = 60  # any session of any kind, on a busy machine
PROGRAM = {"maximumMs": 20000, "fadeMs": 100}


class Stage:
    """Stations, files and the receiver that lives on. begin() makes it ready for one session."""

    def __init__(self, programs, work, name, seed, environment):
        self._programs, self.work, self.name, self._seed = programs, work, name, seed
        self.folder = work / "session"
        sounds = work / "sounds"
        for folder in (self.folder, sounds, work / "temporary", work / "log"):
            folder.mkdir()
        self.broadcast = Broadcast(sounds)
        self.unfit_references = self._make_unfit_references(sounds)
        self._certificate = self._make_certificate(sounds)
        self._names = [name]
        self.processes = Processes(work / "temporary", environment)
        self.station = Station()
        self.secure = Station(self._certificate)
        self._nobody = socket.socket()  # has a port and does not listen
        self._nobody.bind(("127.0.0.1", 0))
        self.nobody = f"http://127.0.0.1:{self._nobody.getsockname()[1]}/radio"
        self.deadline = within(SESSION_S)
        self.chance = random.Random(seed)
        self.path = self.session_id = ""
        self.veteran = Receiver(self.processes, self.program("ReceiverHost"), f"{name}-veteran",
                                work / "log" / "veteran.log", self.deadline)
        self.join()

    def close(self):
        self.processes.close()
        self.station.close()
        self.secure.close()
        self._nobody.close()

    def begin(self, index, kind):
        self.chance = random.Random(f"{self._seed}-{index}")
        self.deadline = within(SESSION_S)
        self.session_id = kind.__name__
        self.path = f"/{kind.__name__}"

    def end(self):
        """Until nothing of the session is left in the receiver."""
        self.control.settle(self.deadline)
        self.processes.expect_only(self.veteran.process)
        for path in list(self.folder.iterdir()):
            shutil.rmtree(path) if path.is_dir() else path.unlink()

    def program(self, name):
        return self._programs / name

    def join(self):
        """Connects to the receiver that lives on, in place of the client before."""
        self.control = Control(self.veteran.uri, self.deadline)
        self.note_instance(self.control.welcome["instanceId"])

    def note_instance(self, name):
        """A name that endpoints of this soak bear."""
        if name not in self._names:
            self._names.append(name)

    def names(self):
        return self._names

    def url(self):
        return self.station.url(self.path)

    def serve(self, *steps):
        """What the session's address answers; the address."""
        self.station.plans[self.path] = steps
        return self.url()

    def request(self, url, start=None, program=PROGRAM, io_timeout_ms=15000):
        keys = {"sessionId": self.session_id, "url": url, "ioTimeoutMs": io_timeout_ms,
                "references": [
                    {"id": "opening", "role": "start",
                     "path": str(start or self.broadcast.start_path)},
                    {"id": "closing", "role": "end", "path": str(self.broadcast.end_path)}]}
        return {**keys, "program": program} if program else keys

    def prepare(self, url, **options):
        self.control.accepted("PREPARE", self.deadline, **self.request(url, **options))

    @staticmethod
    def _make_unfit_references(folder):
        contents = {"empty.wav": b"", "text.wav": b"no sound", "short.wav": wav(music(9, 0.3)),
                    "list.m3u8": b"#EXTM3U\n#EXTINF:4,\nhttp://127.0.0.1:9/a.aac\n"}
        for name, content in contents.items():
            (folder / name).write_bytes(content)
        return [folder / name for name in sorted(contents)]

    @staticmethod
    def _make_certificate(folder):
        """Key and certificate in one file."""
        file = folder / "station.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj",
                        "/CN=127.0.0.1", "-keyout", file, "-out", folder / "certificate.pem"],
                       check=True, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)
        with contextlib.closing(open(file, "ab")) as both:
            both.write((folder / "certificate.pem").read_bytes())
        return file
