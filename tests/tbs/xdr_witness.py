"""Packs the samples of tbs_xdr_python_test.cpp with Python's XDR module: a line "name hex" for each."""

import sys
import warnings

warnings.simplefilter("ignore")
try:
    import xdrlib
except ImportError:
    sys.exit(77)  # newer Pythons have none


def sample(name, pack):
    packer = xdrlib.Packer()
    pack(packer)
    print(name, packer.get_buffer().hex())


def identity(p):
    p.pack_uint(0x12345678)
    p.pack_uint(0x1DEF9ABC)
    p.pack_fopaque(8, bytes.fromhex("8a12001122334455"))


def name(p):
    p.pack_string(b"main.c")


def classic_entry(p, kind, domain, entry_name, perms):
    p.pack_enum(kind)
    p.pack_string(domain)
    p.pack_string(entry_name)
    p.pack_uint(perms)


def classic_acl(p):
    entries = [(1, b"CORP", b"fred", 0x11), (4, b"", b"", 0x22)]
    p.pack_uint(1)
    p.pack_uint(len(entries))
    p.pack_array(entries, lambda entry: classic_entry(p, *entry))


def sid_entry(p, kind, domain, entry_name, sid, perms):
    p.pack_enum(kind)
    p.pack_string(domain)
    p.pack_string(entry_name)
    p.pack_fopaque(34, sid)
    p.pack_uint(perms)


def sid_acl(p):
    # S-1-5-32-544: type, length, revision, count, authority, sub-authorities
    known = bytes([1, 16, 1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0]).ljust(34, b"\0")
    nobody = bytes([1, 12, 1, 1]).ljust(34, b"\0")
    entries = [(1, b"", b"", known, 0x11), (3, b"CORP", b"", nobody, 0x22), (7, b"", b"admin", nobody, 0x44)]
    p.pack_uint(1)
    p.pack_bool(True)
    p.pack_array(entries, lambda entry: sid_entry(p, *entry))


def times(p):
    p.pack_int(-1)
    p.pack_uint(4294967295)
    p.pack_hyper(-2)


for made in (identity, name, classic_acl, sid_acl, times):
    sample(made.__name__, made)
