"""The machine and the versions that were measured."""

from __future__ import annotations

import datetime
import os
import platform
import subprocess
from pathlib import Path

PACKAGES = [
    "g++",
    "libc6",
    "libmpg123-0",
    "libout123-0",
    "libasound2",
    "pulseaudio",
    "libboost-dev",
    "libuv1-dev",
    "valgrind",
]


def describe(build: Path, packages: list[str] = PACKAGES) -> str:
    """Date, processor, system, versions and the kind of the build tree, as a Markdown list."""
    facts = {
        "Date": datetime.date.today().isoformat(),
        "Processor": f"{_processor()}, {os.cpu_count()} cores",
        "Kernel": platform.release(),
        "Packages": ", ".join(_versions(packages)),
        "Build type": _build_type(build),
    }
    return "\n".join(f"- {name}: {value}" for name, value in facts.items())


def _processor() -> str:
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.partition(":")[2].strip()
    return platform.machine()


def _build_type(build: Path) -> str:
    cache = (build / "CMakeCache.txt").read_text().splitlines()
    return next(line.partition("=")[2] for line in cache if line.startswith("CMAKE_BUILD_TYPE:"))


def _versions(packages: list[str]) -> list[str]:
    listed = subprocess.run(
        ["dpkg-query", "-W", "-f", "${db:Status-Status} ${Package} ${Version}\n", *packages],
        capture_output=True,
        text=True,
        check=False,
    )
    return [
        line.removeprefix("installed ")
        for line in listed.stdout.splitlines()
        if line.startswith("installed ")
    ]
