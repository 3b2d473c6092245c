"""What the documents and the example show is what happens."""

import doctest
import os
import pathlib
import re
import subprocess
import sys
import unittest

from .support import EXAMPLES, POLICY, ROOT  # first: it sets where accounts come from


def run_python(*arguments: str, **environment: str) -> "subprocess.CompletedProcess[str]":
    """Runs another Python with the package."""
    return subprocess.run(
        [sys.executable, "-W", "error", *arguments],
        env={**os.environ, "PYTHONUTF8": "1", **environment},
        capture_output=True,
        encoding="utf-8",
    )


class Example(unittest.TestCase):
    def test_prints_what_stands_beside_it(self) -> None:
        run = run_python(str(EXAMPLES / "policy_review.py"), str(POLICY))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout, (EXAMPLES / "policy_review.expected").read_text(encoding="utf-8"))

    def test_fails_where_there_is_no_policy(self) -> None:
        self.assertEqual(run_python(str(EXAMPLES / "policy_review.py"), "none").returncode, 1)


class Import(unittest.TestCase):
    def test_without_the_library_says_what_to_do(self) -> None:
        run = run_python("-c", "import orsiktbs", ORSIKTBS_LIBRARY="none.so")
        self.assertEqual(run.returncode, 1)
        self.assertIn("set ORSIKTBS_LIBRARY to its file", run.stderr)


class Document(unittest.TestCase):
    def test_shows_what_happens(self) -> None:
        path = ROOT / "docs" / "python.md"
        text = path.read_text(encoding="utf-8")
        blocks = "\n".join(re.findall(r"^```python\n(.*?)^```", text, re.MULTILINE | re.DOTALL))
        examples = doctest.DocTestParser().get_doctest(blocks, {}, path.name, str(path), 0)
        self.assertGreater(len(examples.examples), 20)
        before = pathlib.Path.cwd()
        os.chdir(ROOT)
        try:
            printed = []
            failed, _ = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(examples, out=printed.append)
        finally:
            os.chdir(before)
        self.assertEqual(failed, 0, "".join(printed))


if __name__ == "__main__":
    unittest.main()
