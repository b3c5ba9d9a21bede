"""Parameter tables: plain-text files of published values, and the binary blocks made from them.

A file holds `#` comments, one line of column names, one row per element and, after the comment line
`# capping atoms`, rows of capping atoms with `*` before the symbol. Column order is the order on
the wire, so the names are checked one by one. Elements without a row are sent as zeros.
"""

from __future__ import annotations

import math
import os
import re
import struct

from orbitrax.molecules.elements import NUMBERS, SYMBOLS
from orbitrax.errors import ParameterError
from orbitrax.files import package_path
from orbitrax.methods import Method, find_method

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterable, Sequence

    Key = tuple[int, bool]  # an element, and whether it is a capping atom
    Word = tuple[int, str]  # a column of a file, from 1, and what stands there

_CINDO = ("dZetaS dZetaP dZetaD dHalfIpEaS dHalfIpEaP dHalfIpEaD dBeta dSlaterF2 dSlaterG1 "
          "dAtomEnergyCndo dAtomEnergyIndo dHeatOfAtom").split()
_NDDO_1 = ("dUss dUpp dUdd dBetaS dBetaP dBetaD dZetaS dZetaP dZetaD dAlpha dAtomEnergy "
           "dHeatOfAtom").split()
_INTEGRALS = "dGss dGsp dGpp dGp2 dHsp dGsd dHsd dGdd".split()
_NDDO_2 = _INTEGRALS + "dDipoleDistance dQuadDistance dRho0 dRho1 dRho2".split()
_MINDO_2 = _INTEGRALS + "dIonisationS dIonisationP dRho0 dRho1 dRho2".split()
_GAUSSIANS = [f"{name}[{i}]" for name in ("dK", "dL", "dM") for i in range(10)]
_ZINDO_1 = ("dZetaS dZetaP dZetaD dIonisationS dIonisationP dIonisationD dBetaS dBetaP dBetaD "
            "dZetaD1 dCoefD1 dZetaD2 dCoefD2").split()
_ZINDO_2 = ("dSlaterF2pp dSlaterG1sp dSlaterF2pd dSlaterF2dd dSlaterF4dd dSlaterG1pd dSlaterG2sd "
            "dSlaterG3pd dAtomEnergy dHeatOfAtom").split()
_ZINDO_3 = ("dIonisation2S dIonisation2P dIonisation2D dIonisation3S dIonisation3P dIonisation3D "
            "dConfigMix[0] dConfigMix[1] dConfigMix[2]").split()
_GAMMA = "dGammaSS dGammaSD dGammaDD".split()
_PAIR = "dAlphaAB dBetaAB".split()

# By stem of the files: the columns of each section, in the order of the block.
SECTIONS: dict[str, tuple[list[str], ...]] = {
    "cindo": (_CINDO,),
    "mindo3": (_NDDO_1, _MINDO_2),
    "mndo": (_NDDO_1, _NDDO_2),
    "mndod": (_NDDO_1, _NDDO_2),
    "am1": (_NDDO_1, _NDDO_2, _GAUSSIANS),
    "pm3": (_NDDO_1, _NDDO_2, _GAUSSIANS),
    "zindo1": (_ZINDO_1, _ZINDO_2, _ZINDO_3),
    "zindos": (_ZINDO_1, _ZINDO_2, _ZINDO_3, _GAMMA),
}

_SHORT_TABLES = ("cindo", "zindo1", "zindos")
_SHORT_ROWS = 54  # normal, and as many capping rows, in the blocks of these tables
_LONG_ROWS = 210  # rows of all other blocks; row 105 + Z - 1 is element Z as a capping atom
_CAPPING_OFFSET = 105
_HIGHEST_CAPPING = 88  # the last capping row that has orbitals

_WORD = re.compile(r"\S+")
_CAPPING_MARK = re.compile(r"#\s*capping atoms\s*$")


class Row:
    """One row of a file. key: of (element number, is a capping atom), one for an element, two for a
    pair; values: its numbers; line: where it stands."""

    __slots__ = ("key", "values", "line")

    def __init__(self, key: tuple[Key, ...], values: list[float], line: int):
        self.key, self.values, self.line = key, values, line


class Table:
    """One file. columns: the names of the numbers, without the key columns."""

    def __init__(self, path: str, columns: Sequence[str]):
        self.path, self.columns = path, columns
        self.rows: list[Row] = []


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

    def value(self, name: str, element: int, capping: bool = False) -> float:
        """A number of the block, by the name of its column, as the backend gets it; 0 for an
        element without a row. Raises KeyError for a column that the method's tables lack."""
        short = self.method.tables in _SHORT_TABLES
        rows, shift = (2 * _SHORT_ROWS, _SHORT_ROWS) if short else (_LONG_ROWS, _CAPPING_OFFSET)
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


# ---- reading ------------------------------------------------------------------------------------


def read_table(path: str | os.PathLike[str], columns: Sequence[str], keys: int = 1) -> Table:
    """Reads a file whose columns must be `columns`, after `keys` columns of element symbols."""
    path = os.fspath(path)
    try:
        with open(path, "rb") as file:
            text = file.read().decode("utf-8")
    except OSError as error:
        raise ParameterError(path, 0, 0, error.strerror or "cannot be read") from None
    except UnicodeDecodeError as error:
        before = error.object[:error.start]
        raise ParameterError(path, before.count(b"\n") + 1, len(before) - before.rfind(b"\n"),
                             "is not UTF-8 text") from None

    table, header, capping = Table(path, columns), False, False
    seen: dict[object, int] = {}
    for number, line in enumerate(text.split("\n"), 1):
        stripped = line.strip()
        if not stripped:
            continue
        if stripped.startswith("#"):
            if _CAPPING_MARK.match(stripped):
                capping = True
            continue
        words = [(m.start() + 1, m.group()) for m in _WORD.finditer(line)]
        if not header:
            _check_header(path, number, words, columns, keys)
            header = True
            continue
        row = _read_row(path, number, words, columns, keys, capping)
        same = frozenset(row.key) if keys > 1 else row.key
        if same in seen:
            raise ParameterError(path, number, words[0][0],
                                 f"repeats the row of line {seen[same]}")
        seen[same] = number
        table.rows.append(row)
    if not header:
        raise ParameterError(path, 1, 1, "has no line of column names")
    return table


def _check_header(path: str, number: int, words: list[Word], columns: Sequence[str],
                  keys: int) -> None:
    wanted = (["element"] if keys == 1 else ["element1", "element2"]) + list(columns)
    for (column, word), name in zip(words, wanted):
        if word != name:
            raise ParameterError(path, number, column, f"column '{word}' should be '{name}'")
    if len(words) < len(wanted):
        column = words[-1][0] + len(words[-1][1])
        raise ParameterError(path, number, column, f"column '{wanted[len(words)]}' is missing")
    if len(words) > len(wanted):
        column, word = words[len(wanted)]
        raise ParameterError(path, number, column, f"column '{word}' is not known")


def _read_row(path: str, number: int, words: list[Word], columns: Sequence[str], keys: int,
              capping: bool) -> Row:
    key = tuple(_read_symbol(path, number, *word) for word in words[:keys])
    if any(is_capping for _, is_capping in key) != capping:
        text = ("a row with '*' must stand after the line '# capping atoms'" if not capping else
                "a row after the line '# capping atoms' needs '*' before its symbol")
        raise ParameterError(path, number, words[0][0], text)
    if len(words) < keys + len(columns):
        column = words[-1][0] + len(words[-1][1])
        missing = columns[max(len(words) - keys, 0)]
        raise ParameterError(path, number, column, f"the value of '{missing}' is missing")
    if len(words) > keys + len(columns):
        column, word = words[keys + len(columns)]
        raise ParameterError(path, number, column, f"'{word}' stands beyond the last column")
    values = [_read_number(path, number, column, word, name)
              for (column, word), name in zip(words[keys:], columns)]
    return Row(key, values, number)


def _read_symbol(path: str, number: int, column: int, word: str) -> Key:
    is_capping = word.startswith("*")
    element = NUMBERS.get(word[1:] if is_capping else word, 0)
    if element == 0:
        raise ParameterError(path, number, column, f"'{word}' is not an element symbol")
    if is_capping and element > _HIGHEST_CAPPING:
        raise ParameterError(path, number, column, f"there is no capping row for '{word}'")
    return element, is_capping


def _read_number(path: str, number: int, column: int, word: str, name: str) -> float:
    try:
        value = float(word)
    except ValueError:
        value = math.nan
    if "_" in word or not math.isfinite(value):
        raise ParameterError(path, number, column, f"'{word}' is not a number, for '{name}'")
    return value


# ---- building -----------------------------------------------------------------------------------


def load_parameters(method: Method | str | int,
                    directory: str | os.PathLike[str] | None = None) -> ParameterSet:
    """Reads the tables of a method and builds its blocks."""
    method = find_method(method)
    folder = os.fspath(directory) if directory else parameter_directory()
    sections = SECTIONS[method.tables]
    names = ([f"{method.tables}.abp"] if method.tables == "cindo" else
             [f"{method.tables}_{i + 1}.abp" for i in range(len(sections))])
    tables = [read_table(os.path.join(folder, name), columns)
              for name, columns in zip(names, sections)]
    _check_same_elements(tables)

    if method.tables in _SHORT_TABLES:
        block = b"".join(_short_section(table) for table in tables)
    else:
        block = b"".join(_long_section(table) for table in tables)
    pairs = b""
    if method.tables == "mindo3":
        pairs = _pair_packet(read_table(os.path.join(folder, "mindo3_3.abp"), _PAIR, keys=2))
    keys = [row.key[0] for row in tables[0].rows]
    return ParameterSet(method, block, pairs,
                        elements=(z for z, is_capping in keys if not is_capping),
                        capping=(z for z, is_capping in keys if is_capping))


def _check_same_elements(tables: list[Table]) -> None:
    first = tables[0]
    for other in tables[1:]:
        for one, two in ((first, other), (other, first)):
            present = {row.key for row in two.rows}
            for row in one.rows:
                if row.key not in present:
                    name = os.path.basename(two.path)
                    raise ParameterError(one.path, row.line, 1,
                                         f"{_label(row.key[0])} has no row in {name}")


def _label(key: Key) -> str:
    element, is_capping = key
    return ("*" if is_capping else "") + SYMBOLS[element]


def _short_section(table: Table) -> bytes:
    """54 rows of atoms, then 54 rows of capping atoms."""
    for row in table.rows:
        if row.key[0][0] > _SHORT_ROWS:
            raise ParameterError(table.path, row.line, 1,
                                 f"'{_label(row.key[0])}' is beyond Xe, where this method ends")
    return _section(table, 2 * _SHORT_ROWS, _SHORT_ROWS)


def _long_section(table: Table) -> bytes:
    """210 rows: 105 elements as atoms, then as capping atoms."""
    return _section(table, _LONG_ROWS, _CAPPING_OFFSET)


def _section(table: Table, count: int, shift: int) -> bytes:
    """`count` rows, those of capping atoms `shift` behind the atoms; zeros where there is none."""
    width = len(table.columns)
    values = [0.0] * (count * width)
    for row in table.rows:
        element, is_capping = row.key[0]
        start = width * (element - 1 + (shift if is_capping else 0))
        values[start:start + width] = row.values
    return struct.pack(f"<{len(values)}d", *values)


def _pair_packet(table: Table) -> bytes:
    """Records of two element codes, negative for a capping atom, and two values."""
    codes = [[-element if is_capping else element for element, is_capping in row.key]
             for row in table.rows]
    return b"".join(struct.pack("<4d", *code, *row.values)
                    for code, row in zip(codes, table.rows))
