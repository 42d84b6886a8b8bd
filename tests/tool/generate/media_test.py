#!/usr/bin/env python3
"""media_test.py PROGRAM: the pictures and sounds that PROGRAM generates are what their formats want."""

import collections
import os
import struct
import subprocess
import sys
import tempfile
import wave
import zlib


def check_png(data):
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, at = {}, 8
    while at < len(data):
        (length,) = struct.unpack(">I", data[at:at + 4])
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        assert struct.unpack(">I", data[at + 8 + length:at + 12 + length])[0] == zlib.crc32(kind + body)
        chunks[kind] = body
        at += 12 + length
    width, height, depth, colours = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    assert (depth, colours) == (8, 2) and list(chunks)[-1] == b"IEND"
    assert len(zlib.decompress(chunks[b"IDAT"])) == height * (1 + 3 * width)


def jpeg_codes(table):
    """The symbols of a DHT segment's table by their (code, length)."""
    codes, code, symbols = {}, 0, iter(table[17:])
    for length, count in enumerate(table[1:17], 1):
        for _ in range(count):
            codes[code, length] = next(symbols)
            code += 1
        code <<= 1
    return codes


def check_jpeg(data):
    segments, at = collections.defaultdict(list), 2
    assert data[:2] == b"\xff\xd8"
    while 0xDA not in segments:
        assert data[at] == 0xFF
        (length,) = struct.unpack(">H", data[at + 2:at + 4])
        segments[data[at + 1]].append(data[at + 4:at + 2 + length])
        at += 2 + length
    (frame,) = segments[0xC0]
    _, height, width, components = struct.unpack(">BHHB", frame[:6])
    tables = {table[0]: jpeg_codes(table) for table in segments[0xC4]}
    assert data[-2:] == b"\xff\xd9"
    scan = data[at:-2]
    assert scan.count(b"\xff") == scan.count(b"\xff\x00")
    bits = "".join(f"{byte:08b}" for byte in scan.replace(b"\xff\x00", b"\xff"))
    position = 0

    def symbol(table):
        nonlocal position
        for length in range(1, 17):
            code = bits[position:position + length]
            if (int(code, 2), length) in table:
                position += length
                return table[int(code, 2), length]
        raise AssertionError("no such code")

    last = [0] * components
    for _ in range(height // 8 * (width // 8)):
        for component in range(components):
            size = symbol(tables[0x00])
            value = int(bits[position:position + size] or "0", 2)
            position += size
            last[component] += value if size == 0 or value >> (size - 1) else value - (1 << size) + 1
            assert -128 < last[component] < 128, last
            assert symbol(tables[0x10]) == 0
    assert len(bits) - position < 8 and set(bits[position:]) <= {"1"}


def check_gif(data):
    assert data[:6] == b"GIF89a"
    width, height, flags = struct.unpack("<HHB", data[6:11])
    at = 13 + 3 * (2 << (flags & 7))
    assert data[at:at + 10] == struct.pack("<BHHHHB", 0x2C, 0, 0, width, height, 0)
    assert data[at + 10] == 7
    at += 11
    codes = b""
    while data[at]:
        codes += data[at + 1:at + 1 + data[at]]
        at += 1 + data[at]
    assert data[at:] == b"\x00\x3b" and codes[0] == 128 and codes[-1] == 129
    # A code takes a ninth bit when 127 strings are known.
    assert all(len(run) < 127 for run in codes.split(b"\x80"))
    assert sum(code < 128 for code in codes) == width * height


def check_wav(path):
    with wave.open(path) as sound:
        assert (sound.getnchannels(), sound.getsampwidth(), sound.getframerate()) == (1, 1, 8000)
        assert len(sound.readframes(1 << 20)) == sound.getnframes() >= 800


def check_amr(data):
    assert data[:6] == b"#!AMR\n"
    frames = data[6:]
    assert frames and len(frames) % 13 == 0 and set(frames[::13]) == {0x04}


def check_vcf(data):
    lines = data.decode().split("\r\n")
    assert lines[:2] == ["BEGIN:VCARD", "VERSION:3.0"] and lines[-2:] == ["END:VCARD", ""]


def main():
    program = sys.argv[1]
    seen = collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "MSG_TARVEL_DATA_DIR": folder}
        for arguments in ["create"], ["generate", "--messages", "2500"]:
            subprocess.run([program, *arguments], env=environment, stdout=subprocess.DEVNULL, check=True)
        media = os.path.join(folder, "media")
        for name in os.listdir(media):
            path = os.path.join(media, name)
            kind = name.rsplit(".", 1)[1]
            with open(path, "rb") as file:
                data = file.read()
            try:
                if kind == "wav":
                    check_wav(path)
                else:
                    {"png": check_png, "jpg": check_jpeg, "gif": check_gif, "amr": check_amr, "vcf": check_vcf}[kind](data)
            except Exception as error:
                sys.exit(f"{name}: {error!r}")
            seen[kind] += 1
    for kind in "png", "jpg", "gif", "wav", "amr", "vcf":
        assert seen[kind] >= 5, seen


if __name__ == "__main__":
    main()
