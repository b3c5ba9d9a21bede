"""The nine methods: names, families, tables and literature."""

from __future__ import annotations

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Collection

CNDO, INDO, MINDO3, MNDO, AM1, PM3, ZINDO1, ZINDOS, MNDOD = range(1, 10)


class Method:
    """A method. key: its name on the command line; number: its MethodId on the wire; title, family,
    source: for people; tables: the stem of its parameter files."""

    __slots__ = ("number", "key", "title", "family", "tables", "source")

    def __init__(self, number: int, key: str, title: str, family: str, tables: str, source: str):
        self.number, self.key, self.title, self.family = number, key, title, family
        self.tables, self.source = tables, source

    @property
    def has_heats(self) -> bool:
        """Whether it is fitted to heats of formation, so that its energies have a scale of them."""
        return self.family == "NDDO"

    def __repr__(self) -> str:
        return f"<Method {self.title}>"

    def __reduce__(self) -> tuple[object, tuple[int]]:
        return find_method, (self.number,)  # there is one of each


METHODS = (
    Method(CNDO, "cndo", "CNDO", "CNDO", "cindo",
           "Pople, Santry, Segal, J. Chem. Phys. 43, S129 (1965)"),
    Method(INDO, "indo", "INDO", "CNDO", "cindo",
           "Pople, Beveridge, Dobosh, J. Chem. Phys. 47, 2026 (1967)"),
    Method(MINDO3, "mindo3", "MINDO/3", "NDDO", "mindo3",
           "Bingham, Dewar, Lo, J. Am. Chem. Soc. 97, 1285 (1975)"),
    Method(MNDO, "mndo", "MNDO", "NDDO", "mndo",
           "Dewar, Thiel, J. Am. Chem. Soc. 99, 4899 (1977)"),
    Method(AM1, "am1", "AM1", "NDDO", "am1",
           "Dewar, Zoebisch, Healy, Stewart, J. Am. Chem. Soc. 107, 3902 (1985)"),
    Method(PM3, "pm3", "PM3", "NDDO", "pm3",
           "Stewart, J. Comput. Chem. 10, 209 (1989)"),
    Method(ZINDO1, "zindo1", "ZINDO/1", "ZINDO", "zindo1",
           "Anderson, Edwards, Zerner, Inorg. Chem. 25, 2728 (1986)"),
    Method(ZINDOS, "zindos", "ZINDO/S", "ZINDO", "zindos",
           "Ridley, Zerner, Theor. Chim. Acta 32, 111 (1973)"),
    Method(MNDOD, "mndod", "MNDO/d", "NDDO", "mndod",
           "Thiel, Voityuk, J. Phys. Chem. 100, 616 (1996)"),
)

_BY_KEY = {method.key: method for method in METHODS}
_BY_NUMBER = {method.number: method for method in METHODS}


def find_method(name: str | int | Method) -> Method:
    """The method of a name ("am1", "AM1", "MINDO/3"), a MethodId, or the method itself."""
    if isinstance(name, Method):
        return name
    if isinstance(name, int):
        method = _BY_NUMBER.get(name)
    elif isinstance(name, str) and name in _BY_KEY:
        method = _BY_KEY[name]
    else:
        key = "".join(c for c in str(name).lower() if c not in "/-_ ")
        method = _BY_KEY.get(key)
    if method is None:
        known = ", ".join(m.key for m in METHODS)
        raise UsageError(f"there is no method '{name}'; the methods are {known}")
    return method


def lacking(method: Method, numbers: Collection[int]) -> str | None:
    """What to say where the tables lack a part of the method for atoms with these numbers that
    changes energies by kcal/mol: the additive constants of cores of MNDO/d in Na and Mg, and its
    core-core exponents of Na, Mg and Al with some of the others. None where nothing is lacking."""
    if method.number != MNDOD:
        return None
    found = [symbol for symbol, number in (("Na", 11), ("Mg", 12)) if number in numbers]
    aluminium = list(numbers).count(13)
    if aluminium > 1 or (aluminium and {1, 6} & set(numbers)):
        found.append("Al")
    if not found:
        return None
    return (f"MNDO/d of {' and '.join(found)} lacks terms of pairs of cores that its authors give: "
            "energies and geometries are not those of the published method, and heats of formation "
            "can be off by tens of kcal/mol; take another method")
