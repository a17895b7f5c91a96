#pragma once
// Emulation-only control of the CoreWLAN layer for in-process tests. Product
// code never includes this header.

#ifdef __cplusplus
extern "C" {
#endif

// Replaces the real sleep between attempts with `handler` (copied), which
// receives the seconds the product asked to wait; NULL restores the sleep.
void emu_wlan_set_sleep_handler(void (^handler)(unsigned int seconds));

#ifdef __cplusplus
}
#endif
