#!/usr/bin/env python3
"""Reviews a policy: who may do what, who may do the things that matter, and what the next policy would change.

usage: policy_review.py [DIRECTORY]

DIRECTORY holds vob.acl, vob_next.acl, vob.permissions, roles.map and accounts; data/policy of the sources when it is
not given. Sections are marked as editors that know cells expect it; each builds on those above it.
"""

# %% Where the policy lies, and who is known. The library reads the accounts when it is first asked about one.
import os
import sys
from pathlib import Path

USAGE = "usage: policy_review.py [DIRECTORY]"
FILES = ("vob.acl", "vob_next.acl", "vob.permissions", "roles.map", "accounts")
arguments = sys.argv[1:]
if arguments in (["-h"], ["--help"]):
    print(__doc__)
    sys.exit(0)
if len(arguments) > 1 or arguments and arguments[0].startswith("-"):
    print(USAGE, file=sys.stderr)
    sys.exit(2)
DIRECTORY = Path(arguments[0]) if arguments else Path(__file__).resolve().parents[3] / "data" / "policy"
if missing := [name for name in FILES if not (DIRECTORY / name).is_file()]:
    sys.exit(f"policy_review.py: {DIRECTORY} has no {', '.join(missing)}\n{USAGE}")
os.environ["ORSIK_ACCOUNTS"] = str(DIRECTORY / "accounts")

from orsiktbs import Client, Kind, RoleMap, SidAcl, Vocabulary  # noqa: E402

lines = (DIRECTORY / "accounts").read_text(encoding="utf-8").split("\n")
USERS = [line.split(" user ")[0].rstrip() for line in lines if " user S-" in line]

# %% The words of the policy. A name that stands for one bit is a permission that can be asked for by itself.
vocabulary = Vocabulary.load(DIRECTORY / "vob.permissions")
BITS = {name: bits for name, bits in vocabulary.names.items() if bits & (bits - 1) == 0}
BITS.update({name: vocabulary.parse(name) for name in ("Delete", "AclRead", "AclWrite")})

# %% The policy, and what it comes to once the role map has put people in the place of roles.
policy = SidAcl.load(DIRECTORY / "vob.acl", vocabulary)
roles = RoleMap.load(DIRECTORY / "roles.map")
effective = roles.effective_acl(policy)
print(f"Policy: {len(policy)} entries; {len(roles)} roles; effective: {len(effective)} entries")

named = [entry.identity.name for entry in policy if entry.identity.kind == Kind.ROLE]
held = [binding.role.name for binding in roles.bindings()]
unheld = [name for name in named if name not in held]
unused = [name for name in held if name not in named]
print(f"Roles that nobody holds: {', '.join(unheld) or 'none'}")
print(f"Roles that grant nothing: {', '.join(unused) or 'none'}")


# %% Who may do what: each permission is asked for by itself, as somebody who owns nothing.
def permissions_of(acl: SidAcl, user: str) -> int:
    """Gives all that a user may do."""
    granted = 0
    with Client.named(user) as client:
        for bits in BITS.values():
            if acl.check(bits, client):
                granted |= bits
    return granted


def words(permissions: int) -> str:
    """Gives permissions in the words of the policy."""
    return vocabulary.text(permissions).replace(",", ", ") or "nothing"


may = {user: permissions_of(effective, user) for user in USERS}
print("\nWho may do what")
for user, permissions in may.items():
    print(f"  {user:<21}{words(permissions)}")

# %% Who may do the things that cannot be undone, or that open the door to others.
print("\nWho may do what matters")
for name in ("Delete", "AclWrite", "RemoveVersion", "Obsolete", "Replicate", "Audit"):
    holders = [user.partition("\\")[2] for user, permissions in may.items() if permissions & BITS[name]]
    print(f"  {name:<15}{', '.join(holders) or 'nobody'}")

# %% What the next policy would change.
following = roles.effective_acl(SidAcl.load(DIRECTORY / "vob_next.acl", vocabulary))
print("\nWhat vob_next.acl changes")
for user, before in may.items():
    after = permissions_of(following, user)
    if gained := after & ~before:
        print(f"+ {user:<21}{words(gained)}")
    if lost := before & ~after:
        print(f"- {user:<21}{words(lost)}")
