"""The command `qcschema`: a QCSchema input in, a QCSchema result out."""

from __future__ import annotations

import json
import sys
from typing import Any

from orbitrax.backend import Backend
from orbitrax.bridges.qcschema import compute
from orbitrax.jsontext import from_json

DESCRIPTION = ("Reads a QCSchema input (driver energy, gradient, hessian or properties) and prints "
               "the result. Energies are total energies, in hartree.")
EXAMPLES = ("orbitrax qcschema input.json > result.json", "cat input.json | orbitrax qcschema -")

_STATUSES = {"input_error": 2, "convergence_error": 1, "resource_error": 1}


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("input", metavar="FILE", help="the input, or - for standard input")
    parser.add_argument("--backend", metavar="PATH", help="the backend program to start")
    parser.add_argument("--time-limit", type=float, metavar="S", help="give up after S seconds")


def run(arguments: Any, terminal: Any) -> int:
    """Prints the result; returns the exit status."""
    try:
        if arguments.input == "-":
            text = sys.stdin.read()
        else:
            with open(arguments.input, encoding="utf-8") as file:
                text = file.read()
        document = from_json(text)
        if not isinstance(document, dict):
            raise ValueError
    except OSError as error:
        terminal.error(f"{arguments.input}: {error.strerror}")
        return 2
    except ValueError:
        terminal.error(f"{arguments.input}: is no JSON document")
        return 2
    with Backend(arguments.backend, time_limit=arguments.time_limit) as backend:
        told = compute(document, backend)
    print(json.dumps(told))
    if told["success"]:
        return 0
    terminal.error(told["error"]["error_message"])
    return _STATUSES.get(told["error"]["error_type"], 3)
