"""The curve or the map of a scan."""

from __future__ import annotations

from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import replaced

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

_ENDINGS = (".png", ".svg", ".pdf")


def draw(path: str, axes: Sequence[tuple[str, str]],
         points: Sequence[tuple[tuple[float, ...], float]]) -> None:
    """Draws relative energies, kcal/mol, over one coordinate or two. axes: name and unit of each;
    points: values and energy."""
    if not path.lower().endswith(_ENDINGS):
        raise UsageError(f"{path}: a picture is a .png, .svg or .pdf")
    try:
        import matplotlib

        matplotlib.use("Agg")
        from matplotlib import pyplot
    except ImportError:
        raise OrbitraxError("pictures need matplotlib, which is not installed; on Debian: apt-get "
                            "install python3-matplotlib") from None
    lowest = min(energy for _, energy in points)
    heights = [energy - lowest for _, energy in points]
    figure, place = pyplot.subplots(figsize=(6, 4), layout="constrained")
    place.set_xlabel(f"{axes[0][0]} ({axes[0][1]})")
    if len(axes) == 1:
        pairs = sorted(zip((values[0] for values, _ in points), heights))
        place.plot([x for x, _ in pairs], [y for _, y in pairs], "o-", color="#1f5fa8")
        place.set_ylabel("energy above the lowest (kcal/mol)")
        place.grid(alpha=0.3)
    else:
        drawn = place.tricontourf([values[0] for values, _ in points],
                                  [values[1] for values, _ in points], heights, 16)
        place.set_ylabel(f"{axes[1][0]} ({axes[1][1]})")
        figure.colorbar(drawn, label="energy above the lowest (kcal/mol)")
    with replaced(path) as name:
        figure.savefig(name, dpi=150, format=path.rsplit(".", 1)[1].lower())
    pyplot.close(figure)
