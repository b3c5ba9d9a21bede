"""Files that appear whole or not at all."""

from __future__ import annotations

import contextlib
import os

from orbitrax.errors import OrbitraxError, UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator


def check_target(path: str) -> None:
    """Refuses a file that cannot be written, before anything is computed. Rights do not tell: the
    superuser has all of them, and /proc takes no file even so. An empty file is made and removed.
    """
    place = os.path.realpath(path)
    folder = os.path.dirname(place)
    if os.path.isdir(path):
        raise UsageError(f"{path}: no file can be written there: it is a folder")
    if not os.path.isdir(folder):
        raise UsageError(f"{path}: no file can be written there: there is no folder "
                         f"{os.path.dirname(path) or folder}")
    if os.path.exists(place) and not os.path.isfile(place):
        if not os.access(place, os.W_OK):
            raise UsageError(f"{path}: no file can be written there: no permission")
        return
    try:
        os.unlink(_empty_file(folder, os.path.basename(place)))
    except OSError as error:
        raise UsageError(f"{path}: no file can be written there: {error.strerror}") from None


def _empty_file(folder: str, name: str) -> str:
    """A new file that nobody else knows, with the ending of this name."""
    import tempfile

    handle, path = tempfile.mkstemp(dir=folder, prefix=".orbitrax-",
                                    suffix=os.path.splitext(name)[1])
    os.close(handle)
    return path


def is_molden(path: str | None) -> bool:
    """Whether a file of this name holds orbitals in the Molden format."""
    return path is not None and path.lower().endswith(".molden")


@contextlib.contextmanager
def replaced(path: str) -> Iterator[str]:
    """Gives the name of a file to write; when the block has ended well, that file takes the place
    of `path`, else it is gone. What is not an ordinary file (a device, a pipe) is written in place.

    The system's refusals become an OrbitraxError that names `path`.
    """
    try:
        if os.path.exists(path) and not os.path.isfile(path):
            yield path
        else:
            with _beside(os.path.realpath(path)) as temporary:
                yield temporary
    except OSError as error:
        raise OrbitraxError(f"{path}: cannot be written: {error.strerror}") from None


@contextlib.contextmanager
def _beside(path: str) -> Iterator[str]:
    temporary = _empty_file(os.path.dirname(path), path)
    try:
        yield temporary
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(temporary, 0o666 & ~mask)
        os.replace(temporary, path)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(temporary)
        raise
