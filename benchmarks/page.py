#!/usr/bin/python3
"""How large the page is and how soon it can be used: what a browser loads, compressed, and the
time from the start of `orbitrax serve` to a page whose form can be filled, and to its viewer, five
times.

    benchmarks/page.py
"""

from __future__ import annotations

import gzip
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "python"), str(ROOT / "tests" / "python")]

from page_browser import Browser  # noqa: E402
from page_server import Server  # noqa: E402

STATIC = ROOT / "python" / "orbitrax" / "serve" / "static"
RUNS = 6
AT = "performance.timeOrigin + performance.getEntriesByName(arguments[0])[0].startTime"


def main() -> None:
    """Prints both."""
    total = 0
    for path in sorted(STATIC.iterdir()):
        size = len(gzip.compress(path.read_bytes(), 9))
        late = path.name in ("sketch.js", "licences.txt")
        total += 0 if late else size
        print(f"{path.name:<14}{size / 1000:8.1f} kB{'  when it is used' if late else ''}")
    print(f"{'at the start':<14}{total / 1000:8.1f} kB\n")
    browser = None
    for _ in range(RUNS):
        began = time.time()
        server = Server("--no-history")
        listening = time.time()
        if browser is None:  # the browser that a user has open already
            browser = Browser(server)
            server.close()
            continue
        browser.server = server
        browser.open(server.address)
        usable, viewer = (float(browser.run(AT, name)) / 1000 - began
                          for name in ("usable", "viewer"))
        print(f"listening after {listening - began:.2f} s, form after {usable:.2f} s, "
              f"viewer after {viewer:.2f} s")
        server.close()
    assert browser is not None
    browser.close()


if __name__ == "__main__":
    main()
