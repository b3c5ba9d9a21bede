"""A program between the client and the real backend, which it starts: passes on what both say, and
at a given frame of the backend, counted from 0, does harm. The last of its lines says how many
frames it has passed on.

Faults: "kill" (both are gone before the frame), "tear" (in its middle), "garbage", "huge", "wrong
code", "wrong length", "unknown type" (in the place of the frame). It does harm once: `mark` is a
file that says that it is done.
"""

import os
import signal
import socket
import struct
import subprocess
import sys
import threading

HEAD = struct.Struct("<II")
REQUEST = 0x20B0


class Over(Exception):
    """One of both has gone."""


def read(link, count):
    data = b""
    while len(data) < count:
        part = link.recv(count - len(data))
        if not part:
            raise Over
        data += part
    return data


def pass_on(ours, theirs):
    """What the client says, until it goes."""
    try:
        while data := ours.recv(65536):
            theirs.sendall(data)
        theirs.shutdown(socket.SHUT_WR)
    except OSError:
        pass


def packet(kind, payload, length):
    return struct.pack("<5i", length, kind, 1, 0, 0) + payload


def lie(fault, code):
    """What comes in the place of a frame."""
    if fault == "garbage":
        return bytes(range(256))
    if fault == "huge":
        return HEAD.pack(code, 0xFFFFFFFF)
    if fault == "wrong code":
        return HEAD.pack(code ^ 1, 4) + bytes(4)
    body = packet(77, b"", 0) if fault == "unknown type" else packet(9994, b"short\0", 9)
    return HEAD.pack(REQUEST, len(body)) + body


def main(program, at, fault, mark, record):
    client = socket.socket(fileno=0)
    ours, theirs = socket.socketpair()
    backend = subprocess.Popen([program, *sys.argv[1:]], stdin=theirs)
    theirs.close()
    threading.Thread(target=pass_on, args=(client, ours), daemon=True).start()
    frames = 0
    try:
        while True:
            head = read(ours, HEAD.size)
            code, count = HEAD.unpack(head)
            frame = head + read(ours, count)
            if frames == at and not os.path.exists(mark):
                open(mark, "w").close()
                if fault in ("kill", "tear"):
                    client.sendall(frame[:len(frame) // 2] if fault == "tear" else b"")
                    backend.kill()
                    os.kill(os.getpid(), signal.SIGKILL)
                frame = lie(fault, code)
            client.sendall(frame)
            frames += 1
    except (Over, OSError):
        pass
    with open(record, "a") as file:
        print(frames, file=file)
    sys.exit(backend.wait())
