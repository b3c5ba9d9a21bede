"""Parameter tables: plain-text files of published values, and the binary blocks made from them."""

from __future__ import annotations

import os
import struct
from collections import Counter

from orbitrax.errors import ParameterError
from orbitrax.methods import Method, find_method
from orbitrax.paths import package_path
from orbitrax.tables.columns import (CAPPING_OFFSET, LONG_ROWS, SECTIONS, SHORT_ROWS, SHORT_TABLES,
                                     table_names)

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable

__all__ = ["SECTIONS", "ParameterSet", "load_parameters", "other_tables", "parameter_directory"]


class ParameterSet:
    """The tables of one method as they go over the wire.

    block is the parameter block; pairs the MINDO/3 bond-pair packet, else empty; elements and
    capping the numbers of the elements that have a row as an atom and as a capping atom.
    """

    def __init__(self, method: Method, block: bytes, pairs: bytes, elements: Iterable[int],
                 capping: Iterable[int]):
        self.method, self.block, self.pairs = method, block, pairs
        self.elements, self.capping = frozenset(elements), frozenset(capping)

    @property
    def packets(self) -> list[bytes]:
        """Payloads that follow the method in the first session of a process."""
        if not self.pairs:
            return [self.block]
        count = len(self.pairs) // 32
        return [self.block, count.to_bytes(4, "little"), self.pairs]

    def missing_pair(self, elements: Iterable[int]) -> tuple[int, int] | None:
        """The first two of these elements, which may be one twice, that have no bond parameters
        together; None where all have, and in methods that need none."""
        if not self.pairs:
            return None
        known = {frozenset(map(int, codes)) for *codes, alpha, beta in
                 struct.iter_unpack("<4d", self.pairs) if alpha > 0 and beta > 0}
        counts = Counter(elements)
        for one in sorted(counts):
            for other in sorted(counts):
                if other < one or other == one and counts[one] == 1:
                    continue
                if frozenset((one, other)) not in known:
                    return one, other
        return None

    def value(self, name: str, element: int, capping: bool = False) -> float:
        """A number of the block, by the name of its column, as the backend gets it; 0 for an
        element without a row. Raises KeyError for a column that the method's tables lack."""
        short = self.method.tables in SHORT_TABLES
        rows, shift = (2 * SHORT_ROWS, SHORT_ROWS) if short else (LONG_ROWS, CAPPING_OFFSET)
        row = element - 1 + (shift if capping else 0)
        start = 0
        for columns in SECTIONS[self.method.tables]:
            if name in columns:
                if not 0 < element <= shift:
                    return 0.0
                index = start + row * len(columns) + columns.index(name)
                return float(struct.unpack_from("<d", self.block, 8 * index)[0])
            start += rows * len(columns)
        raise KeyError(name)


def parameter_directory() -> str:
    """Where the tables are: ORBITRAX_PARAMETERS, else those of the package."""
    return os.environ.get("ORBITRAX_PARAMETERS") or package_path("parameters")


def load_parameters(method: Method | str | int,
                    directory: str | os.PathLike[str] | None = None) -> ParameterSet:
    """The tables of a method as blocks, from the cache where it has these very files. Raises
    ParameterError for tables that cannot be used."""
    from orbitrax.tables import cache

    method = find_method(method)
    texts = _texts(method, directory)
    key = cache.key_of(method.tables, [data for _, data in texts])
    packed = cache.look_up(key)
    if packed is None:
        from orbitrax.tables.text import pack

        packed = pack(method.tables, texts)
        cache.keep(key, packed)
    return ParameterSet(method, packed.block, packed.pairs, packed.elements, packed.capping)


def other_tables(method: Method | str | int,
                 directory: str | os.PathLike[str] | None = None) -> str:
    """A word that only the content of these tables has; empty for those of the package. Raises
    ParameterError for tables that cannot be read."""
    from orbitrax.tables import cache

    if not directory and parameter_directory() == package_path("parameters"):
        return ""
    method = find_method(method)
    return cache.key_of(method.tables, [data for _, data in _texts(method, directory)])


def _texts(method: Method, directory: str | os.PathLike[str] | None) -> list[tuple[str, bytes]]:
    """The files of a method, by path."""
    folder = os.fspath(directory) if directory else parameter_directory()
    return [(path, _content(path)) for path in
            (os.path.join(folder, name) for name in table_names(method.tables))]


def _content(path: str) -> bytes:
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError as error:
        raise ParameterError(path, 0, 0, error.strerror or "cannot be read") from None
