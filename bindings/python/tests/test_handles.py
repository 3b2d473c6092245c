"""Objects of the library end when they should, and threads may share them."""

import gc
import threading
import unittest

from cffi import FFI

from .support import POLICY  # first: it sets where accounts come from

from orsiktbs import Acl, Client, ConfigurationRecord, RoleMap, SidAcl, TbsError, Vocabulary

VOB = Vocabulary.load(POLICY / "vob.permissions")


class Handles(unittest.TestCase):
    def test_are_released_at_the_end_of_a_block(self) -> None:
        for made in (Acl(), SidAcl(), RoleMap(), Client.process()):
            with made as inside:
                self.assertIs(inside, made)
                self.assertFalse(made.closed)
            self.assertTrue(made.closed)
            made.close()
            self.assertIn("closed", repr(made) if not isinstance(made, Client) else "closed")

    def test_that_are_closed_are_refused(self) -> None:
        acl, client, roles = SidAcl(), Client.process(), RoleMap()
        acl.close()
        roles.close()
        for use in (acl.encode, acl.copy, acl.text, acl.entries, lambda: len(acl), lambda: acl == SidAcl(),
                    lambda: acl.check(1, client), lambda: roles.effective_acl(SidAcl()), roles.text):  # fmt: skip
            with self.assertRaisesRegex(ValueError, "is closed"):
                use()

    def test_end_with_their_last_reference(self) -> None:
        acl = SidAcl()
        released = acl._released
        self.assertTrue(released.alive)
        del acl
        gc.collect()
        self.assertFalse(released.alive)

    def test_leave_no_memory_behind(self) -> None:
        system = FFI()
        system.cdef("struct mallinfo2 { size_t parts[10]; }; struct mallinfo2 mallinfo2(void);")
        heap = system.dlopen(None)

        def in_use() -> int:
            gc.collect()
            return heap.mallinfo2().parts[7]  # uordblks

        def work() -> None:
            acl = SidAcl.load(POLICY / "vob.acl", VOB)
            roles = RoleMap.load(POLICY / "roles.map")
            SidAcl.decode(roles.effective_acl(acl).encode())
            roles.copy().text()
            acl.copy().text(VOB)
            with Client.named("BRACKWATER\\dov") as client:
                acl.check(1, client)
                client.credentials()
            record = ConfigurationRecord(user="u" * 2000, variables=["v" * 2000] * 20)
            ConfigurationRecord.decode(record.encode())
            for refused in ("nonsense", "Everyone: Nonsense"):
                try:
                    SidAcl.parse(refused)
                except TbsError:
                    pass

        for _ in range(3):
            work()
        before = in_use()
        for _ in range(10):
            work()
        self.assertLess(in_use() - before, 10 * 512)


class Threads(unittest.TestCase):
    def test_may_share_a_list(self) -> None:
        acl = SidAcl.load(POLICY / "vob.acl", VOB)
        client = Client.named("BRACKWATER\\dov")
        other = acl.copy()
        wrong = []

        def ask() -> None:
            for _ in range(30):
                if not acl.check(4, client) or not acl == other or not other == acl:
                    wrong.append("a decision")
                try:
                    SidAcl.parse("nonsense")
                except TbsError as error:
                    if len(error.messages) != 2:
                        wrong.append(error.messages)

        self.run_all([ask] * 4)
        self.assertEqual(wrong, [])

    def test_may_close_what_others_use(self) -> None:
        for _ in range(5):
            acl = SidAcl.load(POLICY / "vob.acl", VOB)
            entered = threading.Event()

            def use() -> None:
                while True:
                    try:
                        acl.encode()
                    except ValueError:
                        return
                    entered.set()

            def close() -> None:
                entered.wait(10)
                acl.close()

            self.run_all([use, use, close])
            self.assertTrue(acl.closed)

    def run_all(self, bodies: list) -> None:
        threads = [threading.Thread(target=body) for body in bodies]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()


if __name__ == "__main__":
    unittest.main()
