"""Where parameters were published, from the heads of their tables."""

from __future__ import annotations

import os
import re

from orbitrax.methods import Method
from orbitrax.tables import parameter_directory

_ARTICLE = re.compile(r"(?P<authors>.+), (?P<journal>\D+?) (?P<volume>\d+), (?P<page>S?\d+)\D.*?"
                      r"\((?P<year>\d{4})\)")
_ELEMENTS = re.compile(r"# ((?:[A-Z][a-z]? )*[A-Z][a-z]?): (.*)")


def sources_of(method: Method, symbols: list[str],
               directory: str | None = None) -> dict[str, list[str]]:
    """Texts of publications, each with the elements that it was taken for; the method's own first,
    for all."""
    found: dict[str, list[str]] = {method.source: []}
    by_element = _by_element(method.tables, directory or parameter_directory())
    for symbol in dict.fromkeys(symbols):
        text = by_element.get(symbol)
        if text is None:
            continue
        if _article(text) is not None and _article(text) == _article(method.source):
            text = method.source
        found.setdefault(text, []).append(symbol)
    return found


def _by_element(tables: str, folder: str) -> dict[str, str]:
    """The text of each element in the head of the first table of a method."""
    path = os.path.join(folder, f"{tables}_1.abp")
    if not os.path.exists(path):
        return {}
    found: dict[str, str] = {}
    group: list[str] = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            if not line.startswith("#"):
                break
            match = _ELEMENTS.match(line)
            if match is not None:
                group = match.group(1).split()
                found.update(dict.fromkeys(group, match.group(2).strip()))
            elif line.startswith("#  ") and group:
                for symbol in group:
                    found[symbol] += " " + line[1:].strip()
            else:
                group = []
    if tables == "mndod":  # sp elements are those of MNDO
        ours = {symbol: text for symbol, text in found.items()
                if "unchanged" not in text and "orbitals" not in symbol}
        return {**_by_element("mndo", folder), **ours}
    return found


def _article(text: str) -> tuple[str, str] | None:
    match = _ARTICLE.match(text)
    return None if match is None else (match["volume"], match["page"])


def bibtex(text: str, note: str = "") -> str:
    """One entry of BibTeX for a text like "A. Author, B. Author, Journal 12, 345 (1999)"."""
    match = _ARTICLE.match(text)
    said = f",\n  note = {{{note}}}" if note else ""
    if match is None:
        key = re.sub(r"\W", "", text.split(",")[0])[-12:] or "source"
        return f"@misc{{{key},\n  howpublished = {{{text}}}{said}\n}}"
    authors = match["authors"].split(", ")
    key = re.sub(r"[^A-Za-z]", "", authors[0].split()[-1]) + match["year"] + match["page"]
    return (f"@article{{{key},\n  author = {{{' and '.join(authors)}}},\n"
            f"  journal = {{{match['journal']}}},\n  volume = {{{match['volume']}}},\n"
            f"  pages = {{{match['page']}}},\n  year = {{{match['year']}}}{said}\n}}")
