"""The page in a real browser: everything that a student would click."""

from __future__ import annotations

import json
import os
import signal
import time

import pytest
from page_browser import Browser
from page_server import Server, backends_of
from support import ROOT

pytestmark = pytest.mark.xdist_group("browser")

AXE = ROOT / "build" / "page" / "node_modules" / "axe-core" / "axe.min.js"
FERROCENE = (ROOT / "examples" / "ferrocene.xyz").read_text()
LONG = {"time": "100ps"}
SHORT = {"time": "10fs", "report_period": 2}


@pytest.fixture(scope="module")
def server(tmp_path_factory):
    found = Server("--jobs", "2", "--history", str(tmp_path_factory.mktemp("data") / "runs"))
    yield found
    found.close()


@pytest.fixture(scope="module")
def browser(server):
    found = Browser(server)
    yield found
    found.close()


@pytest.fixture(autouse=True)
def nothing_is_wrong(browser):
    """No script failed, nothing was blocked, and nothing was asked of another machine."""
    browser.size(1000, 700)
    yield
    assert browser.complaints() == []
    assert elsewhere(browser, browser.requests()) == []
    assert browser.proxy.lines == []


def elsewhere(browser, addresses):
    """The addresses that are not of the page's own server."""
    own = f"http://127.0.0.1:{browser.server.port}/"
    return [url for url in addresses
            if not url.startswith((own, "blob:", "data:", "about:", "chrome:", "file:"))]


def molecules(server):
    """Three molecules, each with a method for its elements."""
    iron = server.json("POST", "/api/molecule", {"name": "ferrocene.xyz", "text": FERROCENE})
    return {"water": (server.molecule("O"), "am1"), "formaldehyde": (server.molecule("C=O"), "pm3"),
            "ferrocene": (iron["molecule"], "zindo1")}


TASKS = {"energy": {}, "optimize": {}, "vibrations": {"optimize": True}, "uv": {}, "plot": {},
         "md": SHORT, "langevin": SHORT, "montecarlo": {"sweeps": 20, "report_period": 5},
         "scan": {"along": "bend 2,1,3=108:100:-4"}, "compare": {"methods": "am1,pm3,zindos"}}
TABS = {"optimize": "Motion", "vibrations": "Infrared", "uv": "Spectrum", "md": "Motion",
        "langevin": "Motion", "montecarlo": "Motion", "scan": "Motion"}


def test_each_task_of_the_registry_is_tried():
    from orbitrax.tasks.registry import PAGE_TASKS
    assert {row.name for row in PAGE_TASKS} - set(TASKS) == {"ts"}


@pytest.mark.parametrize("name", ["water", "formaldehyde", "ferrocene"])
def test_every_tab_of_every_task_opens(server, browser, name):
    molecule, method = molecules(server)[name]
    few = None if name == "water" else ("energy", "uv")  # the others show nothing else
    runs = {task: server.start(task, method, molecule, **given)
            for task, given in TASKS.items() if few is None or task in few}
    for task, run in runs.items():
        document = server.ended(run)["document"]
        assert document["status"] == "done", (task, document["errors"])
        browser.show(run)
        tabs = browser.tabs()
        assert {"Summary", "Charges", "Orbitals", "Surfaces", "Report"} <= set(tabs)
        assert TABS.get(task, "Summary") in tabs
        for tab in tabs:
            browser.click(f"#tab-{tab}")
            assert browser.run("document.getElementById('panel').textContent.length > 20"), tab
            assert browser.run("window.orbitrax.viewer.state().atoms") == len(molecule["symbols"])
            assert browser.run("window.orbitrax.viewer.state().coloured") == (tab == "Charges")
        if task in ("scan", "compare"):
            browser.click("#tab-Summary")
            assert browser.run("[...document.querySelectorAll('#panel details[open] .scroll')]"
                               ".at(-1).querySelectorAll(':scope tbody tr').length") == 3
        if task == "scan":
            browser.click("#tab-Motion")
            assert "bend 2-1-3, degrees 100.0" in browser.run(
                "document.getElementById('frame-told').value")
        if task == "plot":
            browser.until("window.orbitrax.viewer.state().surfaces.length === 1")
    asked = browser.requests()
    assert len(asked) > len(runs) and elsewhere(browser, asked) == []
    if name == "water":
        print(f"R14: {len(asked)} requests for every tab of every task, 0 to another machine")


def test_the_homo_of_caffeine_by_mouse_alone(browser):
    browser.open(browser.server.address)
    began = time.monotonic()
    browser.choose("#examples", "caffeine")
    browser.until("window.orbitrax.page.molecule?.formula === 'C8H10N4O2'")
    browser.click("#run")
    browser.until("document.querySelector('#tab-Orbitals')")
    assert "Cn1cnc2" in browser.run("window.orbitrax.page.molecule.title")
    browser.click("#tab-Orbitals")
    browser.click("[aria-label*='HOMO'] .hit")
    browser.until("window.orbitrax.viewer.state().shapes >= 2")
    print(f"caffeine's HOMO stood after {time.monotonic() - began:.1f} s")
    assert browser.text("#viewer-under").startswith("orbital 37 (-")


def test_a_search_moves_live_and_a_reload_finds_it_again(server, browser):
    browser.open(server.address)
    browser.load("CCCCC")
    browser.choose("#task", "md:")
    browser.find("#set-time").send_keys("100ps")
    browser.click("#run")
    browser.until("Number(document.getElementById('live').dataset.points) > 3")
    first = browser.run("window.orbitrax.viewer.state().places")
    browser.until(f"JSON.stringify(window.orbitrax.viewer.state().places) !== "
                  f"'{json.dumps(first, separators=(',', ':'))}'")
    assert browser.run("document.getElementById('live-log').textContent.length") > 100
    browser.driver.refresh()
    browser.until("Number(document.getElementById('live').dataset.points) > 3")
    browser.click("#cancel")
    began = time.monotonic()
    browser.until("document.querySelector('.status-line')")
    print(f"cancelled in {time.monotonic() - began:.2f} s")
    assert browser.text(".status-line").startswith("Interrupted")
    assert "Motion" in browser.tabs()  # what there was is shown


def test_two_runs_at_once_and_one_whose_backend_is_killed(server, browser):
    runs = [server.start("md", "am1", server.molecule(smiles), **LONG) for smiles in ("CC", "CCC")]
    browser.open(f"http://127.0.0.1:{server.port}/#run={runs[0]}")
    browser.until("Number(document.getElementById('live').dataset.points) > 1")
    browser.click("#open-history")
    rows = browser.until("[...document.querySelectorAll('#history tbody tr')].slice(0, 2)"
                         ".map(one => one.children[5].textContent)")
    assert rows == ["running", "running"]
    browser.click("#dialog .close")
    for pid in backends_of(server):
        os.kill(pid, signal.SIGKILL)
    browser.until("document.querySelector('.status-line')")
    assert browser.text(".status-line") == "Failed"
    assert "signal" in browser.text(".notices .error")
    for run in runs:
        server.ended(run)


def test_what_is_wrong_stands_beside_its_field(server, browser):
    browser.open(server.address)
    browser.click("#run")
    assert "A molecule is needed" in browser.text("#form-error")
    browser.load("CO")
    browser.choose("#task", "optimize")
    browser.find("#set-limit").send_keys("-1")
    browser.click("#run")
    browser.until("document.getElementById('set-limit-error').textContent.includes('0 or above')")
    assert browser.run("document.activeElement.id") == "set-limit"
    browser.find("#smiles").clear()
    browser.find("#smiles").send_keys("C(")
    browser.click("#molecule form button")
    browser.until("document.getElementById('molecule-error').textContent")


def test_methods_that_cannot_are_grey_with_the_reason(browser):
    browser.open(browser.server.address)
    browser.choose("#examples", "ferrocene")
    browser.until("document.querySelector('#method-refusals li')")
    grey = browser.run("[...document.querySelectorAll('#method option')]"
                       ".filter(one => one.disabled).map(one => one.value)")
    assert "am1" in grey and "zindo1" not in grey
    assert browser.run("document.getElementById('method').value") not in grey
    assert "no parameters for Fe" in browser.run(
        "document.querySelector('#method-refusals').textContent")


def test_hostile_names_and_titles_stay_text(server, browser, tmp_path):
    browser.open(server.address)
    browser.run("window.hacked = 0")
    script = "<img src=x onerror='window.hacked=1'><script>window.hacked=1</script>"
    text = f"3\n{script}\nO 0 0 0\nH 0.96 0 0\nH -0.24 0.93 0\n"
    path = tmp_path / "<b onclick=x>&quot;.xyz"
    path.write_text(text)
    browser.find("#file").send_keys(str(path))
    browser.until("window.orbitrax.page.molecule?.formula === 'H2O'")
    assert "<b onclick=x>" in browser.text("#molecule-is")
    browser.click("#run")
    browser.until("document.querySelector('[role=tab]')")
    browser.click("#open-history")
    browser.until("document.querySelector('#history')")
    browser.click("#dialog .close")
    long = tmp_path / "long.xyz"
    long.write_text("H 0 0 0\n" * 100000)
    browser.find("#file").send_keys(str(long))
    browser.until("document.getElementById('molecule-error').textContent.includes('long.xyz')")
    huge = tmp_path / "huge.xyz"
    huge.write_bytes(b"H 0 0 0\n" * 700000)
    browser.find("#file").send_keys(str(huge))
    browser.until("document.getElementById('molecule-error').textContent.includes('5 MB')")
    assert browser.run("window.hacked") == 0
    assert browser.run("document.querySelectorAll('img[src=x], b').length") == 0


def spectra(server):
    molecule = server.molecule("C=O")
    return (server.start("vibrations", "am1", molecule, optimize=True),
            server.start("uv", "zindos", molecule))


def test_bands_are_linked_with_motions_and_orbitals_both_ways(server, browser):
    infrared, states = spectra(server)
    server.ended(infrared)
    browser.show(infrared)
    browser.click("#tab-Infrared")
    browser.click(".chart .u-over")  # the middle of the curve
    browser.until("document.querySelector('tr.chosen')")
    assert browser.run("window.orbitrax.viewer.state().moving")
    browser.click(".bands tbody tr:last-child button")
    assert browser.run("document.querySelector('.bands tbody tr:last-child').className") == "chosen"
    browser.media(prefers_reduced_motion="reduce")
    browser.click(".bands tbody tr:first-child button")
    assert not browser.run("window.orbitrax.viewer.state().moving")
    assert browser.run("window.orbitrax.viewer.state().shapes") >= 2  # arrows
    browser.media(prefers_reduced_motion="no-preference")
    server.ended(states)
    browser.show(states)
    browser.click("#tab-Spectrum")
    browser.click(".bands tbody tr:first-child button")
    browser.until("document.getElementById('viewer-under').dataset.surface")
    assert browser.run("document.querySelectorAll('#pairs [data-orbital]').length") >= 2
    assert browser.run("window.orbitrax.viewer.state().moving")  # the electron goes over
    assert browser.run("window.orbitrax.viewer.state().surfaces.map(one => one.slice(0, 9))") == [
        "orbital 6", "orbital 7"]
    browser.until("document.getElementById('gone').value !== '0'")
    browser.click("#swap")
    assert not browser.run("window.orbitrax.viewer.state().moving")
    browser.click("#pairs [data-orbital='7']")
    browser.until("window.orbitrax.viewer.state().surfaces.length === 1")


def test_a_motion_neither_makes_nor_tears_bonds(server, browser):
    """Hydrogens of water that bend come as near as 1.1 Angstrom: no bond joins them."""
    run = server.start("vibrations", "am1", server.molecule("O"), optimize=True)
    server.ended(run)
    browser.show(run)
    browser.click("#tab-Infrared")
    browser.click(".bands tbody tr:first-child button")
    seen = browser.driver.execute_async_script(
        "const done = arguments[0], seen = []; const look = () => {"
        "const state = window.orbitrax.viewer.state(); seen.push(state.bonds);"
        "if (seen.length < 45) requestAnimationFrame(look); else done(seen); }; look()")
    assert set(seen) == {2}


def test_a_trajectory_is_played_and_dragged(server, browser):
    run = server.start("md", "am1", server.molecule("O"), **SHORT)
    frames = server.ended(run)["frames"]
    browser.show(run)
    browser.click("#tab-Motion")
    assert f"{len(frames)} of {len(frames)}" in browser.run(
        "document.getElementById('frame-told').value")
    browser.driver.execute_script("const one = document.getElementById('frame'); one.value = 2;"
                                  "one.dispatchEvent(new Event('input'))")
    assert browser.run("window.orbitrax.viewer.state().places") == frames[2]["xyz"]
    browser.click("#play")
    browser.until("document.getElementById('frame').value !== '2'")
    browser.click("#play")


def test_the_potential_and_charges_for_force_fields(server, browser):
    run = server.start("energy", "am1", server.molecule("CO"))
    server.ended(run)
    browser.show(run)
    browser.click("#tab-Surfaces")
    browser.click("[data-what=potential]")
    browser.until("window.orbitrax.viewer.state().shapes === 1")
    browser.click("#tab-Charges")
    browser.choose("#charge-model", "AM1-BCC")
    browser.until("document.querySelector('#panel thead th:last-child')?.textContent === 'am1bcc'")
    assert browser.run("window.orbitrax.viewer.state().coloured")


def test_a_molecule_is_drawn(browser):
    browser.open(browser.server.address)
    browser.load("CCO")
    browser.click("#draw")
    browser.until("document.querySelector('.sketch').shadowRoot || "
                  "document.querySelector('.sketch').children.length")
    browser.driver.execute_script("window.orbitrax.page.molecule = null")
    browser.click("#dialog button.main")
    browser.until("window.orbitrax.page.molecule?.formula === 'C2H6O'")


def test_tabs_go_by_keys(server, browser):
    from selenium.webdriver.common.keys import Keys
    run = server.start("energy", "am1", server.molecule("O"))
    server.ended(run)
    browser.show(run)
    browser.find("#tab-Summary").send_keys(Keys.ARROW_RIGHT)
    assert browser.run("document.activeElement.id") == "tab-Charges"
    assert browser.run("document.getElementById('tab-Charges').ariaSelected") == "true"
    browser.click("#tab-Orbitals")
    browser.find("[aria-label*='LUMO']").send_keys(Keys.ENTER)
    browser.until("document.getElementById('viewer-under').dataset.surface")


def test_a_notebook_shows_an_orbital(browser, tmp_path):
    import orbitrax
    view = orbitrax.show(orbitrax.energy("C=O", "am1"), "homo")
    home, path = browser.driver.current_url, tmp_path / "notebook.html"
    path.write_text(f"<!doctype html><p>Out [1]:</p>{view._repr_html_()}")
    browser.driver.get(f"file://{path}")
    browser.driver.switch_to.frame(browser.find("iframe"))
    browser.until("view.shapes.length === 2 && document.querySelector('canvas').width > 100")
    browser.driver.switch_to.default_content()
    browser.shot("notebook")
    browser.open(home)


def look_through(browser, run, widths, shown=None, name="caffeine"):
    """Opens tabs in both themes and at widths, takes pictures, and asks axe at the narrowest."""
    browser.show(run)
    browser.driver.execute_script(AXE.read_text())
    browser.media(prefers_reduced_motion="reduce")
    for theme in ("light", "dark"):
        if browser.run("document.documentElement.dataset.theme") != theme:
            browser.click("#theme")
        for width, height in widths.items():
            browser.size(width, height)
            for tab in shown or browser.tabs():
                look_at(browser, tab, width)
                browser.shot(f"{name}-{tab.lower()}-{width}-{theme}")
                wide = browser.run("document.documentElement.scrollWidth")
                assert wide <= width, f"{tab} is {wide} wide in a window of {width}"
                if width == min(widths):
                    assert serious(browser) == [], (theme, width, tab)
    browser.media(prefers_reduced_motion="no-preference")


def look_at(browser, tab, width):
    """Opens a tab, and chooses something in it where there is something to choose."""
    browser.click(f"#tab-{tab}")
    if tab == "Orbitals":
        browser.click("[aria-label*='HOMO'] .hit")
        browser.until("window.orbitrax.viewer.state().shapes >= 2")
    if tab in ("Infrared", "Spectrum"):
        browser.click(".bands tbody tr:last-child button")
    if tab == "Spectrum":
        browser.until("document.getElementById('viewer-under').dataset.surface")
    browser.run("scrollTo(0, 0)" if width >= 900 else
                "document.querySelector('.stage').scrollIntoView()")


def test_axe_finds_nothing_serious_in_either_theme(server, browser):
    run = server.start("vibrations", "am1", server.molecule("C=O"), optimize=True)
    server.ended(run)
    look_through(browser, run, {360: 800}, ("Summary", "Orbitals", "Infrared"))


@pytest.mark.long
@pytest.mark.timeout(1200)
@pytest.mark.parametrize("name", ["water", "formaldehyde", "ferrocene"])
def test_every_tab_of_every_task_looks_right_at_any_width(server, browser, name):
    molecule, method = molecules(server)[name]
    for task, given in TASKS.items():
        if task == "scan":
            bend = {"water": "2,1,3", "formaldehyde": "1,2,3", "ferrocene": "2,1,3"}[name]
            given = {"along": f"bend {bend}=110:114:4" if name != "ferrocene" else
                     "stretch 1,2=2.06:2.08:0.02"}
        run = server.start(task, method, molecule, **given)
        server.ended(run, 300)
        look_through(browser, run, {360: 800, 1024: 900, 3840: 2160}, name=f"{name}-{task}")


def serious(browser):
    """What axe finds that keeps people out."""
    found = browser.driver.execute_async_script(
        "const done = arguments[0]; axe.run(document).then(found => done(found.violations))")
    return [(one["id"], [node["html"][:120] for node in one["nodes"]][:3]) for one in found
            if one["impact"] in ("serious", "critical")]


def test_six_hundred_atoms_turn(server, browser):
    water = [(8, 0.0, 0.0, 0.0), (1, 0.96, 0.0, 0.0), (1, -0.24, 0.93, 0.0)]
    lines = [f"{z} {x + 3 * (i % 6):.3f} {y + 3 * (i // 6 % 6):.3f} {w + 3 * (i // 36):.3f}"
             for i in range(200) for z, x, y, w in water]
    browser.open(server.address)
    text = "600\n\n" + "\n".join(lines) + "\n"
    browser.driver.execute_async_script(
        "const [text, done] = arguments; const file = new File([text], 'big.xyz');"
        "const data = new DataTransfer(); data.items.add(file);"
        "dispatchEvent(new DragEvent('drop', {dataTransfer: data, cancelable: true})); done()",
        text)
    browser.until("window.orbitrax.viewer.state().atoms === 600")
    rate = browser.driver.execute_async_script(
        "const done = arguments[0]; window.orbitrax.viewer.measure(1).then(done)")
    print(f"600 atoms turn at {rate:.0f} frames a second, drawn by software")
    assert rate > 0
