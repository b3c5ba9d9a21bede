"""A small peer that speaks the packet link on its standard input, for tests of the client.

It knows the frames and the order of a session, and shares no code with the package. It pulls the
job as a backend does, checks that sizes fit, and answers with numbers that are simple functions of
what it was sent. Told so, it misbehaves at a given frame.

Scenario: results "normal", "refusal" (an error text and nothing else), "late refusal" (after a
status line), "empty" (no results, no word), "partial" (the result block alone); texts, a list of
(packet type, text) sent ahead of the results; unrestricted, eigenvectors, gradient; iterations and
difference of the last SCF, unconverged of so many runs; sections by kind that are sent in place of
the usual ones, as hex, left_out kinds, version of their block, more_sections than there are; energy
to report in place of the usual one; at, the number of
the frame, from 0, that is met with fault: "kill", "exit", "garbage", "huge", "wrong code",
"silence", "unknown type", "wrong length"; first_only, the fault comes in the first process alone;
refuse_pokes, how many pokes are first not taken; record, a file that receives every payload poked,
one line of hex each; plot, what a session without calculation does: "normal", "refusal", "warning"
(and grids), "nan", "short" (a plane less), "long" (a number more),
"silence".
"""

import os
import signal
import socket
import struct
import sys
import time

CONNECT, REQUEST, POKE, EXECUTE, DISCONNECT = 0x1062, 0x20B0, 0x4090, 0x4050, 0x80C2
BLOCKS = {1: 10368, 2: 10368, 3: 42000, 4: 42000, 5: 92400, 6: 92400, 7: 27648, 8: 30240, 9: 42000}


class Over(Exception):
    """The client has gone."""


class Peer:
    def __init__(self, scenario):
        self.told = scenario
        self.link = socket.socket(fileno=0)
        self.session = None  # generator of steps
        self.step = None
        self.loaded = False
        self.frames = 0
        self.pokes_to_refuse = scenario.get("refuse_pokes", 0)

    # ---- frames ---------------------------------------------------------------------------------

    def read(self, count):
        data = b""
        while len(data) < count:
            part = self.link.recv(count - len(data))
            if not part:
                raise Over
            data += part
        return data

    def answer(self, code, body):
        self.link.sendall(struct.pack("<II", code, len(body)) + body)

    def serve(self):
        while True:
            code, count = struct.unpack("<II", self.read(8))
            body = self.read(count)
            number, self.frames = self.frames, self.frames + 1
            if number == self.told.get("at") and self.misbehave(code):
                continue
            if code == CONNECT:
                assert body == b"qsolve\0CalcBackend\0", body
                self.start()
                self.answer(code, struct.pack("<I", 1))
            elif code == EXECUTE:
                if body == b"[reset]\0":
                    self.start()
                self.answer(code, struct.pack("<I", 0x8000))
            elif code == REQUEST:
                assert body == b"Packet\0", body
                self.on_request()
            elif code == POKE:
                self.on_poke(body)
            elif code == DISCONNECT:
                raise Over

    def misbehave(self, code):
        fault = self.told["fault"]
        if self.told.get("first_only"):
            marker = self.told["record"] + ".failed"
            if os.path.exists(marker):
                return False
            open(marker, "w").close()
        if fault == "kill":
            os.kill(os.getpid(), signal.SIGKILL)
        elif fault == "exit":
            print("something broke", flush=True)
            os._exit(3)
        elif fault == "silence":
            time.sleep(60)
        elif fault == "garbage":
            self.link.sendall(bytes(range(256)))
        elif fault == "huge":
            self.link.sendall(struct.pack("<II", code, 0xFFFFFFFF))
        elif fault == "wrong code":
            self.answer(code ^ 1, struct.pack("<I", 0))
        elif fault == "wrong length":
            self.answer(code, struct.pack("<5i", 9, 9994, 1, 0, 0) + b"short\0")
        elif fault == "unknown type":
            self.answer(code, struct.pack("<5i", 0, 77, 1, 0, 0))
        return True

    def on_request(self):
        if self.step is None:
            self.answer(REQUEST, struct.pack("<I", 0))
        elif self.step[0] == "send":
            _, kind, payload = self.step
            self.answer(REQUEST, struct.pack("<5i", len(payload), kind, 1, 0, 4711) + payload)
            self.advance(None)
        else:
            self.answer(REQUEST, struct.pack("<5i", 1, 9999, 1, 0, 0) + b"\0")

    def on_poke(self, body):
        name, _, packet = body.partition(b"\0")
        if self.step is None or self.step[0] != "take" or self.pokes_to_refuse > 0:
            self.pokes_to_refuse -= 1
            self.answer(POKE, struct.pack("<I", 0))
            return
        length, kind, destination, source, _ = struct.unpack_from("<5i", packet)
        assert name == b"Packet" and length == len(packet) - 20, (name, length, len(packet))
        assert destination == 0 and source == 1
        wanted = self.step[1]
        assert wanted is None or length == wanted, (length, wanted)
        with open(self.told["record"], "a") as file:
            file.write(f"{kind} {packet[20:].hex()}\n")
        self.answer(POKE, struct.pack("<I", 0x8000))
        self.advance(packet[20:])

    def start(self):
        self.session = self.steps()
        self.step = next(self.session)

    def advance(self, value):
        try:
            self.step = self.session.send(value)
        except StopIteration:
            self.step = None

    # ---- a session ------------------------------------------------------------------------------

    def steps(self):
        if not self.loaded:
            yield "send", 10, struct.pack("<i", 1)
            assert (yield "take", 4) == struct.pack("<i", 4)
            method, = struct.unpack("<i", (yield "take", 4))
            yield "take", BLOCKS[method]
            if method == 3:
                pairs, = struct.unpack("<i", (yield "take", 4))
                yield "take", 32 * pairs
            self.loaded = True
        yield "take", 4
        options = yield "take", 184
        yield "take", 152
        if struct.unpack_from("<I", options, 4)[0] & 0xFF800000 == 0x32800000:
            version, left = struct.unpack("<2i", (yield "take", 8))
            assert version == 2
            while left:
                left -= len((yield "take", min(16384, left)))
        if struct.unpack_from("<i", options)[0] == 0:
            yield from self.plot(options)
            return
        n, = struct.unpack("<i", (yield "take", 4))
        records = b""
        while len(records) < 96 * n:
            records += yield "take", min(96 * 170, 96 * n - len(records))
        atoms = [struct.unpack_from("<24i", records, 96 * i) for i in range(n)]
        selected = sum(1 for atom in atoms if atom[4] == 0)
        yield "take", 36 + 4 * selected
        yield from self.results(options, records, n)

    def results(self, options, records, n):
        kind = self.told.get("results", "normal")
        for number, text in self.told.get("texts", ()):
            yield "send", number, text.encode("latin-1") + b"\0"
        if kind == "late refusal":
            yield "send", 9995, b"started\0"
        if kind == "refusal" and struct.unpack_from("<i", options, 156)[0]:
            yield "send", 9997, b"Sorry, this is refused (42).\0"
            yield "send", 10, bytes(4 * 9 * 9)  # eigenvectors of whatever was calculated before
            return
        if kind in ("refusal", "late refusal"):
            yield "send", 9997, b"Sorry, this is refused (42).\0"
        if kind in ("refusal", "late refusal", "empty"):
            return
        iterations = self.told.get("iterations", 7)
        difference = self.told.get("difference", 0.0)
        yield "send", 9995, f"Iteration = {iterations} Difference = {difference:.5f}\0".encode()
        block = bytearray(172)
        energy = self.told.get("energy", -100.25 * n)
        struct.pack_into("<f", block, 0, energy)
        struct.pack_into("<5f", block, 64, -2.5, -3.5, -4.5, 5.5, -57.75)
        struct.pack_into("<4f", block, 104, 0.5, 1.0, 2.0, 2.291288)
        struct.pack_into("<2i", block, 148, 0, 1)
        yield "send", 10, bytes(block)
        if kind == "partial":
            return
        numbers = [struct.unpack_from("<i", records, 96 * i + 4)[0] for i in range(n)]
        charges = struct.pack(f"<{n}f", *(0.125 * z for z in numbers))
        yield from self.chunks(20, charges)
        if struct.unpack_from("<I", options, 4)[0] >> 24 == 0x32:
            yield from self.chunks(30, self.sections(n, energy, iterations, difference, numbers))
        orbitals = 4
        values = orbitals * (2 if self.told.get("unrestricted") else 1)
        yield "send", 10, struct.pack("<i", values)
        data = struct.pack(f"<{values}f", *(-10.5 + i for i in range(values)))
        data += struct.pack(f"<{values}f", *([2.0, -1.0] + [0.0] * (values - 2)))
        data += struct.pack(f"<{values}i", *reversed(range(values)))
        data += struct.pack(f"<{values}f", *([0.5] * values))
        data += struct.pack(f"<{values}i", *(i + 1 for i in range(values)))
        data += b" A1\0" * values + b" C2v"
        yield from self.chunks(10, data)
        if struct.unpack_from("<i", options, 156)[0]:
            for _ in range(2 if self.told.get("unrestricted") else 1):
                matrix = struct.pack("<16f", *range(16))
                yield from self.chunks(10, matrix)

    def sections(self, n, energy, iterations, difference, numbers):
        """Energies, a gradient if it is told so, charges, the account of SCFs, and a section that
        no client knows."""
        bad, runs = self.told.get("unconverged", int(difference > 0)), self.told.get("runs", 1)
        found = {
            0: struct.pack("<12d", energy + 1e-9, -4.5, 5.5, -3.5, -2.5, -57.75, 0, 0, 0, 0, 0,
                           0.25),
            4: struct.pack(f"<{n}d", *(0.125 * z for z in numbers)),
            5: struct.pack("<8i4d", int(bad == 0), int(bad == 0), iterations, runs, bad, runs, bad,
                           0, difference, 1e-5, 0.0, difference),
            99: b"\1" * 16,
        }
        if self.told.get("gradient", False):
            found[1] = struct.pack(f"<{3 * n}d", *(0.001 * i for i in range(3 * n)))
        found.update({int(kind): bytes.fromhex(data)
                      for kind, data in self.told.get("sections", {}).items()})
        for kind in self.told.get("left_out", ()):
            del found[kind]
        version, more = self.told.get("version", 2), self.told.get("more_sections", 0)
        return struct.pack("<2i", version, len(found) + more) + b"".join(
            struct.pack("<2i", kind, len(data)) + data + bytes(-len(data) % 8)
            for kind, data in found.items())

    def plot(self, options):
        """Grids of x + 100 y + 10000 z, each a whole number of steps from the first point, and
        minus that for the second grid of a potential."""
        told = self.told.get("plot", "normal")
        plots, kind = struct.unpack_from("<2i", options, 24)
        assert plots == 1
        columns, rows, planes = struct.unpack_from("<3i", options, 40)
        if told == "refusal":
            yield "send", 9997, b"Unable to graph (43).\0"
            return
        if told == "silence":
            time.sleep(60)
        if told == "warning":
            yield "send", 9996, b"The orbital doesn't exist (44).\0"
        for plane in range(planes if told != "short" else planes - 1):
            for sign in (1, -1) if kind == 0 else (1,):
                values = [sign * (i + 100.0 * j + 10000.0 * plane)
                          for j in range(rows) for i in range(columns)]
                if told == "nan":
                    values[-1] = float("nan")
                yield from self.chunks(10, struct.pack(f"<{rows * columns}f", *values))
        if told == "long":
            yield "send", 10, bytes(4)

    @staticmethod
    def chunks(kind, data):
        for start in range(0, len(data), 16384):
            yield "send", kind, data[start:start + 16384]


def main(scenario):
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    print("x" * scenario.get("prints", 0), file=sys.stderr, flush=True)
    try:
        Peer(scenario).serve()
    except (Over, ConnectionError):
        pass
