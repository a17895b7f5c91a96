/* The framework's string constants. Code may read them from its own static
   initializers, so a constructor that runs before every ordinary one sets
   them. The public headers declare them const; only this file assigns them. */

#include <CoreFoundation/CoreFoundation.h>

#define SEC_STRING_CONSTANTS(KEY)                         \
  KEY(kSecClass, "class")                                 \
  KEY(kSecClassGenericPassword, "genp")                   \
  KEY(kSecClassCertificate, "cert")                       \
  KEY(kSecAttrCreationDate, "cdat")                       \
  KEY(kSecAttrModificationDate, "mdat")                   \
  KEY(kSecAttrDescription, "desc")                        \
  KEY(kSecAttrLabel, "labl")                              \
  KEY(kSecAttrAccount, "acct")                            \
  KEY(kSecAttrService, "svce")                            \
  KEY(kSecAttrSubject, "subj")                            \
  KEY(kSecAttrIssuer, "issr")                             \
  KEY(kSecAttrSerialNumber, "slnr")                       \
  KEY(kSecAttrSubjectKeyID, "skid")                       \
  KEY(kSecAttrPublicKeyHash, "pkhh")                      \
  KEY(kSecAttrCertificateType, "ctyp")                    \
  KEY(kSecAttrCertificateEncoding, "cenc")                \
  KEY(kSecMatchLimit, "m_Limit")                          \
  KEY(kSecMatchLimitOne, "m_LimitOne")                    \
  KEY(kSecMatchLimitAll, "m_LimitAll")                    \
  KEY(kSecReturnData, "r_Data")                           \
  KEY(kSecReturnAttributes, "r_Attributes")               \
  KEY(kSecReturnRef, "r_Ref")                             \
  KEY(kSecValueData, "v_Data")                            \
  KEY(kSecValueRef, "v_Ref")                              \
  KEY(kSecUseKeychain, "u_Keychain")

#define SEC_DEFINE_CONSTANT(name, text) CFStringRef name;
SEC_STRING_CONSTANTS(SEC_DEFINE_CONSTANT)

__attribute__((constructor(102))) static void initConstants(void) {
#define SEC_SET_CONSTANT(name, text) name = CFSTR(text);
  SEC_STRING_CONSTANTS(SEC_SET_CONSTANT)
}
