"""A worker process: takes molecules from its pipe, sends back answers.

It ends when the other end of the pipe does, whatever it is doing, and its backend with it.
"""

from __future__ import annotations

import mmap
import os
import pickle
import queue
import struct
import threading
import time
from collections.abc import Iterator
from multiprocessing.connection import Connection
from typing import Any

from orbitrax.bulk.items import Item
from orbitrax.bulk.one import Answer, Computer

MARK = struct.Struct("<qd")  # number of the molecule at work, 0 for none, and when it began
_FLUSH = 0.03  # seconds for which answers are collected


def main(pipe: int, board: int) -> None:
    """Serves the pipe of this number; what is at work stands in the memory of the file `board`."""
    _Worker(Connection(pipe), mmap.mmap(board, MARK.size)).serve()


class _Worker:
    def __init__(self, link: Connection, board: mmap.mmap):
        self._link, self._board = link, board
        self._waiting: queue.SimpleQueue[Any] = queue.SimpleQueue()
        self._sending = threading.Lock()
        self._answers: list[Answer] = []
        self._flushed = time.monotonic()

    def serve(self) -> None:
        """Until the pipe ends."""
        computer = Computer(pickle.loads(self._link.recv_bytes()), self._overrun)
        self._computer = computer
        threading.Thread(target=self._listen, daemon=True).start()
        while True:
            for answer in computer.compute_all(self._molecules(), self._mark):
                MARK.pack_into(self._board, 0, 0, 0.0)
                self._answers.append(answer)
                if time.monotonic() - self._flushed > _FLUSH:
                    self._flush()

    def _mark(self, item: Item) -> None:
        MARK.pack_into(self._board, 0, item.number, time.monotonic())

    def _molecules(self) -> Iterator[tuple[Item, int]]:
        """What there is to do; waits for it only at the beginning."""
        portion = self._next()
        while portion:
            yield from portion
            portion = [] if self._waiting.empty() else self._waiting.get()

    def _next(self) -> Any:
        try:
            return self._waiting.get_nowait()
        except queue.Empty:
            self._flush()
            return self._waiting.get()

    def _flush(self) -> None:
        answers, self._answers = self._answers, []
        if answers:
            with self._sending:
                self._link.send_bytes(pickle.dumps(answers))
        self._flushed = time.monotonic()

    def _listen(self) -> None:
        """In a thread of its own, so that the end of the pipe is seen at once."""
        try:
            while True:
                self._waiting.put(pickle.loads(self._link.recv_bytes()))
        except (EOFError, OSError):
            self._end()

    def _end(self) -> None:
        pid = self._computer.backend.pid
        if pid is not None:
            try:
                os.kill(pid, 9)
            except ProcessLookupError:
                pass
        os._exit(0)

    def _overrun(self, answer: Answer) -> None:
        """A molecule holds this process and cannot be stopped: its answer goes out, and the process
        ends; another takes its place."""
        self._answers.append(answer)
        self._flush()
        self._end()
