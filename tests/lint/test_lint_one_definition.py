"""One name, one definition, in all headers."""

from __future__ import annotations

from one_definition import twice
from tree import ROOT, nothing_of


def test_no_two_headers_define_the_same():
    nothing_of(twice(ROOT), "a debug build takes one of them for both: give each a name of its own")


def test_functions_that_differ_in_their_parameters_are_no_fault(plant):
    assert twice(plant({
        "src/a/a.h": "inline int KindOf(int nJob) {\nconstexpr bool Has(const A& a, int n) {\n",
        "src/b/b.h": "inline int KindOf(double d) {\nconstexpr bool Has(const B& b, int n) {\n"
                     "int Kind(int n);\nstruct Later;\n  inline void KindOf(int n) {\n"})) == []


def test_a_function_or_type_of_two_headers_is_caught(plant):
    assert twice(plant({
        "src/a/a.h": "inline int KindOf(int nJob) {\nstruct Levels {\n",
        "tests/b.h": "constexpr const Kind& KindOf(int n = 3) {\nclass Levels : Base {\n"})) == [
            "KindOf(int) is defined in src/a/a.h and tests/b.h",
            "Levels is defined in src/a/a.h and tests/b.h"]
