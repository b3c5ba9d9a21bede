"""The registry of tasks: rows that lead to classes, whose settings every door reads."""

import subprocess
import sys

import pytest
from support import ROOT

from orbitrax import Backend, Job
from orbitrax.cli.command import CommandSettings
from orbitrax.cli.options import build_parser
from orbitrax.cli.outputs import OUTPUTS
from orbitrax.errors import NotConverged, UsageError
from orbitrax.job import JobSettings
from orbitrax.link import wire
from orbitrax.tasks.registry import TASKS, find_task
from orbitrax.tasks.task import Task

KINDS = [row.load() for row in TASKS]


@pytest.mark.parametrize("row", TASKS, ids=lambda row: row.name)
def test_a_row_leads_to_its_task(row):
    kind = row.load()
    assert issubclass(kind, Task) and kind.name == row.name and find_task(row.name) is kind
    assert kind.description and kind.examples and kind() == kind()


@pytest.mark.parametrize("kind", KINDS, ids=lambda kind: kind.name)
def test_settings_say_what_people_and_the_wire_need(kind):
    fields = {*wire.RunOptions.fields, *wire.JobOptions.fields}
    filled = [one.wire for one in kind.options.values() if one.wire]
    assert set(filled) <= fields and len(set(filled)) == len(filled)
    for name, one in kind.options.items():
        assert one.help and not one.help.endswith("."), name
        assert not one.typed or one.group, name
        assert one.checked(one.default) == one.default or one.default is None, name
    assert set(kind.files) <= {row.name for row in OUTPUTS}


@pytest.mark.parametrize("kind", KINDS, ids=lambda kind: kind.name)
def test_every_setting_can_be_typed_and_no_two_are_one(kind):
    assert not set(kind.options) & set(CommandSettings.options)
    text = build_parser(kind.name)._subparsers._group_actions[0].choices[kind.name].format_help()
    for one in kind.options.values():
        assert (one.flag in text) == one.typed, one.name


def test_no_field_of_the_options_has_two_places():
    assert not set(wire.RunOptions.fields) & set(wire.JobOptions.fields)


def test_a_name_that_is_no_task_is_refused():
    with pytest.raises(UsageError, match="did you mean 'optimize'"):
        find_task("optimise")


def test_the_list_of_tasks_loads_none_of_them():
    program = ("import sys\nfrom orbitrax.cli.options import build_parser\n"
               "build_parser('methods').format_help()\n"
               "found = [name for name in sys.modules if name.startswith('orbitrax.tasks.')]\n"
               "assert found == ['orbitrax.tasks.registry'], found\n")
    subprocess.run([sys.executable, "-c", program], check=True,
                   env={"PYTHONPATH": str(ROOT / "python")})


def test_a_task_of_ones_own_is_a_class_and_nothing_else(make_peer, water):
    """What a new module would bring: settings that reach the wire, and a run with a block."""
    from orbitrax.settings import declared, option
    from orbitrax.tasks.task import Run

    class Counting(Run):
        count = 0

        def collect(self, event):
            self.count += 1

        def block(self, result):
            return {"counting": {"events": self.count, "friction": self.task.friction}}

    @declared
    class Count(Task):
        name = "count"
        run_type = Counting
        friction: float = option(2.5, least=0, wire="flFriction", help="of the piston")

    script = make_peer()
    with Backend(script) as backend:
        result = Count(friction=3).start(water, "am1").execute(backend)
    assert result.task == "count" and result.to_dict()["counting"] == {"events": 6, "friction": 3.0}
    sent = [bytes.fromhex(line.split()[1]) for line in open(f"{script}.record", encoding="ascii")]
    options, = [data for data in sent if len(data) == wire.JobOptions.size]
    assert wire.JobOptions.unpack(options)["flFriction"] == 3.0


def test_a_run_refuses_what_is_not_to_be_believed_and_keeps_it(make_peer, water):
    peer = make_peer(iterations=30, difference=0.25)
    task = find_task("energy")(scf_iterations=30)
    with Backend(peer) as backend:
        with pytest.raises(NotConverged, match="try a higher scf_iterations, diis=False") as caught:
            task.start(water, "am1").execute(backend)
        assert caught.value.partial.total_energy == -300.75 + 1e-9
        allowed = task.replace(allow_unconverged=True).start(water, "am1").execute(backend)
    assert allowed.converged is False


def test_a_job_does_not_change_and_replace_makes_another(water):
    job = Job(water, "am1", find_task("optimize")(limit=0.5), charge=1)
    other = job.replace(method="pm3", charge=0)
    assert (other.method.key, other.charge, other.settings.limit) == ("pm3", 0, 0.5)
    assert (job.method.key, job.charge) == ("am1", 1) and isinstance(job.settings, JobSettings)
    with pytest.raises(AttributeError, match="replace"):
        job.charge = 2
