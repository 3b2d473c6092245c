#!/usr/bin/python3
"""Every answer that the tool gives in JSON is as docs/schemas describes it. Called with the path of the tool.

Each command that has --json is run on samples, and with an argument that makes it fail where it can. An answer with a
member more or a member less must not pass, or the schema would say nothing.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
POLICY = ROOT / "data/policy"
BUILDS = ROOT / "data/sample_build"
TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else "tbs"
ID = "12345678.9abc1def.8a12.00:11:22:33:44:55"
KEY = r"SOFTWARE\Sample"
REGISTRY_FILE = 'Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Sample]\r\n"n"=dword:1\r\n'


def load_schemas():
    found = {}
    for path in (ROOT / "docs/schemas").glob("*.schema.json"):
        found[path.name] = json.loads(path.read_text(encoding="utf-8"))
    return found


SCHEMAS = load_schemas()


def validator(name):
    """Judges by a schema, which gets what it takes from the common one into itself."""
    whole = {**SCHEMAS[name], "$defs": SCHEMAS["common.schema.json"]["$defs"]}
    return jsonschema.Draft202012Validator(json.loads(json.dumps(whole).replace('"common.schema.json#', '"#')))


def schema_of(command):
    return re.sub("[ -]", "_", command) + ".schema.json"


def samples(at):
    """Command, arguments, exit status (None: as it comes); in this order, as some make what others read."""
    words = ["--permissions", f"{POLICY}/vob.permissions"]
    as_dov = ["--as", r"BRACKWATER\dov"]
    role_map = f"{at}/roles.map"
    return [
        ("acl show", [f"{POLICY}/vob.acl", *words], 0),
        ("acl show", [f"{POLICY}/classic.acl", "--classic", *words], 0),
        ("acl show", [f"{at}/nothing"], 2),
        ("acl check", [f"{POLICY}/vob.acl", *words, "--want", "Checkin,Label", *as_dov, "--explain"], 0),
        ("acl check", [f"{POLICY}/vob.acl", *words, "--want", "Delete", *as_dov], 1),
        ("acl check", [f"{POLICY}/classic.acl", "--classic", *words, "--want", "Delete", *as_dov, "--explain"], 1),
        ("acl check", [f"{POLICY}/vob.acl", *words, "--want", "Delete", *as_dov, "--owner", r"BRACKWATER\dov"], 1),
        ("acl check", [f"{POLICY}/vob.acl", *words, "--want", "Nonsense", *as_dov], 2),
        ("acl diff", [f"{POLICY}/vob.acl", f"{POLICY}/vob_next.acl", *words], 1),
        ("acl diff", [f"{POLICY}/vob.acl", f"{POLICY}/vob.acl", *words], 0),
        ("acl encode", [f"{POLICY}/vob.acl", *words], 0),
        ("acl encode", [f"{POLICY}/vob.acl", *words, "--out", f"{at}/vob.bytes"], 0),
        ("acl decode", [f"{at}/vob.bytes", *words], 0),
        ("acl decode", [f"{at}/vob.bytes", *words, "--out", f"{at}/vob.acl"], 0),
        ("acl decode", [f"{POLICY}/vob.acl"], 2),
        ("acl effective", [f"{POLICY}/vob.acl", f"{POLICY}/roles.map", *words], 0),
        ("rolemap show", [f"{POLICY}/roles.map"], 0),
        ("rolemap check", [f"{POLICY}/roles.map"], None),
        ("rolemap add", [role_map, "reviewer", r"User:BRACKWATER\dov"], 0),
        ("rolemap replace", [role_map, "reviewer", r"User:BRACKWATER\dov", r"User:BRACKWATER\hana"], 0),
        ("rolemap remove", [role_map, "reviewer", r"User:BRACKWATER\dov"], 1),
        ("rolemap remove", [role_map, "reviewer", r"User:BRACKWATER\hana"], 0),
        ("acl apply", ["--policy", f"{POLICY}/vob.acl", *words, "--rolemap", f"{POLICY}/roles.map", "--dry-run",
                       "--required", "ReadData", "--owner", r"BRACKWATER\dov", f"{at}/roles.map", f"{at}/no"], None),
        ("cr show", [f"{BUILDS}/greeting.json"], 0),
        ("cr diff", [f"{BUILDS}/greeting.json", f"{BUILDS}/greeting_next.json"], 1),
        ("cr diff", [f"{BUILDS}/greeting.json", f"{BUILDS}/greeting.json"], 0),
        ("xdr types", [], 0),
        ("xdr types", ["--kind", "union"], 0),
        ("xdr sample", ["vob_opvec_t"], 0),
        ("xdr sample", ["tbs_cr_t"], 0),
        ("xdr sample", ["vob_opvec_t", "--out", f"{at}/opvec.bytes"], 0),
        ("xdr show", ["vob_opvec_t", f"{at}/opvec.bytes"], 0),
        ("xdr show", ["tbs_cr_t", f"{at}/opvec.bytes"], 2),
        ("xdr make", ["vob_opvec_t", f"{at}/opvec.json"], 0),
        ("xdr make", ["vob_opvec_t", f"{at}/opvec.json", "--out", f"{at}/made.bytes"], 0),
        ("xdr describe", ["vob_opvec_t"], 0),
        ("xdr describe", ["vob_procdef_rec_t"], 0),
        ("uuid new", ["-n", "3"], 0),
        ("uuid new", ["--dense"], 0),
        ("uuid show", [ID], 0),
        ("uuid hash", [ID], 0),
        ("uuid time", [ID], 0),
        ("uuid show", ["nonsense"], 2),
        ("fstat", [f"{at}/roles.map", str(at)], 0),
        ("fstat", ["--form", "classic", f"{at}/roles.map"], 0),
        ("fstat", ["--form", "full", f"{at}/roles.map"], 0),
        ("name split", [r"a.c@@\main\3", "b.c"], None),
        ("name strip", ["a.c@@"], 0),
        ("name extend", ["a.c", "--suffix", r"\main\3"], 0),
        ("name do", [r"a.o@@--11-21T10:11.23", "b.o"], None),
        ("viewroot", [], None),
        ("product", [], 0),
        ("product", ["mgrs"], 0),
        ("product", ["nonsense"], 2),
        ("profile get", ["checkout", "reserved"], 0),
        ("profile get", ["checkout", "nonsense"], 1),
        ("mgr list", [], None),
        ("mgr supports", ["whole_copy", "create_version"], None),
        ("mgr supports", ["whole_copy", "nonsense"], 1),
        ("registry set", [KEY, "s", "text"], 0),
        ("registry set", [KEY, "b", "0a0b", "--type", "binary"], 0),
        ("registry set", [KEY, "m", "x", "y", "--type", "multi"], 0),
        ("registry set", [KEY, "q", "5", "--type", "qword"], 0),
        ("registry get", [KEY, "m"], 0),
        ("registry get", [KEY, "nothing"], 1),
        ("registry list", [KEY], 0),
        ("registry list", ["SOFTWARE"], 0),
        ("registry export", [f"{at}/sample.reg", KEY], 0),
        ("registry import", [f"{at}/other.reg"], 0),
        ("registry delete", [KEY, "s"], 0),
        ("registry delete", [KEY, "--key"], 0),
        ("type", ["--explain", f"{at}/main.c", f"{at}/roles.map"], 0),
        ("type", [f"{at}/nothing"], None),
        ("magic check", [f"{ROOT}/data/magic/default.magic"], None),
        ("magic check", [f"{at}/mine.magic"], None),
        ("notify", ["--to", "ann@example.com", "--subject", "News", "--dry-run", f"{at}/main.c"], 0),
        ("notify", ["--to", "ann@example.com", f"{at}/main.c"], 1),
        ("help-topic", ["ABOUT_VOBS", "--dry-run"], 0),
        ("whoami", [], 0),
        ("status", ["1072", "77777"], None),
        ("status", ["TBS_ST_EINVAL"], 0),
        ("msg", ["tbs_acl", "--number", "8"], 0),
        ("msg", ["cmsg"], 0),
    ]


class Answers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        cls.at = pathlib.Path(cls.dir.name)
        (cls.at / "host").mkdir()
        (cls.at / "roles.map").write_bytes((POLICY / "roles.map").read_bytes())
        (cls.at / "main.c").write_text("int main(void) { return 0; }\n")
        (cls.at / "profile").write_text("checkout reserved no\n")
        (cls.at / "mine.magic").write_text('c_source : -name "*.c";\nlater : -name "a.c";\nwrong : -stat ;\n')
        (cls.at / "other.reg").write_bytes(REGISTRY_FILE.encode("utf-16"))
        cls.environment = {
            **os.environ,
            "ORSIK_ACCOUNTS": f"{POLICY}/accounts",
            "ORSIK_HOSTDATA_DIR": f"{cls.at}/host",
            "MAGIC_PATH": f"{ROOT}/data/magic",
            "TESSIVANE_PROFILE": f"{cls.at}/profile",
            "LC_ALL": "C.UTF-8",
        }
        (cls.at / "opvec.json").write_text(cls.run_tool(["xdr", "sample", "vob_opvec_t", "--json"]).stdout)

    @classmethod
    def tearDownClass(cls):
        cls.dir.cleanup()

    @classmethod
    def run_tool(cls, words):
        return subprocess.run([TOOL, *words], env=cls.environment, stdin=subprocess.DEVNULL, capture_output=True,
                              encoding="utf-8", check=False)

    def test_are_as_their_schemas_say(self):
        answered = set()
        for command, arguments, status in samples(self.at):
            with self.subTest(command=command, arguments=arguments):
                run = self.run_tool([*command.split(), "--json", *arguments])
                answer = json.loads(run.stdout)
                if status is not None:
                    self.assertEqual(run.returncode, status, run.stdout + run.stderr)
                failed = run.returncode == 2 and "error" in answer
                judge = validator("failure.schema.json" if failed else schema_of(command))
                judge.validate(answer)
                if command == "xdr sample":
                    answered.add(command)
                    continue
                self.assertEqual(answer["exit_status"], run.returncode)
                if failed:
                    continue
                answered.add(command)
                self.assertFalse(judge.is_valid({**answer, "surplus": 1}))
                for member in set(answer) - {"explanation"}:
                    less = dict(answer)
                    del less[member]
                    self.assertFalse(judge.is_valid(less) and member != "out", f"without {member}")
        completion = self.run_tool(["completion", "bash"]).stdout
        commands = {name for name, options in re.findall(r"\['tbs ([^']+)'\]='([^']*)'", completion)
                    if "--json" in options.split()}
        self.assertGreater(len(commands), 40)
        self.assertEqual(answered, commands)

    def test_have_no_other_schemas(self):
        commands = {schema_of(command) for command, _, _ in samples(self.at)}
        self.assertEqual(set(SCHEMAS), commands | {"common.schema.json", "failure.schema.json"})

    def test_have_schemas_that_are_schemas(self):
        for name, schema in SCHEMAS.items():
            with self.subTest(schema=name):
                jsonschema.Draft202012Validator.check_schema(schema)
                self.assertEqual(schema["$id"], name)


if __name__ == "__main__":
    unittest.main()
