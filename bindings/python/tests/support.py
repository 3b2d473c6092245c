"""What the tests share: where the sources are, and the sample policy's accounts."""

import os
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[3]
POLICY = ROOT / "data" / "policy"
EXAMPLES = ROOT / "bindings" / "python" / "examples"

# Read by the library when it is first asked; so before the package is used.
os.environ["ORSIK_ACCOUNTS"] = str(POLICY / "accounts")
os.environ["MAGIC_PATH"] = str(ROOT / "data" / "magic")
