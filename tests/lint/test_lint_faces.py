"""Faces are documented: every function that a header declares says what it does."""

from __future__ import annotations

from pathlib import Path

from tree import ROOT, files, functions, nothing_of


def bare_faces(root: Path) -> list[str]:
    """Functions of headers under src/ with no /// comment above their paragraph.

    Declarations that follow each other without a blank line share the comment of the first. Members
    of a class belong to the comment of the class.
    """
    found = []
    for path in files(root, ".h", below=("src/",)):
        for function in functions(path.read_text(encoding="utf-8")):
            if not function.documented and not function.in_class:
                name = path.relative_to(root).as_posix()
                found.append(f"{name}:{function.line}: {function.name} has no /// comment")
    return found


def test_every_function_in_a_header_is_documented():
    nothing_of(bare_faces(ROOT))
    headers = files(ROOT, ".h", below=("src/",))
    declared = sum(len(functions(path.read_text(encoding="utf-8"))) for path in headers)
    assert declared > 50, "the scanner finds the functions there are"


def test_a_function_without_a_comment_is_caught(plant):
    root = plant(
        {
            "src/scf/scf.h": """#pragma once
namespace qsolve {

/// Runs it.
void RunScf();
double ScfEnergy();  // shares the comment above

[[nodiscard]] int* Find(int n,
                        const char* s = ";");

template <class T>
T Twice(T a) {
    return a + a;
}

constexpr double kLimit = 1.0e-3;
inline double Half(double d) { return d / 2; }  ///< half of it

struct Row {
    int n() const { return 1; }
    double v[3] = {};
};
static_assert(sizeof(Row) == 24);
inline Row row = {};
using Function = void (*)(int);

}  // namespace qsolve
"""
        }
    )
    assert bare_faces(root) == [
        "src/scf/scf.h:8: Find has no /// comment",
        "src/scf/scf.h:11: Twice has no /// comment",
    ]
