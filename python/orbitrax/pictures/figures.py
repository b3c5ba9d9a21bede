"""What all pictures share: the formats, the library that draws, and files that are the same to the
last bit whenever they are drawn."""

from __future__ import annotations

import os

from orbitrax.errors import OrbitraxError, UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

FORMATS = ("png", "svg", "pdf")


def format_of(path: str) -> str:
    """The format that a file name asks for."""
    suffix = os.path.splitext(path)[1].lower().lstrip(".")
    if suffix not in FORMATS:
        raise UsageError(f"{path}: no picture goes by this name; try .png, .svg or .pdf")
    return suffix


def check(path: str) -> None:
    """Refuses a name that tells no format, and to draw without Matplotlib."""
    format_of(path)
    drawing_tools()


def drawing_tools() -> Any:
    """Matplotlib, with what is used of it."""
    try:
        import matplotlib
        import matplotlib.colors
        import matplotlib.cm
        import matplotlib.figure
        import matplotlib.patheffects
    except ImportError:
        raise OrbitraxError("drawing needs Matplotlib, which is not installed; on Debian: "
                            "apt-get install python3-matplotlib") from None
    return matplotlib


def save_figure(figure: Any, path: str, file: str | None, title: str) -> None:
    """Writes a figure in the format that the name of `path` tells, to `file` if it is given."""
    form = format_of(path)
    about = {"Title": title, "Date": None} if form == "svg" else {"Title": title}
    if form == "pdf":
        about["CreationDate"] = None
    with drawing_tools().rc_context({"svg.hashsalt": title, "svg.fonttype": "none"}):
        figure.savefig(file or path, format=form, dpi=figure.dpi, metadata=about)
