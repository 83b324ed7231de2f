#!/usr/bin/env python3
"""usage: picture.py QZ_PLAY TRACK... >qz_play.svg

Plays the tracks with the program QZ_PLAY in a terminal, shows the help of the keys and the information about the
track, and writes a picture of the terminal. Needs tmux and an output for the sound.
"""

import html
import shlex
import subprocess
import sys
import time

COLUMNS, ROWS = 80, 22
CHARACTER_WIDTH, LINE_HEIGHT, MARGIN = 8.4, 18, 12
COLOURS = {"▶": "#5fd75f"}


def tmux(*arguments: str) -> str:
    command = ["tmux", "-L", "qz_play-picture", *arguments]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def screen(command: list[str]) -> list[str]:
    """Returns the terminal's lines after some keys."""
    size = ["-x", str(COLUMNS), "-y", str(ROWS)]
    tmux("-f", "/dev/null", "new-session", "-d", *size, shlex.join(command))
    try:
        for key in ["h", "i", ""]:
            time.sleep(3)
            tmux("send-keys", "-l", key)
        return tmux("capture-pane", "-p").rstrip("\n").split("\n")
    finally:
        tmux("kill-server")


def row(number: int, line: str) -> str:
    y = MARGIN + (number + 1) * LINE_HEIGHT - 5
    colour = COLOURS.get(line[:1], "#d0d0d0")
    text = html.escape(line)
    return f'<text x="{MARGIN}" y="{y}" fill="{colour}" xml:space="preserve">{text}</text>'


def picture(lines: list[str]) -> str:
    width = round(COLUMNS * CHARACTER_WIDTH) + 2 * MARGIN
    height = len(lines) * LINE_HEIGHT + 2 * MARGIN
    rows = "\n".join(row(number, line) for number, line in enumerate(lines))
    return f"""<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" \
font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="14">
<rect width="100%" height="100%" rx="8" fill="#1c1c1c"/>
{rows}
</svg>"""


if __name__ == "__main__":
    print(picture(screen(sys.argv[1:])))
