/*
 * tbs.h - all of liborsiktbs.
 */
#ifndef TBS_H
#define TBS_H

#include "tbs_acl.h"
#include "tbs_cr.h"
#include "tbs_fstat.h"
#include "tbs_ft.h"
#include "tbs_help.h"
#include "tbs_mfs.h"
#include "tbs_mgr.h"
#include "tbs_msg.h"
#include "tbs_notify.h"
#include "tbs_product.h"
#include "tbs_profile.h"
#include "tbs_rolemap.h"
#include "tbs_status.h"
#include "tbs_text_mode.h"
#include "tbs_types.h"
#include "tbs_uuid.h"
#include "tbs_xdr.h"
#include "vob_records.h"

#endif
