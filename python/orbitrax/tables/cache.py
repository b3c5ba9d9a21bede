"""Packed tables, kept in the cache folder of the user under a key made from the files' content.

Reading the text takes some milliseconds, as long as all else that a small molecule needs. A cache
that cannot be read or written, or is not whole, is as good as none.
"""

from __future__ import annotations

import os
import struct

try:
    from _blake2 import blake2b  # what hashlib has, without all that it loads beside
except ImportError:
    from hashlib import blake2b

from orbitrax.tables.packed import Packed

_FORM = b"orbitrax tables 1\n"  # another number for another layout of blocks or of this file
_HEAD = struct.Struct("<IIII")  # lengths of block, pairs, elements, capping
_CHECK = 16  # bytes of the sum at the end


def folder() -> str:
    """Where packed tables are kept: ORBITRAX_CACHE, else `orbitrax` in the user's cache folder."""
    told = os.environ.get("ORBITRAX_CACHE")
    base = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
    return told or os.path.join(base, "orbitrax")


def key_of(stem: str, contents: list[bytes]) -> str:
    """A name that only these tables have."""
    digest = blake2b(_FORM, digest_size=_CHECK)
    for content in contents:
        digest.update(struct.pack("<Q", len(content)))
        digest.update(content)
    return f"{stem}-{digest.hexdigest()}.tables"


def look_up(key: str) -> Packed | None:
    """What is kept under a key, if it is whole."""
    try:
        with open(os.path.join(folder(), key), "rb") as file:
            data = file.read()
    except OSError:
        return None
    start = len(_FORM) + _HEAD.size
    if len(data) < start + _CHECK or not data.startswith(_FORM):
        return None
    if blake2b(data[:-_CHECK], digest_size=_CHECK).digest() != data[-_CHECK:]:
        return None
    parts = []
    for length in _HEAD.unpack_from(data, len(_FORM)):
        parts.append(data[start:start + length])
        start += length
    return Packed(*parts) if start == len(data) - _CHECK else None


def keep(key: str, packed: Packed) -> None:
    """Keeps packed tables, in the place of older ones of the same name."""
    parts = (packed.block, packed.pairs, packed.elements, packed.capping)
    data = _FORM + _HEAD.pack(*map(len, parts)) + b"".join(parts)
    data += blake2b(data, digest_size=_CHECK).digest()
    place = folder()
    temporary = os.path.join(place, f".{key}.{os.getpid()}")
    try:
        os.makedirs(place, mode=0o700, exist_ok=True)
        with open(temporary, "wb") as file:
            file.write(data)
        os.replace(temporary, os.path.join(place, key))
        stem = key.partition("-")[0] + "-"
        for name in os.listdir(place):
            if name.startswith(stem) and name.endswith(".tables") and name != key:
                os.unlink(os.path.join(place, name))
    except OSError:  # a full disk, a folder that is not ours: the next run reads the text again
        pass
