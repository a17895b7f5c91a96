/* SecTrustSettings.h: per-certificate trust settings of the user, admin and
   system domains. */
#if !defined(_SECURITY_SECTRUSTSETTINGS_H_)
#define _SECURITY_SECTRUSTSETTINGS_H_ 1


#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

/* Keys of a trust settings dictionary. */
#define kSecTrustSettingsPolicy CFSTR("kSecTrustSettingsPolicy")
#define kSecTrustSettingsApplication CFSTR("kSecTrustSettingsApplication")
#define kSecTrustSettingsPolicyString CFSTR("kSecTrustSettingsPolicyString")
#define kSecTrustSettingsKeyUsage CFSTR("kSecTrustSettingsKeyUsage")
#define kSecTrustSettingsAllowedError CFSTR("kSecTrustSettingsAllowedError")
#define kSecTrustSettingsResult CFSTR("kSecTrustSettingsResult")

typedef CF_OPTIONS(uint32_t, SecTrustSettingsKeyUsage) {
  kSecTrustSettingsKeyUseSignature = 0x00000001,
  kSecTrustSettingsKeyUseEnDecryptData = 0x00000002,
  kSecTrustSettingsKeyUseEnDecryptKey = 0x00000004,
  kSecTrustSettingsKeyUseSignCert = 0x00000008,
  kSecTrustSettingsKeyUseSignRevocation = 0x00000010,
  kSecTrustSettingsKeyUseKeyExchange = 0x00000020,
  kSecTrustSettingsKeyUseAny = 0xffffffff
};

typedef CF_ENUM(uint32_t, SecTrustSettingsResult) {
  kSecTrustSettingsResultInvalid = 0,
  kSecTrustSettingsResultTrustRoot,
  kSecTrustSettingsResultTrustAsRoot,
  kSecTrustSettingsResultDeny,
  kSecTrustSettingsResultUnspecified
};

typedef CF_ENUM(uint32_t, SecTrustSettingsDomain) {
  kSecTrustSettingsDomainUser = 0,
  kSecTrustSettingsDomainAdmin,
  kSecTrustSettingsDomainSystem
};

/* errSecItemNotFound when the certificate has no settings in the domain. */
CF_EXPORT OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain,
                                                     CFArrayRef *trustSettings);
/* trustSettingsDictOrArray NULL: trusted for everything (roots only). The
   system domain is read-only; only root changes the admin domain. */
CF_EXPORT OSStatus SecTrustSettingsSetTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain,
                                                    CFTypeRef trustSettingsDictOrArray);
CF_EXPORT OSStatus SecTrustSettingsRemoveTrustSettings(SecCertificateRef certRef, SecTrustSettingsDomain domain);
/* The certificates of the keychains that have settings in the domain;
   errSecNoTrustSettings when there are none. */
CF_EXPORT OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain, CFArrayRef *certArray);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECTRUSTSETTINGS_H_ */
