"""A pseudo terminal: keys for a program, and what it shows."""

from __future__ import annotations

import os
import select
import time

PATIENCE = 30
"""Seconds; fewer than a lease on a file lasts."""


class Terminal:
    """To be used by `with`. The program gets `program_end`."""

    def __enter__(self) -> Terminal:
        self._own_end, self.program_end = os.openpty()
        return self

    def __exit__(self, *_: object) -> None:
        os.close(self._own_end)
        os.close(self.program_end)

    def press(self, key: str) -> None:
        os.write(self._own_end, key.encode())

    def watch(self, seconds: float) -> None:
        """Reads and drops what is shown in that time: a terminal that nobody reads becomes full."""
        end = time.monotonic() + seconds
        while self._next_shown(end):
            pass

    def milliseconds_until(self, shown: str, key: str) -> float:
        """The time from the key until the program shows a text."""
        pressed = time.monotonic()
        self.press(key)
        output = b""
        while shown.encode() not in output:
            piece = self._next_shown(pressed + PATIENCE)
            if not piece:
                raise RuntimeError(f"the key {key!r} has not led to {shown!r}")
            output += piece
        return (time.monotonic() - pressed) * 1000

    def _next_shown(self, deadline: float) -> bytes:
        """Returns nothing if nothing is shown until then."""
        left = max(0.0, deadline - time.monotonic())
        ready, _, _ = select.select([self._own_end], [], [], left)
        return os.read(self._own_end, 4096) if ready else b""
