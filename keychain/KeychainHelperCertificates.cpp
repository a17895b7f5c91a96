// Certificates: DER bytes to certificate objects, thumbprints, the search by
// label (or common name) and thumbprint, and installation with trust, through
// the Security framework or the security tool.
#include <CommonCrypto/CommonDigest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "CertificateTrustPolicyHelper.h"
#include "DictionaryHelper.h"
#include "KeychainHelper.h"
#include "Logger.h"
#include "MacStringUtils.h"
#include "OsFileSystemUtils.h"
#include "ReleaseLimits.h"
#include "ShellQuote.h"

namespace xpc {

namespace {

const char kNoDataToInstall[] = "No valid data was provided to install to the keychain!";

// The certificate under "v_Ref" of a search result, or null (not retained).
SecCertificateRef entryCertificate(DictionaryHelper& entry) {
  SecKeychainItemRef item = nullptr;
  if (entry.getValue("v_Ref", &item) != 0) return nullptr;
  return reinterpret_cast<SecCertificateRef>(item);
}

}  // namespace

SecCertificateRef KeychainHelper::certificateRefFromDerData(const unsigned char* data,
                                                            unsigned long length) {
  if (data == nullptr || length == 0) {
    log(LogLevel::Error, kNoDataToInstall);
    return nullptr;
  }
  CFRef<CFDataRef> der(CFDataCreate(kCFAllocatorDefault, data, static_cast<CFIndex>(length)),
                       RefPolicy::Adopt);
  if (!der) {
    log(LogLevel::Error, "Unable to create a CFDataRef from the DER certificate data provided!");
    return nullptr;
  }
  SecCertificateRef certificate = SecCertificateCreateWithData(kCFAllocatorDefault, der.get());
  if (certificate == nullptr) {
    log(LogLevel::Error, "Unable to convert our DER encoded data in to a format usable with the keychain!");
  }
  return certificate;
}

std::string KeychainHelper::getThumbprint(const unsigned char* data, long length) {
  if (data == nullptr) {
    log(LogLevel::Error, "No certificate data was provided while trying to calculate a thumbprint!");
    return "";
  }
  if (length < 1) {
    log(LogLevel::Error, "The data size provided was too small while trying to calculate a thumbprint!");
    return "";
  }
  unsigned char digest[CC_SHA1_DIGEST_LENGTH];
  CC_SHA1(data, static_cast<CC_LONG>(length), digest);
  std::string thumbprint;
  for (unsigned char byte : digest) {
    char pair[4];
    std::snprintf(pair, sizeof(pair), thumbprint.empty() ? "%02X" : " %02X", byte);
    thumbprint += pair;
  }
  return thumbprint;
}

std::string KeychainHelper::getCertificateCommonName(SecCertificateRef certificate) {
  if (certificate == nullptr) {
    log(LogLevel::Error, "A NULL certificate value was provided while trying to get the certificate common name!");
    return "";
  }
  CFRef<CFStringRef> name;
  OSStatus status = SecCertificateCopyCommonName(certificate, name.initializeInto());
  if (status != errSecSuccess || !name) {
    log(LogLevel::Progress, "Unable to determine the certificate common name using the first method.  Will attempt a "
                            "different method.");
    name.reset(SecCertificateCopySubjectSummary(certificate), RefPolicy::Adopt);
    if (!name) {
      log(LogLevel::Error, "Unable to determine the common name from a certificate!");
      log(LogLevel::Error, "    OS Error : " + errorUtils.getErrorStringFromOsStatus(status));
      return "";
    }
  }
  std::string text = MacStringUtils::cfStringRefToStdString(name.get());
  if (text.empty()) log(LogLevel::Progress, "Got an empty certificate name...");
  return text;
}

bool KeychainHelper::certificateExists(const unsigned char* data, unsigned long length) {
  if (data == nullptr || length == 0) {
    log(LogLevel::Error, kNoDataToInstall);
    return false;
  }
  std::string commonName;
  {
    CFRef<SecCertificateRef> certificate(certificateRefFromDerData(data, length), RefPolicy::Adopt);
    if (!certificate) {
      log(LogLevel::Error, "Unable to convert DER data to the proper internal representation while checking if the "
                           "certificate already exists!");
      return false;
    }
    commonName = getCertificateCommonName(certificate.get());
  }
  std::string thumbprint = getThumbprint(data, static_cast<long>(length));
  log(LogLevel::Progress, "Calculated thumbprint : " + thumbprint);
  if (findCertificateKeychainItem(commonName, "", thumbprint) == 0) {
    log(LogLevel::Progress, "The certificate provided already exists in the keychain!");
    return true;
  }
  log(LogLevel::Progress, "The certificate provided DOES NOT exist in the keychain already!");
  return false;
}

int KeychainHelper::findCertificateKeychainItem(std::string label, std::string alias,
                                                std::string thumbprint) {
  if (label.empty()) {
    log(LogLevel::Error, "No 'label name' was provided while searching for certificates in the keychain.");
    return errSecParam;
  }
  log(LogLevel::Progress, "Looking for a certificate with a label or CN of '" + label + "' and a thumbprint of '" +
             thumbprint + "'.");
  return findCertificate(label, [&](DictionaryHelper& entry) {
    return certificateMatchesRequirements(&entry, label, alias, thumbprint);
  });
}

int KeychainHelper::certificateInstancesInUserSession(std::string label, std::string) {
  if (label.empty()) {
    log(LogLevel::Error, "No 'label name' was provided while searching for certificates in the keychain.");
    return errSecParam;
  }
  return findCertificate(label, [&](DictionaryHelper& entry) {
    std::string itemLabel;
    return (entry.getValue("labl", itemLabel) == 0 && itemLabel == label) ||
           labelMatchesCn(&entry, label);
  });
}

int KeychainHelper::findCertificate(const std::string& label,
                                    const std::function<bool(DictionaryHelper&)>& matches) {
  CFRef<CFArrayRef> items;
  if (findCertificateItems(items.initializeInto()) && findFirstCertificate(items.get(), matches)) {
    log(LogLevel::Progress, "The certificate '" + label + "' was found.");
    return 0;
  }
  log(LogLevel::Error, "Unable to find the requested certificate item!");
  return errSecItemNotFound;
}

bool KeychainHelper::certificateMatchesRequirements(DictionaryHelper* entry, std::string label,
                                                    std::string, std::string thumbprint) {
  if (entry == nullptr) {
    log(LogLevel::Error, "The dictionary provided while checking certificate match data was NULL!");
    return false;
  }
  if (label.empty()) {
    log(LogLevel::Error, "The label name provided while looking for our certificate was empty.");
    return false;
  }
  if (thumbprint.empty()) {
    log(LogLevel::Error, "The thumbprint was empty while looking for our certificate!");
    return false;
  }
  std::string itemLabel;
  bool hasLabel = entry->getValue("labl", itemLabel) == 0;
  if (hasLabel && itemLabel == label) {
    if (thumbprintMatchesCert(entry, thumbprint)) {
      log(LogLevel::Progress, "All requirements matched! (2)");
      return true;
    }
    log(LogLevel::Progress, "The thumbprint didn't match the one we were looking for...");
    return false;
  }
  if (!hasLabel) {
    log(LogLevel::Progress, "Dictionary entry didn't contain a label attribute!  Trying to read from the cert...");
    log(LogLevel::Detail, "Offending dictionary : " + entry->toString());
  }
  if (!labelMatchesCn(entry, label)) {
    if (!hasLabel) log(LogLevel::Progress, "The CN didn't match the label either!");
    return false;
  }
  if (thumbprintMatchesCert(entry, thumbprint)) {
    log(LogLevel::Progress, hasLabel ? "All requirements matched! (3)" : "All requirements matched!");
    return true;
  }
  log(LogLevel::Progress, "The thumbprint didn't match the one we were looking for... (2)");
  return false;
}

bool KeychainHelper::labelMatchesCn(DictionaryHelper* entry, std::string label) {
  SecKeychainItemRef item = nullptr;
  if (entry == nullptr || entry->getValue("v_Ref", &item) != 0) {
    log(LogLevel::Error, "Couldn't get the raw certificate data to attempt to read the label...  Giving up..");
    return false;
  }
  if (item == nullptr) {
    log(LogLevel::Error, "The security reference for the certificate was NULL?");
    return false;
  }
  std::string commonName = getCertificateCommonName(reinterpret_cast<SecCertificateRef>(item));
  if (commonName.empty()) {
    log(LogLevel::Progress, "Raw certificate data for a found certificate didn't have a CN?!  Ignoring it..");
    return false;
  }
  if (commonName != label) return false;
  log(LogLevel::Progress, "Found our target cert via raw CN value.");
  return true;
}

bool KeychainHelper::thumbprintMatchesCert(DictionaryHelper* entry, std::string thumbprint) {
  if (thumbprint.empty()) {
    log(LogLevel::Error, "No thumbprint was provided while attempting to check the thumbprint of a certificate!");
    return false;
  }
  if (entry == nullptr) {
    log(LogLevel::Error, "No dictionary was provided while attempting to check the thumbprint of a certificate!");
    return false;
  }
  SecCertificateRef certificate = entryCertificate(*entry);
  if (certificate == nullptr) {
    log(LogLevel::Error, "Unable to get a reference for the certificate to check the thumbprint on!");
    return false;
  }
  CFRef<CFDataRef> der(SecCertificateCopyData(certificate), RefPolicy::Adopt);
  if (!der) {
    log(LogLevel::Error, "Unable to copy the certificate data from the dictionary provided while trying to check "
                         "the thumbprint!");
    return false;
  }
  const UInt8* bytes = CFDataGetBytePtr(der.get());
  if (bytes == nullptr) {
    log(LogLevel::Error, "Unable to get a pointer to the certificate bytes while trying to check the thumbprint!");
    return false;
  }
  CFIndex length = CFDataGetLength(der.get());
  if (length < 1) {
    log(LogLevel::Error, "Unable to determine the size of the certificate in memory while trying to check the "
                         "thumbprint!");
    return false;
  }
  std::string calculated = getThumbprint(bytes, static_cast<long>(length));
  log(LogLevel::Progress, "Calculated thumbprint for this cert : '" + calculated + "'");
  log(LogLevel::Progress, "Thumbprint we are looking for       : '" + thumbprint + "'");
  if (calculated != thumbprint) {
    log(LogLevel::Progress, "Thumbprints don't match.");
    return false;
  }
  log(LogLevel::Progress, "Thumbprints match!");
  return true;
}

bool KeychainHelper::createCertificateEntry(const unsigned char* data, unsigned long length,
                                            std::string& label) {
  if (data == nullptr || length == 0) {
    log(LogLevel::Error, kNoDataToInstall);
    return false;
  }
  CFRef<SecCertificateRef> certificate(certificateRefFromDerData(data, length), RefPolicy::Adopt);
  if (!certificate) return false;
  label = getCertificateCommonName(certificate.get());
  if (label.empty()) {
    log(LogLevel::Error, "Unable to determine the common name of the certificate while attempting to create a new "
                         "keychain entry!");
    return false;
  }
  log(LogLevel::Progress, "Will attempt to install a certificate with a common name of : " + label);
  CFRef<CFDictionaryRef> values(SecCertificateCopyValues(certificate.get(), nullptr, nullptr),
                                RefPolicy::Adopt);
  if (!values) {
    log(LogLevel::Error, "Unable to copy the certificate values from our certificate reference!");
    return false;
  }
  if (activeKeychain == nullptr) {
    log(LogLevel::Error, "No keychain was referenced!  Unable to install a certificate!");
    return false;
  }
  OSStatus status = SecCertificateAddToKeychain(certificate.get(), activeKeychain);
  if (status != errSecSuccess) {
    log(LogLevel::Error, "Unable to store the certificate data in to the keychain!  Error = " +
               std::to_string(status));
    log(LogLevel::Error, "    OS Error : " + errorUtils.getErrorStringFromOsStatus(status));
    return false;
  }
  log(LogLevel::Progress, "The certificate was properly installed in the keychain.");
  return true;
}

bool KeychainHelper::createCertificateEntryWithDefaultTrustItems(const unsigned char* data,
                                                                 unsigned long length,
                                                                 bool useUserDomain, int trustModel,
                                                                 std::string& label) {
  if (activeKeychain == nullptr) {
    log(LogLevel::Error, "No keychain was opened while trying to install a certificate with trust items!");
    return false;
  }
  log(LogLevel::Progress, "Attempting to install the cert to the keychain..");
  if (!createCertificateEntry(data, length, label)) return false;
  if (label.empty()) {
    log(LogLevel::Error, "The certificate entry was created, but no label was provided!?");
    return false;
  }
  log(LogLevel::Progress, "Certificate with the label '" + label +
                          "' was installed to the keychain..  Trying to set trust properties...");
  std::string thumbprint = getThumbprint(data, static_cast<long>(length));
  if (findCertificateKeychainItem(label, "", thumbprint) != 0) {
    log(LogLevel::Progress, "Sleeping for a second in case a cache needs to update.. Then trying again..");
    sleep(1);
    if (findCertificateKeychainItem(label, "", thumbprint) != 0) {
      log(LogLevel::Error, "The certificate that was just installed couldn't be located in the keychain!?");
      return false;
    }
  }
  SecCertificateRef certificate = getActiveCertificate();
  if (certificate == nullptr) {
    log(LogLevel::Error, "The item found in the keychain with the label '" + label +
                         "' didn't appear to be a certificate!");
    return false;
  }
  log(LogLevel::Progress, "Setting certificate trust settings...");
  CertificateTrustPolicyHelper trust(logger);
  if (trust.setDefaultCertificateTrustItems(certificate, trustModel, useUserDomain, false)) {
    log(LogLevel::Progress, "The certificate was installed, and trust settings were set...");
    return true;
  }
  log(LogLevel::Progress, "Failed to write certificate trust items... Will wait a few seconds and then try again..");
  sleep(3);
  return trust.setDefaultCertificateTrustItems(certificate, trustModel, useUserDomain, true);
}

bool KeychainHelper::installCertificateWithSecurityCommand(std::string pem, bool isIntermediate,
                                                           bool userDomain) {
  if (pem.empty()) {
    log(LogLevel::Error, "No PEM certificate data was provided while trying to install!!");
    return false;
  }
  OsFileSystemUtils files(logger);
  std::string certificatePath = files.writeStringToTempFile("tempcert.cer", pem);
  if (certificatePath.empty()) {
    log(LogLevel::Error, "Unable to write our public certificate data to a temporary file!");
    return false;
  }
  // The shell's redirection would follow a link planted at the fixed name.
  std::string outputPath = files.getTemporaryDirectory() + "output.txt";
  if (!files.createFreshFile(outputPath)) {
    unlink(certificatePath.c_str());
    return false;
  }
  std::string command = "/usr/bin/security add-trusted-cert ";
  if (!userDomain) command += "-d ";
  command += isIntermediate ? "-r trustAsRoot " : "-r trustRoot ";
  // The certificate may have landed in the home or current directory.
  command += "-p basic -p ssl -p eap " + ShellQuote::word(certificatePath) + " > " +
             ShellQuote::word(outputPath) + " 2>&1";
  log(LogLevel::Progress, "Calling : " + command);

  int status = std::system(command.c_str());
  bool installed = status == 0;
  if (installed) {
    log(LogLevel::Progress, "The certificate should be installed.");
  } else {
    log(LogLevel::Error, "Unable to install the requested certificate!  (Result : " + std::to_string(status) + ")");
    log(LogLevel::Progress, "Command output : " + files.readFileToString(outputPath));
    if (!userDomain) ReleaseLimits(logger).explain(ReleaseLimits::Limit::AdminTrust);
  }
  unlink(certificatePath.c_str());
  unlink(outputPath.c_str());
  return installed;
}

}  // namespace xpc
