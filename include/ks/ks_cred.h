/*
 * ks_cred.h - security identifiers, accounts and credentials.
 *
 * A SID names a user or a group on every host. Names and SIDs are resolved by a chain of sources, the first answer
 * wins: the accounts file, sssd, winbind, the host's own accounts. What no source knows is unresolved: it never
 * becomes another account, nor a default. Answers are kept in a bounded cache for a while, negative ones shorter.
 *
 * Account names have the form "DOMAIN\name" ("/" is accepted for "\"). The host's own domain is called like the host,
 * short and in upper case; "." means it too.
 *
 * Every function may be called from any thread; credentials and client handles may be shared for reading.
 */
#ifndef KS_CRED_H
#define KS_CRED_H

#include "ks_types.h"

KS_BEGIN_C

/** A SID in its fixed record. Compared only with credutl_sid_eq(). On the wire an opaque of these 34 bytes. */
typedef struct credutl_sid {
    uint8_t type;      /**< 0 none, 1 SID */
    uint8_t length;    /**< bytes of @c value in use */
    uint8_t value[32]; /**< revision, count, 6-byte authority, little-endian sub-authorities; zero-filled */
} credutl_sid_t;

/** Nobody: S-1-0-0. No account maps to it, and no credentials hold it as a group. */
KS_API extern const credutl_sid_t CREDUTL_SID_NOBODY;

/** Size in bytes of a buffer for the text of any SID, terminator included. */
#define CREDUTL_SID_STR_SIZE 96
/** Size in bytes of a buffer for any account name "DOMAIN\name", terminator included. */
#define CREDUTL_NAME_SIZE 514
/** Id that stands for "no such user or group". */
#define CREDUTL_NO_ID 0xFFFFFFFEu

/**
 * Compares two SIDs byte by byte.
 *
 * @return  1 when all 34 bytes are equal, else 0; 0 when a pointer is NULL.
 */
KS_API int credutl_sid_eq(const credutl_sid_t *a, const credutl_sid_t *b) KS_NOEXCEPT;

/** Tells whether a record holds a SID, one that credutl_sid_to_str() can write. @return 1 or 0; 0 for NULL. */
KS_API int credutl_sid_is_valid(const credutl_sid_t *sid) KS_NOEXCEPT;

/**
 * Hashes all 34 bytes of a SID. Salted for each process: never store or send it.
 *
 * @param sid  the SID; 0 for NULL.
 * @return    the hash.
 */
KS_API uint64_t credutl_sid_hash(const credutl_sid_t *sid) KS_NOEXCEPT;

/**
 * Writes a SID as text, "S-1-5-21-1-2-3-1001".
 *
 * @param sid     the SID.
 * @param buffer  receives the text; "" on failure.
 * @param size    its size; #CREDUTL_SID_STR_SIZE always suffices.
 * @retval 0                 written
 * @retval KS_EINVAL         a pointer is NULL, or the record is no well-formed SID
 * @retval KS_ENAMETOOLONG   the buffer is too small
 */
KS_API int credutl_sid_to_str(const credutl_sid_t *sid, char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Reads a SID from its text. Strict: "S-1-", decimal numbers without leading zeros, 1 to 6 sub-authorities of 32
 * bits, an authority of 48 bits, nothing behind.
 *
 * @param text          terminated text.
 * @param[out] sid_out  the SID; untouched on failure.
 * @retval 0           read
 * @retval KS_EINVAL   a pointer is NULL, or the text is no SID
 */
KS_API int credutl_str_to_sid(const char *text, credutl_sid_t *sid_out) KS_NOEXCEPT;

/**
 * Splits "DOMAIN\name" at its first "\" or "/". Without one the domain is "" and all is the name.
 *
 * @retval 0                 split
 * @retval KS_EINVAL         a pointer is NULL
 * @retval KS_ENAMETOOLONG   a part does not fit; the buffers are untouched
 */
KS_API int credutl_crack_fq_name(const char *fq_name, char *domain, size_t domain_size, char *name,
                                 size_t name_size) KS_NOEXCEPT;

/**
 * Hashes a pair of domain and name so that pairs equal under strutl_stricoll() have equal hashes. Salted for each
 * process.
 *
 * @param domain  NULL counts as "".
 * @param name    NULL counts as "".
 * @return  the hash.
 */
KS_API uint64_t credutl_name_hash(const char *domain, const char *name) KS_NOEXCEPT;

/* ---- accounts ------------------------------------------------------------------------------------------------ */

/** What an account is. */
typedef enum credutl_account_kind { CREDUTL_USER = 1, CREDUTL_GROUP = 2 } credutl_account_kind_t;

/** An account as a source knows it. */
typedef struct credutl_account {
    credutl_account_kind_t kind;
    credutl_sid_t sid;
    uint32_t id;                  /**< uid or gid; #CREDUTL_NO_ID when the host has none for it */
    char name[CREDUTL_NAME_SIZE]; /**< "DOMAIN\name": resolves to the same SID */
    const char *source;           /**< who answered: "accounts", "sssd", "winbind" or "nss" */
} credutl_account_t;

/**
 * Finds an account by name.
 *
 * @param name  "DOMAIN\name", or a plain name of the host's own domain.
 * @retval 0                 found
 * @retval KS_ENOENT         no source knows it
 * @retval KS_EINVAL         a pointer is NULL or the name is empty
 * @retval KS_ENAMETOOLONG   the name is longer than any account's
 * @retval KS_ENOMEM         no memory
 * @retval KS_EIO            a source could not be asked (its error is not kept as "unknown")
 */
KS_API int credutl_account_by_name(credutl_account_kind_t kind, const char *name,
                                   credutl_account_t *account_out) KS_NOEXCEPT;

/**
 * Finds an account by SID; results as credutl_account_by_name(), KS_EINVAL also for a record that is no well-formed
 * SID. A SID of the host's own accounts (S-1-22-1-uid, S-1-22-2-gid) is found when the host lists the id.
 */
KS_API int credutl_account_by_sid(credutl_account_kind_t kind, const credutl_sid_t *sid,
                                  credutl_account_t *account_out) KS_NOEXCEPT;

/**
 * Finds an account by uid or gid; results as credutl_account_by_name(). An id that the host's own accounts do not
 * list still has its SID (S-1-22-1-uid, S-1-22-2-gid), with the SID's text as name and "nss" as source.
 */
KS_API int credutl_account_by_id(credutl_account_kind_t kind, uint32_t id,
                                 credutl_account_t *account_out) KS_NOEXCEPT;

/** Gives the SID of a uid, which every uid below #CREDUTL_NO_ID has; results as credutl_account_by_id(). */
KS_API int credutl_uid_to_sid(uint32_t uid, credutl_sid_t *sid_out) KS_NOEXCEPT;

/** Gives the SID of a gid, which every gid below #CREDUTL_NO_ID has; results as credutl_account_by_id(). */
KS_API int credutl_gid_to_sid(uint32_t gid, credutl_sid_t *sid_out) KS_NOEXCEPT;

/** Gives the uid of a user's SID; #CREDUTL_NO_ID when there is none. */
KS_API uint32_t credutl_sid_to_uid(const credutl_sid_t *sid) KS_NOEXCEPT;

/** Gives the gid of a group's SID; #CREDUTL_NO_ID when there is none. */
KS_API uint32_t credutl_sid_to_gid(const credutl_sid_t *sid) KS_NOEXCEPT;

/** Gives the name of the host's own domain. Constant for the life of the process. */
KS_API const char *credutl_local_domain(void) KS_NOEXCEPT;

/**
 * Gives the SID of the domain that this host is a member of, as the first source knows it that knows domains at all.
 *
 * @param[out] sid_out  the SID; untouched on failure.
 * @retval 0           known
 * @retval KS_ENOENT   the host is no member of a domain
 * @retval KS_EINVAL   a NULL
 * @retval KS_ENOMEM   no memory
 * @retval KS_EIO      a source could not be asked
 */
KS_API int credutl_domain_sid(credutl_sid_t *sid_out) KS_NOEXCEPT;

/**
 * Forgets all cached answers. The next question reads the accounts file again, and ORSIK_ACCOUNTS before it.
 */
KS_API void credutl_flush_accounts(void) KS_NOEXCEPT;

/* ---- credentials --------------------------------------------------------------------------------------------- */

/** Supplementary groups that credentials hold at most; more are refused with KS_EINVAL. */
#define CREDUTL_MAX_GROUPS 65536u

/** Credentials by name; each name is "DOMAIN\name". User and supplementary groups are not NULL. */
typedef struct credutl_string_credentials {
    char *user;
    char *group;          /**< primary group; "" (or NULL) when there is none */
    uint32_t group_count; /**< supplementary groups, without the primary one */
    char **groups;
} credutl_string_credentials_t;

/** Credentials by SID. */
typedef struct credutl_sid_credentials {
    credutl_sid_t user;
    credutl_sid_t group;  /**< primary group; CREDUTL_SID_NOBODY when there is none */
    uint32_t group_count; /**< supplementary groups, without the primary one */
    credutl_sid_t *groups;
} credutl_sid_credentials_t;

/** Whole credentials: SID credentials made ready for questions. */
typedef struct credutl_whole_credentials credutl_whole_credentials_t;

/**
 * Copies string credentials.
 *
 * @param[out] copy_out  released with credutl_free_string_credentials(); untouched on failure.
 * @retval 0 copied
 * @retval KS_ENOMEM no memory
 * @retval KS_EINVAL a pointer is NULL
 */
KS_API int credutl_copy_string_credentials(const credutl_string_credentials_t *source,
                                           credutl_string_credentials_t **copy_out) KS_NOEXCEPT;

/** Copies SID credentials; released with credutl_free_sid_credentials(). Results as for string credentials. */
KS_API int credutl_copy_sid_credentials(const credutl_sid_credentials_t *source,
                                        credutl_sid_credentials_t **copy_out) KS_NOEXCEPT;

/** Releases string credentials made by this library and sets the caller's variable to NULL; NULL is ignored. */
KS_API void credutl_free_string_credentials(credutl_string_credentials_t **credentials) KS_NOEXCEPT;

/** Releases SID credentials made by this library and sets the caller's variable to NULL; NULL is ignored. */
KS_API void credutl_free_sid_credentials(credutl_sid_credentials_t **credentials) KS_NOEXCEPT;

/** Releases whole credentials and sets the caller's variable to NULL; NULL is ignored. */
KS_API void credutl_free_whole_credentials(credutl_whole_credentials_t **credentials) KS_NOEXCEPT;

/**
 * Resolves the names of string credentials.
 *
 * The user and the primary group (unless it is "") must resolve. A supplementary group that no source knows is left
 * out: it can only lose permissions.
 *
 * @param[out] sids_out  released with credutl_free_sid_credentials(); untouched on failure.
 * @return  0, or as credutl_account_by_name().
 */
KS_API int credutl_string_credentials_to_sid_credentials(const credutl_string_credentials_t *strings,
                                                         credutl_sid_credentials_t **sids_out) KS_NOEXCEPT;

/**
 * Names the accounts of SID credentials; a SID without a known account is shown by its text.
 *
 * @param[out] strings_out  released with credutl_free_string_credentials(); untouched on failure.
 * @retval 0          converted
 * @retval KS_ENOMEM  no memory
 * @retval KS_EINVAL  a pointer is NULL
 */
KS_API int credutl_sid_credentials_to_string_credentials(const credutl_sid_credentials_t *sids,
                                                         credutl_string_credentials_t **strings_out) KS_NOEXCEPT;

/**
 * Makes SID credentials ready for questions (copies them).
 *
 * @param[out] whole_out  released with credutl_free_whole_credentials(); untouched on failure.
 * @retval 0          made
 * @retval KS_ENOMEM  no memory
 * @retval KS_EINVAL  a pointer is NULL, or a count without its array
 */
KS_API int credutl_sid_credentials_to_whole(const credutl_sid_credentials_t *sids,
                                            credutl_whole_credentials_t **whole_out) KS_NOEXCEPT;

/** Names the accounts of whole credentials; as credutl_sid_credentials_to_string_credentials(). */
KS_API int
credutl_whole_credentials_to_whole_string_credentials(const credutl_whole_credentials_t *whole,
                                                      credutl_string_credentials_t **strings_out) KS_NOEXCEPT;

/** Gives the user's SID of whole credentials, valid as long as they are; NULL for NULL. */
KS_API const credutl_sid_t *credutl_whole_user_sid(const credutl_whole_credentials_t *whole) KS_NOEXCEPT;

/**
 * Gives all identities of whole credentials with their hashes: first the user, then the primary group, then the
 * supplementary groups in their order.
 *
 * @param[out] hashes_out  credutl_sid_hash() of each; may be NULL.
 * @param[out] count_out   number of identities, at least 2.
 * @return  the identities, valid as long as the credentials; NULL and 0 for NULL.
 */
KS_API const credutl_sid_t *credutl_whole_sids(const credutl_whole_credentials_t *whole, const uint64_t **hashes_out,
                                               size_t *count_out) KS_NOEXCEPT;

/**
 * Tells whether credentials hold a SID as a group, the primary one included. O(1).
 *
 * @return  1 or 0; 0 for NULL and for CREDUTL_SID_NOBODY.
 */
KS_API int credutl_has_group_whole(const credutl_whole_credentials_t *whole, const credutl_sid_t *sid) KS_NOEXCEPT;

/**
 * As credutl_has_group_whole(), for plain SID credentials; O(groups).
 */
KS_API int credutl_has_group_sid(const credutl_sid_credentials_t *sids, const credutl_sid_t *sid) KS_NOEXCEPT;

/**
 * Gives the credentials of the calling thread: effective ids, supplementary groups.
 *
 * @param[out] sids_out  released with credutl_free_sid_credentials(); untouched on failure.
 * @retval 0          made
 * @retval KS_ENOMEM  no memory
 * @retval KS_EINVAL  a pointer is NULL
 * @retval KS_EIO     a source of accounts could not be asked
 */
KS_API int credutl_get_sid_credentials(credutl_sid_credentials_t **sids_out) KS_NOEXCEPT;

/* ---- clients ------------------------------------------------------------------------------------------------- */

/** Who asks: a handle whose credentials credutl_crack_client() extracts. */
typedef struct credutl_client credutl_client_t;

/** Form of the credentials of a cracked client. */
typedef enum credutl_credentials_form { CREDUTL_FORM_STRING = 1, CREDUTL_FORM_SID = 2 } credutl_credentials_form_t;

/** What cracking a client gives; released with credutl_free_cracked(). */
typedef struct credutl_cracked {
    credutl_credentials_form_t form;
    credutl_string_credentials_t *strings; /**< when the form is CREDUTL_FORM_STRING, else NULL */
    credutl_sid_credentials_t *sids;       /**< when the form is CREDUTL_FORM_SID, else NULL */
} credutl_cracked_t;

/**
 * Makes a handle for the calling process (effective ids, supplementary groups). The client's domain is that of the
 * user's name; "" when the user has none.
 *
 * @param[out] client_out  released with credutl_client_free(); untouched on failure.
 * @retval 0 made
 * @retval KS_ENOMEM no memory
 * @retval KS_EINVAL a pointer is NULL
 * @retval KS_EIO    a source of accounts could not be asked
 */
KS_API int credutl_client_from_process(credutl_client_t **client_out) KS_NOEXCEPT;

/**
 * Makes a handle for the peer of a connected local socket, as it was when it connected; its supplementary groups come
 * from the account database.
 *
 * @param socket  the descriptor; borrowed for the call.
 * @return  0, KS_EINVAL, KS_ENOMEM, KS_EIO, or the host's error translated (KS_EBADF, KS_ENOTSUP: no connected local
 *          socket).
 */
KS_API int credutl_client_from_socket(int socket, credutl_client_t **client_out) KS_NOEXCEPT;

/**
 * Makes a handle for the caller of a remote procedure (AUTH_SYS, RPCSEC_GSS).
 *
 * AUTH_SYS: the ids and groups that the caller sent. RPCSEC_GSS: the Kerberos principal "user@REALM" is the account
 * "REALM\user", or "LABEL\user" with the realm's first label, with the groups that the sources give it; it never
 * becomes an account of this host's own.
 *
 * @param request  the struct svc_req of TI-RPC; borrowed for the call.
 * @retval 0          made
 * @retval KS_EACCES  the request carries no identity that can be used (AUTH_NONE and unknown flavours)
 * @retval KS_ENOENT  its principal is no known account
 * @retval KS_ENOMEM  no memory
 * @retval KS_EINVAL  a pointer is NULL
 * @retval KS_EIO     a source of accounts could not be asked
 */
KS_API int credutl_client_from_rpc(const void *request, credutl_client_t **client_out) KS_NOEXCEPT;

/**
 * Makes a handle from ready SID credentials (copied).
 *
 * @param domain  the client's domain; NULL when there is none.
 * @return  0, KS_EINVAL, KS_ENOMEM, KS_ENAMETOOLONG for a domain over 256 bytes.
 */
KS_API int credutl_client_from_sids(const char *domain, const credutl_sid_credentials_t *sids,
                                    credutl_client_t **client_out) KS_NOEXCEPT;

/** Makes a handle from ready string credentials (copied); as credutl_client_from_sids(). */
KS_API int credutl_client_from_strings(const char *domain, const credutl_string_credentials_t *strings,
                                       credutl_client_t **client_out) KS_NOEXCEPT;

/**
 * Makes a handle for a named account with all its groups: those of the accounts file, then, when the account has a
 * uid, those of the host's account database. The first is the primary group; without any it is CREDUTL_SID_NOBODY.
 *
 * @param name  "DOMAIN\name", or a plain name of the host's own domain.
 * @return  0, or as credutl_account_by_name().
 */
KS_API int credutl_client_from_account(const char *name, credutl_client_t **client_out) KS_NOEXCEPT;

/** Releases a client handle and sets the caller's variable to NULL; NULL is ignored. */
KS_API void credutl_client_free(credutl_client_t **client) KS_NOEXCEPT;

/**
 * Extracts a client's domain and credentials.
 *
 * @param client            the handle.
 * @param[out] domain       the client's domain, "" when there is none.
 * @param domain_size       size of @p domain in bytes.
 * @param[out] cracked_out  the credentials, released with credutl_free_cracked(); untouched on failure.
 * @retval 0                 done
 * @retval KS_ENAMETOOLONG   the domain does not fit
 * @retval KS_ENOMEM         no memory
 * @retval KS_EINVAL         a pointer is NULL
 */
KS_API int credutl_crack_client(const credutl_client_t *client, char *domain, size_t domain_size,
                                credutl_cracked_t *cracked_out) KS_NOEXCEPT;

/** Releases what cracking gave and clears it; NULL is ignored. */
KS_API void credutl_free_cracked(credutl_cracked_t *cracked) KS_NOEXCEPT;

KS_END_C

#endif
