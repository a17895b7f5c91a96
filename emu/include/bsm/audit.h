#ifndef _BSM_AUDIT_H
#define _BSM_AUDIT_H
// As in the SDK, the audit token comes with the audit definitions.

#include <mach/message.h>

#endif
