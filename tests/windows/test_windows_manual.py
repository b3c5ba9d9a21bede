"""The client that docs/packet-link.md prints is one that works."""

import re
import subprocess

import pytest
import wine
from peers import ROOT

pytestmark = pytest.mark.windows


def test_the_client_of_the_manual_talks_to_the_backend(under_wine, tmp_path):
    text = (ROOT / "docs" / "packet-link.md").read_text(encoding="utf-8")
    program, source = tmp_path / "client.exe", tmp_path / "client.c"
    source.write_text(re.search(r"^```c\n(.*?)^```$", text, re.S | re.M)[1])
    subprocess.run(["x86_64-w64-mingw32-g++-posix", "-x", "c++", "-static", "-Wall", "-Werror",
                    "-o", str(program), str(source)], check=True)
    said = tmp_path / "said"  # a file: processes of Wine's own may keep a pipe open
    with said.open("w") as output:
        run = subprocess.run(["wine", str(program), f"Z:{wine.PROGRAM}", "d0c5"], stdout=output,
                             env=wine.environment(), timeout=30)
    assert run.returncode == 0
    assert said.read_text().splitlines() == ["type 10, 4 bytes", "type 9999, 1 bytes"]
