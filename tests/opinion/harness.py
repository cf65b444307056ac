"""What all comparisons with other programs share: our tools, stores that mkstore makes, readers that npm has."""

import argparse
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SAMPLES = ROOT / "samples"


class Failed(Exception):
    """A program cannot do what it was started for."""


def parse_arguments(doc, *tools, files=False):
    """The command line; ends the program where one of the tools is not built."""
    parser = argparse.ArgumentParser(description=doc.split("\n")[0])
    parser.add_argument("--build", default=ROOT / "build", type=pathlib.Path)
    if files:
        parser.add_argument("files", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()
    arguments.build = arguments.build.resolve()
    for tool in tools:
        if not (arguments.build / "bin" / tool).exists():
            print(f"{parser.prog}: {arguments.build / 'bin' / tool} is not built", file=sys.stderr)
            sys.exit(2)
    return arguments


def run(*command, codes=(0,), **more):
    """What a program prints."""
    environment = dict(os.environ, TZ="Asia/Tokyo", LC_ALL="C.UTF-8", **more.pop("environment", {}))
    run = subprocess.run(command, capture_output=True, check=False, env=environment, **more)
    if run.returncode not in codes:
        said = run.stderr.decode(errors="replace").strip().split("\n")
        raise Failed(f"{pathlib.Path(command[0]).name}: {said[-1] or 'failed'}")
    return run.stdout


def make_store(build, description, folder, version, *options):
    run(build / "bin/mkstore", description, folder, "--format", version, *options)
    return folder


class NpmReader:
    """A program of a few lines for node, over a package that is installed below the build folder at the first run."""

    def __init__(self, build):
        self.folder = build / "npm" / self.name
        self.problem = self.install()

    def install(self):
        if not shutil.which("node") or not shutil.which("npm"):
            return "node and npm are not installed"
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / "read.mjs").write_text(self.program)
        if (self.folder / "node_modules" / self.name).exists():
            return None
        (self.folder / "package.json").write_text("{}")
        try:
            run("npm", "install", "--no-audit", "--no-fund", self.name, cwd=self.folder)
        except Failed:
            return "npm cannot install it"
        return None

    def output(self, *arguments, **more):
        return run("node", self.folder / "read.mjs", *arguments, **more).decode()


def usable(*readers):
    """Those that can read; the others are named."""
    for reader in readers:
        if reader.problem:
            print(f"skipped: {reader.name}: {reader.problem}")
    return [reader for reader in readers if not reader.problem]
