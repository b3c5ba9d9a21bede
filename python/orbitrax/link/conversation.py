"""The packet link from the client's side: frames over a stream socket.

A frame is two little-endian 32-bit words, transaction code and byte count, then the bytes. Every
frame of ours is answered by one with the same code, a request for a whole session by one for each
of its packets and one for its end.
"""

from __future__ import annotations

import struct
import time

from orbitrax.errors import (ConnectRefused, LinkClosed, OutOfMemory, ProtocolError,
                             TimeLimitExceeded)
from orbitrax.link.wire import (ACKNOWLEDGED, CONNECT, DISCONNECT, EXECUTE, HEADER_BYTES,
                                MAX_PAYLOAD, POKE, REQUEST)

TYPE_CHECKING = False
if TYPE_CHECKING:
    import _socket

    Socket = _socket.socket  # a socket.socket will do as well

SERVICE = "qsolve"
TOPIC = "CalcBackend"
ITEM = b"Packet\0"
ITEM_AHEAD = b"Packets\0"  # whole packets for the demands of the next session
ITEM_SESSION = b"Session\0"  # all that the session has to send
RESET = "[reset]"

_SHUT_BOTH = 2  # socket.SHUT_RDWR

_FRAME = struct.Struct("<II")
_HEADER = struct.Struct("<5i")
_PACKET = struct.Struct("<II5i")  # both
_GREETING = 10.0  # seconds a backend may take to accept the conversation
_MAX_ANSWER = HEADER_BYTES + MAX_PAYLOAD
_MOST_AHEAD = 92400  # bytes of packets that any backend takes in one frame
AT_A_TIME = 32  # packets that are asked for together, once the backend has all that it demands
_PIECE = 65536  # bytes that are read at a time

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
        self._timeout: float | None = -1.0  # of the socket, as far as it is known
        self._came, self._at = b"", 0  # what has come, and how much of it has been taken
        self._asked = 0  # requests that have not been answered
        self._takes_ahead: bool | None = None  # whether the backend takes packets before it demands
        self._in_a_row: bool | None = None  # whether it sends a session's packets for one request
        self._all_asked = False  # such a request has not had its last answer

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

    def request(self, ahead: int = 1) -> Packet | None:
        """The next packet of the session, or None when the session has ended. ahead: how many are
        asked for at a time; more than one only where no poke will follow, which would have to wait
        behind them."""
        while True:
            if 2 * self._asked < ahead and not self._all_asked:
                self._send(_REQUEST * (ahead - self._asked))
                self._asked = ahead
            packet = self._whole_packet()
            if packet is not None:
                return packet
            answer = self._answer(REQUEST)
            self._asked -= not self._all_asked
            if len(answer) == 4:
                state = int.from_bytes(answer, "little")
                if state == 0:
                    if self._all_asked:
                        self._all_asked, self._in_a_row = False, True
                    self._drop_answers()
                    return None
                if state == 1:
                    if self._all_asked:  # an old backend, which knows of no such request
                        self._all_asked = self._in_a_row = False
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

    def _whole_packet(self) -> Packet | None:
        """The next answer to a request if it has come and is a packet as it should be, which most
        are; None for whoever looks closer."""
        came, at = self._came, self._at
        if len(came) < at + _PACKET.size:
            return None
        answered, count, length, kind, _, _, _ = _PACKET.unpack_from(came, at)
        end = at + _FRAME.size + count
        if (answered != REQUEST or count != HEADER_BYTES + length or length < 0
                or count > _MAX_ANSWER or len(came) < end):
            return None
        self._at, self._asked = end, self._asked - (not self._all_asked)
        return Packet(kind, came[at + _PACKET.size:end])

    def _drop_answers(self) -> None:
        """Takes what has been asked for beyond the end of a session. A link that ends meanwhile is
        for the next session to find: this one has had everything."""
        try:
            while self._asked:
                here = min((len(self._came) - self._at) // len(_END), self._asked)
                if here and self._came.startswith(_END * here, self._at):
                    self._at += here * len(_END)
                    self._asked -= here
                    continue
                if len(self._answer(REQUEST)) != 4:
                    raise ProtocolError("the backend sent a packet behind the end of its session")
                self._asked -= 1
        except LinkClosed:
            self._asked = 0

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

    def execute_ahead(self, packets: list[bytes]) -> bool:
        """Starts the next session, and hands over all its packets beforehand where the backend
        takes them so; returns whether it does. If not, they are to be poked one by one."""
        data = ITEM_AHEAD + b"".join(packets)
        if self._takes_ahead is False or len(data) > _MOST_AHEAD:
            self.execute()
            return False
        frame = _frame(POKE, data)
        if self._takes_ahead is None:  # a first word alone, as an old backend knows of no such item
            self._send(frame)
            self._takes_ahead = self._word(POKE) == ACKNOWLEDGED
            self.execute()
            self._ask_for_session(self._takes_ahead)
            return self._takes_ahead
        if self._in_a_row:
            self._send(frame + _RESET + _REQUEST_SESSION)
            self.begin()
            return True
        self._send(frame + _RESET + _REQUEST * AT_A_TIME)
        self._asked = AT_A_TIME
        self._take_words()
        return True

    def _ask_for_session(self, wanted: bool) -> None:
        """Tries whether the backend sends a whole session for one request; the first answer tells.
        """
        if wanted and self._in_a_row is None:
            self._send(_REQUEST_SESSION)
            self._all_asked = True

    # ---- sessions in a row ----------------------------------------------------------------------

    @property
    def in_a_row(self) -> bool:
        """Whether sessions may be sent one behind the other, before the first has ended."""
        return bool(self._in_a_row)

    @staticmethod
    def session(packets: list[bytes]) -> bytes:
        """The frames of a session in a row, from all its packets: what `send_sessions` takes. Empty
        where they are too long to be sent so."""
        data = ITEM_AHEAD + b"".join(packets)
        return b"" if len(data) > _MOST_AHEAD else _frame(POKE, data) + _RESET + _REQUEST_SESSION

    def send_sessions(self, frames: bytes) -> None:
        """Sends sessions that are to run one behind the other, and behind those that have been sent
        before. `begin` and `request` then read the first, up to its None, and so on."""
        self._send(frames)

    def begin(self) -> None:
        """Reads how the next of the sessions that have been sent begins."""
        self._all_asked = True
        self._take_words()

    def _take_words(self) -> None:
        if self._word(POKE) != ACKNOWLEDGED:
            raise OutOfMemory("the backend has no memory for the molecule")
        if self._word(EXECUTE) != ACKNOWLEDGED:
            raise ProtocolError(f"the backend did not acknowledge '{RESET}'")

    # ---- the end --------------------------------------------------------------------------------

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
        self._send(_frame(code, body))
        return self._word(code)

    def _word(self, code: int) -> int:
        answer = self._answer(code)
        if len(answer) != 4:
            raise ProtocolError(f"frame 0x{code:04X} was answered with {len(answer)} bytes, not 4")
        return int.from_bytes(answer, "little")

    def _answer(self, code: int) -> bytes:
        """The body of the next answer, which is one to a frame of this code."""
        start = self._at + _FRAME.size
        if len(self._came) >= start:
            answered, count = _FRAME.unpack_from(self._came, self._at)
            end = start + count
            if answered == code and count <= _MAX_ANSWER and len(self._came) >= end:
                self._at = end
                return self._came[start:end]
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
        while len(self._came) - self._at < count:
            try:
                self._set_timeout()
                part = self._link.recv(_PIECE)
            except TimeoutError:
                raise TimeLimitExceeded("the time limit passed") from None
            except OSError as error:
                raise LinkClosed("the backend closed the link") from error
            if not part:
                raise LinkClosed("the backend closed the link")
            self._came, self._at = self._came[self._at:] + part, 0
        start, self._at = self._at, self._at + count
        return self._came[start:self._at]

    def _set_timeout(self) -> None:
        left = None
        if self.deadline is not None:
            left = self.deadline - time.monotonic()
            if left <= 0:
                raise TimeoutError
        if left is not None or self._timeout is not None:
            self._link.settimeout(left)
            self._timeout = left


def _frame(code: int, body: bytes) -> bytes:
    return _FRAME.pack(code, len(body)) + body


_REQUEST, _RESET = _frame(REQUEST, ITEM), _frame(EXECUTE, RESET.encode() + b"\0")
_REQUEST_SESSION = _frame(REQUEST, ITEM_SESSION)
_END = _frame(REQUEST, bytes(4))  # the answer to a request behind the end of a session
