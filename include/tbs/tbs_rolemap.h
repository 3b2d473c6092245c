/*
 * tbs_rolemap.h - role maps: who holds which role; the effective ACL of a policy that names roles.
 *
 * A role map (tbs_rolemap_acl_h_t) binds roles to identities. No role stands in it twice, no identity twice in one
 * binding, and a binding has at least one identity. Identities match as in SID ACLs: users and groups by SID, Domain by
 * domain and Role by name (without case), Everyone, Owner-User and Owner-Group by kind alone.
 *
 * Threads: functions that only read a map may run in several threads at once on one map. Functions that change it want
 * it alone. The records are public for reading: more stands behind a handle than they show, so handles come from the
 * functions here and are changed by them.
 */
#ifndef TBS_ROLEMAP_H
#define TBS_ROLEMAP_H

#include "tbs_acl.h"

TBS_BEGIN_C

/** A role and those who hold it. */
typedef struct tbs_role_binding {
    tbs_sid_acl_id_t role; /**< kind Role; its name counts */
    uint64_t id_count;
    tbs_sid_acl_id_t *ids; /**< behind a #tbs_acl_array_header_t */
} tbs_role_binding_t;

/** Role map. */
typedef struct tbs_rolemap_acl {
    uint64_t count;
    tbs_role_binding_t *bindings; /**< behind a #tbs_acl_array_header_t */
} * tbs_rolemap_acl_h_t;

/** The bindings of a role map as a plain record of the caller's: the same shape, nothing behind it. */
typedef struct tbs_rolemap_acl tbs_rolemap_acl_bindings_t;

/**
 * Makes an empty role map.
 *
 * @param[out] map_out  the map, released with tbs_rolemap_acl_free(); set to NULL on failure.
 * @retval 0               made
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   @p map_out is NULL
 */
TBS_API tbs_status_t tbs_rolemap_acl_create(tbs_rolemap_acl_h_t *map_out) TBS_NOEXCEPT;

/**
 * Copies a role map: adds every pair of role and identity, in order, with tbs_rolemap_acl_add_role_binding().
 *
 * @param map           the source.
 * @param[out] map_out  the copy, released with tbs_rolemap_acl_free(); set to NULL on failure.
 * @return  0; TBS_ST_EINVAL for a NULL; else the status of the pair that cannot be added (its message is printed).
 */
TBS_API tbs_status_t tbs_rolemap_acl_copy(tbs_rolemap_acl_h_t map, tbs_rolemap_acl_h_t *map_out) TBS_NOEXCEPT;

/** Releases a role map and sets the caller's variable to NULL; NULL or a variable that holds NULL is ignored. */
TBS_API void tbs_rolemap_acl_free(tbs_rolemap_acl_h_t *map_variable) TBS_NOEXCEPT;

/** Counts the role bindings. @return their number; 0 for NULL. */
TBS_API uint64_t tbs_rolemap_acl_num_role_bindings(tbs_rolemap_acl_h_t map) TBS_NOEXCEPT;

/** Counts the identities of a binding. @return their number; 0 for NULL. */
TBS_API uint64_t tbs_rolemap_acl_num_role_binding_ids(const tbs_role_binding_t *binding) TBS_NOEXCEPT;

/**
 * Walks the bindings in order.
 *
 * @param map     the map.
 * @param cursor  position, 0 at the start; advanced by one for each binding given.
 * @return  the binding at the cursor, inside the map, valid until the map changes; NULL behind the last, the cursor
 *          unchanged.
 */
TBS_API tbs_role_binding_t *tbs_rolemap_acl_next_role_binding(tbs_rolemap_acl_h_t map, uint32_t *cursor) TBS_NOEXCEPT;

/**
 * Finds a role's binding.
 *
 * @param map   the map.
 * @param role  the role.
 * @return  the first binding whose role matches, inside the map, valid until the map changes; NULL when there is none.
 */
TBS_API tbs_role_binding_t *tbs_rolemap_acl_find_role_binding(tbs_rolemap_acl_h_t map,
                                                              const tbs_sid_acl_id_t *role) TBS_NOEXCEPT;

/**
 * Finds an identity in a binding.
 *
 * @param binding  the binding.
 * @param id       the identity.
 * @return  the first identity that matches, inside the binding; NULL when there is none.
 */
TBS_API tbs_sid_acl_id_t *tbs_rolemap_acl_find_binding_id(const tbs_role_binding_t *binding,
                                                          const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Binds an identity to a role.
 *
 * An identity that the role holds already changes nothing. A role may be bound to a role, unless it is found below the
 * role that it is bound to (see tbs_acl_id_in_role()); the first identity of a role is taken without that test.
 *
 * @param map   the map.
 * @param role  the role; copied.
 * @param id    the identity; copied as it is.
 * @retval 0               bound
 * @retval TBS_ST_EINVAL   @p role is NULL ("Unrecognized ACL identity type "NULL"."), no role ("Identity NAME must be a
 *                         role."), without a name ("ACL identity's role name must not be empty.") or with a wrong one
 *                         ("Invalid role name "NAME"."), the binding would be circular ("Role: NAME is circularly
 *                         defined."), or another pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory; the map is as it was
 */
TBS_API tbs_status_t tbs_rolemap_acl_add_role_binding(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                                      const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Takes an identity from a role. The last identity of the binding takes its place; a binding without identities goes,
 * and the last binding of the map takes its place.
 *
 * @param map   the map.
 * @param role  the role.
 * @param id    the identity.
 * @retval 0                  taken
 * @retval TBS_ST_NOT_FOUND   no such role, or the role does not hold the identity
 * @retval TBS_ST_EINVAL      a pointer is NULL
 */
TBS_API tbs_status_t tbs_rolemap_acl_remove_role_binding(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                                         const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Puts one identity of a role in the place of another. When the role holds the new one already, the old one is taken
 * out and the order of the others kept.
 *
 * @param map     the map.
 * @param role    the role.
 * @param old_id  the identity to give up.
 * @param new_id  the identity in its place; copied as it is.
 * @retval 0                  replaced, or both identities match
 * @retval TBS_ST_NOT_FOUND   no such role, or the role does not hold @p old_id
 * @return  else as tbs_rolemap_acl_add_role_binding(), the map as it was.
 */
TBS_API tbs_status_t tbs_rolemap_acl_replace_role_binding(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                                          const tbs_sid_acl_id_t *old_id,
                                                          const tbs_sid_acl_id_t *new_id) TBS_NOEXCEPT;

/** Releases what a binding holds: the texts of its role and identities, and the array. Its count becomes 0. */
TBS_API void tbs_rolemap_acl_role_binding_free(tbs_role_binding_t *binding) TBS_NOEXCEPT;

/** Tells whether any role holds an identity; roles themselves are not looked at. @return 1 or 0. */
TBS_API tbs_boolean_t tbs_rolemap_contains_id(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Tells whether two maps bind the same identities to the same roles, in whatever order.
 *
 * @param a  address of one map's variable.
 * @param b  address of the other's.
 * @return  1 when they do or both are NULL, else 0.
 */
TBS_API tbs_boolean_t tbs_rolemap_acl_cmp(const tbs_rolemap_acl_h_t *a, const tbs_rolemap_acl_h_t *b) TBS_NOEXCEPT;

/**
 * Tells whether a role reaches an identity: they match, or the identity is bound to the role, or to a role that the
 * role reaches. Ends also for maps with loops, however deep.
 *
 * @param map   the map.
 * @param role  the role.
 * @param id    the identity.
 * @return  1 or 0; 0 for a NULL, and when there is no memory (the message is printed).
 */
TBS_API tbs_boolean_t tbs_acl_id_in_role(tbs_rolemap_acl_h_t map, const tbs_sid_acl_id_t *role,
                                         const tbs_sid_acl_id_t *id) TBS_NOEXCEPT;

/**
 * Copies a map with other accounts: in each binding the first user becomes the pair's user and the first group the
 * pair's group; further users and groups of the binding are dropped.
 *
 * @param map           the source.
 * @param sids          the user and the group.
 * @param[out] map_out  the copy, released with tbs_rolemap_acl_free(); set to NULL on failure.
 * @return  as tbs_rolemap_acl_copy().
 */
TBS_API tbs_status_t tbs_rolemap_acl_replace_sid_ids(tbs_rolemap_acl_h_t map, const tbs_acl_sid_pair_t *sids,
                                                     tbs_rolemap_acl_h_t *map_out) TBS_NOEXCEPT;

/* ---- plain record -------------------------------------------------------------------------------------------- */

/**
 * Makes a role map of a plain record, as it is: nothing is checked, merged or refused. SIDs of roles are not taken.
 *
 * @param[out] map_out  the map, released with tbs_rolemap_acl_free(); set to NULL on failure.
 * @param bindings      the record; copied.
 * @retval 0               made
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   a pointer is NULL, in the record too where its count is not 0
 */
TBS_API tbs_status_t tbs_rolemap_acl_set_bindings(tbs_rolemap_acl_h_t *map_out,
                                                  const tbs_rolemap_acl_bindings_t *bindings) TBS_NOEXCEPT;

/**
 * Copies a role map into a plain record.
 *
 * @param map                the map.
 * @param[out] bindings_out  the record, released with tbs_rolemap_acl_bindings_free(); set to NULL on failure.
 * @retval 0               copied
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_rolemap_acl_get_bindings(tbs_rolemap_acl_h_t map,
                                                  tbs_rolemap_acl_bindings_t **bindings_out) TBS_NOEXCEPT;

/** Releases a record of tbs_rolemap_acl_get_bindings() and sets the variable to NULL; NULLs are ignored. */
TBS_API void tbs_rolemap_acl_bindings_free(tbs_rolemap_acl_bindings_t **bindings_variable) TBS_NOEXCEPT;

/**
 * A role map or NULL (XDR; see tbs_xdr.h): presence word; number of bindings twice; for each its role, number of
 * identities twice, identities. A decoded map is built with tbs_rolemap_acl_copy(), whose messages are printed when a
 * pair is refused. Free releases it.
 */
TBS_API bool_t xdr_tbs_rolemap_acl_h_t(XDR *stream, tbs_rolemap_acl_h_t *map) TBS_NOEXCEPT;

/* ---- texts --------------------------------------------------------------------------------------------------- */

/**
 * Reads a role map from a text file: one pair a line, "Role:identity --> identity_type:identity"; lines that begin
 * with "#" and blank lines are skipped. A line is read in pieces of at most 1023 bytes, each of which counts as a line.
 * The first bad line ends the reading: nothing is handed over.
 *
 * @param path          product path of the file.
 * @param[out] map_out  the map, released with tbs_rolemap_acl_free(); untouched on failure.
 * @retval 0               read
 * @retval TBS_ST_ERROR    a line without "-->" ("Unable to set role-identity binding for line N." and the form of an
 *                         entry), or an account that is not known ("Problem parsing identity ...")
 * @retval TBS_ST_EINVAL   a kind that is not known ("Problem parsing identity ..."), a pair that cannot be bound
 *                         ("Unable to set role-identity binding for line N." and the form), or a pointer is NULL
 * @retval TBS_ST_ENOMEM   no memory
 * @return  else the status of the system's error: "Unable to open file ...", "Unable to read file ...".
 */
TBS_API tbs_status_t tbs_rolemap_acl_utl_parse(const char *path, tbs_rolemap_acl_h_t *map_out) TBS_NOEXCEPT;

/**
 * Prints a role map: each role, and below it its identities; "# <empty rolemap>" for an empty one.
 *
 * @param map  the map.
 * @retval 0                    printed
 * @retval TBS_ST_ENAMETOOLONG  an identity has no text of at most 1023 bytes: "String buffer too small."
 * @retval TBS_ST_EINVAL        @p map is NULL
 * @return  else the status of the first identity that has no text, as tbs_sid_acl_utl_id_qual_to_str().
 */
TBS_API tbs_status_t tbs_rolemap_acl_utl_print(tbs_rolemap_acl_h_t map) TBS_NOEXCEPT;

/**
 * Writes a role map to a stream in the form that tbs_rolemap_acl_utl_parse() reads; nothing for an empty one. A name
 * with a line end, which no valid identity has, is made visible as in messages.
 *
 * @param stream  the stream; errors of the stream stay in it for the caller to ask (ferror).
 * @param map     the map.
 * @return  as tbs_rolemap_acl_utl_print().
 */
TBS_API tbs_status_t tbs_rolemap_acl_utl_output(FILE *stream, tbs_rolemap_acl_h_t map) TBS_NOEXCEPT;

/* ---- effective ACL ------------------------------------------------------------------------------------------- */

/**
 * Makes the effective ACL of a policy: in the place of each role those whom the map binds to it, with the role's
 * permissions.
 *
 * The identities of the policy that are no roles come first, in the order in which they first occur, then those newly
 * met in the map, in its order. An identity that is reached more than once stands once with the union of all
 * permissions. Roles match without case; of a role that the policy names twice the later permissions count. A role
 * bound to a role is copied as a role. Roles of the map that the policy does not name add nothing; at verbosity 4 they
 * are traced under "tbs_acl".
 *
 * @param policy        the policy; may be shared.
 * @param map           the role map; may be shared.
 * @param[out] acl_out  the effective ACL, released with tbs_sid_acl_free(); untouched on failure.
 * @retval 0               made
 * @retval TBS_ST_ERROR    an identity has no text (none for Domain and unknown kinds: "Unrecognized ACL identity type
 *                         (N)."), one of more than 255 bytes ("String buffer too small."), or a role one when folded
 * @retval TBS_ST_ENOMEM   no memory
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_rolemap_acl_generate_effective_acl(tbs_sid_acl_h_t policy, tbs_rolemap_acl_h_t map,
                                                            tbs_sid_acl_h_t *acl_out) TBS_NOEXCEPT;

/** What one generic permission stands for, by names. */
typedef struct tbs_acl_generic_child {
    char *name;     /**< owned; NULL when the permission stands for nothing */
    uint32_t count; /**< number of names */
    char **names;   /**< owned */
} tbs_acl_generic_child_t;

/** What the generic permissions stand for, by names. */
typedef struct tbs_acl_generic_child_map {
    tbs_acl_generic_child_t read;
    tbs_acl_generic_child_t change;
    tbs_acl_generic_child_t execute;
    tbs_acl_generic_child_t full;
} tbs_acl_generic_child_map_t;

/**
 * Names what the generic permissions of a map stand for.
 *
 * @param extra         the caller's permission names, searched before the built-in ones; may be NULL when
 *                      @p extra_count is 0.
 * @param extra_count   their number.
 * @param map           what generic permissions stand for; a mask of 0 gives an empty list.
 * @param[out] map_out  the names, released with tbs_acl_free_generic_child_map().
 * @retval 0               named; a list for which there is no memory is empty, and the message is printed
 * @retval TBS_ST_EINVAL   a pointer is NULL
 */
TBS_API tbs_status_t tbs_acl_utl_get_generic_child_map(const tbs_acl_perm_name_t *extra, size_t extra_count,
                                                       const tbs_acl_generic_map_t *map,
                                                       tbs_acl_generic_child_map_t *map_out) TBS_NOEXCEPT;

/** Releases the four lists, which are empty then; NULL is ignored. */
TBS_API void tbs_acl_free_generic_child_map(tbs_acl_generic_child_map_t *map) TBS_NOEXCEPT;

TBS_END_C

#endif
