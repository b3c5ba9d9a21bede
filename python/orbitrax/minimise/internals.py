"""Redundant internal coordinates of a molecule, and how they change with its positions.

Stretches, bends and torsions follow the bonds; where three atoms stand in a line, two linear bends
take the place of the bend. Lengths are in Angstrom, angles in radians.

P. Pulay, G. Fogarasi, J. Chem. Phys. 96, 2856 (1992); E. B. Wilson, J. C. Decius, P. C. Cross,
Molecular Vibrations (1955), chapter 4.
"""

from __future__ import annotations

from typing import Any, Sequence

import numpy as np

from orbitrax.minimise.arrays import Array

Chains = list[tuple[int, ...]]  # of bonded atoms

LINEAR = np.radians(165.0)  # three atoms that open a wider angle count as a line
_STRAIGHTENED, _BROKEN = np.radians([172.0, 157.0])  # a bend and a line that no longer are
_SQUARE = 0.4  # cosine of the line to an axis that no longer counts as square to it
_BESIDE, _UPON = 0.1, 0.05  # sine between a line and an atom that shows where one side of it is,
#                             and of one that no longer does
_MOST_TORSIONS = 9  # round one bond: those of two sp3 atoms


class Internals:
    """The coordinates that a molecule has by its bonds and by the positions it starts from.

    stretches k x 2, bends k x 3, torsions k x 4, linear k x 3: atom indices from 0, the apex of a
    bend in the middle. A linear bend is there twice, along two axes square to the line, which turn
    with the molecule; where all of it lies in the line they are fixed in space. The last `flaps`
    torsions stand for an atom with three neighbours that leaves their plane, where no other torsion
    tells of that. Links are coordinates beside those that follow from the bonds. The order of all
    coordinates: stretches, bends, torsions, linear bends.
    """

    def __init__(self, positions: Array, bonds: list[tuple[int, int]],
                 links: Sequence[tuple[int, ...]] = ()):
        """positions: n x 3, Angstrom. bonds: pairs of atom indices, each once. links: two, three or
        four atom indices each, of a stretch, a bend or a torsion."""
        neighbours: list[list[int]] = [[] for _ in positions]
        for i, j in bonds:
            neighbours[i].append(j)
            neighbours[j].append(i)
        for near in neighbours:
            near.sort()
        bends, linear = _bends(positions, neighbours)
        self._own_bends = len(bends)
        torsions = _torsions(positions, bonds, neighbours)
        flaps = _flaps(positions, neighbours, torsions)
        stretches: Chains = [tuple(sorted(bond)) for bond in bonds]
        for chains, width in ((stretches, 2), (bends, 3), (torsions, 4)):
            known = {*chains, *(chain[::-1] for chain in chains)}
            chains += [link for link in dict.fromkeys(links)
                       if len(link) == width and link not in known]
        self.stretches = _rows(stretches, 2)
        self.bends = _rows(bends, 3)
        self.torsions, self.flaps = _rows(torsions + flaps, 4), len(flaps)
        beside = [_beside(positions, neighbours, line) for line in linear]
        bare = [line for line, m in zip(linear, beside) if m is None]
        self._bare = _rows(bare, 3)
        self._framed = _rows([(*line, m) for line, m in zip(linear, beside) if m is not None], 4)
        self.linear = np.concatenate([self._bare, self._bare, self._framed[:, :3],
                                      self._framed[:, :3]])
        self._axes = [_square_axes(positions[i] - positions[k]) for i, _, k in bare]
        self._columns = [  # where the slopes of each kind are, coordinates x 3 atoms of one
            (3 * atoms[:, :, None] + np.arange(3)).reshape(len(atoms), 3 * atoms.shape[1])
            for atoms in (self.stretches, self.bends, self.torsions, self._bare, self._bare,
                          self._framed, self._framed)]
        self._cells = np.concatenate([  # and, in 3n x 3n, the products of those of one coordinate
            (3 * len(positions) * columns[:, :, None] + columns[:, None, :]).ravel()
            for columns in self._columns])

    def __len__(self) -> int:
        return len(self.stretches) + len(self.bends) + len(self.torsions) + len(self.linear)

    def place(self, atoms: tuple[int, ...]) -> int | None:
        """Which coordinate is that of these atoms; None where it is none."""
        start = 0
        for rows in (self.stretches, self.bends, self.torsions):
            if rows.shape[1] == len(atoms):
                for row, chain in enumerate(rows.tolist()):
                    if tuple(chain) in (atoms, atoms[::-1]):
                        return start + row
            start += len(rows)
        return None

    def fit(self, positions: Array) -> bool:
        """Whether they describe these positions, too: no bend that follows from the bonds has
        become a line, or a line a bend, and its axes still stand across it."""
        bends = bend(positions, self.bends[:self._own_bends])[0]
        lines = bend(positions, self.linear)[0]
        along = _units(positions[self._bare[:, 0]] - positions[self._bare[:, 2]])[0]
        slant = [np.abs(np.sum(along * axes, axis=1)) for axes in self._axis_pair()]
        i, j, k, m = (positions[self._framed[:, place]] for place in range(4))
        sines = np.linalg.norm(_cross(_units(i - k)[0], _units(m - j)[0]), axis=1)
        return bool(np.all(bends < _STRAIGHTENED) and np.all(lines > _BROKEN)
                    and np.all(np.array(slant) < _SQUARE) and np.all(sines > _UPON))

    def values(self, positions: Array) -> Array:
        """All coordinates at these positions."""
        return np.concatenate([values for _, (values, _) in self._kinds(positions)])

    def slopes(self, positions: Array) -> Array:
        """How each coordinate changes with each position: the matrix B, coordinates x 3n."""
        return self.values_and_slopes(positions)[1]

    def values_and_slopes(self, positions: Array) -> tuple[Array, Array]:
        """Both at once, for half the work."""
        kinds = self._kinds(positions)
        result = np.zeros((len(self), 3 * len(positions)))
        row = 0
        for atoms, (_, slopes) in kinds:  # slopes: coordinates x atoms of one x 3
            lines = np.arange(row, row + len(atoms))
            for place in range(atoms.shape[1]):
                for axis in range(3):
                    result[lines, 3 * atoms[:, place] + axis] = slopes[:, place, axis]
            row += len(atoms)
        return np.concatenate([values for _, (values, _) in kinds]), result

    def _kinds(self, positions: Array) -> list[tuple[Array, tuple[Array, Array]]]:
        """Of each kind of coordinate the atoms, and the values with the slopes by these."""
        return [(self.stretches, stretch(positions, self.stretches)),
                (self.bends, bend(positions, self.bends)),
                (self.torsions, torsion(positions, self.torsions)),
                *((self._bare, _linear(positions, self._bare, axis))
                  for axis in self._axis_pair()),
                *((self._framed, found) for found in _linear_framed(positions, self._framed))]

    def square(self, slopes: Array, weights: Array) -> Array:
        """B^T W B, 3n x 3n, of the matrix B and a weight for each coordinate: from the few slopes
        of each that are not 0."""
        products, row = [], 0
        for columns in self._columns:
            lines = slice(row, row + len(columns))
            part = np.take_along_axis(slopes[lines], columns, axis=1)
            products.append((part[:, :, None] * part[:, None, :]
                             * weights[lines, None, None]).ravel())
            row += len(columns)
        size = slopes.shape[1]
        square = np.bincount(self._cells, np.concatenate(products), size * size)
        # Of no coordinate at all, as of an atom, they are whole numbers.
        return square.reshape(size, size).astype(float, copy=False)

    def difference(self, after: Array, before: Array) -> Array:
        """after - before, torsions the short way round."""
        change = after - before
        start = len(self.stretches) + len(self.bends)
        turns = change[start:start + len(self.torsions)]
        turns -= 2 * np.pi * np.round(turns / (2 * np.pi))
        return change

    def _axis_pair(self) -> tuple[Array, Array]:
        axes = np.array(self._axes).reshape(-1, 2, 3)
        return axes[:, 0], axes[:, 1]


def _rows(atoms: list[Any], width: int) -> Array:
    return np.array(atoms, dtype=int).reshape(-1, width)


# ---- which coordinates there are ----------------------------------------------------------------


def _angle(positions: Array, i: int, j: int, k: int) -> float:
    a, b = positions[i] - positions[j], positions[k] - positions[j]
    return float(np.arctan2(np.linalg.norm(np.cross(a, b)), a @ b))


def _bends(positions: Array, neighbours: list[list[int]]) -> tuple[Chains, Chains]:
    """Triples of bonded atoms, those in a line apart."""
    bends: Chains = []
    linear: Chains = []
    for j, near in enumerate(neighbours):
        for place, i in enumerate(near):
            for k in near[place + 1:]:
                in_line = _angle(positions, i, j, k) > LINEAR
                (linear if in_line else bends).append((i, j, k))
    return bends, linear


def _torsions(positions: Array, bonds: list[tuple[int, int]],
              neighbours: list[list[int]]) -> Chains:
    """Chains of four atoms that are not in a line anywhere, round each bond, and round each line of
    bonds as a whole: its ends are what turns."""
    found: Chains = []
    for j, k in bonds:
        ends_j = [i for i in neighbours[j] if i != k and _angle(positions, i, j, k) <= LINEAR]
        ends_k = [m for m in neighbours[k] if m != j and _angle(positions, j, k, m) <= LINEAR]
        chains: Chains = [(i, j, k, m) for i in ends_j for m in ends_k if i != m]
        found += chains[:_MOST_TORSIONS]
    for chain in _lines(positions, neighbours):
        j, k = chain
        ends_j = [i for i in neighbours[j] if _angle(positions, i, j, k) <= LINEAR
                  and _angle(positions, i, j, k) >= np.pi - LINEAR]
        ends_k = [m for m in neighbours[k] if _angle(positions, j, k, m) <= LINEAR
                  and _angle(positions, j, k, m) >= np.pi - LINEAR]
        found += [(i, j, k, m) for i in ends_j for m in ends_k if i != m][:_MOST_TORSIONS]
    return found


def _flaps(positions: Array, neighbours: list[list[int]], torsions: Chains) -> Chains:
    """For each atom with three neighbours that no torsion turns about: i, the atom, k, m."""
    about = {atom for chain in torsions for atom in chain[1:3]}
    found: Chains = []
    for j, near in enumerate(neighbours):
        if len(near) != 3 or j in about:
            continue
        i, k, m = near
        angles = _angle(positions, i, j, k), _angle(positions, j, k, m)
        if all(np.pi - LINEAR <= angle <= LINEAR for angle in angles):
            found.append((i, j, k, m))
    return found


def _lines(positions: Array, neighbours: list[list[int]]) -> list[tuple[int, int]]:
    """First and last atom of each longest run of three or more bonded atoms in a line."""
    found = []
    for start, near in enumerate(neighbours):
        for second in near:
            if any(_angle(positions, before, start, second) > LINEAR
                   for before in near if before != second):
                continue  # the run begins further out
            last, here = start, second
            while True:
                onward = [m for m in neighbours[here]
                          if m != last and _angle(positions, last, here, m) > LINEAR]
                if not onward or onward[0] == start:
                    break
                last, here = here, onward[0]
            if here != second and start < here:
                found.append((start, here))
    return found


def _beside(positions: Array, neighbours: list[list[int]], line: tuple[int, ...]) -> int | None:
    """The nearest atom by the bonds from either end of three atoms in a line that does not stand in
    it; None where all do."""
    i, j, k = line
    along = (positions[i] - positions[k]) / np.linalg.norm(positions[i] - positions[k])
    seen, edge = {i, j, k}, [i, k]
    while edge:
        onward = [m for end in edge for m in neighbours[end] if m not in seen]
        for m in onward:
            arm = positions[m] - positions[j]
            if np.linalg.norm(np.cross(along, arm)) > _BESIDE * np.linalg.norm(arm):
                return m
        seen.update(onward)
        edge = onward
    return None


def _square_axes(line: Array) -> Array:
    """Two unit vectors square to a line and to each other, 2 x 3."""
    along = line / np.linalg.norm(line)
    first = np.cross(along, np.eye(3)[np.argmin(np.abs(along))])
    first /= np.linalg.norm(first)
    return np.array([first, np.cross(along, first)])


# ---- values and slopes --------------------------------------------------------------------------
# Each returns the values, k, and their slopes by the atoms' positions, k x atoms x 3.


def _cross(a: Array, b: Array) -> Array:
    """The products of rows, k x 3; numpy's own takes three times as long for a few hundred."""
    x, y = a.T, b.T
    return np.stack([x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2],
                     x[0] * y[1] - x[1] * y[0]], axis=1)


def _units(vectors: Array) -> tuple[Array, Array]:
    lengths = np.linalg.norm(vectors, axis=1)
    return vectors / lengths[:, None], lengths


def stretch(positions: Array, atoms: Array) -> tuple[Array, Array]:
    """Distances of pairs, Angstrom."""
    along, lengths = _units(positions[atoms[:, 0]] - positions[atoms[:, 1]])
    return lengths, np.stack([along, -along], axis=1)


def bend(positions: Array, atoms: Array) -> tuple[Array, Array]:
    """Angles at the middle atom, radian."""
    u, length_u = _units(positions[atoms[:, 0]] - positions[atoms[:, 1]])
    v, length_v = _units(positions[atoms[:, 2]] - positions[atoms[:, 1]])
    cosine = np.clip(np.sum(u * v, axis=1), -1.0, 1.0)
    sine = np.maximum(np.linalg.norm(_cross(u, v), axis=1), 1e-8)
    by_i = (cosine[:, None] * u - v) / (length_u * sine)[:, None]
    by_k = (cosine[:, None] * v - u) / (length_v * sine)[:, None]
    return np.arctan2(sine, cosine), np.stack([by_i, -by_i - by_k, by_k], axis=1)


def torsion(positions: Array, atoms: Array) -> tuple[Array, Array]:
    """The angle between the planes of i, j, k and j, k, m, radian. The slopes are those of H.
    Bekker et al., J. Comput. Chem. 16, 527 (1995), which divide by no sine."""
    i, j, k, m = (positions[atoms[:, place]] for place in range(4))
    f, g, h = i - j, j - k, m - k
    a, b = _cross(f, g), _cross(h, g)
    length = np.linalg.norm(g, axis=1)[:, None]
    square_a = np.maximum(np.sum(a * a, axis=1), 1e-12)[:, None]
    square_b = np.maximum(np.sum(b * b, axis=1), 1e-12)[:, None]
    value = np.arctan2(np.sum(_cross(b, a) * g, axis=1) / length[:, 0], np.sum(a * b, axis=1))
    f_g = np.sum(f * g, axis=1)[:, None] / (square_a * length) * a
    h_g = np.sum(h * g, axis=1)[:, None] / (square_b * length) * b
    by_i, by_m = -length / square_a * a, length / square_b * b
    by_j = -by_i + f_g - h_g
    return value, np.stack([by_i, by_j, -by_i - by_j - by_m, by_m], axis=1)


def _linear(positions: Array, atoms: Array, axes: Array) -> tuple[Array, Array]:
    """How far the middle atom stands off the line, along an axis: the sum of the unit vectors to
    its two ends, which vanishes in a line."""
    u, length_u = _units(positions[atoms[:, 0]] - positions[atoms[:, 1]])
    v, length_v = _units(positions[atoms[:, 2]] - positions[atoms[:, 1]])
    off_u, off_v = np.sum(u * axes, axis=1)[:, None], np.sum(v * axes, axis=1)[:, None]
    by_i = (axes - off_u * u) / length_u[:, None]
    by_k = (axes - off_v * v) / length_v[:, None]
    return (off_u + off_v)[:, 0], np.stack([by_i, -by_i - by_k, by_k], axis=1)


def _linear_framed(positions: Array, atoms: Array
                   ) -> tuple[tuple[Array, Array], tuple[Array, Array]]:
    """The same for the first three of four atoms, along axes that go with the molecule: towards the
    fourth atom, and square to it and the line."""
    i, j, k, m = (positions[atoms[:, place]] for place in range(4))
    u, length_u = _units(i - j)
    v, length_v = _units(k - j)
    line, arm, off = i - k, m - j, u + v
    along, length = _units(line)
    normal, area = _units(_cross(line, arm))

    def moved(axis: Array, by_normal: Array, by_along: Array) -> Array:
        """The slopes of off times an axis, and of the axis by its two vectors."""
        turn = (by_normal - _dot(by_normal, normal) * normal) / area[:, None]
        by_line = _cross(arm, turn) + (by_along - _dot(by_along, along) * along) / length[:, None]
        by_arm = _cross(turn, line)
        by_i = (axis - _dot(axis, u) * u) / length_u[:, None]
        by_k = (axis - _dot(axis, v) * v) / length_v[:, None]
        return np.stack([by_i + by_line, -by_i - by_k - by_arm, by_k - by_line, by_arm], axis=1)

    inward = _cross(normal, along)
    return ((_dot(off, inward)[:, 0], moved(inward, _cross(along, off), _cross(off, normal))),
            (_dot(off, normal)[:, 0], moved(normal, off, np.zeros_like(off))))


def _dot(a: Array, b: Array) -> Array:
    """The products of rows, k x 1."""
    found: Array = np.sum(a * b, axis=1)[:, None]
    return found
