"""Plots of the client's Backend against a scripted peer: order of the values, what goes wrong."""

import os
import signal

import numpy as np
import pytest
from support import ROOT  # noqa: F401

from orbitrax import Backend, Frame, Job, Plot, box_around, plane_through
from orbitrax.link import events
from orbitrax.errors import (BackendDied, CalculationFailed, InputError, LinkError, OutOfMemory,
                             ProtocolError, UsageError)
from orbitrax.link.process import Process

pytestmark = [pytest.mark.usefixtures("no_children_left"), pytest.mark.timeout(60)]

BOX = Frame([0.5, 1.0, 1.5], [0.25, 0, 0], [0, 0.25, 0], (7, 5, 3))
LARGE = Frame([0, 0, 0], [0.25, 0, 0], [0, 0.25, 0], (90, 70, 2))  # a plane fills two packets


def plotted(peer, water, plot="homo", frame=BOX, **settings):
    with Backend(peer) as backend:
        backend.run(Job(water, "am1", **settings))
        return backend.plot(plot, frame)


@pytest.mark.parametrize("frame", [BOX, LARGE])
def test_values_stand_by_x_y_and_z(make_peer, water, frame):
    """The peer's values are x + 100 y + 10000 z, counted in steps."""
    grid = plotted(make_peer(), water, frame=frame)
    assert grid.values.shape == frame.counts and grid.values.dtype == np.float32
    x, y, z = np.indices(frame.counts)
    assert np.array_equal(grid.values, x + 100 * y + 10000 * z)
    assert grid.density is None


def test_a_potential_brings_the_density_too(make_peer, water):
    grid = plotted(make_peer(), water, "potential")
    x, y, z = np.indices(BOX.counts)
    assert np.array_equal(grid.values, x + 100 * y + 10000 * z)
    assert np.array_equal(grid.density, -grid.values)


def test_a_grid_knows_its_orbital(make_peer, water):
    """The peer's molecule has one orbital with two electrons, one with one, and two empty."""
    for plot, number in ((Plot("homo"), 2), (Plot("homo", beta=True), 1), (Plot("lumo"), 3),
                         (Plot("lumo", beta=True), 2), (Plot("lumo+1"), 4), (Plot("homo-1"), 1),
                         (Plot("3"), 3)):
        grid = plotted(make_peer(), water, plot)
        assert grid.orbital == (number, -11.5 + number), plot
    assert plotted(make_peer(), water, "density").orbital is None
    assert grid.title == "orbital 3 (-8.50 eV)" and grid.method == "AM1"
    assert plotted(make_peer(), water, "lumo+1").title == "LUMO+1 (orbital 4, -7.50 eV)"


def test_an_unrestricted_grid_knows_its_spin(make_peer, water):
    """Alpha: electrons in the first two of four orbitals; beta: in none."""
    peer = make_peer(unrestricted=True)
    alpha = plotted(peer, water, "homo", uhf=True)
    beta = plotted(peer, water, Plot("lumo", beta=True), uhf=True)
    assert alpha.title == "alpha HOMO (orbital 2, -9.50 eV)"
    assert beta.title == "beta LUMO (orbital 1, -6.50 eV)"


def test_many_plots_come_from_one_calculation(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        pid = backend.pid
        for plot in ("homo", "potential", "density", Plot("1", squared=True)):
            assert backend.plot(plot, BOX).plot.kind == Plot(plot).kind if isinstance(
                plot, str) else 3
        backend.run(Job(water, "am1"))
        assert backend.plot().values.shape == box_around(water.positions).counts
        assert backend.pid == pid


def test_each_plane_is_an_event(make_peer, water):
    seen = []
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        backend.plot("homo", BOX, seen.append)
    assert [type(event) for event in seen] == [events.PlotPlane] * 3


def test_a_plane_may_lie_anyhow(make_peer, water):
    frame = plane_through(water.positions, "1,2,3", 1.0, 9)
    grid = plotted(make_peer(), water, frame=frame)
    assert grid.values.shape == frame.counts and frame.counts[2] == 1
    assert grid.values[3, 2, 0] == 203


# ---- what goes wrong ----------------------------------------------------------------------------


def test_without_a_calculation_there_is_nothing_to_plot(make_peer, water):
    with Backend(make_peer()) as backend:
        with pytest.raises(UsageError, match="run a job on this backend first"):
            backend.plot()
        backend.run(Job(water, "am1"))
        backend.close()
        with pytest.raises(UsageError, match="run a job on this backend first"):
            backend.plot()


def test_after_a_job_that_failed_there_is_nothing_to_plot(make_peer, water):
    with Backend(make_peer(results="refusal")) as backend:
        with pytest.raises(InputError):
            backend.run(Job(water, "am1"))
        with pytest.raises(UsageError, match="run a job on this backend first"):
            backend.plot()


def test_a_refusal_is_repeated_and_the_backend_lives(make_peer, water):
    with Backend(make_peer(plot="refusal")) as backend:
        backend.run(Job(water, "am1"))
        for _ in range(2):
            with pytest.raises(CalculationFailed, match=r"Unable to graph \(43\)\."):
                backend.plot("homo", BOX)


def test_a_warning_about_an_orbital_means_that_there_is_none(make_peer, water):
    with Backend(make_peer(plot="warning")) as backend:
        backend.run(Job(water, "am1"))
        with pytest.raises(InputError, match=r"doesn't exist \(44\)\."):
            backend.plot("homo", BOX)
        with pytest.raises(InputError, match="^there is no orbital 99: there are the orbitals"):
            backend.plot("99", BOX)
        assert backend.plot("density", BOX).values.shape == BOX.counts


@pytest.mark.parametrize("told,error,text", [
    ("nan", CalculationFailed, "not finite, in a plot"),
    ("short", CalculationFailed, "in the middle of its results"),
    ("long", ProtocolError, "after its last result")])
def test_grids_that_are_wrong_are_not_believed(make_peer, water, told, error, text):
    with pytest.raises(error, match=text):
        plotted(make_peer(plot=told), water)


@pytest.mark.parametrize("fault", ["kill", "exit", "garbage", "huge", "wrong code", "wrong length",
                                   "unknown type"])
@pytest.mark.parametrize("at", [60, 70])
def test_a_backend_that_breaks_in_or_after_a_plot_is_an_error(make_peer, water, at, fault):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
    quiet = make_peer(at=at, fault=fault)
    with Backend(quiet) as backend:
        backend.run(Job(water, "am1"))
        with pytest.raises(LinkError):
            for _ in range(9):
                backend.plot("homo", BOX)
        with pytest.raises(UsageError, match="run a job"):
            backend.plot("homo", BOX)


def test_a_backend_that_dies_just_before_a_plot_is_never_replaced(make_peer, water, monkeypatch):
    """However late its death is seen: a new process would know nothing of the job."""
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        os.kill(backend.pid, signal.SIGKILL)
        looks = []
        ended = Process.ended

        def late(process, patience=0.0):
            looks.append(patience)
            return None if len(looks) == 1 else ended(process, patience)

        monkeypatch.setattr(Process, "ended", late)
        with pytest.raises(BackendDied, match="SIGKILL"):
            backend.plot("homo", BOX)
        assert backend.pid is None


def test_a_fork_plots_nothing_from_the_process_of_its_parent(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        child = os.fork()
        if child == 0:
            try:
                backend.plot("homo", BOX)
                told = ""
            except UsageError as error:
                told = str(error)
            os._exit(0 if "in another process" in told else 1)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        assert backend.plot("homo", BOX).values.shape == BOX.counts


def test_too_many_points_are_refused_before_anything_is_asked(make_peer, water):
    with Backend(make_peer()) as backend:
        backend.run(Job(water, "am1"))
        with pytest.raises(UsageError, match="GB are free; choose fewer points"):
            backend.plot("homo", box_around(water.positions, points=16000))
        assert backend.plot("homo", BOX) is not None


def test_no_memory_is_an_error_of_its_own(make_peer, water, monkeypatch):
    monkeypatch.setattr("orbitrax.results.builder.NO_MEMORY", ("Unable to graph",))
    with pytest.raises(OutOfMemory):
        plotted(make_peer(plot="refusal"), water)
