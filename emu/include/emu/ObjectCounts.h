#pragma once
// Emulation-only introspection for tests: how many CF, XPC and CoreWLAN
// objects are alive in this process. Product code never includes this header.

#ifdef __cplusplus
extern "C" {
#endif

long emu_cf_live_objects(void);
long emu_xpc_live_objects(void);
long emu_wlan_live_objects(void);

#ifdef __cplusplus
}
#endif
