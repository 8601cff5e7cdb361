# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""WAV files from readable parts for the scripts: riff(fmt(2), chunk(b"data", samples))."""

import struct


def chunk(name, body, size=None):
    """A chunk and its pad byte. What its header says of its length can be another `size`."""
    return (name + struct.pack("<I", len(body) if size is None else size) + body
            + bytes(len(body) % 2))


def data(samples, size=None):
    """Without the pad byte."""
    return chunk(b"data", samples, size)[:8 + len(samples)]


def fmt(channels=1, bits=16, tag=1, frame=None, sub_tag=1):
    """An extensible format where the tag is 0xFFFE."""
    frame = channels * bits // 8 if frame is None else frame
    body = struct.pack("<HHIIHH", tag, channels, 48000, 48000 * frame, frame, bits)
    if tag == 0xFFFE:
        body += struct.pack("<HHIH", 22, bits, (1 << channels) - 1, sub_tag)
        body += bytes.fromhex("000000001000800000aa00389b71")
    return chunk(b"fmt ", body)


def riff(*chunks, size=None, name=b"RIFF", form=b"WAVE"):
    body = form + b"".join(chunks)
    return name + struct.pack("<I", len(body) if size is None else size) + body


def mixed(*channels, bits=16):
    """The samples of a file of these channels."""
    width = bits // 8
    return b"".join(channel[at:at + width] for at in range(0, len(channels[0]), width)
                    for channel in channels)


def channel_of(samples, number, count=2, bits=16):
    """The samples of one channel, counted from 0, of a file of `count` channels."""
    width = bits // 8
    return b"".join(samples[at:at + width]
                    for at in range(number * width, len(samples), count * width))


def write_sparse(path, content, length):
    """A file that begins with the content and goes on with zeros that take no room on the disk."""
    with open(path, "wb") as file:
        file.write(content)
        file.truncate(length)


def write_silence(path, size):
    """Two channels of eight bits."""
    write_sparse(path, riff(fmt(2, bits=8), data(b"", size), size=36 + size), 44 + size)
