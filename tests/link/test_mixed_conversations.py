"""The recorder of mixed conversations can be believed: it repeats itself, and sees a difference."""

from mixed_conversations import conversation, differences
from peers import copy_program


def test_a_conversation_is_the_same_each_time_and_no_two_are(tmp_path):
    program = copy_program(tmp_path)
    ours, again = ([conversation(n, program) for n in range(9)] for _ in range(2))
    assert differences(ours, again) == []
    assert len({repr(sessions) for sessions in ours}) == 9


def test_one_bit_of_one_packet_is_a_difference(tmp_path):
    sessions = conversation(4, copy_program(tmp_path))
    kind, payload = sessions[0][-1]
    bent = [[*sessions[0][:-1], (kind, payload[:-1] + bytes([payload[-1] ^ 1]))], *sessions[1:]]
    assert len(differences([sessions], [bent])) == 1
    assert len(differences([sessions], [[sessions[0][:-1], *sessions[1:]]])) == 1
    assert len(differences([sessions], [])) == 1
