"""The declarations that the binding was given are those of the public headers."""

import os
import re
import subprocess
import unittest

import pycparser
from pycparser import c_ast, c_generator

from orsiktbs import Kind, LookAt, Permission, STORED_PERMISSIONS, Severity, Status
from orsiktbs import accounts, element_types, identifiers, identities, records, vocabulary
from orsiktbs._declarations import CDEF

from .support import ROOT

INCLUDE = ROOT / "include"

# Types that the headers take from the system.
SYSTEM = "".join(
    f"typedef {what};\n"
    for what in (
        "signed char int8_t", "short int16_t", "int int32_t", "long int64_t", "unsigned char uint8_t",
        "unsigned short uint16_t", "unsigned uint32_t", "unsigned long uint64_t", "unsigned long uintptr_t",
        "unsigned long size_t", "struct file FILE", "struct xdr XDR", "int bool_t", "void *va_list",
    )
)  # fmt: skip
TIME = "typedef int64_t time_t;\n"

MACROS = {
    "CREDUTL_SID_STR_SIZE": accounts._SID_TEXT_SIZE,
    "TBS_ACL_TEXT_SIZE": identities._TEXT_SIZE,
    "TBS_UUID_STR_SIZE": identifiers._TEXT_SIZE,
    "TBS_FT_NOT_OPEN": element_types._NOT_OPEN,
    "TBS_CR_COMPRESSED_CURR_FORMAT": records._COMPRESSED_FORMAT,
    "TBS_ACL_STORED_PERMS": STORED_PERMISSIONS,
    **{f"TBS_ACL_PERM_{member}": value for member, value in Permission.__members__.items()},
}

SOURCE = """
#include <tbs/tbs_acl.h>
#include <tbs/tbs_cr.h>
#include <tbs/tbs_ft.h>
#include <tbs/tbs_msg.h>
#include <tbs/tbs_rolemap.h>
#include <tbs/tbs_uuid.h>
#define ROW(symbol, text, value) ROW_OF text value;
TBS_ACL_PERMISSION_LIST(ROW)
""" + "".join(f'VALUE_OF "{name}" {name};\n' for name in MACROS)


def preprocess() -> "tuple[str, str]":
    """Gives the text of our headers without what they include of the system, and the text behind them."""
    flags = subprocess.run(
        ["pkg-config", "--cflags", "libtirpc"], check=True, capture_output=True, text=True
    ).stdout.split()
    compiler = os.environ.get("CC", "cc").split()
    command = [*compiler, "-std=c11", "-E", "-x", "c", *flags, "-I", str(INCLUDE), "-"]
    text = subprocess.run(command, input=SOURCE, check=True, capture_output=True, text=True).stdout
    parts = {"ours": [], "source": [], "system": []}
    where = "system"
    for line in text.split("\n"):
        if marker := re.match(r'# \d+ "([^"]*)"', line):
            file = marker[1]
            where = "ours" if file.startswith(f"{INCLUDE}/") else "source" if file == "<stdin>" else "system"
        else:
            parts[where].append(line)
    headers = re.sub(r"__attribute__\s*\(\(.*?\)\)(?=\s)|_Noreturn", "", "\n".join(parts["ours"]))
    return headers, "\n".join(parts["source"])


def declared(text: str) -> "dict[str, c_ast.Node]":
    """Gives the declarations of a text by name."""
    tree = pycparser.CParser().parse(text)
    return {node.name or node.type: node for node in tree.ext}


class Enumerators(c_ast.NodeVisitor):
    """Collects the values of the enumerators that have one written."""

    def __init__(self) -> None:
        self.values = {}

    def visit_Enumerator(self, node: c_ast.Enumerator) -> None:
        if isinstance(node.value, c_ast.Constant):
            self.values[node.name] = int(re.sub(r"^0(?=\d)", "0o", node.value.value.rstrip("uU")), 0)


def is_opaque(node: c_ast.Node) -> bool:
    return (
        isinstance(node, c_ast.Typedef)
        and isinstance(node.type, c_ast.TypeDecl)
        and isinstance(node.type.type, c_ast.Struct)
        and node.type.type.decls is None
    )


def shape(node: c_ast.Node) -> str:
    text = c_generator.CGenerator().visit(node)
    return text.split("{")[0] if is_opaque(node) else text


def differences(cdef: str, theirs: "dict[str, c_ast.Node]") -> "list[str]":
    """Gives the names that are declared otherwise in the headers, or not at all."""
    wrong = []
    for name, node in declared(SYSTEM + re.sub(r"/\*.*?\*/", "", cdef)).items():
        other = theirs.get(name)
        if other is not None and is_opaque(node):
            if getattr(other.type, "type", None) and other.type.type.name == node.type.type.name:
                continue
        if other is None or shape(node) != shape(other):
            wrong.append(name)
    return wrong


class Declarations(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        headers, cls.source = preprocess()
        cls.theirs = declared(SYSTEM + TIME + headers)

    def test_are_those_of_the_headers(self) -> None:
        self.assertEqual(differences(CDEF, self.theirs), [])

    def test_would_be_found_to_differ(self) -> None:
        for ours, other, name in (
            ("int32_t tv_usec;", "int64_t tv_usec;", "ks_timeval_t"),
            ("uint32_t flags;\n} tbs_cr_mfs", "} tbs_cr_mfs", "tbs_cr_mfs_predef_t"),
            ("int imsg_set_trace(", "int imsg_set_traces(", "imsg_set_traces"),
        ):
            with self.subTest(name):
                self.assertIn(ours, CDEF)
                self.assertEqual(differences(CDEF.replace(ours, other), self.theirs), [name])

    def test_constants_have_the_values_of_the_headers(self) -> None:
        values = {
            name: int(text.strip("()u"), 0) for name, text in re.findall(r'VALUE_OF "(\w+)" (\S+);', self.source)
        }
        self.assertEqual(values, {name: int(value) for name, value in MACROS.items()})

    def test_enumerations_are_those_of_the_headers(self) -> None:
        enumerators = Enumerators()
        for node in self.theirs.values():
            enumerators.visit(node)
        values = enumerators.values
        for prefix, members in (
            ("TBS_ST_", Status),
            ("TBS_ACL_ID_", Kind),
            ("IMSG_", Severity),
            ("TBS_FT_BY_", LookAt),
            ("CREDUTL_", accounts.AccountKind),
        ):
            with self.subTest(prefix):
                theirs = {name[len(prefix):]: value for name, value in values.items() if name.startswith(prefix)}
                theirs = {name: value for name, value in theirs.items() if not name.startswith("FORM_")}
                self.assertEqual({name: int(member) for name, member in members.__members__.items()}, theirs)

    def test_built_in_permissions_are_those_of_the_headers(self) -> None:
        rows = re.findall(r'ROW_OF "(\w+)" (0x\w+?)u;', self.source)
        self.assertEqual({name: int(value, 16) for name, value in rows}, vocabulary._BUILT_IN)


if __name__ == "__main__":
    unittest.main()
