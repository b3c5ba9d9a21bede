"""The table of numbered texts: each number and name once, ascending, each used."""

from __future__ import annotations

from messages import (NEVER_RAISED, NOT_USED_YET, TABLE, faults, faults_of_raised, never_raised,
                      raised, table, unused)
from tree import ROOT, nothing_of

GOOD = 'MESSAGE(10, First, "a // b")\n// MESSAGE(5, Old, "")\nMESSAGE(20, Second, "c"\n"d")\n'


def test_each_message_is_defined_once_in_order_and_used():
    assert len(table(ROOT)) > 100
    nothing_of(faults(ROOT), "refresh the list with python3 tests/lint/update.py")


def planted(plant, entries: str, code: str, listed: str = ""):
    return plant({TABLE: entries, "src/scf/scf.cpp": code, NOT_USED_YET: listed})


def test_a_good_table_has_no_fault(plant):
    root = planted(plant, GOOD, "Warn(kMsgFirst);\nFatal(kMsgSecond, 1);\n")
    assert table(root) == [(10, "First"), (20, "Second")]
    assert faults(root) == []


def test_a_number_out_of_order_or_twice_is_caught(plant):
    code = "kMsgA kMsgB kMsgC"
    entries = 'MESSAGE(10, A, "")\nMESSAGE(10, B, "")\nMESSAGE(9, C, "")\n'
    assert len(faults(planted(plant, entries, code))) == 2


def test_a_name_that_comes_twice_is_caught(plant):
    entries = 'MESSAGE(10, A, "")\nMESSAGE(11, A, "")\n'
    assert faults(planted(plant, entries, "kMsgA")) == ["A comes twice"]


def test_a_message_that_nothing_uses_is_caught(plant):
    root = planted(plant, GOOD, "Warn(kMsgFirst);  // not kMsgSecond\n")
    assert unused(root) == ["Second"]
    assert faults(root) == ["Second is used nowhere"]
    assert faults(planted(plant, GOOD, "Warn(kMsgFirst);", "Second\n")) == []


def test_a_listed_message_that_is_used_by_now_is_caught(plant):
    root = planted(plant, GOOD, "kMsgFirst, kMsgSecond", "Second\nGone\n")
    assert len(faults(root)) == 2


def test_a_run_of_messages_is_used_by_adding_to_its_first(plant):
    entries = 'MESSAGE(10, A, "")\nMESSAGE(11, B, "")\nMESSAGE(13, C, "")\n'
    assert unused(planted(plant, entries, "Warn(MessageId{kMsgA + n});")) == ["C"]
    assert unused(planted(plant, entries, "Warn(kMsgA, 1 + n);")) == ["B", "C"]


# ---- each is raised by a test -------------------------------------------------------------------


def test_each_failure_and_warning_is_raised_by_a_test():
    every, missing = raised(ROOT), never_raised(ROOT)
    print(f"R18: {len(every) - len(missing)} of {len(every)} failures and warnings are named by a "
          "test; the others are listed with their reasons")
    assert len(every) > 60
    nothing_of(faults_of_raised(ROOT), f"raise it in a test, or give the reason in {NEVER_RAISED}")


def with_test(plant, test: str, listed: str = ""):
    return plant({TABLE: 'MESSAGE(10, First, "Two %d of a kind")\nMESSAGE(20, Second, "b"\n"c")\n',
                  "src/scf/scf.cpp": "Warn(kMsgFirst, 1);\nFatal(\n  kMsgSecond);\nkMsgThird;",
                  "tests/unit/scf/scf_test.cpp": test, NEVER_RAISED: listed})


def test_a_text_is_raised_by_name_or_by_its_words(plant):
    root = with_test(plant, 'Equals(" of a kind"); Equals(kMsgSecond);')
    assert raised(root) == ["First", "Second"]
    assert faults_of_raised(root) == []
    assert faults_of_raised(with_test(plant, 'Equals(" of a kind", "bc")')) == []


def test_a_text_that_no_test_raises_is_caught(plant):
    assert faults_of_raised(with_test(plant, "bc")) == ["First is raised by no test"]
    assert faults_of_raised(with_test(plant, "bc", "First it cannot be\n")) == []


def test_a_list_that_is_out_of_date_is_caught(plant):
    assert len(faults_of_raised(with_test(plant, "kMsgFirst bc", "First x\nSecond\n"))) == 3
