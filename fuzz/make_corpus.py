#!/usr/bin/env python3
"""Writes the corpora that are not written by hand: fuzz/corpus/{log,reference,network} and the
recordings among fuzz/corpus/hash.

    fuzz/make_corpus.py

The same bytes each time, from this file alone; the coded streams need an ffmpeg, whose release
shows in their bytes but not in what they are for. Run it when an input is added here.
"""
import json
import math
import pathlib
import struct
import subprocess

CORPUS = pathlib.Path(__file__).resolve().parent / "corpus"

# The first byte of an input of the network target: the place in its kKinds.
MP3, MP3_ICY, PLAYLIST, PLAYLIST_UNTIL_CLOSE, AAC, OGG, FLAC, WAV, TS, MP4, MKV, HTML, RAW = range(13)


def noise(count):
    """Numbers that look random, from -128 to 127."""
    state, numbers = 1, []
    for _ in range(count):
        state = (state * 1103515245 + 12345) % 2**31
        numbers.append((state >> 16) % 256 - 128)
    return numbers


def wav(rate, channels, samples, bits=8, claimed=None):
    """8-bit samples are unsigned; `claimed` bytes of audio in the header instead of the true ones."""
    audio = bytes(s + 128 for s in samples) if bits == 8 else struct.pack(f"<{len(samples)}h", *samples)
    align = channels * bits // 8
    form = struct.pack("<HHIIHH", 1, channels, rate, rate * align, align, bits)
    size = len(audio) if claimed is None else claimed
    return (b"RIFF" + struct.pack("<I", 36 + size) + b"WAVEfmt " + struct.pack("<I", 16) + form +
            b"data" + struct.pack("<I", size) + audio)


def coded(form, codec, seconds=0.3, rate=16000, options=()):
    """A tone, as ffmpeg codes it."""
    tone = struct.pack(f"<{int(rate * seconds)}h",
                       *(int(9000 * math.sin(i * 2 * math.pi * 440 / rate)) for i in range(int(rate * seconds))))
    return subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-f", "s16le", "-ar", str(rate), "-ac", "1", "-i", "-",
         "-fflags", "+bitexact", "-flags:a", "+bitexact", "-c:a", codec, *options, "-f", form, "-"],
        input=tone, stdout=subprocess.PIPE, check=True).stdout


def flac(seconds):
    """Without the padding that ffmpeg leaves for later tags."""
    stream = coded("flac", "flac", seconds, 8000)
    at, blocks = 4, []
    while not blocks or not blocks[-1][0] & 0x80:
        end = at + 4 + int.from_bytes(stream[at + 1 : at + 4], "big")
        blocks.append(stream[at:end])
        at = end
    kept = [block for block in blocks if block[0] & 0x7F != 1]
    kept[-1] = bytes([kept[-1][0] | 0x80]) + kept[-1][1:]
    return b"fLaC" + b"".join(kept) + stream[at:]


def playlist(*segments, head="", end="#EXT-X-ENDLIST\n"):
    lines = "".join(f"#EXTINF:2.0,\n{segment}\n" for segment in segments)
    return f"#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n{head}{lines}{end}".encode()


def write(target, inputs):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in inputs.items():
        (folder / name).write_bytes(content)


def main():
    write("log", {name + ".json": json.dumps(value, ensure_ascii=False).encode() for name, value in {
        "empty": {},
        "plain": {"type": "ACK", "version": 1, "command": "CANCEL", "requestId": "r1"},
        "rejected": {"type": "REJECTED", "message": "two words, a \"quote\" and = a sign"},
        "line_ends": {"type": "A\r\nB", "key\nwith\rends": "1\n2\r3"},
        "nested": {"type": "FINISHED", "program": {"start": 1, "matches": [{"ber": 0.125}, None, []]},
                   "stats": {"a": {}, "b": [True, "x y"]}},
        "no_type": {"a": [1, [2, [3]]]},
        "type_no_text": {"type": {"type": "ERROR"}, "b": ""},
        "unicode": {"type": "DETECTED", "é": "音\u2028\u0000\u001b[31m"},
        "numbers": {"a": -0.0, "b": 1e308, "c": 2**64 - 1, "d": -(2**63)},
    }.items()} | {"no_json": b"{\"type\":", "no_object.json": b"[1]"})

    second = noise(1300)
    write("reference", {
        "empty": b"",
        "text.txt": b"This is no audio at all.\n",
        "too_short.wav": wav(1000, 1, second[:300]),
        "sixteen_words.wav": wav(1000, 1, second[:560]),
        "a_second.wav": wav(1000, 1, second[:1000]),
        "stereo.wav": wav(1000, 2, second[:1300]),
        "three_channels.wav": wav(1000, 3, (second + second)[:1800]),
        "sixteen_bits.wav": wav(1000, 1, [256 * s for s in second[:700]], bits=16),
        "cut.wav": wav(1000, 1, second[:600], claimed=100000),
        "no_samples.wav": wav(1000, 1, []),
        "tone.flac": flac(0.7),
        "playlist.m3u8": playlist("a.wav"),
    })

    aac = coded("adts", "aac", 0.2, 16000, ["-b:a", "16k"])
    mark = b"\0"
    write("network", {name: bytes([kind]) + body for name, (kind, body) in {
        "mp3": (MP3, coded("mp3", "libmp3lame", 0.2, 16000, ["-b:a", "16k"])),
        "mp3_icy": (MP3_ICY, coded("mp3", "libmp3lame", 0.2, 16000, ["-b:a", "16k"])),
        "aac": (AAC, aac),
        "ogg_vorbis": (OGG, coded("ogg", "libvorbis", 0.1, 8000)),
        "ogg_flac": (OGG, coded("ogg", "flac", 0.1, 8000)),
        "flac": (FLAC, flac(0.1)),
        "wav": (WAV, wav(8000, 1, noise(200))),
        "wav_half_frame": (WAV, wav(8000, 3, noise(199))),
        "wav_rate_zero": (WAV, wav(0, 1, noise(50))),
        "ts": (TS, coded("mpegts", "aac", 0.1, 16000, ["-b:a", "16k"])),
        "mp4": (MP4, coded("mp4", "aac", 0.1, 16000,
                           ["-b:a", "16k", "-movflags", "frag_keyframe+empty_moov"])),
        "mkv": (MKV, coded("matroska", "flac", 0.05, 8000)),
        "html": (HTML, b"<html><body>The stream has moved.</body></html>"),
        "empty": (MP3, b""),
        "raw": (RAW, struct.pack("<200h", *noise(200))),
        "playlist": (PLAYLIST, playlist("segment.aac") + mark + aac),
        "playlist_until_close": (PLAYLIST_UNTIL_CLOSE, playlist("/segment.aac", "/segment.aac") + mark + aac),
        "playlist_full_address": (PLAYLIST, playlist("http://station/segment.aac") + mark + aac),
        "playlist_byte_range": (PLAYLIST, playlist(
            "segment.aac", head="#EXT-X-BYTERANGE:100@0\n") + mark + aac),
        "playlist_key": (PLAYLIST, playlist(
            "segment.aac", head='#EXT-X-KEY:METHOD=AES-128,URI="/key",IV=0x00\n') + mark + b"0123456789abcdef"),
        "playlist_map": (PLAYLIST, playlist(
            "segment.aac", head='#EXT-X-MAP:URI="/segment"\n') + mark + aac),
        "playlist_of_playlists": (PLAYLIST,
            b"#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=64000\n/segment\n" + mark + playlist("/segment.aac")),
        "playlist_of_itself": (PLAYLIST,
            b"#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=64000\n/radio.m3u8\n"),
        "playlist_live": (PLAYLIST, playlist("segment.aac", end="") + mark + aac),
        "playlist_file": (PLAYLIST, playlist("file:/etc/passwd", "data:audio/aac;base64,AAAA")),
        "playlist_other_host": (PLAYLIST, playlist("http://example.org/a.aac")),
    }.items()})


if __name__ == "__main__":
    main()
