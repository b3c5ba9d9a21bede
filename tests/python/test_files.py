"""Files appear whole or not at all, whatever happens while they are written."""

import os
import stat

import pytest
from support import ROOT  # noqa: F401

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import check_target, replaced


def write(path, text="new"):
    with replaced(str(path)) as name, open(name, "w", encoding="utf-8") as file:
        file.write(text)


def test_a_file_is_made_and_replaced_with_the_usual_rights(tmp_path):
    path = tmp_path / "a.txt"
    for text in ("one", "two"):
        write(path, text)
        assert path.read_text() == text and os.listdir(tmp_path) == ["a.txt"]
    mask = os.umask(0)
    os.umask(mask)
    assert stat.S_IMODE(path.stat().st_mode) == 0o666 & ~mask


@pytest.mark.parametrize("error", [KeyboardInterrupt, ValueError, MemoryError])
def test_what_breaks_off_leaves_the_old_file(tmp_path, error):
    path = tmp_path / "a.txt"
    path.write_text("old")
    with pytest.raises(error), replaced(str(path)) as name:
        with open(name, "w", encoding="utf-8") as file:
            file.write("half")
        raise error
    assert path.read_text() == "old" and os.listdir(tmp_path) == ["a.txt"]


def test_a_link_stays_a_link(tmp_path):
    (tmp_path / "real.txt").write_text("old")
    (tmp_path / "link.txt").symlink_to("real.txt")
    write(tmp_path / "link.txt")
    assert (tmp_path / "link.txt").is_symlink() and (tmp_path / "real.txt").read_text() == "new"


def test_a_device_is_written_in_place(tmp_path):
    write("/dev/null")
    assert stat.S_ISCHR(os.stat("/dev/null").st_mode)
    with pytest.raises(OrbitraxError, match="/dev/full: cannot be written: No space left"):
        write("/dev/full")


def test_the_systems_refusal_names_the_file(tmp_path):
    with pytest.raises(OrbitraxError, match="none/a.txt: cannot be written: No such file"):
        write(tmp_path / "none" / "a.txt")


def test_targets_that_cannot_be_are_refused_before(tmp_path):
    check_target(str(tmp_path / "a.txt"))
    for path in (tmp_path, tmp_path / "none" / "a.txt"):
        with pytest.raises(UsageError, match="no file can be written there"):
            check_target(str(path))


def test_what_takes_no_file_is_refused_before_whatever_the_rights(tmp_path):
    """/proc lets the superuser do all and makes no file."""
    for path in ("/proc/a.txt", "/proc/self/a.txt"):
        with pytest.raises(UsageError, match=f"{path}: no file can be written there: "):
            check_target(path)
    (tmp_path / "link.txt").symlink_to("/proc/a.txt")
    with pytest.raises(UsageError, match="no file can be written there"):
        check_target(str(tmp_path / "link.txt"))


def test_a_look_at_a_target_leaves_nothing_and_harms_nothing(tmp_path):
    (tmp_path / "old.txt").write_text("old")
    for name in ("old.txt", "new.txt"):
        check_target(str(tmp_path / name))
    check_target("/dev/null")
    assert os.listdir(tmp_path) == ["old.txt"] and (tmp_path / "old.txt").read_text() == "old"


def test_a_signal_between_making_a_file_and_taking_it_away_leaves_none(tmp_path, monkeypatch):
    """The moment after the system has made the file, and before we have heard of it."""
    make = os.open

    def make_and_be_interrupted(*given):
        os.close(make(*given))
        raise KeyboardInterrupt

    monkeypatch.setattr(os, "open", make_and_be_interrupted)
    with pytest.raises(KeyboardInterrupt):
        check_target(str(tmp_path / "a.xyz"))
    with pytest.raises(KeyboardInterrupt):
        write(tmp_path / "a.xyz")
    assert os.listdir(tmp_path) == []


def test_a_file_that_is_protected_is_refused_before(tmp_path, monkeypatch):
    """Another could take its place, which is not what someone means who protects it. The superuser
    may write everything, so the system's refusal is played."""
    path = tmp_path / "a.txt"
    path.write_text("old")
    make = os.open

    def refuse(name, flags, *given):
        if name == str(path) and flags & os.O_WRONLY:
            raise PermissionError(13, "Permission denied", name)
        return make(name, flags, *given)

    monkeypatch.setattr(os, "open", refuse)
    with pytest.raises(UsageError, match="a.txt: no file can be written there: Permission denied"):
        check_target(str(path))
    assert path.read_text() == "old" and os.listdir(tmp_path) == ["a.txt"]


def test_no_name_is_no_file():
    with pytest.raises(UsageError, match="without a name"):
        check_target("")


def test_a_pipe_of_the_shell_is_a_target():
    """As /dev/stdout and >(gzip) are, whose real path is no place."""
    read, written = os.pipe()
    try:
        check_target(f"/dev/fd/{written}")
        write(f"/dev/fd/{written}", "new")
        assert os.read(read, 10) == b"new"
    finally:
        os.close(read)
        os.close(written)
