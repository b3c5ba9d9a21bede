"""Molecules that nearly have the symmetry of a point group, moved to where they have it exactly.

A minimum is found to some 0.0001 Angstrom in each coordinate; the symmetry that it has is lost in
these digits, and with it what follows from symmetry: degenerate levels and modes, labels, and most
of the work of a force matrix.
"""

from __future__ import annotations

from itertools import product

import numpy as np

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Iterator, Sequence

    from numpy.typing import NDArray

    Places = NDArray[np.float64]
    Order = NDArray[np.intp]

WITHIN = 1e-3  # Angstrom: farther from symmetry a molecule is not of the group

_LEAST_SINE = 0.1  # of the angle of two atoms at the centre that tell how the molecule lies
_AT_CENTRE = 0.1  # Angstrom
_ROUNDS, _EXACT = 50, 1e-13


def symmetrised(z: Sequence[int], positions: Places, within: float = WITHIN) -> Places | None:
    """Positions (Angstrom) of exact symmetry next to those of a molecule, atom by atom; the mean of
    the places is kept. None where there is no symmetry but the identity within that distance, where
    the operations that there are make no group, and for atoms on a line."""
    kinds, places = np.asarray(z), np.asarray(positions, dtype=float)
    if len(places) < 2:
        return None
    centre = places.mean(axis=0)
    orders = _orders(kinds, places - centre, 2 * within)
    if len(orders) < 2 or not _is_group(orders):
        return None
    exact = _mean_of_images(places - centre, orders) + centre
    shift = np.linalg.norm(exact - places, axis=1).max()
    return exact if shift <= within else None


def rotations(kinds: Sequence[int], positions: Places, within: float = WITHIN) -> int:
    """How many rotations bring each atom (n x 3, Angstrom) to the place of one of its kind, the
    identity among them; of atoms on a line, which have no end of them, those that turn the line.
    """
    alike, places = np.asarray(kinds), np.asarray(positions, dtype=float)
    places = places - places.mean(axis=0)
    pair = _telling_pair(alike, places, 2 * within)
    if pair is None:
        images = _nearest(alike, -places, places)
        off = np.linalg.norm(places + places[images], axis=1).max()
        return 2 if len(places) > 1 and off <= within else 1
    found = set()
    for axes in _axes_of_images(alike, places, pair, 2 * within):
        turn = axes.T @ _axes(places, *pair)
        if np.linalg.det(turn) > 0:
            order = _order_of(alike, places, turn, within)
            found.add(None if order is None else order.tobytes())
    return len(found - {None})


def _orders(kinds: Order, places: Places, within: float) -> list[Order]:
    """In whose place each atom comes, operation by operation; the identity is among them."""
    pair = _telling_pair(kinds, places, within)
    found: dict[bytes, Order] = {}
    for axes in () if pair is None else _axes_of_images(kinds, places, pair, within):
        order = _order_of(kinds, places, axes.T @ _axes(places, *pair or (0, 0)), within)
        if order is not None:
            found[order.tobytes()] = order
    return list(found.values())


def _classes(kinds: Order, places: Places, within: float) -> list[Order]:
    """By atom: the atoms of its element as far from the centre."""
    radii = np.linalg.norm(places, axis=1)
    return [np.flatnonzero((kinds == kinds[i]) & (abs(radii - radii[i]) < 2 * within))
            for i in range(len(places))]


def _telling_pair(kinds: Order, places: Places, within: float) -> tuple[int, int] | None:
    """Two atoms that span a plane with the centre and have few images."""
    radii = np.linalg.norm(places, axis=1)
    counts = np.array([len(alike) for alike in _classes(kinds, places, within)])
    for i in np.lexsort((-radii, counts)):
        if radii[i] < _AT_CENTRE:
            continue
        sines = np.linalg.norm(np.cross(places[i], places), axis=1) / (
            radii[i] * np.maximum(radii, _AT_CENTRE))
        fit = np.flatnonzero((sines > _LEAST_SINE) & (radii > _AT_CENTRE))
        if len(fit):
            return int(i), int(fit[np.lexsort((-radii[fit], counts[fit]))[0]])
    return None


def _axes(places: Places, i: int, j: int, sense: float = 1.0) -> Places:
    """Rows: along atom i, in the plane of i and j, normal to it (backwards for a sense of -1)."""
    first = places[i] / np.linalg.norm(places[i])
    normal = np.cross(places[i], places[j])
    normal /= np.linalg.norm(normal)
    return np.array([first, np.cross(normal, first), sense * normal])


def _axes_of_images(kinds: Order, places: Places, pair: tuple[int, int],
                    within: float) -> Iterator[Places]:
    i, j = pair
    classes = _classes(kinds, places, within)
    apart = np.linalg.norm(places[i] - places[j])
    for k, l in product(classes[i], classes[j]):
        if abs(np.linalg.norm(places[k] - places[l]) - apart) < 2 * within:
            yield from (_axes(places, k, l, sense) for sense in (1.0, -1.0))


def _order_of(kinds: Order, places: Places, turn: Places, within: float) -> Order | None:
    """In whose place each atom comes by a turn; None where one comes where no atom is. The turn is
    told by two atoms and is off by their errors, more so for atoms far away: it is fitted to all
    before it is judged."""
    order = _nearest(kinds, places @ turn.T, places)
    if len(np.unique(order)) < len(order):
        return None
    fitted = _fit(places, places[order], float(np.sign(np.linalg.det(turn))))
    off = np.linalg.norm(places @ fitted.T - places[order], axis=1).max()
    return order if off <= within else None


def _nearest(kinds: Order, turned: Places, places: Places) -> Order:
    squares = ((turned[:, None, :] - places[None, :, :]) ** 2).sum(axis=2)
    squares[kinds[:, None] != kinds[None, :]] = np.inf
    nearest: Order = squares.argmin(axis=1)
    return nearest


def _fit(places: Places, targets: Places, sense: float) -> Places:
    """The rotation, or with a sense of -1 rotation and mirror, that brings places nearest to
    targets (Kabsch, Acta Crystallogr. A 32, 922, 1976)."""
    u, _, v = np.linalg.svd(targets.T @ places)
    last = sense * np.sign(np.linalg.det(u @ v))
    turn: Places = u @ np.diag([1.0, 1.0, last]) @ v
    return turn


def _is_group(orders: list[Order]) -> bool:
    known = {order.tobytes() for order in orders}
    return all(a[b].tobytes() in known for a in orders for b in orders)


def _mean_of_images(places: Places, orders: list[Order]) -> Places:
    """Each atom becomes the mean of what the operations bring into its place, until nothing moves:
    the operations are fitted, and fit better each time."""
    for _ in range(_ROUNDS):
        mean = np.zeros_like(places)
        for order in orders:
            mean += _turned_back(places, order)
        mean /= len(orders)
        moved = abs(mean - places).max()
        places = mean
        if moved < _EXACT:
            break
    return places


def _turned_back(places: Places, order: Order) -> Places:
    """The images of all atoms, turned back to the atoms themselves; of rotation and mirror image
    the one that fits better."""
    targets = places[order]
    fits = [targets @ _fit(places, targets, sense) for sense in (1.0, -1.0)]
    return min(fits, key=lambda fit: float(abs(fit - places).max()))
