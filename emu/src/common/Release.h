#pragma once
// The macOS release the fake Mac runs, for the emulated frameworks and tools
// whose behaviour changed between releases (see emu/fakemac/README.md).

namespace emu {

// The major version of the release in /System/Library/CoreServices/SystemVersion.plist
// (10 for every 10.x), read once per process; 0 when the file is missing or
// unreadable, which counts as older than any release.
int releaseMajor();

}  // namespace emu
