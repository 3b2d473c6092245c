/*
 * nt_sid.h - the SIDs of the host's domain and of users, as text.
 *
 * Texts have the form "S-1-5-21-1-2-3-1001". The functions print nothing but what the sources of accounts say about
 * themselves (see ks_cred.h), and may be called from any thread. On failure the buffer holds "" when its size is not
 * 0, and the error is in ks_errno as well.
 */
#ifndef NT_SID_H
#define NT_SID_H

#include "../ks/ks_cred.h"
#include "nt_types.h"

KS_BEGIN_C

/**
 * Gives the SID of the host's domain: that of the domain which the host is a member of; for a host that stands alone
 * one of its own, S-1-5-21-a-b-c, made one-way of the id that the system got when it was installed.
 *
 * @param buffer  receives the text.
 * @param size    its size in bytes; #CREDUTL_SID_STR_SIZE always suffices.
 * @retval 0                 written
 * @retval KS_ENOENT         the host stands alone and has no id
 * @retval KS_ENAMETOOLONG   the buffer is too small
 * @retval KS_EINVAL         the buffer is NULL
 * @retval KS_ENOMEM         no memory
 * @retval KS_EIO            who knows the domain could not be asked; the host's own SID does not stand in for it
 */
NT_API int nt_get_domain_sid_str(char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the SID of the user whose rights the process has (the effective user). Every user has one.
 *
 * @param buffer  receives the text.
 * @param size    its size in bytes; #CREDUTL_SID_STR_SIZE always suffices.
 * @return  0, KS_ENAMETOOLONG, KS_EINVAL, KS_ENOMEM, or KS_EIO when a source of accounts could not be asked.
 */
NT_API int nt_get_sid_str(char *buffer, size_t size) KS_NOEXCEPT;

/**
 * Gives the SID of a user by name.
 *
 * @param login   "DOMAIN\name", or a plain name of the host's own domain.
 * @param buffer  receives the text.
 * @param size    its size in bytes; #CREDUTL_SID_STR_SIZE always suffices.
 * @return  0, KS_ENAMETOOLONG also when the buffer is too small, or as credutl_account_by_name().
 */
NT_API int nt_get_user_sid_str(const char *login, char *buffer, size_t size) KS_NOEXCEPT;

KS_END_C

#endif
