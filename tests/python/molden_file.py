"""An independent reader of Molden files, and integrals over what they hold: overlap by quadrature
(Gauss-Hermite, exact for products of Gaussian functions), and values at points."""

import re
from math import gamma, pi, sqrt

import numpy as np

NODES, WEIGHTS = np.polynomial.hermite.hermgauss(4)  # exact to powers of 7 an axis; d with d has 4


class MoldenFile:
    """A file as it stands: title, symbols, numbers, positions (bohr), shells (atom, l, exponents,
    coefficients), and by spin energies (hartree), occupations, labels and orbitals (rows)."""

    def __init__(self, text: str):
        assert text.startswith("[Molden Format]\n")
        names = re.findall(r"^\[(.*?)\](.*)$", text, re.M)
        assert [name for name, _ in names] == ["Molden Format", "Title", "Atoms", "GTO", "5D", "MO"]
        assert dict(names)["Atoms"].strip() == "AU"
        parts = [part.strip("\n") for part in re.split(r"^\[.*?\].*\n", text, flags=re.M)[1:]]
        self.title = parts[1].strip()
        self._atoms(parts[2])
        self._functions(text.partition("[GTO]\n")[2].partition("[5D]\n")[0])
        self._orbitals(parts[5])

    def _atoms(self, part: str) -> None:
        rows = [line.split() for line in part.splitlines()]
        assert [int(row[1]) for row in rows] == list(range(1, len(rows) + 1))
        self.symbols = [row[0] for row in rows]
        self.numbers = [int(row[2]) for row in rows]
        self.positions = np.array([row[3:] for row in rows], dtype=float)

    def _functions(self, part: str) -> None:
        assert part.endswith("\n\n") and "D+" not in part and "D-" not in part
        self.shells = []
        for count, block in enumerate(part[:-2].split("\n\n"), 1):
            lines = [line.split() for line in block.splitlines()]
            assert lines[0] == [str(count), "0"]
            at = 1
            while at < len(lines):
                kind, terms, scale = lines[at]
                assert scale == "1.00"
                rows = np.array(lines[at + 1:at + 1 + int(terms)], dtype=float)
                assert rows.shape == (int(terms), 2)
                self.shells.append((count - 1, "spd".index(kind), rows[:, 0], rows[:, 1]))
                at += 1 + int(terms)
        assert count == len(self.symbols)

    def _orbitals(self, part: str) -> None:
        size = sum(2 * shell[1] + 1 for shell in self.shells)
        lines = part.splitlines()
        assert len(lines) % (size + 4) == 0
        self.spins = {}
        for at in range(0, len(lines), size + 4):
            head = dict(line.split("=") for line in lines[at:at + 4])
            assert list(head) == [" Sym", " Ene", " Spin", " Occup"]
            rows = [line.split() for line in lines[at + 4:at + 4 + size]]
            assert [int(row[0]) for row in rows] == list(range(1, size + 1))
            found = self.spins.setdefault(head[" Spin"].strip(), ([], [], [], []))
            values = (float(head[" Ene"]), float(head[" Occup"]), head[" Sym"].strip(),
                      [float(row[1]) for row in rows])
            for column, value in zip(found, values):
                column.append(value)

    def column(self, index: int, spin: str = "Alpha") -> np.ndarray:
        return np.array(self.spins[spin][index])

    def energies(self, spin: str = "Alpha") -> np.ndarray:
        return self.column(0, spin)

    def occupations(self, spin: str = "Alpha") -> np.ndarray:
        return self.column(1, spin)

    def labels(self, spin: str = "Alpha") -> list:
        return self.spins[spin][2]

    def orbitals(self, spin: str = "Alpha") -> np.ndarray:
        return self.column(3, spin)

    # ---- integrals ------------------------------------------------------------------------------

    def overlap(self) -> np.ndarray:
        blocks = [[_overlap(self.positions[a[0]], a, self.positions[b[0]], b)
                   for b in self.shells] for a in self.shells]
        return np.block(blocks)

    def electrons(self) -> float:
        s = self.overlap()
        return sum(np.einsum("k,ki,ij,kj->", self.occupations(spin), self.orbitals(spin), s,
                             self.orbitals(spin)) for spin in self.spins)

    def values(self, points: np.ndarray) -> np.ndarray:
        """The functions at points (m x 3, bohr), N x m."""
        rows = []
        for atom, l, exponents, coefficients in self.shells:
            d = (points - self.positions[atom]).T
            radial = (_norm(l, exponents) * coefficients) @ np.exp(
                -np.outer(exponents, (d ** 2).sum(axis=0)))
            rows += [harmonic * radial for harmonic in _harmonics(l, *d)]
        return np.array(rows)


def _harmonics(l: int, x, y, z) -> list:
    if l == 0:
        return [np.full_like(x, sqrt(1 / (4 * pi)))]
    if l == 1:
        return [sqrt(3 / (4 * pi)) * axis for axis in (x, y, z)]
    c = sqrt(15 / (4 * pi))
    return [sqrt(5 / (16 * pi)) * (2 * z * z - x * x - y * y), c * x * z, c * y * z,
            c / 2 * (x * x - y * y), c * x * y]


def _norm(l: int, a):
    return np.sqrt(2 * (2 * a) ** (l + 1.5) / gamma(l + 1.5))


def _overlap(at_a, a, at_b, b) -> np.ndarray:
    """exp(-a |r-A|^2 - b |r-B|^2) is a Gaussian about the weighted mean; the rest a polynomial."""
    (_, la, ea, ca), (_, lb, eb, cb) = a, b
    grid = np.array(np.meshgrid(NODES, NODES, NODES)).reshape(3, -1)
    weights = np.prod(np.meshgrid(WEIGHTS, WEIGHTS, WEIGHTS), axis=0).ravel()
    total = np.zeros((2 * la + 1, 2 * lb + 1))
    p = np.add.outer(ea, eb)
    middle = (ea[:, None, None] * at_a + eb[:, None] * at_b) / p[:, :, None]
    factor = np.outer(_norm(la, ea) * ca, _norm(lb, eb) * cb) / p ** 1.5
    factor *= np.exp(-np.outer(ea, eb) / p * np.sum((at_a - at_b) ** 2))
    r = middle[..., None] + grid / np.sqrt(p)[:, :, None, None]
    left = _harmonics(la, *np.moveaxis(r - at_a[:, None], 2, 0))
    right = _harmonics(lb, *np.moveaxis(r - at_b[:, None], 2, 0))
    for i, f in enumerate(left):
        for j, g in enumerate(right):
            total[i, j] = np.sum(factor[..., None] * f * g * weights)
    return total
