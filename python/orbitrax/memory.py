"""What a calculation takes of the memory, told before it begins."""

from __future__ import annotations

from orbitrax.errors import OutOfMemory

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

# Matrices of all orbitals, in double precision, that the backend holds in a restricted calculation:
# what it takes at its largest (1000 and 2000 orbitals took 9), and what it cannot do with less.
_USUAL, _LEAST = 9, 5
_GB = 1e9
_LARGE = 1500  # orbitals whose cycles take seconds
_SECONDS, _OF_ORBITALS = 0.6, 1200  # of a cycle on one processor (200 waters in docs/speed.md)


def check_memory(z: Sequence[int], least_free: int | None = None) -> None:
    """Refuses atoms that are far too many for the memory that is free. z: the atomic numbers of
    what is calculated. least_free: bytes that are free at least, where that is known better.
    Raises OutOfMemory."""
    orbitals = orbitals_of(z)
    bytes_of_one = 8.0 * orbitals * orbitals
    free = least_free
    if free is None:
        if _LEAST * bytes_of_one < _GB:
            return  # not worth a look
        free = free_memory()
    if free is not None and _LEAST * bytes_of_one > free:
        raise OutOfMemory(
            f"{len(z)} atoms with {orbitals} orbitals need about {_USUAL * bytes_of_one / _GB:.0f} "
            f"GB of memory; {free / _GB:.0f} GB are free; calculate a part of it with --select")


def forecast(z: Sequence[int]) -> str | None:
    """What is to be said of memory and time of a large calculation before it begins; None of
    others."""
    orbitals = orbitals_of(z)
    if orbitals < _LARGE:
        return None
    seconds = float(f"{_SECONDS * (orbitals / _OF_ORBITALS) ** 3:.1g}")
    return (f"{orbitals} orbitals take about {_USUAL * 8e-9 * orbitals * orbitals:.1f} GB of "
            f"memory and some {seconds:g} s an SCF cycle on one processor, of which there are 7 to "
            "20; what this machine takes is told from the second one on")


def orbitals_of(z: Sequence[int]) -> int:
    """Orbitals of s and p functions; those of d functions come on top."""
    return 4 * len(z) - 3 * (z.count(0) + z.count(1))


def free_memory() -> int | None:
    """Bytes of memory, swap space too, that the system could still give; None where it does not
    say."""
    try:
        with open("/proc/meminfo", encoding="ascii") as file:
            rows = dict(line.split(":", 1) for line in file)
        return 1024 * sum(int(rows[name].split()[0]) for name in ("MemAvailable", "SwapFree"))
    except (OSError, KeyError, ValueError):
        return None
