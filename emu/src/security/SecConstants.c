/* The framework's string constants. Code may read them from its own static
   initializers, so a constructor that runs before every ordinary one sets
   them. The public headers declare them const; only this file assigns them. */

#include <CoreFoundation/CoreFoundation.h>

#define SEC_STRING_CONSTANTS(KEY)                                    \
  KEY(kSecClass, "class")                                            \
  KEY(kSecClassGenericPassword, "genp")                              \
  KEY(kSecClassCertificate, "cert")                                  \
  KEY(kSecAttrCreationDate, "cdat")                                  \
  KEY(kSecAttrModificationDate, "mdat")                              \
  KEY(kSecAttrDescription, "desc")                                   \
  KEY(kSecAttrLabel, "labl")                                         \
  KEY(kSecAttrAccount, "acct")                                       \
  KEY(kSecAttrService, "svce")                                       \
  KEY(kSecAttrSubject, "subj")                                       \
  KEY(kSecAttrIssuer, "issr")                                        \
  KEY(kSecAttrSerialNumber, "slnr")                                  \
  KEY(kSecAttrSubjectKeyID, "skid")                                  \
  KEY(kSecAttrPublicKeyHash, "pkhh")                                 \
  KEY(kSecAttrCertificateType, "ctyp")                               \
  KEY(kSecAttrCertificateEncoding, "cenc")                           \
  KEY(kSecMatchLimit, "m_Limit")                                     \
  KEY(kSecMatchLimitOne, "m_LimitOne")                               \
  KEY(kSecMatchLimitAll, "m_LimitAll")                               \
  KEY(kSecReturnData, "r_Data")                                      \
  KEY(kSecReturnAttributes, "r_Attributes")                          \
  KEY(kSecReturnRef, "r_Ref")                                        \
  KEY(kSecValueData, "v_Data")                                       \
  KEY(kSecValueRef, "v_Ref")                                         \
  KEY(kSecUseKeychain, "u_Keychain")                                 \
  KEY(kSecPropertyKeyType, "type")                                   \
  KEY(kSecPropertyKeyLabel, "label")                                 \
  KEY(kSecPropertyKeyLocalizedLabel, "localized label")              \
  KEY(kSecPropertyKeyValue, "value")                                 \
  KEY(kSecPropertyTypeSection, "section")                            \
  KEY(kSecPropertyTypeString, "string")                              \
  KEY(kSecPropertyTypeNumber, "number")                              \
  KEY(kSecOIDX509V1IssuerName, "2.16.840.1.113741.2.1.1.1.5")        \
  KEY(kSecOIDX509V1SerialNumber, "2.16.840.1.113741.2.1.1.1.3")      \
  KEY(kSecOIDX509V1SubjectName, "2.16.840.1.113741.2.1.1.1.8")       \
  KEY(kSecOIDX509V1ValidityNotAfter, "2.16.840.1.113741.2.1.1.1.7")  \
  KEY(kSecOIDX509V1ValidityNotBefore, "2.16.840.1.113741.2.1.1.1.6") \
  KEY(kSecOIDX509V1Version, "2.16.840.1.113741.2.1.1.1.2")           \
  KEY(kSecPolicyAppleX509Basic, "1.2.840.113635.100.1.2")            \
  KEY(kSecPolicyAppleSSL, "1.2.840.113635.100.1.3")                  \
  KEY(kSecPolicyAppleEAP, "1.2.840.113635.100.1.12")                 \
  KEY(kSecPolicyOid, "SecPolicyOid")                                 \
  KEY(kSecPolicyName, "SecPolicyName")                               \
  KEY(kSecPolicyClient, "SecPolicyClient")                           \
  KEY(kSecGuestAttributePid, "pid")                                  \
  KEY(kSecGuestAttributeAudit, "audit")                              \
  KEY(kSecCodeInfoCertificates, "certificates")                      \
  KEY(kSecCodeInfoEntitlementsDict, "entitlements-dict")             \
  KEY(kSecCodeInfoFlags, "flags")                                    \
  KEY(kSecCodeInfoFormat, "format")                                  \
  KEY(kSecCodeInfoIdentifier, "identifier")                          \
  KEY(kSecCodeInfoMainExecutable, "main-executable")                 \
  KEY(kSecCodeInfoTeamIdentifier, "teamid")

#define SEC_DEFINE_CONSTANT(name, text) CFStringRef name;
SEC_STRING_CONSTANTS(SEC_DEFINE_CONSTANT)

__attribute__((constructor(102))) static void initConstants(void) {
#define SEC_SET_CONSTANT(name, text) name = CFSTR(text);
  SEC_STRING_CONSTANTS(SEC_SET_CONSTANT)
}
