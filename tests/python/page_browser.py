"""A real browser for the tests of the page: Chromium without a window, drawing by software."""

from __future__ import annotations

import json
import os
import re
import socket
import threading
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from support import ROOT

_FLAGS = ("--headless=new --disable-quic --no-first-run --disable-background-networking "
          "--disable-component-update --disable-sync --disable-default-apps --hide-scrollbars "
          "--disable-dev-shm-usage --use-gl=angle --use-angle=swiftshader "
          "--enable-unsafe-swiftshader --disable-domain-reliability --no-pings "
          "--disable-client-side-phishing-detection --disable-extensions "
          "--disable-component-extensions-with-background-pages "
          "--disable-features=OptimizationHints,MediaRouter,NetworkTimeServiceQuerying").split()
# Whom Chromium asks on its own account, whatever page is open.
_ITS_MAKER = re.compile(r" \S*(google|gstatic|googleapis|gvt1|googleusercontent)\.com\b")
SHOTS = ROOT / "build" / "screenshots"


class Proxy:
    """Takes what the browser sends to other machines, notes its first line, and closes."""

    def __init__(self):
        self.lines: list[str] = []
        self._socket = socket.create_server(("127.0.0.1", 0))
        self.port = self._socket.getsockname()[1]
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                one, _ = self._socket.accept()
            except OSError:
                return
            with one:
                one.settimeout(1)
                try:
                    line = one.recv(400).split(b"\r\n")[0].decode("latin-1")
                except OSError:
                    line = "a connection"
                if line and not _ITS_MAKER.search(line):
                    self.lines.append(line)

    def close(self):
        """Ends it."""
        self._socket.close()


class Browser:
    """A browser at the page of a server."""

    def __init__(self, server, width: int = 1440, height: int = 1000):
        self.server, self.proxy = server, Proxy()
        options = webdriver.ChromeOptions()
        for flag in (*_FLAGS, f"--proxy-server=127.0.0.1:{self.proxy.port}",
                     f"--window-size={width},{height}"):
            options.add_argument(flag)
        if os.getuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(60)
        self.open(server.address)

    def open(self, address: str) -> None:
        """Opens an address, and waits until the page is ready."""
        self.driver.get(address)
        self.until("document.documentElement.dataset.ready")

    def run(self, script: str, *given):
        """The value of an expression of JavaScript."""
        return self.driver.execute_script(f"return ({script})", *given)

    def until(self, script: str, seconds: float = 60):
        """Waits for an expression to hold; returns its value."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            found = self.run(script)
            if found:
                return found
            time.sleep(0.03)
        raise AssertionError(f"not within {seconds} s: {script}; the page says: "
                             f"{self.text('body')[:600]}")

    def find(self, css: str):
        """The element of a selector."""
        return self.driver.find_element(By.CSS_SELECTOR, css)

    def click(self, css: str) -> None:
        """Clicks with the mouse."""
        found = self.find(css)
        self.driver.execute_script("arguments[0].scrollIntoView({block: 'center'})", found)
        found.click()

    def choose(self, css: str, text: str) -> None:
        """Takes the entry of a list whose text begins so."""
        for one in self.find(css).find_elements(By.TAG_NAME, "option"):
            if one.text.strip().startswith(text):
                one.click()
                return
        raise AssertionError(f"{css} has no entry '{text}'")

    def text(self, css: str) -> str:
        """What is to be read there."""
        return self.find(css).text

    def load(self, smiles: str) -> None:
        """Types a molecule."""
        field = self.find("#smiles")
        field.clear()
        field.send_keys(smiles)
        before = self.run("window.orbitrax.page.molecule?.title || ''")
        self.click("#molecule form button")
        if before != smiles:
            self.until("window.orbitrax.page.molecule?.title === " + json.dumps(smiles))

    def show(self, name: str) -> None:
        """Opens a run by its link, and waits for its results."""
        self.until("document.documentElement.dataset.ready === 'yes'")
        self.driver.execute_script(
            "document.getElementById('tabs').replaceChildren(); location.hash = arguments[0]",
            f"#run={name}")
        self.until("document.querySelector('[role=tab]')")

    def tabs(self) -> list[str]:
        """The titles of the tabs of the result."""
        return self.run("[...document.querySelectorAll('[role=tab]')].map(one => one.textContent)")

    def complaints(self) -> list[str]:
        """What the browser had to complain of since the last time."""
        return [one["message"] for one in self.driver.get_log("browser")
                if one["level"] == "SEVERE" and "status of 4" not in one["message"]]

    def requests(self) -> list[str]:
        """The addresses that were asked for since the last time."""
        events = [json.loads(one["message"])["message"]
                  for one in self.driver.get_log("performance")]
        return [one["params"]["request"]["url"] for one in events
                if one["method"] == "Network.requestWillBeSent"]

    def shot(self, name: str) -> None:
        """Writes what is seen to build/screenshots."""
        SHOTS.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(SHOTS / f"{name}.png"))

    def media(self, **features: str) -> None:
        """Pretends wishes of the user, as prefers_reduced_motion="reduce"."""
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": name.replace("_", "-"), "value": value}
            for name, value in features.items()]})

    def size(self, width: int, height: int) -> None:
        """Pretends a window of this size."""
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})

    def close(self) -> None:
        """Ends it."""
        self.driver.quit()
        self.proxy.close()
