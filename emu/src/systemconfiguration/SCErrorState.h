#pragma once
// The per-thread status behind SCError() and SCCopyLastError(). Every
// emulated SystemConfiguration call that fails records its status here, as
// the framework does.

#ifdef __cplusplus
extern "C" {
#endif

void _SCErrorSet(int status);

#ifdef __cplusplus
}
#endif
