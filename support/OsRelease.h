#pragma once
// The macOS release this Mac runs. The helper takes another way, or says what
// the user must do instead, only where a release no longer allows the usual one.

namespace xpc {

class OsRelease {
 public:
  // Read from /System/Library/CoreServices/SystemVersion.plist; a file that
  // cannot be read gives release 0, older than any, so the usual ways apply.
  static OsRelease running();

  // 10 for every 10.x release.
  int major() const { return major_; }
  bool atLeast(int major) const { return major_ >= major; }

 private:
  explicit OsRelease(int major) : major_(major) {}

  int major_;
};

}  // namespace xpc
