"""`orbitrax.show`: what a notebook gets."""

from __future__ import annotations

import base64
import html
import io
import json
import re

import pytest
from PIL import Image

import orbitrax
from orbitrax.errors import UsageError


@pytest.fixture(scope="module")
def formaldehyde():
    return orbitrax.energy("C=O", "am1")


def given(view):
    """What the script of a view is told."""
    return json.loads(re.search(r"const given = (\{.*?\});\n", view.html, re.S).group(1))


def still(view) -> Image.Image:
    """The picture for where scripts are off."""
    inside = re.search(r"<noscript>.*base64,([^']+)'.*</noscript>", view.html, re.S)
    return Image.open(io.BytesIO(base64.b64decode(inside.group(1)))).convert("RGB")


def test_an_orbital_comes_with_its_values_and_a_picture(formaldehyde):
    view = orbitrax.show(formaldehyde, "homo")
    told = given(view)
    assert told["signed"] and told["level"] == 0.05
    numbers = [float(word) for line in told["cubes"][0].split("\n")[6 + 4:]
               for word in line.split()]
    step = [float(line.split()[1 + i]) for i, line in enumerate(
        told["cubes"][0].split("\n")[3:6])]
    # one electron's square, but for what the box cuts off and what atoms' overlap adds
    assert 0.8 < sum(x * x for x in numbers) * step[0] * step[1] * step[2] < 1.3
    with_surface = still(view).getcolors(1 << 24)
    assert len(with_surface) > len(still(orbitrax.show(formaldehyde)).getcolors(1 << 24)) / 2 > 10


def test_charges_are_those_of_the_result(formaldehyde):
    assert given(orbitrax.show(formaldehyde, "charges"))["values"] == pytest.approx(
        formaldehyde.charges.tolist(), abs=1e-12)


def test_a_notebook_gets_a_frame_that_stays_apart_and_asks_nobody(formaldehyde):
    view = orbitrax.show(formaldehyde)
    frame = view._repr_html_()
    assert frame.startswith('<iframe title="CH2O" sandbox="allow-scripts"')
    assert html.unescape(re.search(r'srcdoc="([^"]*)"', frame).group(1)) == view.html
    assert not re.search(r"<(?:script|link|img)[^>]*(?:src|href)='?\"?http", view.html)


def test_what_cannot_be_shown_is_refused(formaldehyde):
    with pytest.raises(UsageError, match="belongs to a result"):
        orbitrax.show("O", "homo")
    with pytest.raises(UsageError, match="is no orbital"):
        orbitrax.show(formaldehyde, "best")
