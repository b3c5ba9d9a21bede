"""The lock-step loop of a session: what the backend asks for goes out, what it brings becomes
events."""

from __future__ import annotations

from orbitrax.errors import CalculationFailed, ProtocolError
from orbitrax.link import events, wire
from orbitrax.link.conversation import AT_A_TIME

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator

    from orbitrax.link.conversation import Conversation
    from orbitrax.session.reader import SessionReader


_RESULTS = frozenset((events.ResultBlock, events.PlotPlane, events.NormalModes))


def exchange(link: Conversation, pokes: list[bytes], reader: SessionReader
             ) -> Iterator[events.Event]:
    """Runs a session that has been started, to its end. Takes from `pokes` what the backend asks
    for; what is left of it then tells that the session ended before its intake did.

    An error text is an event, not an exception. Raises ProtocolError for a session that brought
    neither results nor a word, CalculationFailed for results that break off.
    """
    words: list[str] = []
    results = False
    while (packet := link.request(1 if pokes else AT_A_TIME)) is not None:
        if packet.kind == wire.REQUEST_NEXT:
            if not pokes:
                raise ProtocolError("the backend asks for more than the job has to tell")
            link.poke(pokes[0])
            del pokes[0]
            continue
        for event in reader.feed(packet):
            if isinstance(event, events.ErrorLine):
                words.append(event.text)
            elif type(event) in _RESULTS:
                results = True
            yield event
    if results and not reader.finished:
        raise CalculationFailed("\n".join(words) or "the backend ended the session in the middle "
                                "of its results")
    if not results and not words:
        raise ProtocolError("the backend ended the session without results and without a word")
