"""Parameter tables: reading, refusing, and the layout of the blocks."""

import math
import struct
from pathlib import Path

import pytest
from support import ROOT
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

from orbitrax.molecules.elements import SYMBOLS
from orbitrax.errors import ParameterError
from orbitrax.methods import METHODS
from orbitrax.tables import cache, load_parameters, text

TABLES = ROOT / "parameters"
COLUMNS = ["dOne", "dTwo", "dThree"]
GOOD = """\
# a table
element  dOne  dTwo  dThree
H        1.0   2.0   3.0\x20\x20\x20
C       -4.5   5e-3  0

# capping atoms
*C       7     8     9
"""


def read_table(path, columns):
    return text.read_table(path, path.read_bytes(), columns)


def raw_row(name, label):
    """The numbers of one row of a file, found by nothing but splitting lines."""
    for line in (TABLES / name).read_text().splitlines():
        words = line.split()
        if words and words[0] == label:
            return [float(word) for word in words[1:]]
    raise KeyError(label)


def write(tmp_path, text):
    path = tmp_path / "table.abp"
    path.write_text(text)
    return path


# ---- the tables of this checkout ----------------------------------------------------------------


@pytest.mark.parametrize("method", METHODS, ids=lambda method: method.key)
def test_every_method_has_tables_of_the_right_size(method):
    sizes = {"cindo": 10368, "mindo3": 42000, "mndo": 42000, "mndod": 42000, "am1": 92400,
             "pm3": 92400, "zindo1": 27648, "zindos": 30240}
    tables = load_parameters(method)
    assert len(tables.block) == sizes[method.tables]
    assert {1, 6, 7, 8} <= tables.elements and {6, 7, 8} <= tables.capping
    assert all(math.isfinite(x) for x in struct.unpack(f"<{len(tables.block) // 8}d", tables.block))


def test_cindo_rows_lie_54_to_a_kind():
    block = struct.unpack("<1296d", load_parameters("cndo").block)
    assert list(block[12 * 5:12 * 6]) == raw_row("cindo.abp", "C")
    assert list(block[12 * (54 + 5):12 * (54 + 6)]) == raw_row("cindo.abp", "*C")
    assert block[12:24] == 12 * (0.0,)  # He has no row


@pytest.mark.parametrize("stem", ["mndo", "am1", "pm3", "mndod"])
def test_nddo_sections_follow_each_other_with_all_rows(stem):
    block = load_parameters(stem).block
    for label, row in (("H", 0), ("O", 7), ("Br", 34), ("*H", 105), ("*O", 112)):
        first = struct.unpack_from("<12d", block, 8 * 12 * row)
        second = struct.unpack_from("<13d", block, 8 * (12 * 210 + 13 * row))
        assert list(first) == raw_row(f"{stem}_1.abp", label), label
        assert list(second) == raw_row(f"{stem}_2.abp", label), label


@pytest.mark.parametrize("stem", ["am1", "pm3"])
def test_gaussians_follow_as_records_of_thirty(stem):
    block = load_parameters(stem).block
    for label, row in (("H", 0), ("N", 6), ("*N", 111)):
        assert list(struct.unpack_from("<30d", block, 42000 + 240 * row)) == raw_row(
            f"{stem}_3.abp", label)


@pytest.mark.parametrize("stem,widths", [("zindo1", (13, 10, 9)), ("zindos", (13, 10, 9, 3))])
def test_zindo_sections_hold_atoms_and_then_capping_atoms(stem, widths):
    block, start = load_parameters(stem).block, 0
    for number, width in enumerate(widths, 1):
        for label, row in (("C", 5), ("Fe", 25), ("*C", 54 + 5)):
            values = struct.unpack_from(f"<{width}d", block, start + 8 * width * row)
            assert list(values) == raw_row(f"{stem}_{number}.abp", label), (number, label)
        start += 8 * width * 108
    assert start == len(block)


def test_pairs_code_capping_atoms_as_negative_numbers():
    pairs = load_parameters("mindo3").pairs
    rows = [struct.unpack_from("<4d", pairs, 32 * i) for i in range(len(pairs) // 32)]
    records = {row[:2]: row[2:] for row in rows}
    lines = [line.split() for line in (TABLES / "mindo3_3.abp").read_text().splitlines()
             if line and not line.startswith("#")][1:]
    assert len(lines) == len(records) and len(lines) > 200
    for one, two, alpha, beta in lines:
        code = tuple(float(-SYMBOLS.index(x[1:]) if x[0] == "*" else SYMBOLS.index(x))
                     for x in (one, two))
        assert records[code] == (float(alpha), float(beta))


@pytest.mark.parametrize("method", [method.key for method in METHODS])
def test_a_value_is_that_of_its_column_in_the_file(method):
    """Every number of every row, of elements and of capping atoms, read from the text again."""
    tables = load_parameters(method)
    stem, count = tables.method.tables, 0
    names = [f"{stem}.abp"] if stem == "cindo" else [f"{stem}_{i}.abp" for i in range(1, 5)]
    for name in names:
        path = TABLES / name
        if not path.exists() or name == "mindo3_3.abp":
            continue
        rows = [line.split() for line in path.read_text("utf-8").splitlines()
                if line.strip() and line[0] != "#"]
        for symbol, *numbers in rows[1:]:
            element = SYMBOLS.index(symbol.lstrip("*"))
            for column, number in zip(rows[0][1:], numbers):
                value = tables.value(column, element, capping=symbol[0] == "*")
                assert value == float(number), (name, symbol, column)
                count += 1
    assert count > 390


def test_an_element_without_a_row_has_zeros_and_a_wrong_column_is_an_error():
    assert load_parameters("am1").value("dZetaS", 92) == 0.0
    assert load_parameters("zindos").value("dZetaS", 60) == 0.0  # beyond the end of this block
    with pytest.raises(KeyError):
        load_parameters("mndo").value("dGammaSS", 6)


# ---- reading ------------------------------------------------------------------------------------


def test_comments_blank_lines_and_odd_spacing_do_not_matter(tmp_path):
    table = read_table(write(tmp_path, GOOD.replace("  ", "\t").replace("\n", "\r\n")), COLUMNS)
    assert [(row.key, row.values) for row in table.rows] == [
        (((1, False),), [1.0, 2.0, 3.0]), (((6, False),), [-4.5, 0.005, 0.0]),
        (((6, True),), [7.0, 8.0, 9.0])]


@pytest.mark.parametrize("old,new,line,column,words", [
    ("-4.5", "-4,5", 4, 9, "'-4,5' is not a number, for 'dOne'"),
    ("5e-3", "nan ", 4, 16, "'nan' is not a number, for 'dTwo'"),
    ("5e-3", "1e999", 4, 16, "'1e999' is not a number"),
    ("5e-3", "1_0", 4, 16, "'1_0' is not a number"),
    ("C       -", "Cx      -", 4, 1, "'Cx' is not an element symbol"),
    ("C       -", "X       -", 4, 1, "'X' is not an element symbol"),
    ("C       -", "H       -", 4, 1, "repeats the row of line 3"),
    ("C       -", "*C      -", 4, 1, "must stand after the line '# capping atoms'"),
    ("*C ", "C  ", 7, 1, "needs '*' before its symbol"),
    ("*C ", "*Db", 7, 1, "there is no capping row"),
    ("  3.0   ", "", 3, 19, "the value of 'dThree' is missing"),
    ("  0\n", "  0 1\n", 4, 24, "'1' stands beyond the last column"),
    ("dTwo", "dToo", 2, 16, "column 'dToo' should be 'dTwo'"),
    ("  dThree", "", 2, 20, "column 'dThree' is missing"),
    ("dThree", "dThree dFour", 2, 29, "column 'dFour' is not known"),
    ("element ", "symbol  ", 2, 1, "column 'symbol' should be 'element'"),
])
def test_a_wrong_place_is_named_with_line_and_column(tmp_path, old, new, line, column, words):
    assert old in GOOD
    path = write(tmp_path, GOOD.replace(old, new, 1))
    with pytest.raises(ParameterError) as caught:
        read_table(path, COLUMNS)
    assert (caught.value.line, caught.value.column) == (line, column)
    assert str(caught.value).startswith(f"{path}:{line}:{column}: ") and words in str(caught.value)


def test_an_empty_file_has_no_header(tmp_path):
    with pytest.raises(ParameterError, match="no line of column names"):
        read_table(write(tmp_path, "# nothing\n"), COLUMNS)


def test_a_missing_file_is_named(tmp_path):
    with pytest.raises(ParameterError, match="am1_1.abp: No such file"):
        load_parameters("am1", tmp_path)


def test_bytes_that_are_no_text_are_placed(tmp_path):
    path = tmp_path / "table.abp"
    path.write_bytes(b"# fine\nH \xff")
    with pytest.raises(ParameterError, match=r":2:3: is not UTF-8"):
        read_table(path, COLUMNS)


def copied(tmp_path, stem):
    for path in TABLES.glob(f"{stem}*.abp"):
        (tmp_path / path.name).write_text(path.read_text())
    return tmp_path


def test_a_row_that_one_section_lacks_is_an_error(tmp_path):
    folder = copied(tmp_path, "pm3")
    path = folder / "pm3_2.abp"
    path.write_text("".join(line for line in path.read_text().splitlines(True)
                            if not line.startswith("Cl ")))
    with pytest.raises(ParameterError, match=r"pm3_1.abp:\d+:1: Cl has no row in pm3_2.abp"):
        load_parameters("pm3", folder)


def test_a_pair_given_twice_in_either_order_is_an_error(tmp_path):
    folder = copied(tmp_path, "mindo3")
    path = folder / "mindo3_3.abp"
    path.write_text(path.read_text().replace("# capping atoms", "C B 1 1\n# capping atoms"))
    with pytest.raises(ParameterError, match="repeats the row"):
        load_parameters("mindo3", folder)


def test_elements_beyond_the_short_blocks_are_refused(tmp_path):
    folder = copied(tmp_path, "cindo")
    path = folder / "cindo.abp"
    row = next(line for line in path.read_text().splitlines() if line.startswith("C "))
    path.write_text(path.read_text().replace(row, f"{row}\nCs{row[1:]}"))
    with pytest.raises(ParameterError, match="'Cs' is beyond Xe"):
        load_parameters("indo", folder)


# ---- the cache ----------------------------------------------------------------------------------


@pytest.fixture
def kept(tmp_path, monkeypatch):
    """An empty folder for packed tables."""
    monkeypatch.setenv("ORBITRAX_CACHE", str(tmp_path / "cache"))
    return tmp_path / "cache"


def same(one, two):
    return (one.block, one.pairs, one.elements, one.capping) == (two.block, two.pairs, two.elements,
                                                                two.capping)


@pytest.mark.parametrize("method", ["mindo3", "am1", "zindos"])
def test_packed_tables_are_kept_and_are_the_same(kept, method, monkeypatch):
    first = load_parameters(method)
    assert [path.suffix for path in kept.iterdir()] == [".tables"]
    monkeypatch.setattr(text, "pack", None)  # which would be asked for without the cache
    again = load_parameters(method)
    assert same(first, again) and first.value("dZetaS", 8) == again.value("dZetaS", 8)


def test_a_changed_table_is_read_again_and_takes_the_place_of_the_old_one(kept, tmp_path):
    folder = copied(tmp_path, "am1")
    first = load_parameters("am1", folder)
    path = folder / "am1_1.abp"
    path.write_text(path.read_text().replace("-11.3964270", "-11.3964271"))
    second = load_parameters("am1", folder)
    assert (first.value("dUss", 1), second.value("dUss", 1)) == (-11.396427, -11.3964271)
    assert len(list(kept.iterdir())) == 1
    path.write_text(path.read_text().replace("-11.3964271", "-11,3964271"))
    with pytest.raises(ParameterError, match="'-11,3964271' is not a number"):
        load_parameters("am1", folder)


def test_a_table_that_is_gone_is_missed_in_spite_of_the_cache(kept, tmp_path):
    folder = copied(tmp_path, "am1")
    load_parameters("am1", folder)
    (folder / "am1_2.abp").unlink()
    with pytest.raises(ParameterError, match="am1_2.abp: No such file"):
        load_parameters("am1", folder)


@pytest.mark.parametrize("spoil", [
    lambda data: data[:-1], lambda data: b"", lambda data: data[:200] + b"\1" + data[201:],
    lambda data: data.replace(b"tables 1", b"tables 0"), lambda data: data + b"\0",
    lambda data: data[:18] + b"\xff\xff\xff\x7f" + data[22:]])
def test_a_cache_that_is_not_whole_is_as_good_as_none(kept, spoil):
    good = load_parameters("pm3")
    path, = kept.iterdir()
    data = path.read_bytes()
    path.write_bytes(spoil(data))
    assert same(load_parameters("pm3"), good) and path.read_bytes() == data


def test_a_cache_that_cannot_be_written_does_not_matter(tmp_path, monkeypatch):
    (tmp_path / "file").write_text("in the way")
    monkeypatch.setenv("ORBITRAX_CACHE", str(tmp_path / "file"))
    assert load_parameters("am1").elements
    assert cache.look_up("am1-0.tables") is None


# ---- any table ----------------------------------------------------------------------------------

numbers = st.floats(allow_nan=False, allow_infinity=False)
rows = st.dictionaries(st.sampled_from(SYMBOLS[1:89]), st.tuples(numbers, numbers, numbers))


@settings(max_examples=100, deadline=None,
          suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(atoms=rows, capping=rows)
def test_what_is_written_is_read_back_bit_by_bit(tmp_path, atoms, capping):
    lines = ["element dOne dTwo dThree"]
    lines += [f"{symbol} " + " ".join(map(repr, values)) for symbol, values in atoms.items()]
    lines += ["# capping atoms"]
    lines += [f"*{symbol} " + " ".join(map(repr, values)) for symbol, values in capping.items()]
    table = read_table(write(tmp_path, "\n".join(lines) + "\n"), COLUMNS)
    found = [(row.key[0], struct.pack("<3d", *row.values)) for row in table.rows]
    assert found == [
        ((SYMBOLS.index(symbol), star), struct.pack("<3d", *values))
        for star, group in ((False, atoms), (True, capping)) for symbol, values in group.items()]


@settings(max_examples=200, deadline=None,
          suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(place=st.integers(0, len(GOOD)), cut=st.integers(0, 4), junk=st.binary(max_size=6))
def test_a_mangled_table_is_read_or_refused_but_never_crashes(tmp_path, place, cut, junk):
    data = GOOD.encode()
    path = Path(tmp_path) / "mangled.abp"
    path.write_bytes(data[:place] + junk + data[place + cut:])
    try:
        table = read_table(path, COLUMNS)
    except ParameterError as error:
        assert error.line >= 1 and error.column >= 1
    else:
        assert all(math.isfinite(x) for row in table.rows for x in row.values)
