#ifndef _MACH_O_DYLD_H_
#define _MACH_O_DYLD_H_
// The part of the dynamic loader's interface the helper uses: the path of
// its own executable.
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Copies the main executable's path into buf: 0 on success; -1 when bufsize
// is too small, with *bufsize set to the size needed. The path need not be
// canonical.
extern int _NSGetExecutablePath(char* buf, uint32_t* bufsize);

#ifdef __cplusplus
}
#endif

#endif
