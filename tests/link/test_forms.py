"""The conversations of the catalogue by each form of the kernels: every number that is sent or
printed is the same but for its last digits."""

import re
from collections import Counter

import numpy as np
import pytest
from catalogue import Conversation, catalogue, content, hold, sample
from peers import SocketPeer, kernel_forms

from orbitrax.link import wire

NUMBER = re.compile(rb"-?(\d+\.\d+|\d+)")
CLOSE = 1e-9  # sums in another order, and no more
# Of the largest number of a packet. An SCF ends within 0.01 kcal/mol of its energy, wherever the
# last bits lead it; modes and force constants are differences of gradients.
BOUND, BOUND_OF_MODES = 1e-6, 1e-4
# Whether a state of CI is of a species is told to a tolerance that a bent water is on the edge of.
LABELS = b"Symmetry:"


def said_by(form: str, conversation: Conversation) -> list[tuple[int, bytes]]:
    """The packets of a conversation with a fresh process."""
    peer = SocketPeer(f"--kernels={form}")
    found = content(hold(peer, conversation))
    peer.finish()
    return [packet for session in found for packet in session]


def values(kind: int, payload: bytes) -> np.ndarray:
    """The numbers of a packet, without their signs: which way an orbital or a mode points is
    free."""
    if kind >= wire.LOG_LINE:
        return np.array([float(number) for number in NUMBER.findall(payload)])
    if kind == wire.PRECISE:
        return np.abs(np.nan_to_num(np.frombuffer(payload, "<f8", offset=8)))
    return np.abs(np.frombuffer(payload, "<f4").astype("<f8"))


def words(kind: int, payload: bytes) -> bytes | int:
    """What is not number in a packet, to be the same: the text round them, or their count."""
    return re.sub(rb"[ -]", b"", NUMBER.sub(b"#", payload)) if kind >= wire.LOG_LINE \
        else len(payload)


def gap(one: tuple[int, bytes], other: tuple[int, bytes]) -> float:
    """How far two packets are apart, relative to the largest number; printed ones may differ by a
    step of their last digit. Infinite where they are not of the same kind."""
    (kind, ours), (_, theirs) = one, other
    if one == other or (kind >= wire.LOG_LINE and ours.startswith(LABELS)):
        return 0.0
    if kind != other[0] or words(kind, ours) != words(kind, theirs):
        return np.inf
    a, b = values(kind, ours), values(kind, theirs)
    if not (np.isfinite(a).all() and np.isfinite(b).all()):
        return np.inf
    step = np.zeros(len(a))
    if kind >= wire.LOG_LINE:
        step = np.array([1.01 * 10.0**-len(number.partition(b".")[2])
                         for number in NUMBER.findall(ours)])
    return float(max(np.abs(a - b) - step, default=0.0)) / max(*a, 0.01)


@pytest.mark.parametrize("which", [sample, pytest.param(catalogue, marks=[
    pytest.mark.long, pytest.mark.timeout(1200)])])
def test_all_forms_say_the_same_numbers(which):
    forms, found, worst, bad = kernel_forms(), Counter(), 0.0, []
    for conversation in which():
        first, *others = (said_by(form, conversation) for form in forms)
        bound = BOUND_OF_MODES if "vibrations" in conversation.name else BOUND
        for said in others:
            gaps = [gap(*pair) for pair in zip(first, said)]
            if len(first) != len(said) or max(gaps) > bound:
                bad.append((conversation.name, len(first), len(said), max(gaps)))
            found["packets"] += len(said)
            found["close"] += sum(one <= CLOSE for one in gaps)
            worst = max(worst, *gaps)
    print(f"R8: {which.__name__} by {len(forms)} forms: {found['close']} of {found['packets']} "
          f"packets within {CLOSE:.0e}, the others within {worst:.0e}")
    assert bad == []
    assert found["packets"] >= 300 * (len(forms) - 1)


def test_another_number_or_word_is_seen():
    """What compares can fail."""
    line = (wire.LOG_LINE, b"Energy = -1.2345 (kcal/mol)\0")
    numbers = np.array([1.0, -2.0])
    assert gap(line, (wire.LOG_LINE, line[1].replace(b"5 ", b"4 "))) <= 0
    assert gap(line, (wire.LOG_LINE, line[1].replace(b"5 ", b"7 "))) > 1e-5
    assert gap(line, (wire.LOG_LINE, line[1].replace(b"mol", b"atom"))) == np.inf
    sent = (wire.DATA, numbers.astype("<f4").tobytes())
    assert gap(sent, (wire.DATA, (numbers * (1 + 1e-5)).astype("<f4").tobytes())) > 5e-6
    assert gap(sent, (wire.DATA, sent[1][:4])) == np.inf
    block = (wire.PRECISE, bytes(8) + numbers.tobytes())
    assert gap(block, (wire.PRECISE, bytes(8) + (numbers + 1e-8).tobytes())) > CLOSE
