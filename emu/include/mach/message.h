#ifndef _MACH_MESSAGE_H_
#define _MACH_MESSAGE_H_
// The part of the Mach message header the helper sees: the audit token a
// connection's peer is named by.

typedef struct {
  unsigned int val[8];
} audit_token_t;

#endif
