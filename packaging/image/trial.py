"""Tries an image: as its own user, with a root that cannot be written, a recorder records from
a station on loopback, and what it has recorded is what was sent, to the sample."""
import contextlib
import os
import pathlib
import shutil
import subprocess
import tarfile
import tempfile

import archive
from sound import CHANNELS, FRAME_BYTES, RATE, music, wav
from station import Station, head, send, stall
from troubles import decode

SOUND_S, RECORDED_S = 6, 2
COMMAND_S = 120
# What an engine gives a container: devices, processes, room for temporary files, and a volume.
ENTER = """set -eu
root=$1 volume=$2 user=$3
shift 3
mount --make-rprivate /
mount --bind "$root" "$root"
mount -t tmpfs -o mode=755 tmpfs "$root/dev"
for device in null urandom; do
    touch "$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
done
mount -t proc proc "$root/proc"
mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
mount --bind "$volume" "$root/mnt"
mount -o remount,bind,ro "$root"
exec chroot --userspec="$user" "$root" /usr/bin/env -i "$@"
"""


class Failure(Exception):
    pass


def output_of(command, **options):
    done = subprocess.run([str(part) for part in command], text=True, capture_output=True,
                          timeout=COMMAND_S, stdin=subprocess.DEVNULL, **options)
    if done.returncode:
        raise Failure(f"{command[0]} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done.stdout


def expect_licences(root):
    """Of every package, and the SBOM that names them all."""
    documents = root / "usr/share/doc"
    packages = output_of(["dpkg-query", f"--admindir={root}/var/lib/dpkg", "-W",
                          "-f=${Package}\n"]).split()
    for package in packages:
        if not (documents / package / "copyright").resolve().exists():
            raise Failure(f"{package} is there without its licence")
    bill = (documents / "receiverhost/sbom.spdx.json").read_text()
    missing = [one for one in packages if f'"name": "{one}"' not in bill]
    if missing or not {"receiverhost", "receiverhost-lean"} & set(packages):
        raise Failure(f"the SBOM is without {missing or 'receiverhost'}")
    if "receiverhost-lean" in packages and '"name": "ffmpeg"' not in bill:
        raise Failure("the SBOM is without what is in the programs")


def expect_recording(run, volume):
    """`run` runs a command in the image."""
    version = run("receiver-record", "--version")
    if "Licence: " not in version:
        raise Failure(f"receiver-record --version says {version}")
    if run("id", "-u").strip() == "0":
        raise Failure("it runs as root")
    sound = music(1, SOUND_S)
    with contextlib.closing(Station()) as station:
        station.plans["/radio"] = [send(head("audio/wav") + wav(sound)), stall]
        run("receiver-record", station.url("/radio"), "--now", "--max", f"{RECORDED_S}s",
            "--output", "/mnt/recorded.flac")
    expected = sound.tobytes()[: RECORDED_S * RATE * FRAME_BYTES]
    if decode(volume / "recorded.flac") != expected:
        raise Failure(f"what it has recorded is not what was sent, in {CHANNELS} channels")


def in_namespaces(image, work, volume):
    layer, configuration = archive.layer_of(image)
    settings = configuration["config"]
    root = work / "root"
    packed = work / "layer.tar"
    packed.write_bytes(layer)
    with tarfile.open(packed) as tar:
        tar.extractall(root, numeric_owner=True)
    expect_licences(root)
    enter = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-c", ENTER, "enter",
             root, volume, settings["User"], *settings["Env"]]
    expect_recording(lambda *command: output_of([*enter, *command]), volume)


def by_engine(engine, image, name, volume):
    output_of([engine, "load", "--input", image])
    try:
        run = [engine, "run", "--rm", "--network=host", "--read-only", "--tmpfs=/tmp",
               "--cap-drop=ALL", f"--volume={volume}:/mnt", name]
        expect_recording(lambda *command: output_of([*run, *command]), volume)
    finally:
        output_of([engine, "rmi", name])


def runs(*command):
    with contextlib.suppress(OSError, subprocess.TimeoutExpired):
        return subprocess.run(command, capture_output=True, timeout=COMMAND_S,
                              stdin=subprocess.DEVNULL).returncode == 0
    return False


def run(image, name):
    """Prints how it was tried, and where not; a Failure when it is not well."""
    def tried(text, trial, *arguments):
        with tempfile.TemporaryDirectory(prefix="receiver-image-") as folder:
            work = pathlib.Path(folder)
            work.chmod(0o755)
            volume = work / "volume"
            volume.mkdir()
            volume.chmod(0o777)
            trial(*arguments, *([work] if trial is in_namespaces else []), volume)
        print(f"image: {text}", flush=True)

    if os.geteuid() == 0 and runs("unshare", "--mount", "--pid", "--fork", "true"):
        tried("recorded as its user in namespaces, with a root that cannot be written",
              in_namespaces, image)
    else:
        print("image: not tried in namespaces, which takes root and the right to make them")
    for engine in ("docker", "podman"):
        if shutil.which(engine) and runs(engine, "info"):
            tried(f"loaded and recorded by {engine}", by_engine, engine, image, name)
        else:
            print(f"image: not tried by {engine}, which does not run here")
