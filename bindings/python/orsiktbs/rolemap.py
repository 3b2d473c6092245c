"""Role maps: who holds which role, and the list that a policy comes to with it."""

from __future__ import annotations

import os
from typing import NamedTuple

from ._handle import Handle, held
from ._library import c_text, ffi, lib
from ._text_file import text_file
from .acl import SidAcl
from .errors import ask, call
from .identities import SidIdentity


class Binding(NamedTuple):
    """A role and those who hold it."""

    role: SidIdentity
    identities: tuple[SidIdentity, ...]


class RoleMap(Handle):
    """A role map."""

    _type, _free = "tbs_rolemap_acl_h_t", "tbs_rolemap_acl_free"

    def __init__(self) -> None:
        """Makes an empty map."""
        variable = self._new_variable()
        call("tbs_rolemap_acl_create", variable)
        super().__init__(variable)

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> RoleMap:
        """Reads a role map file. The first bad line ends the reading; the error's messages name it."""
        variable = cls._new_variable()
        call("tbs_rolemap_acl_utl_parse", c_text(path), variable)
        return cls._adopt(variable)

    @classmethod
    def parse(cls, text: str) -> RoleMap:
        """Reads the text of a role map file."""
        with text_file(text) as path:
            return cls.load(path)

    def copy(self) -> RoleMap:
        """Gives a map of the same bindings."""
        variable = self._new_variable()
        with held(self) as (handle,):
            call("tbs_rolemap_acl_copy", handle, variable)
        return self._adopt(variable)

    def text(self) -> str:
        """Gives the text that parse() reads, one pair a line."""
        return "".join(f"{role} --> {identity}\n" for role, identities in self.bindings() for identity in identities)

    def bind(self, role: SidIdentity, identity: SidIdentity) -> None:
        """Binds an identity to a role; InvalidArgument for a role that the role reaches through others already."""
        native_role, native_identity = role.native(), identity.native()
        with held(self) as (handle,):
            call("tbs_rolemap_acl_add_role_binding", handle, native_role.pointer, native_identity.pointer)

    def unbind(self, role: SidIdentity, identity: SidIdentity) -> None:
        """Takes an identity from a role; NotFound when it does not hold it."""
        native_role, native_identity = role.native(), identity.native()
        with held(self) as (handle,):
            call("tbs_rolemap_acl_remove_role_binding", handle, native_role.pointer, native_identity.pointer)

    def reaches(self, role: SidIdentity, identity: SidIdentity) -> bool:
        """Tells whether an identity holds a role, directly or through other roles."""
        native_role, native_identity = role.native(), identity.native()
        with held(self) as (handle,):
            return bool(ask("tbs_acl_id_in_role", handle, native_role.pointer, native_identity.pointer))

    def bindings(self) -> list[Binding]:
        """Gives all bindings in order."""
        cursor = ffi.new("uint32_t *")
        found = []
        with held(self) as (handle,):
            while binding := lib.tbs_rolemap_acl_next_role_binding(handle, cursor):
                identities = (SidIdentity.of_record(binding.ids[i]) for i in range(binding.id_count))
                found.append(Binding(SidIdentity.of_record(binding.role), tuple(identities)))
        return found

    def effective_acl(self, policy: SidAcl) -> SidAcl:
        """Gives a policy's list with those who hold a role in the role's place."""
        variable = SidAcl._new_variable()
        with held(policy, self) as (acl, handle):
            call("tbs_rolemap_acl_generate_effective_acl", acl, handle, variable)
        return SidAcl._adopt(variable)

    def __len__(self) -> int:
        with held(self) as (handle,):
            return int(ask("tbs_rolemap_acl_num_role_bindings", handle))

    def __bool__(self) -> bool:
        return True  # an empty map is a map

    def __eq__(self, other: object) -> bool:
        """Tells whether both bind the same identities to the same roles, in whatever order."""
        if not isinstance(other, RoleMap):
            return NotImplemented
        with held(self, other):
            return bool(ask("tbs_rolemap_acl_cmp", self._variable, other._variable))

    __hash__ = None  # type: ignore[assignment]  # it changes

    def __repr__(self) -> str:
        return f"<RoleMap: {'closed' if self.closed else f'{len(self)} roles'}>"
