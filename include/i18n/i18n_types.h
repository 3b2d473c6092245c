/*
 * i18n_types.h - linkage of liborsiki18n.
 */
#ifndef I18N_TYPES_H
#define I18N_TYPES_H

#include "../ks/ks_types.h"

#ifdef ORSIK_BUILD_I18N
#define I18N_API KS_EXPORT
#else
/** Stands before every function of the library. */
#define I18N_API KS_IMPORT
#endif

#endif
