#pragma once
// One keychain file. Its format is the emulation's own: an XML property list
// {"Items": [item, ...]} whose items are dictionaries keyed as SecItem
// attribute dictionaries are ("class", "acct", "svce", "labl", ...), with the
// password or the certificate itself under "v_Data". Every change reads the
// file afresh and replaces it whole.

#include <Security/Security.h>
#include <sys/types.h>

#include <string>

#include "../common/CFSupport.h"

namespace emu::sec {

class KeychainStore {
 public:
  explicit KeychainStore(std::string path);

  // errSecNoSuchKeychain when the file is missing, errSecInvalidKeychain when
  // it is not a keychain.
  OSStatus load();
  // The items as loaded.
  CFArrayRef items() const { return items_.get(); }
  // Whether this process may change the file: only root writes the System
  // keychain, as on the Mac.
  bool writable() const;

  // Adds an item unless one with the same identity is there
  // (errSecDuplicateItem), and writes the file.
  OSStatus add(CFDictionaryRef item);
  // Removes the stored item with the identity of this one and writes the
  // file; errSecInvalidItemRef when there is none.
  OSStatus remove(CFDictionaryRef item);

  // Whether two items are the same keychain item: the same class and the
  // same primary key (account and service; certificate issuer and serial).
  static bool sameItem(CFDictionaryRef a, CFDictionaryRef b);

 private:
  OSStatus save();

  std::string path_;
  mode_t mode_ = 0644;
  Owned<CFMutableArrayRef> items_;
};

}  // namespace emu::sec
