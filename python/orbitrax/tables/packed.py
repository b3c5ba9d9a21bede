"""The blocks of a method without the method: what the text becomes, and what the cache keeps."""

from __future__ import annotations


class Packed:
    """block: the parameter block; pairs: the MINDO/3 bond-pair packet, else empty; elements,
    capping: the numbers of the elements that have a row as an atom and as a capping atom."""

    __slots__ = ("block", "pairs", "elements", "capping")

    def __init__(self, block: bytes, pairs: bytes, elements: bytes, capping: bytes):
        self.block, self.pairs = block, pairs
        self.elements, self.capping = elements, capping
