"""Normal modes in double precision, as they come over the link.

Six words of 32 bits and one of 64: coordinates n, translations and rotations among the modes,
displaced points, those of them whose SCF did not converge, worker processes, 0, cycles of all
points. Then doubles: force matrix n x n, dipole derivatives n x 3, frequencies n, intensities n,
vectors n x n.
"""

from __future__ import annotations

import struct

from orbitrax.arrays import unpacked
from orbitrax.errors import ProtocolError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

_HEAD = struct.Struct("<6iq")
_NAMES = ("coordinates", "external", "points", "unconverged", "workers", "unused", "cycles")


def read_mode_rows(data: bytes) -> dict[str, Any]:
    """The words of the head by name, and the arrays, each in one row: `force_matrix`,
    `dipole_derivatives`, `frequencies`, `intensities`, `vectors`. Raises ProtocolError where the
    head does not agree with the length, or with itself."""
    if len(data) < _HEAD.size:
        raise ProtocolError(f"the backend sent {len(data)} bytes of normal modes")
    found: dict[str, Any] = dict(zip(_NAMES, _HEAD.unpack_from(data)))
    n = found["coordinates"]
    if n < 0 or len(data) - _HEAD.size != 8 * n * (2 * n + 5):
        raise ProtocolError(f"the backend sent {len(data)} bytes of {n} normal modes")
    if not 0 <= found["external"] <= n or not 0 <= found["unconverged"] <= found["points"]:
        raise ProtocolError(f"the backend sent {found['external']} external ones among {n} normal "
                            f"modes, {found['unconverged']} of {found['points']} displaced points "
                            "without convergence")
    values, at = unpacked("d", data[_HEAD.size:]), 0
    for name, size in (("force_matrix", n * n), ("dipole_derivatives", 3 * n), ("frequencies", n),
                       ("intensities", n), ("vectors", n * n)):
        found[name] = values[at:at + size]
        at += size
    return found
