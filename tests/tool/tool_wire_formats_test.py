#!/usr/bin/python3
"""docs/wire_formats.md says of each record what the tool says of it. Called with the path of the tool."""
import pathlib
import subprocess
import sys

script = pathlib.Path(__file__).resolve().parents[2] / "scripts/make_wire_formats"
sys.exit(subprocess.run([sys.executable, "-B", script, "--check", sys.argv[1]], check=False).returncode)
