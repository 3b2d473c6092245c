"""Statuses, messages, errors, identifiers, records, types of files."""

import copy
import ctypes
import logging
import os
import pathlib
import pickle
import subprocess
import tempfile
import unittest
import uuid

from .support import POLICY, ROOT  # first: it sets where rules come from

from orsiktbs import (
    AccessDenied,
    Client,
    ConfigurationRecord,
    FilePredefined,
    InvalidArgument,
    LinkText,
    LookAt,
    Message,
    MfsObject,
    MfsPredefined,
    NotFound,
    OutOfMemory,
    Severity,
    SidAcl,
    SidIdentity,
    Status,
    TbsError,
    Time,
    Uuid,
    VobDescription,
    errno_to_status,
    file_types,
    message_tables,
    messages,
    set_trace,
    set_verbosity,
    status_text,
    status_to_errno,
    type_file_path,
)
from orsiktbs.errors import error_of

TEXT = "12345678.9abc1def.8a12.00:11:22:33:44:55"


class Statuses(unittest.TestCase):
    def test_have_texts_and_error_numbers(self) -> None:
        self.assertEqual(status_text(Status.EINVAL), "Invalid argument")
        self.assertEqual(status_text(1999), 'Unrecognized status "1999" (from a newer server?)')
        self.assertEqual(status_to_errno(Status.ENOENT), 2)
        self.assertIs(errno_to_status(13), Status.EACCES)

    def test_choose_the_class_of_the_error(self) -> None:
        for status, kind in (
            (1001, TbsError),
            (1002, NotFound),
            (1039, AccessDenied),
            (1052, NotFound),
            (1062, OutOfMemory),
            (1063, AccessDenied),
            (1072, InvalidArgument),
            (4711, TbsError),
        ):
            self.assertIs(type(error_of("f", status, [])), kind)

    def test_and_messages_are_held_by_errors(self) -> None:
        error = NotFound("f", 1002, (Message(6, "tbs", 1, "one"), Message(7, "tbs", 2, "two")))
        self.assertEqual(str(error), "one two [f: 1002]")
        again = pickle.loads(pickle.dumps(error))
        self.assertEqual((again.status, again.messages, again.text), (error.status, error.messages, error.text))


class Messages(unittest.TestCase):
    def test_are_found_in_their_tables(self) -> None:
        tables = message_tables()
        self.assertEqual({name: len(table.texts) for name, table in tables.items()},
                         {"tbs": 38, "tbs_acl": 30, "tbs_cmsg": 180, "tbs_notify": 20})  # fmt: skip
        self.assertEqual(tables["tbs_acl"].texts[8], 'Excluded ACL permission specified: "%s".\n')

    def test_of_errors_have_severity_module_and_number(self) -> None:
        with self.assertRaises(TbsError) as caught:
            SidIdentity.parse("User:NOWHERE\\none")
        self.assertEqual(
            caught.exception.messages,
            (Message(Severity.ERROR, "tbs_acl", 33, "Unknown ACL identity: NOWHERE\\none."),),
        )
        self.assertEqual(caught.exception.operation, "tbs_sid_acl_utl_id_from_str")

    def test_of_calls_that_succeed_are_logged(self) -> None:
        acl = SidAcl.parse("Everyone: AclRead\n")
        client = Client.named("BRACKWATER\\dov")
        set_verbosity(2)
        set_trace("tbs_acl:2")
        try:
            with self.assertLogs("orsiktbs", logging.DEBUG) as logged:
                acl.check(1, client)
        finally:
            set_verbosity(0)
            set_trace("")
        self.assertTrue(all(record.levelno == logging.DEBUG for record in logged.records))
        self.assertIn("BRACKWATER\\hardware,BRACKWATER\\staff", "".join(logged.output))

    def test_of_nobodys_call_are_logged(self) -> None:
        with self.assertLogs("orsiktbs", logging.ERROR) as logged:
            foreign().imsg_print(6, b"by another part of the program: %d\n", ctypes.c_uint32(0xFFFFFFFF), 7)
        self.assertEqual(logged.output, ["ERROR:orsiktbs:tbs: by another part of the program: 7"])

    def test_can_be_given_back_to_the_standard_streams(self) -> None:
        with tempfile.TemporaryFile() as stream:
            standard_error = os.dup(2)
            os.dup2(stream.fileno(), 2)
            messages.release()
            try:
                with self.assertRaises(NotFound) as caught:
                    SidAcl.load("none")
            finally:
                messages.catch()
                os.dup2(standard_error, 2)
                os.close(standard_error)
            stream.seek(0)
            self.assertEqual(stream.read(), b'tbs_acl: Error: Unable to open file "none": No such file or directory.\n')
        self.assertEqual(caught.exception.messages, ())


class Memory(unittest.TestCase):
    def test_that_is_refused_is_an_error_of_its_own(self) -> None:
        hook = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)(lambda _: 1)
        foreign().stg_set_failure_hook(hook, None)
        try:
            with self.assertRaises(OutOfMemory) as caught:
                SidAcl()
        finally:
            foreign().stg_set_failure_hook(None, None)
        self.assertIsInstance(caught.exception, MemoryError)
        self.assertIn("tbs_acl", str(caught.exception))


class Identifiers(unittest.TestCase):
    def test_have_two_texts(self) -> None:
        value = Uuid.parse(TEXT)
        self.assertEqual((str(value), value.dense), (TEXT, "123456789abc1def8a12001122334455"))
        self.assertEqual(Uuid.parse(value.dense), value)
        self.assertEqual(value.hash32, 0x1BC4F27F)
        self.assertEqual(str(value.made), "2042-11-25 03:18:18+00:00")
        self.assertEqual(value.uuid, uuid.UUID("12345678-9abc-1def-8a12-001122334455"))
        with self.assertRaises(TbsError):
            Uuid.parse("nonsense")

    def test_are_new_and_random(self) -> None:
        made = {Uuid.new() for _ in range(100)}
        self.assertEqual(len(made), 100)
        self.assertTrue(all(value.uuid.version == 4 and value.made is None for value in made))

    def test_are_ordered_by_their_time(self) -> None:
        early, late = Uuid.parse(TEXT), Uuid.parse(TEXT.replace("1def", "1df0"))
        self.assertEqual(sorted([late, early, Uuid.NULL]), [Uuid.NULL, early, late])
        self.assertFalse(early < Uuid.parse(TEXT))


class Records(unittest.TestCase):
    def whole(self) -> ConfigurationRecord:
        a, b = Uuid.parse(TEXT), Uuid.new()
        return ConfigurationRecord(
            5, 1795283880, 3, 1, "bastien", "developers", "brackwater-3", "Linux", "/src", a, b, "greeting",
            Time(-1, 552065), "cc -O1", 6, ["A=1", "B=\udcff"], [MfsPredefined("p", "/main/1", 3)],
            [FilePredefined("f", "xxh64:1", 2, 1, 1, 77, 0o755, -5, 6)], ["-O1"], [VobDescription("/v", a, b)],
            [MfsObject(a, -7, b, 65535, 2, 3, 4, 65534, a, "ö@@/main/2")], [LinkText("to", 9)],
        )  # fmt: skip

    def test_are_decoded_as_they_were_encoded(self) -> None:
        record = self.whole()
        self.assertEqual(ConfigurationRecord.decode(record.encode()), record)
        self.assertEqual(ConfigurationRecord.decompress(record.compress()), record)
        empty = ConfigurationRecord()
        self.assertEqual(ConfigurationRecord.decode(empty.encode()), empty)

    def test_choose_their_format(self) -> None:
        record = self.whole()
        record.fs_predefs[0].size = 1 << 40
        data = record.encode()
        self.assertEqual(record.format_version, 6)
        self.assertEqual(ConfigurationRecord.decode(data), record)

    def test_that_are_damaged_are_refused(self) -> None:
        data = self.whole().encode()
        lost = data[:12] + bytes(len(data) - 12)
        for bad in (b"", data[:11], data[:-4], data + bytes(4), b"\0\0\0\2" + data[4:], lost):
            with self.assertRaises(TbsError):
                ConfigurationRecord.decode(bad)

    def test_with_numbers_that_do_not_fit_are_refused(self) -> None:
        record = self.whole()
        flagged = copy.deepcopy(record)
        flagged.mfs_objects[0].result_obj_flags = 0x10000
        with self.assertRaises(ValueError):
            flagged.encode()
        record.elapsed = -1
        with self.assertRaises(OverflowError):
            record.encode()

    @unittest.skipUnless(os.environ.get("ORSIKTBS_TOOL"), "the tool is not built")
    def test_are_the_bytes_of_the_tool(self) -> None:
        source = ROOT / "data" / "sample_build" / "greeting.json"
        command = [os.environ["ORSIKTBS_TOOL"], "cr", "convert", "--to", "compressed", str(source)]
        data = subprocess.run(command, check=True, capture_output=True).stdout
        record = ConfigurationRecord.decode(data)
        self.assertEqual((record.user, record.command), ("bastien", "cc -O1 -o greeting main.c greeting.c"))
        self.assertEqual(record.encode(), data)


class TypesOfFiles(unittest.TestCase):
    def test_are_those_of_the_rules(self) -> None:
        self.assertEqual(file_types(ROOT / "scripts" / "run.sh"), ("shell_script", "script", "source", "text_file"))
        self.assertEqual(file_types(POLICY), ("directory",))
        self.assertEqual(type_file_path(), str(ROOT / "data" / "magic"))

    def test_may_be_told_by_the_name_alone(self) -> None:
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, "made.c")
            self.assertEqual(file_types(path, LookAt.NAME), file_types(ROOT / "examples" / "check_access.c"))


def foreign() -> ctypes.CDLL:
    """The library as another part of the program calls it."""
    return ctypes.CDLL(os.environ.get("ORSIKTBS_LIBRARY") or "liborsiktbs.so.11")


if __name__ == "__main__":
    unittest.main()
