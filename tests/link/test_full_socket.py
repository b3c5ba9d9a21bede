"""A process whose socket has no room for a moment, and has some before it looks again."""

import os
from pathlib import Path

import pytest
from peers import PROGRAM, SocketPeer
from rows import in_a_row, said
from sessions import again, calculation, options, ready

from orbitrax.link import wire

LIBRARY = Path(PROGRAM).parent / "tests" / "libfull_socket.so"
PLOT = options({"fCalculate": 0, "fPlot": 1, "nPlotKind": 1, "nGridCols": 90, "nGridRows": 90,
                "nPlotPlanes": 9, "flPlotGrid": (-3, -3, -3, 0.1, 0, 0, 0, 0.1, 0)})

pytestmark = pytest.mark.skipif(not LIBRARY.exists(), reason="a sanitizer has its own send()")


@pytest.mark.parametrize("tries", range(8))
def test_all_that_is_asked_for_comes_however_often_there_is_no_room(tries):
    """A plot is more than is sent together, so that packets wait for room. No frame comes that
    would wake a process which has sent what it had and hands over no more."""
    peer = SocketPeer(env={**os.environ, "LD_PRELOAD": str(LIBRARY), "FULL_SOCKET": str(tries)})
    ready(peer)
    again(peer, calculation())
    peer.write(in_a_row(PLOT) * 3)
    grids = [b"".join(packet.payload for packet in said(peer) if packet.kind == wire.DATA)
             for _ in range(3)]
    assert [len(grid) for grid in grids] == [4 * 90 * 90 * 9] * 3
    assert grids[0] == grids[1] == grids[2]
    peer.finish()
