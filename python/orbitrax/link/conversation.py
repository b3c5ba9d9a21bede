"""The packet link from the client's side: frames over a stream socket.

A frame is two little-endian 32-bit words, transaction code and byte count, then the bytes. Every
frame of ours is answered by one with the same code.
"""

from __future__ import annotations

import struct
import time

from orbitrax.errors import ConnectRefused, LinkClosed, ProtocolError, TimeLimitExceeded
from orbitrax.link.wire import (ACKNOWLEDGED, CONNECT, DISCONNECT, EXECUTE, HEADER_BYTES,
                                MAX_PAYLOAD, POKE, REQUEST)

TYPE_CHECKING = False
if TYPE_CHECKING:
    import _socket

    Socket = _socket.socket  # a socket.socket will do as well

SERVICE = "qsolve"
TOPIC = "CalcBackend"
ITEM = b"Packet\0"
RESET = "[reset]"

_SHUT_BOTH = 2  # socket.SHUT_RDWR

_FRAME = struct.Struct("<II")
_HEADER = struct.Struct("<5i")
_GREETING = 10.0  # seconds a backend may take to accept the conversation
_MAX_ANSWER = HEADER_BYTES + MAX_PAYLOAD

# A poke can be refused only if it comes before the backend waits for it; these many pauses are far
# more than it needs to get there.
_POKE_TRIES = 200
_POKE_PAUSE = 0.005


class Packet:
    """A packet from the backend."""

    __slots__ = ("kind", "payload")

    def __init__(self, kind: int, payload: bytes):
        self.kind, self.payload = kind, payload


class Conversation:
    """One conversation over a connected stream socket, which it takes over.

    `deadline` is a moment of `time.monotonic()` after which any wait raises TimeLimitExceeded; None
    waits for ever.
    """

    def __init__(self, link: Socket):
        self._link = link
        self.deadline: float | None = None

    # ---- transactions ---------------------------------------------------------------------------

    def connect(self, service: str = SERVICE, topic: str = TOPIC) -> None:
        """Opens the conversation, which starts the backend's first session."""
        names = service.encode() + b"\0" + topic.encode() + b"\0"
        if self._answered_word(CONNECT, names) != 1:
            raise ConnectRefused(f"the backend refused the conversation on topic '{topic}'")

    def greet(self) -> None:
        """Opens the conversation within the time that a backend may take for it, whether or not
        there is a deadline: a program that is no backend never answers."""
        deadline, patience = self.deadline, time.monotonic() + _GREETING
        if deadline is not None and deadline <= patience:
            return self.connect()
        self.deadline = patience
        try:
            self.connect()
        except TimeLimitExceeded:
            raise ProtocolError(f"the backend has not answered for {_GREETING:g} seconds; is it "
                                "the right program?") from None
        self.deadline = deadline

    def request(self) -> Packet | None:
        """The next packet of the session, or None when the session has ended."""
        while True:
            answer = self._exchange(REQUEST, ITEM)
            if len(answer) == 4:
                state = int.from_bytes(answer, "little")
                if state == 0:
                    return None
                if state == 1:
                    continue
                raise ProtocolError(f"the backend answered a request with state {state}")
            if len(answer) < HEADER_BYTES:
                raise ProtocolError(f"the backend sent a packet of {len(answer)} bytes")
            length, kind, _, _, _ = _HEADER.unpack_from(answer)
            if length != len(answer) - HEADER_BYTES:
                raise ProtocolError(
                    f"a packet of type {kind} announces {length} bytes and brings "
                    f"{len(answer) - HEADER_BYTES}")
            return Packet(kind, answer[HEADER_BYTES:])

    def poke(self, packet: bytes) -> None:
        """Hands over a packet, header and payload, that the backend has asked for."""
        for _ in range(_POKE_TRIES):
            answer = self._answered_word(POKE, ITEM + packet)
            if answer == ACKNOWLEDGED:
                return
            if answer != 0:
                raise ProtocolError(f"the backend answered a poke with {answer}")
            time.sleep(_POKE_PAUSE)
        raise ProtocolError("the backend does not take the packet that it asked for")

    def execute(self, command: str = RESET) -> None:
        """Gives a command; "[reset]" starts the next session."""
        if self._answered_word(EXECUTE, command.encode() + b"\0") != ACKNOWLEDGED:
            raise ProtocolError(f"the backend did not acknowledge '{command}'")

    def disconnect(self) -> None:
        """Says goodbye, if the link still takes it, and closes the socket. Never raises."""
        try:
            self._link.setblocking(False)
            self._link.send(_FRAME.pack(DISCONNECT, 0))
        except OSError:
            pass
        self.close()

    def close(self) -> None:
        """Closes the socket, which wakes whoever waits on it, here or at the other end."""
        try:
            self._link.shutdown(_SHUT_BOTH)
        except OSError:
            pass
        self._link.close()

    def interrupt(self) -> None:
        """Ends the conversation from another thread; a wait in this one raises LinkClosed."""
        try:
            self._link.shutdown(_SHUT_BOTH)
        except OSError:
            pass

    # ---- frames ---------------------------------------------------------------------------------

    def _answered_word(self, code: int, body: bytes) -> int:
        answer = self._exchange(code, body)
        if len(answer) != 4:
            raise ProtocolError(f"frame 0x{code:04X} was answered with {len(answer)} bytes, not 4")
        return int.from_bytes(answer, "little")

    def _exchange(self, code: int, body: bytes) -> bytes:
        """Sends a frame and returns the body of its answer."""
        self._send(_FRAME.pack(code, len(body)) + body)
        answered, count = _FRAME.unpack(self._receive(_FRAME.size))
        if answered != code:
            raise ProtocolError(f"frame 0x{code:04X} was answered by frame 0x{answered:04X}")
        if count > _MAX_ANSWER:
            raise ProtocolError(f"the backend announces a frame of {count} bytes")
        return self._receive(count)

    def _send(self, data: bytes) -> None:
        try:
            self._set_timeout()
            self._link.sendall(data)
        except TimeoutError:
            raise TimeLimitExceeded("the time limit passed") from None
        except OSError as error:
            raise LinkClosed("the backend closed the link") from error

    def _receive(self, count: int) -> bytes:
        parts = []
        while count:
            try:
                self._set_timeout()
                part = self._link.recv(count)
            except TimeoutError:
                raise TimeLimitExceeded("the time limit passed") from None
            except OSError as error:
                raise LinkClosed("the backend closed the link") from error
            if not part:
                raise LinkClosed("the backend closed the link")
            parts.append(part)
            count -= len(part)
        return parts[0] if len(parts) == 1 else b"".join(parts)

    def _set_timeout(self) -> None:
        if self.deadline is None:
            self._link.settimeout(None)
            return
        left = self.deadline - time.monotonic()
        if left <= 0:
            raise TimeoutError
        self._link.settimeout(left)
