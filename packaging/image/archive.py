"""An image as one file that Docker, Podman and containerd load: an OCI layout with one layer, and
beside it the list by which older versions of Docker find the same parts. The same files give the
same bytes."""
import gzip
import hashlib
import io
import json
import tarfile

MEDIA = "application/vnd.oci.image."


def as_json(value):
    return json.dumps(value, indent=2, sort_keys=True).encode() + b"\n"


def digest(data):
    return hashlib.sha256(data).hexdigest()


def blob_path(data):
    return f"blobs/sha256/{digest(data)}"


def descriptor(kind, data, **more):
    return {"mediaType": MEDIA + kind, "digest": f"sha256:{digest(data)}", "size": len(data),
            **more}


def tar_of(files, made_at):
    """Of names and their bytes, in the order of the names."""
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w", format=tarfile.USTAR_FORMAT) as tar:
        for name in sorted(files):
            entry = tarfile.TarInfo(name)
            entry.size, entry.mtime, entry.mode = len(files[name]), made_at, 0o644
            tar.addfile(entry, io.BytesIO(files[name]))
    return buffer.getvalue()


def image_archive(layer, config, name, made_at):
    """`layer` is a tar file, `config` what containers are begun with, `name` as NAME:TAG."""
    packed = gzip.compress(layer, 9, mtime=0)
    created = config["created"]
    configuration = as_json({
        **config, "rootfs": {"type": "layers", "diff_ids": [f"sha256:{digest(layer)}"]},
        "history": [{"created": created, "created_by": "scripts/image"}]})
    manifest = as_json({
        "schemaVersion": 2, "mediaType": MEDIA + "manifest.v1+json",
        "config": descriptor("config.v1+json", configuration),
        "layers": [descriptor("layer.v1.tar+gzip", packed)]})
    index = {
        "schemaVersion": 2, "mediaType": MEDIA + "index.v1+json",
        "manifests": [descriptor("manifest.v1+json", manifest, annotations={
            "io.containerd.image.name": f"docker.io/library/{name}",
            "org.opencontainers.image.ref.name": name.partition(":")[2]})]}
    return tar_of({
        "oci-layout": as_json({"imageLayoutVersion": "1.0.0"}),
        "index.json": as_json(index),
        "manifest.json": as_json([{"Config": blob_path(configuration), "RepoTags": [name],
                                   "Layers": [blob_path(packed)]}]),
        blob_path(configuration): configuration,
        blob_path(manifest): manifest,
        blob_path(packed): packed,
    }, made_at)


def layer_of(archive):
    """The layer that an engine would unpack: found as it finds it, each digest checked."""
    with tarfile.open(archive) as tar:
        def read(path):
            return tar.extractfile(path).read()

        def blob(part):
            data = read(part["digest"].replace("sha256:", "blobs/sha256/"))
            if f"sha256:{digest(data)}" != part["digest"] or len(data) != part["size"]:
                raise ValueError(f"{part['digest']} is another one")
            return data

        manifest = json.loads(blob(json.loads(read("index.json"))["manifests"][0]))
        configuration = json.loads(blob(manifest["config"]))
        layer = gzip.decompress(blob(manifest["layers"][0]))
        [listed] = json.loads(read("manifest.json"))
        layers = [part["digest"].replace("sha256:", "blobs/sha256/") for part in manifest["layers"]]
        if layers != listed["Layers"]:
            raise ValueError("both lists of the image differ")
        if configuration["rootfs"]["diff_ids"] != [f"sha256:{digest(layer)}"]:
            raise ValueError("the layer is another one")
        return layer, configuration
