#pragma once
// Whole-file reads and replacements, for the emulated frameworks that keep
// state in files (preferences, the dynamic store, keychains, trust settings).

#include <CoreFoundation/CoreFoundation.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace emu {

// The contents of a file and its status at the time. False, with no bytes,
// when it cannot be read; the status is zeroed when the file cannot be opened.
bool readFile(const std::string &path, std::vector<UInt8> &bytes, struct stat &status);
// Replaces a file whole: writes path-new, flushes it and renames it over
// path, so that readers and a crash see the old file or the new one. Answers
// 0 or the errno of the step that failed.
int replaceFile(const std::string &path, CFDataRef contents, mode_t mode);

}  // namespace emu
