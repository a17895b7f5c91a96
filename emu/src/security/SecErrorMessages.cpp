#include <Security/Authorization.h>
#include <Security/SecBase.h>

#include <cstring>

#include "SecInternal.h"

namespace {

struct StatusMessage {
  OSStatus status;
  const char *message;
};

// The framework's messages, byte for byte.
const StatusMessage kMessages[] = {
    {errSecSuccess, "No error."},
    {errSecCSUnimplemented, "unimplemented code signing feature"},
    {errSecCSInvalidObjectRef, "invalid API object reference"},
    {errSecCSInvalidFlags, "invalid or inappropriate API flag(s) specified"},
    {errSecCSObjectRequired, "a required pointer argument was NULL"},
    {errSecCSStaticCodeNotFound, "cannot find code object on disk"},
    {errSecCSNoSuchCode, "host has no guest with the requested attributes"},
    {errSecCSUnsigned, "code object is not signed at all"},
    {errSecCSSignatureFailed, "invalid signature (code or signature have been modified)"},
    {errSecCSReqInvalid, "invalid or corrupted code requirement(s)"},
    {errSecCSReqUnsupported, "unsupported type or version of code requirement(s)"},
    {errSecCSReqFailed, "code failed to satisfy specified code requirement(s)"},
    {errSecCSBadObjectFormat, "object file format unrecognized, invalid, or unsuitable"},
    {errSecUnimplemented, "Function or operation not implemented."},
    {errSecIO, "I/O error."},
    {errSecOpWr, "File already open with write permission."},
    {errSecParam, "One or more parameters passed to a function were not valid."},
    {errSecWrPerm, "Write permissions error."},
    {errSecAllocate, "Failed to allocate memory."},
    {errSecUserCanceled, "User canceled the operation."},
    {errSecBadReq, "Bad parameter or invalid state for operation."},
    {errSecNotAvailable, "No keychain is available. You may need to restart your computer."},
    {errSecReadOnly, "This keychain cannot be modified."},
    {errSecAuthFailed, "The user name or passphrase you entered is not correct."},
    {errSecNoSuchKeychain, "The specified keychain could not be found."},
    {errSecInvalidKeychain, "The specified keychain is not a valid keychain file."},
    {errSecDuplicateKeychain, "A keychain with the same name already exists."},
    {errSecDuplicateCallback, "The specified callback function is already installed."},
    {errSecInvalidCallback, "The specified callback function is not valid."},
    {errSecDuplicateItem, "The specified item already exists in the keychain."},
    {errSecItemNotFound, "The specified item could not be found in the keychain."},
    {errSecBufferTooSmall, "There is not enough memory available to use the specified item."},
    {errSecDataTooLarge, "This item contains information which is too large or in a format that cannot be displayed."},
    {errSecNoSuchAttr, "The specified attribute does not exist."},
    {errSecInvalidItemRef, "The specified item is no longer valid. It may have been deleted from the keychain."},
    {errSecInvalidSearchRef, "Unable to search the current keychain."},
    {errSecNoSuchClass, "The specified item does not appear to be a valid keychain item."},
    {errSecNoDefaultKeychain, "A default keychain could not be found."},
    {errSecInteractionNotAllowed, "User interaction is not allowed."},
    {errSecReadOnlyAttr, "The specified attribute could not be modified."},
    {errSecWrongSecVersion,
     "This keychain was created by a different version of the system software and cannot be opened."},
    {errSecKeySizeNotAllowed, "This item specifies a key size which is too large or too small."},
    {errSecNoStorageModule,
     "A required component (data storage module) could not be loaded. You may need to restart your computer."},
    {errSecNoCertificateModule,
     "A required component (certificate module) could not be loaded. You may need to restart your computer."},
    {errSecNoPolicyModule,
     "A required component (policy module) could not be loaded. You may need to restart your computer."},
    {errSecInteractionRequired, "User interaction is required, but is currently not allowed."},
    {errSecDataNotAvailable, "The contents of this item cannot be retrieved."},
    {errSecDataNotModifiable, "The contents of this item cannot be modified."},
    {errSecCreateChainFailed, "One or more certificates required to validate this certificate cannot be found."},
    {errSecInvalidPrefsDomain, "The specified preferences domain is not valid."},
    {errSecACLNotSimple, "The specified access control list is not in standard (simple) form."},
    {errSecPolicyNotFound, "The specified policy cannot be found."},
    {errSecInvalidTrustSetting, "The specified trust setting is invalid."},
    {errSecNoAccessForItem, "The specified item has no access control."},
    {errSecInvalidOwnerEdit, "Invalid attempt to change the owner of this item."},
    {errSecTrustNotAvailable, "No trust results are available."},
    {errSecUnsupportedFormat, "Import/Export format unsupported."},
    {errSecUnknownFormat, "Unknown format in import."},
    {errSecKeyIsSensitive, "Key material must be wrapped for export."},
    {errSecMultiplePrivKeys, "An attempt was made to import multiple private keys."},
    {errSecPassphraseRequired, "Passphrase is required for import/export."},
    {errSecInvalidPasswordRef, "The password reference was invalid."},
    {errSecInvalidTrustSettings, "The Trust Settings Record was corrupted."},
    {errSecNoTrustSettings, "No Trust Settings were found."},
    {errSecPkcs12VerifyFailure, "MAC verification failed during PKCS12 import (wrong password?)"},
    {errSecDecode, "Unable to decode the provided data."},
    {errAuthorizationDenied, "The authorization was denied."},
    {errAuthorizationInteractionNotAllowed, "The authorization was denied since no user interaction was possible."},
};

}  // namespace

CFStringRef SecCopyErrorMessageString(OSStatus status, void *) {
  using emu::sec::kErrnoBase;
  if (status > kErrnoBase && status < kErrnoBase + 256) {
    return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("UNIX[%s]"), std::strerror(status - kErrnoBase));
  }
  for (const StatusMessage &entry : kMessages) {
    if (entry.status == status) {
      return CFStringCreateWithCString(kCFAllocatorDefault, entry.message, kCFStringEncodingUTF8);
    }
  }
  return nullptr;
}
