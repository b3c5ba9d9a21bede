"""Arrows point down: which room may include which."""

from __future__ import annotations

import re
from pathlib import Path

from tree import ROOT, files, nothing_of

# The one file that names operations of a processor for which the language has no words, masked
# loads and stores among them, and the compiler's header that declares them.
REGISTERS = ("numeric/forms/wide.h", "immintrin.h")

# From the top floor down. Rooms of one floor do not see each other.
FLOORS = (
    ("session",),
    ("platform",),
    ("search", "dynamics", "vibrations"),
    ("geometry",),
    ("exchange",),
    ("scf",),
    ("ci", "gradient", "symmetry", "properties", "report"),
    ("integrals",),
    ("setup",),
    ("job",),
    ("algebra",),
    ("link",),
    ("numeric",),
)
HEIGHT = {room: -i for i, floor in enumerate(FLOORS) for room in floor}

# The state.h that a room may read although it does not stand below, and why. One that is not read
# any more is a fault too.
READS = {
    ("geometry", "vibrations"): "the matrix that outlives its job says which molecule it is of",
    ("search", "vibrations"): "and a search takes it over, or leaves its own",
    ("properties", "scf"): "charges, dipole and plots are made from what the last SCF left",
    ("report", "scf"): "the log tells what the last SCF left",
    ("report", "gradient"): "and the norm of its gradient and the energy of its restraints",
    ("report", "symmetry"): "and whether its levels have labels",
}

# What a state.h may include: types, not functions.
PLAIN_TYPES = {"link/memory.h", "link/packets.h", "setup/parameters.h"}

STANDARD = set(
    """algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv
    chrono cinttypes climits clocale cmath codecvt compare complex concepts condition_variable
    coroutine csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar
    cwctype deque exception execution filesystem format forward_list fstream functional future
    initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map
    memory memory_resource mutex new numbers numeric optional ostream queue random ranges ratio
    regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept
    stop_token streambuf string string_view strstream syncstream system_error thread tuple
    type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector
    version""".split()
)

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]+)"|<([^>]+)>)', re.M)


def complaint(file: str, ours: str | None, system: str | None) -> str | None:
    """What is wrong with one include of a file, both by path from src/; None if nothing is."""
    room = file.split("/")[0]
    if system is not None:
        if (file, system) == REGISTERS:
            return None
        if room != "platform" and system not in STANDARD:
            return f"<{system}> belongs in platform/ alone"
        return None
    assert ours is not None
    target = ours.split("/")[0]
    if "/" not in ours or target not in HEIGHT:
        return f'"{ours}" is not a path from src/'
    if room not in HEIGHT:
        return f"the room {room} has no floor"
    if room == "numeric" and target != "numeric":
        return f'numeric/ includes nothing of ours, but here "{ours}"'
    if file.endswith("/state.h") and not ours.endswith("/state.h") and ours not in PLAIN_TYPES:
        return f'a state.h includes nothing but types, but here "{ours}"'
    if target == room or HEIGHT[target] < HEIGHT[room]:
        return None
    if ours.endswith("/state.h") and (room, target) in READS:
        return None
    return f'an arrow that does not point down: "{ours}"'


def includes(root: Path) -> list[tuple[str, int, str | None, str | None]]:
    """Every include under src/: the file by path from there, its line, and the header, ours or the
    system's."""
    found = []
    for path in files(root, ".cpp", ".h", ".def", below=("src/",)):
        name = path.relative_to(root / "src").as_posix()
        text = path.read_text(encoding="utf-8")
        for match in _INCLUDE.finditer(text):
            line = text.count("\n", 0, match.start()) + 1
            found.append((name, line, match.group(1), match.group(2)))
    return found


def wrong_includes(root: Path) -> list[str]:
    """Every include that goes where it may not."""
    return [
        f"src/{name}:{line}: {said}"
        for name, line, ours, system in includes(root)
        if (said := complaint(name, ours, system))
    ]


def idle_reads(root: Path) -> set[tuple[str, str]]:
    """Reads that are allowed and not made."""
    made = {(name.split("/")[0], ours.split("/")[0]) for name, _, ours, _ in includes(root) if ours}
    return set(READS) - made


def test_arrows_point_down_and_system_headers_stay_in_platform():
    nothing_of(wrong_includes(ROOT))
    assert files(ROOT, ".h", below=("src/",)), "there are headers to look at"


def test_an_arrow_that_points_up_is_caught(plant):
    root = plant({"src/link/send.cpp": '#include <cmath>\n#include "scf/scf.h"\n'})
    assert wrong_includes(root) == [
        'src/link/send.cpp:2: an arrow that does not point down: "scf/scf.h"'
    ]


def test_rooms_of_one_floor_do_not_include_each_others_functions(plant):
    root = plant({"src/search/a.cpp": '#include "dynamics/dynamics.h"\n#include "scf/scf.h"\n'})
    assert len(wrong_includes(root)) == 1
    root = plant({"src/search/a.cpp": '#include "dynamics/state.h"\n'})
    assert len(wrong_includes(root)) >= 1


def test_state_is_read_upwards_only_where_a_reason_is_given(plant):
    root = plant({"src/report/a.cpp": '#include "scf/state.h"\n'})
    assert wrong_includes(root) == []
    for name in ("src/exchange/a.cpp", "src/numeric/a.cpp", "src/link/a.cpp"):
        root = plant({name: '#include "search/state.h"\n'})
        assert len(wrong_includes(root)) >= 1, name


def test_every_reason_to_read_upwards_is_still_one(plant):
    assert idle_reads(ROOT) == set()
    root = plant({"src/report/a.cpp": '#include "scf/state.h"\n'})
    assert ("report", "symmetry") in idle_reads(root)


def test_a_state_header_that_includes_functions_is_caught(plant):
    root = plant({"src/scf/state.h": '#include "link/memory.h"\n#include "link/link.h"\n'})
    assert len(wrong_includes(root)) == 1


def test_the_operations_of_a_processor_are_named_in_one_file(plant):
    include = "#ifdef __AVX2__\n#include <immintrin.h>\n#endif\n"
    root = plant({"src/numeric/forms/wide.h": include, "src/numeric/forms/trace.cpp": include})
    assert [said.split(":")[0] for said in wrong_includes(root)] == ["src/numeric/forms/trace.cpp"]


def test_a_system_header_outside_platform_is_caught(plant):
    root = plant(
        {
            "src/session/main.cpp": "#include <unistd.h>\n",
            "src/link/send.cpp": "#  include <sys/socket.h>\n#include <windows.h>\n",
            "src/platform/posix_socket.cpp": "#include <poll.h>\n",
        }
    )
    assert [said.split(":")[0] for said in wrong_includes(root)] == [
        "src/link/send.cpp",
        "src/link/send.cpp",
        "src/session/main.cpp",
    ]


def test_an_include_that_is_no_path_from_src_is_caught(plant):
    root = plant({"src/scf/scf.cpp": '#include "density.h"\n#include "../ci/ci.h"\n'})
    assert len(wrong_includes(root)) == 2
