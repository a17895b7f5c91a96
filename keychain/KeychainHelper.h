#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <functional>
#include <string>

#include "LogSink.h"
#include "CFRef.h"
#include "ErrorUtils.h"

class Logger;

namespace xpc {

class DictionaryHelper;

// The one object through which the helper touches keychains: it opens the
// system keychain (or the console user's login keychain) and keeps the
// handles until it is destroyed, holds one active item (what the last
// successful search found, or what is about to be deleted), stores and finds
// 802.1X passwords, and finds, installs and identifies certificates.
//
// Certificates are identified by a label (the item's label, or failing that
// the certificate's common name) together with a thumbprint: the SHA-1 of the
// DER bytes as upper-case hex pairs separated by single blanks.
class KeychainHelper {
 public:
  explicit KeychainHelper(Logger* logger);
  ~KeychainHelper();
  KeychainHelper(const KeychainHelper&) = delete;
  KeychainHelper& operator=(const KeychainHelper&) = delete;

  // Access.
  // Makes the system keychain (false) or the login keychain (true) active,
  // opening it on first use; later calls reuse the cached handle.
  bool openKeychain(bool userKeychain);
  void freeKeychain();
  void freeKeychainItem();
  // On success `out` receives the attribute dictionaries of every item of the
  // class in the active keychain, for the caller to release. The item stands
  // under "v_Ref", its label under "labl".
  bool findCertificateItems(CFArrayRef* out);
  bool find8021XRelatedPasswordItems(CFArrayRef* out);
  bool deleteKeychainItem(SecKeychainItemRef item);
  // Keeps the active item when the delete fails.
  bool deleteActiveKeychainItem();
  // Deletes the item under "v_Ref"; with `forgetActiveItem` the active item is
  // released afterwards, for when the dictionary described it.
  bool deleteItemByDictionary(CFDictionaryRef attributes, bool forgetActiveItem);
  // The active item when it is a certificate (not retained again), else null.
  SecCertificateRef getActiveCertificate();

  // 802.1X password entries: generic passwords with an account, service,
  // label and description.
  bool create8021XPasswordEntry(std::string account, std::string service, std::string label,
                                std::string description, std::string password);
  // 0 when found (it becomes the active item), else the search's status; the
  // active item stays as it was then.
  OSStatus find8021XRelatedPasswordKeychainItem(std::string service, std::string account);
  // An access object whose trusted applications are this helper and the
  // system's 802.1X and management clients. The caller releases `*out`.
  bool getAccessRefFor8021X(std::string descriptor, SecAccessRef* out);
  bool getTrustedAppsList(CFArrayRef* out);
  // A null path is this program.
  bool addSingleTrustedAppToArray(const char* path, CFMutableArrayRef array);

  // Certificates.
  // The caller releases the result.
  SecCertificateRef certificateRefFromDerData(const unsigned char* data, unsigned long length);
  // "" on bad input.
  std::string getThumbprint(const unsigned char* data, long length);
  // "" when the certificate has none.
  std::string getCertificateCommonName(SecCertificateRef certificate);
  // Whether an identical certificate is in the active keychain; it is then
  // the active item.
  bool certificateExists(const unsigned char* data, unsigned long length);
  // 0 when found (the certificate becomes the active item), else non-zero.
  // The alias plays no part in the match.
  int findCertificateKeychainItem(std::string label, std::string alias, std::string thumbprint);
  // The same search by label or common name alone.
  int certificateInstancesInUserSession(std::string label, std::string alias);
  bool certificateMatchesRequirements(DictionaryHelper* entry, std::string label, std::string alias,
                                      std::string thumbprint);
  bool labelMatchesCn(DictionaryHelper* entry, std::string label);
  bool thumbprintMatchesCert(DictionaryHelper* entry, std::string thumbprint);
  // Adds the certificate to the active keychain; `label` receives its common
  // name. An installed copy is not detected here: see certificateExists.
  bool createCertificateEntry(const unsigned char* data, unsigned long length, std::string& label);
  // createCertificateEntry, then trust for basic X.509, SSL and EAP in the
  // admin domain (user domain when asked).
  bool createCertificateEntryWithDefaultTrustItems(const unsigned char* data, unsigned long length,
                                                   bool useUserDomain, int trustModel,
                                                   std::string& label);
  // Through the security tool, into its default keychain; admin trust unless
  // `userDomain`.
  bool installCertificateWithSecurityCommand(std::string pem, bool isIntermediate, bool userDomain);

 private:
  // Which of the two whole-keychain searches, and its texts.
  struct ItemSearch;

  bool innerOpenKeychain(std::string path);
  bool findItems(const ItemSearch& search, CFArrayRef* out);
  // Walks certificate search results from the first; the first entry that
  // `matches` becomes the active item.
  bool findFirstCertificate(CFArrayRef items, const std::function<bool(DictionaryHelper&)>& matches);
  int findCertificate(const std::string& label, const std::function<bool(DictionaryHelper&)>& matches);
  static OSStatus setUserInteractionAllowed(bool allowed);
  void log(LogLevel level, const std::string& text);

  Logger* logger;
  ErrorUtils errorUtils;
  // One of the two cached handles below, never separately owned.
  SecKeychainRef activeKeychain;
  CFRef<SecKeychainRef> userKeychain;
  CFRef<SecKeychainRef> systemKeychain;
  bool systemKeychainOpened;
  CFRef<SecKeychainItemRef> activeItem;
};

}  // namespace xpc
