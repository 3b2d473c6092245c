"""Lists, decisions, role maps, vocabularies, accounts."""

import os
import tempfile
import unittest

from .support import POLICY, ROOT  # first: it sets where accounts come from

from orsiktbs import (
    AccountKind,
    Acl,
    Client,
    Entry,
    Identity,
    InvalidArgument,
    Kind,
    NotFound,
    RoleMap,
    Sid,
    SidAcl,
    SidIdentity,
    TbsError,
    TextTooLong,
    Vocabulary,
    VocabularyError,
)

VOB = Vocabulary.load(POLICY / "vob.permissions")
DOV = SidIdentity.parse("User:BRACKWATER\\dov")
DEVELOPERS = SidIdentity.parse("Group:BRACKWATER\\developers")
REVIEWER = SidIdentity(Kind.ROLE, None, "reviewer")


class Entries(unittest.TestCase):
    def test_are_set_found_and_removed(self) -> None:
        for acl, identity, other in (
            (Acl(), Identity(Kind.USER, "HARBOURSIDE", "thessaly"), Identity(Kind.EVERYONE)),
            (SidAcl(), DOV, SidIdentity(Kind.EVERYONE)),
        ):
            with self.subTest(type(acl).__name__):
                acl.set(identity, 0xF8000003)
                acl.set(other, 4)
                self.assertEqual((acl.find(identity), acl.find(other), len(acl)), (3, 4, 2))
                acl.set(identity, 8)
                self.assertEqual([entry.permissions for entry in acl], [8, 4])
                acl.remove(identity)
                self.assertIsNone(acl.find(identity))
                self.assertNotIn(identity, acl)
                self.assertIn(other, acl)
                with self.assertRaises(NotFound):
                    acl.remove(identity)

    def test_come_in_order_with_their_identities(self) -> None:
        acl = SidAcl.parse("Role:reviewer AclRead\nUser:BRACKWATER\\dov Delete\n")
        self.assertEqual(acl.entries()[1], Entry(SidIdentity(Kind.USER, "", "", DOV.sid), 0x10000))
        self.assertEqual([str(entry.identity) for entry in acl], ["Role:reviewer", "User:BRACKWATER\\dov"])

    def test_of_wrong_identities_are_refused(self) -> None:
        with self.assertRaises(InvalidArgument) as caught:
            SidAcl().set(SidIdentity(Kind.ROLE, None, "-x"), 1)
        self.assertEqual(caught.exception.status, 1)
        with self.assertRaises(InvalidArgument):
            Acl().set(Identity(99), 1)
        with self.assertRaises(TbsError):
            Acl().set(Identity(Kind.USER, None, "x"), 1)
        with self.assertRaises(ValueError):
            Identity.parse("User:\0")
        with self.assertRaises(TextTooLong):
            str(Identity(Kind.USER, "D", "x" * 2000))

    def test_without_permissions_are_refused(self) -> None:
        with self.assertRaises(InvalidArgument) as caught:
            SidAcl().set(DOV, 0xF8000000)
        self.assertEqual([message.text for message in caught.exception.messages], ["Empty permission set."])

    def test_count_not_their_order_when_lists_are_compared(self) -> None:
        a = SidAcl.parse("Everyone: AclRead\nRole:x Delete\n")
        b = SidAcl.parse("Role:x Delete\nEveryone: AclRead\n")
        self.assertEqual(a, b)
        b.set(SidIdentity(Kind.EVERYONE), 0x30000)
        self.assertNotEqual(a, b)
        self.assertNotEqual(b, a)
        self.assertNotEqual(a, Acl())


class Texts(unittest.TestCase):
    def test_of_both_forms_are_read_as_they_are_written(self) -> None:
        for form, name in ((SidAcl, "vob.acl"), (Acl, "classic.acl")):
            with self.subTest(name):
                acl = form.load(POLICY / name, VOB)
                self.assertGreater(len(acl), 10)
                again = form.parse(acl.text(VOB), VOB)
                self.assertEqual(again.entries(), acl.entries())
                self.assertEqual(acl.copy().entries(), acl.entries())
        self.assertEqual(SidAcl().text(), "")

    def test_with_a_bad_line_name_it(self) -> None:
        with self.assertRaises(InvalidArgument) as caught:
            SidAcl.parse("Everyone: AclRead\nEveryone: Nonsense\n")
        self.assertEqual(
            [message.text for message in caught.exception.messages],
            [
                'Unrecognized ACL permission: "Nonsense".',
                'Problem parsing permission set "Nonsense" on line 2: Invalid argument.',
            ],
        )
        self.assertIn("Nonsense", str(caught.exception))

    def test_leave_no_files_behind(self) -> None:
        with tempfile.TemporaryDirectory() as directory:
            before, tempfile.tempdir = tempfile.tempdir, directory
            try:
                SidAcl.parse("Everyone: AclRead\n")
                with self.assertRaises(TbsError):
                    RoleMap.parse("nonsense\n")
                self.assertEqual(os.listdir(directory), [])
            finally:
                tempfile.tempdir = before

    def test_of_files_that_are_not_there(self) -> None:
        for load in (SidAcl.load, Acl.load, RoleMap.load):
            with self.assertRaises(NotFound):
                load(POLICY / "none")


class Bytes(unittest.TestCase):
    def test_are_decoded_as_they_were_encoded(self) -> None:
        for form, name in ((SidAcl, "vob.acl"), (Acl, "classic.acl")):
            acl = form.load(POLICY / name, VOB)
            self.assertEqual(form.decode(acl.encode()).entries(), acl.entries())

    def test_that_are_cut_off_are_refused(self) -> None:
        data = SidAcl.parse("Role:x Delete\n").encode()
        for length in range(len(data)):
            with self.assertRaises(TbsError):
                SidAcl.decode(data[:length])


class Decisions(unittest.TestCase):
    def test_are_those_of_the_list(self) -> None:
        acl = SidAcl.load(POLICY / "vob.acl", VOB)
        with Client.named("BRACKWATER\\dov") as dov:
            self.assertTrue(acl.check(VOB.parse("Checkin,Label"), dov))
            self.assertFalse(acl.check(VOB.parse("Delete"), dov))
            self.assertFalse(acl.check(VOB.parse("AclWrite"), dov))
            self.assertTrue(acl.check(VOB.parse("AclWrite"), dov, owner_user=DOV.sid))

    def test_of_classic_lists(self) -> None:
        acl = Acl.load(POLICY / "classic.acl", VOB)
        jonas = Client.named("BRACKWATER\\jonas")
        self.assertTrue(acl.check(VOB.parse("ReadData,Checkout"), jonas))
        self.assertFalse(acl.check(VOB.parse("Checkin"), jonas))
        self.assertTrue(acl.check(VOB.parse("Checkin"), jonas, is_owner_group=True))
        self.assertTrue(acl.check(VOB.parse("Rename"), jonas, is_owner_user=True))

    def test_of_the_process(self) -> None:
        with Client.process() as process:
            credentials = process.credentials()
            acl = SidAcl()
            acl.set(SidIdentity(Kind.USER, sid=credentials.user), 1)
            self.assertTrue(acl.check(1, process))
            self.assertFalse(acl.check(2, process))

    def test_of_given_identities(self) -> None:
        developers, qa = Sid.of_group("BRACKWATER\\developers"), Sid.of_group("BRACKWATER\\qa")
        client = Client.of_sids(DOV.sid, developers, [qa], "BRACKWATER")
        credentials = client.credentials()
        self.assertEqual(
            (credentials.domain, credentials.user, credentials.group, credentials.groups),
            ("BRACKWATER", DOV.sid, developers, (qa,)),
        )
        acl = SidAcl()
        acl.set(SidIdentity(Kind.GROUP, sid=qa), 4)
        self.assertTrue(acl.check(4, client))

    def test_are_refused_for_numbers_that_are_no_permissions(self) -> None:
        with Client.process() as process, self.assertRaises(OverflowError):
            SidAcl().check(1 << 32, process)


class Accounts(unittest.TestCase):
    def test_have_names_and_sids(self) -> None:
        sid = Sid.of_user("brackwater/DOV")
        self.assertEqual(str(sid), "S-1-5-21-1180341622-2207716415-864005713-2004")
        self.assertEqual(Sid.parse(str(sid)), sid)
        self.assertEqual(sid.name(AccountKind.USER), "BRACKWATER\\dov")
        with self.assertRaises(NotFound):
            sid.name(AccountKind.GROUP)

    def test_that_nobody_knows_are_not_found(self) -> None:
        for ask in (Client.named, Sid.of_user, Sid.of_group):
            with self.assertRaises(NotFound):
                ask("NOWHERE\\none")

    def test_are_not_made_of_wrong_texts_and_bytes(self) -> None:
        with self.assertRaises(InvalidArgument):
            Sid.parse("S-1-5-021")
        with self.assertRaises(ValueError):
            Sid(b"short")
        with self.assertRaises(TypeError):
            Client()


class RoleMaps(unittest.TestCase):
    def test_are_read_as_they_are_written(self) -> None:
        roles = RoleMap.load(POLICY / "roles.map")
        self.assertEqual(len(roles), 6)
        self.assertEqual(RoleMap.parse(roles.text()).bindings(), roles.bindings())
        self.assertEqual(roles.copy(), roles)
        self.assertNotEqual(roles, RoleMap())

    def test_bind_and_unbind(self) -> None:
        roles = RoleMap()
        roles.bind(REVIEWER, DOV)
        lead, captain = (SidIdentity(Kind.ROLE, None, name) for name in ("lead", "captain"))
        roles.bind(lead, REVIEWER)
        roles.bind(captain, lead)
        self.assertTrue(roles.reaches(SidIdentity(Kind.ROLE, None, "CAPTAIN"), DOV))
        self.assertFalse(roles.reaches(REVIEWER, DEVELOPERS))
        with self.assertRaises(InvalidArgument) as caught:
            roles.bind(captain, REVIEWER)
        self.assertIn("circularly", str(caught.exception))
        roles.unbind(REVIEWER, DOV)
        self.assertEqual({str(binding.role) for binding in roles.bindings()}, {"Role:lead", "Role:captain"})
        with self.assertRaises(NotFound):
            roles.unbind(REVIEWER, DOV)

    def test_put_people_in_the_place_of_roles(self) -> None:
        policy = SidAcl.parse("Everyone: AclRead\nRole:reviewer Label\n", VOB)
        roles = RoleMap.parse("Role:reviewer --> User:BRACKWATER\\dov\n")
        self.assertEqual(
            roles.effective_acl(policy).text(VOB), "Everyone: AclRead\nUser:BRACKWATER\\dov Label\n"
        )


class Vocabularies(unittest.TestCase):
    def test_read_and_write_sets(self) -> None:
        self.assertEqual(VOB.parse("readdata,AclRead"), 0x20001)
        self.assertEqual(VOB.text(0x20001), "Read")
        self.assertEqual((VOB.parse(""), VOB.text(0)), (0, ""))
        with self.assertRaises(InvalidArgument):
            VOB.parse("Nonsense")

    def test_without_a_file_are_the_one_of_the_product(self) -> None:
        product = Vocabulary.load(ROOT / "data" / "permissions.conf")
        self.assertEqual((dict(product.names), product.generic), ({}, Vocabulary().generic))
        self.assertEqual(Vocabulary().parse("Read"), 0x20001)

    def test_refuse_files_that_are_not_well_formed(self) -> None:
        generic = "[generic]\nread = 0x1\nwrite = 0x1\nexecute = 0x0\nall = 0x1\n"
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "words")
            for text, line, problem in (
                ("A = 0x1\n", 0, 'the generic permission "read" is missing'),
                ("A\n" + generic, 1, 'the line is neither "name = value" nor the one "[generic]"'),
                ("# c\n\nA = 0x0\n", 3, '"A" stands for no permission'),
                ("A = 0x1\na = 0x2\n", 2, '"a" is given twice'),
                ("A = B\n", 1, '"B" is no permission'),
                ("A = Full\n", 1, "the value 0x10000000 has bits that no entry stores"),
                ("-A = 0x1\n", 1, '"-A" is no name for a permission'),
                ("A = 0x123456789\n", 1, '"0x123456789" is no permission'),
                (generic + "READ = 0x1\n", 6, '"READ" is given twice'),
                (generic + "other = 0x1\n", 6, '"other" is no generic permission'),
                (generic + "[generic]\n", 6, 'the line is neither "name = value" nor the one "[generic]"'),
            ):
                with self.subTest(text):
                    with open(path, "w", encoding="utf-8") as file:
                        file.write(text)
                    with self.assertRaises(VocabularyError) as caught:
                        Vocabulary.load(path)
                    self.assertEqual((caught.exception.line, caught.exception.problem), (line, problem))


if __name__ == "__main__":
    unittest.main()
