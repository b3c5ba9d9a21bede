"""Files that appear whole or not at all."""

from __future__ import annotations

import contextlib
import os
import stat

from orbitrax.errors import OrbitraxError, UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator, Sequence
    from typing import TypeGuard


def check_target(path: str) -> None:
    """Refuses a file that cannot be written, before anything is computed. Rights do not tell: the
    superuser has all of them, and /proc takes no file even so. A file that is there is opened as it
    is, which the place of one that is write-protected would not tell; and an empty file is made
    beside it and removed.
    """
    if not path:
        raise UsageError("a file without a name cannot be written; name one")
    place = os.path.realpath(path)
    folder = os.path.dirname(place)
    if os.path.isdir(path):
        raise UsageError(f"{path}: no file can be written there: it is a folder")
    if os.path.exists(path) and not os.path.isfile(path):  # as /dev/stdout, a pipe without a place
        if not os.access(path, os.W_OK):
            raise UsageError(f"{path}: no file can be written there: no permission")
        return
    if not os.path.isdir(folder):
        raise UsageError(f"{path}: no file can be written there: there is no folder "
                         f"{os.path.dirname(path) or folder}")
    try:
        if os.path.exists(place):
            os.close(os.open(place, os.O_WRONLY))
        with _temporary(place):
            pass
    except OSError as error:
        raise UsageError(f"{path}: no file can be written there: {error.strerror}") from None


def check_apart(written: Sequence[str | None], read: Sequence[str | None] = ()) -> None:
    """Refuses two outputs of one name, and an output that would take the place of what is read,
    before anything is lost. read: sources of molecules too, NAME@0 among them. None, - and what is
    no ordinary file stand in nobody's way."""
    outputs = [path for path in written if _holds(path)]
    for k, path in enumerate(outputs):
        if any(_is_same(path, other) for other in outputs[:k]):
            raise UsageError(f"{path}: two outputs cannot go into one file; name another one")
        for source in read:
            if _holds(source) and _is_same(path, source):
                raise UsageError(f"{path}: this would be written over {source}, which is read "
                                 "here; name another file")


def _holds(path: str | None) -> TypeGuard[str]:
    return path is not None and path != "-" and (not os.path.exists(path) or os.path.isfile(path))


def _is_same(path: str, source: str) -> bool:
    place = source
    if not os.path.exists(source) and "@" in source:
        place = source.rpartition("@")[0]
    if os.path.exists(path) and os.path.exists(place):
        return os.path.samefile(path, place)
    return os.path.realpath(path) == os.path.realpath(place)


@contextlib.contextmanager
def _temporary(path: str) -> Iterator[str]:
    """A new and empty file that nobody else knows, beside this one and with its ending; it is gone
    at the end, whatever happens, unless it has got another name by then. Its own is known before
    it is made, so that no signal comes between the two."""
    folder, name = os.path.split(path)
    suffix = os.path.splitext(name)[1]
    temporary = os.path.join(folder, f".orbitrax-{os.urandom(8).hex()}{suffix}")
    try:
        os.close(os.open(temporary, os.O_RDWR | os.O_CREAT | os.O_EXCL, 0o600))
        yield temporary
    finally:
        with contextlib.suppress(OSError):
            os.unlink(temporary)


def claimed(path: str, flags: int) -> int:
    """An opener, for `open`, of files that are written for long: nobody else who asks so gets the
    file until it is closed. Raises UsageError, with the file as it was, where another has it."""
    handle = os.open(path, flags & ~os.O_TRUNC, 0o666)
    if not stat.S_ISREG(os.fstat(handle).st_mode):
        return handle
    import fcntl

    try:
        fcntl.flock(handle, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        os.close(handle)
        raise UsageError(f"{path}: another run is writing it; name another file, or wait for its "
                         "end") from None
    except OSError:
        pass  # a file system without locks
    if flags & os.O_TRUNC:
        os.ftruncate(handle, 0)
    return handle


def free_name(path: str) -> str:
    """The name of a file that is not there yet: this one, or NAME-2.END, NAME-3.END, ..."""
    stem, ending = os.path.splitext(path)
    number, found = 1, path
    while os.path.lexists(found):
        number += 1
        found = f"{stem}-{number}{ending}"
    return found


def is_molden(path: str | None) -> bool:
    """Whether a file of this name holds orbitals in the Molden format."""
    return path is not None and path.lower().endswith(".molden")


@contextlib.contextmanager
def refusals(path: str) -> Iterator[None]:
    """Turns the system's refusals to write into an OrbitraxError that names `path`."""
    try:
        yield
    except OSError as error:
        raise OrbitraxError(f"{path}: cannot be written: {error.strerror}") from None


@contextlib.contextmanager
def replaced(path: str) -> Iterator[str]:
    """Gives the name of a file to write; when the block has ended well, that file takes the place
    of `path`, else it is gone. What is not an ordinary file (a device, a pipe) is written in place.

    The system's refusals become an OrbitraxError that names `path`.
    """
    with refusals(path):
        if os.path.exists(path) and not os.path.isfile(path):
            yield path
        else:
            with _beside(os.path.realpath(path)) as temporary:
                yield temporary


@contextlib.contextmanager
def _beside(path: str) -> Iterator[str]:
    with _temporary(path) as temporary:
        yield temporary
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(temporary, 0o666 & ~mask)
        os.replace(temporary, path)
