"""Where the programs under measurement are, and what they play."""

from __future__ import annotations

import os
import subprocess
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Bench:
    """The build tree and a folder for what the run makes."""

    build: Path
    work: Path

    def program(self, name: str) -> str:
        return str(self.build / "bin" / name)

    def track(self, seconds: int) -> str:
        """A stereo MPEG track of noise at 128 kbit/s and 44.1 kHz, made when first asked for."""
        track = self.work / f"track-{seconds}.mp3"
        if not track.exists():
            wav = track.with_suffix(".wav")
            noise = ["synth", str(seconds), "pinknoise", "gain", "-12"]
            subprocess.run(
                ["sox", "-n", "-r", "44100", "-b", "16", "-c", "2", wav, *noise], check=True
            )
            subprocess.run(["lame", "--quiet", "-b", "128", wav, track], check=True)
            wav.unlink()
        return str(track)

    def alsa(self, name: str, definition: str) -> dict[str, str]:
        """An environment in which libout123's default output is ALSA's device `definition`."""
        config = self.work / f"{name}.conf"
        config.write_text(f"pcm.!default {{ {definition} }}\nctl.!default {{ type null }}\n")
        return {**self.only_output("alsa"), "ALSA_CONFIG_PATH": str(config)}

    def only_output(self, output: str) -> dict[str, str]:
        """An environment in which libout123 has one output module and no other to fall back on."""
        modules = self.work / f"modules-{output}"
        name = f"output_{output}.so"
        if not modules.exists():
            modules.mkdir()
            (modules / name).symlink_to(_installed_module(name))
        return {**os.environ, "MPG123_MODDIR": str(modules)}

    def null_device(self) -> dict[str, str]:
        """An environment in which sound goes nowhere, as fast as it comes."""
        return self.alsa("null", "type null")

    def paced_device(self) -> dict[str, str]:
        """An environment in which sound goes nowhere at its real rate, and events are logged."""
        return {
            **self.alsa("paced", "type paced frames 4096"),
            "ALSA_PLUGIN_DIR": str(self.build / "lib"),
            "BENCH_EVENTS": str(self.work / "events"),
        }

    def paced_desktop(self) -> dict[str, str]:
        """The same for programs that look for an output themselves: there is this device and no server."""
        environment = {**self.paced_device(), "PULSE_SERVER": "/nonexistent"}
        del environment["MPG123_MODDIR"]
        return environment


def _installed_module(name: str) -> Path:
    listed = subprocess.run(["dpkg", "-L", "mpg123"], capture_output=True, text=True, check=True)
    return next(Path(line) for line in listed.stdout.split() if line.endswith(f"/{name}"))
