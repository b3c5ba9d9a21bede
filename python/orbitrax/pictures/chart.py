"""Charts of runs: energies and temperature against time."""

from __future__ import annotations

from orbitrax.errors import OrbitraxError
from orbitrax.pictures.figures import drawing_tools, format_of

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Mapping, Sequence
    from typing import Any

    from orbitrax.motion.tables import Table

_SIZE = (8.0, 5.0)  # inches
_DOTS = 150  # an inch
_LINES = (("total_energy", "total", "#1b1b1b"), ("potential_energy", "potential", "#1f6fb4"))


def save_chart(columns: Mapping[str, Sequence[float]], title: str, path: str,
               file: str | None = None) -> None:
    """Draws total and potential energy, from the first potential energy, and the temperature,
    against the time; without times the potential energy against the step. columns: numbers of the
    frames by name, as `frames` of the JSON document. The name of `path` tells the format; `file` is
    written instead if it is given. Raises OrbitraxError where there are no frames."""
    form = format_of(path)
    if not columns["step"]:
        raise OrbitraxError(f"{path}: there are no frames to be drawn")
    timed = any(columns["time_ps"])
    matplotlib = drawing_tools()
    with matplotlib.rc_context({"svg.hashsalt": title, "svg.fonttype": "none"}):
        figure = matplotlib.figure.Figure(_SIZE, dpi=_DOTS, layout="constrained")
        figure.suptitle(title, fontsize=10)
        axes = figure.subplots(2 if timed else 1, 1, sharex=True, squeeze=False)[:, 0]
        along = columns["time_ps" if timed else "step"]
        start = columns["potential_energy"][0]
        for name, label, colour in _LINES if timed else _LINES[1:]:
            axes[0].plot(along, [value - start for value in columns[name]], label=label,
                         color=colour, linewidth=0.9)
        axes[0].set_ylabel("energy - start (kcal/mol)")
        axes[0].legend(frameon=False, fontsize=8)
        if timed:
            axes[1].plot(along, list(columns["temperature"]), color="#c0392b", linewidth=0.9)
            axes[1].set_ylabel("temperature (K)")
        axes[-1].set_xlabel("time (ps)" if timed else "sweep")
        for one in axes:
            one.margins(x=0)
            one.spines[["top", "right"]].set_visible(False)
        _save(figure, form, file or path)


def save_tables(tables: Sequence[Table], path: str, file: str | None = None) -> None:
    """Draws tables one below the other, each over its own axis; names as in `save_chart`."""
    form = format_of(path)
    matplotlib = drawing_tools()
    with matplotlib.rc_context({"svg.hashsalt": path, "svg.fonttype": "none"}):
        figure = matplotlib.figure.Figure((_SIZE[0], 1.0 + 3.0 * len(tables)), dpi=_DOTS,
                                          layout="constrained")
        for axes, table in zip(figure.subplots(len(tables), 1, squeeze=False)[:, 0], tables):
            for name, values in table.columns.items():
                axes.plot(table.x, values, label=name, linewidth=0.9)
            axes.set_xlabel(table.along)
            axes.set_xlim(float(table.x[0]), table.most or float(table.x[-1]))
            axes.legend(frameon=False, fontsize=8)
            axes.spines[["top", "right"]].set_visible(False)
        _save(figure, form, file or path)


def _save(figure: Any, form: str, path: str) -> None:
    """Writes a figure without the date, so that the same data make the same file."""
    about = {"Date": None} if form == "svg" else {"CreationDate": None} if form == "pdf" else {}
    figure.savefig(path, format=form, metadata=about)
