/* Security.h: the whole framework, as far as it is emulated. */
#if !defined(_SECURITY_SECURITY_H_)
#define _SECURITY_SECURITY_H_ 1

#include <Security/Authorization.h>
#include <Security/CSCommon.h>
#include <Security/SecAccess.h>
#include <Security/SecBase.h>
#include <Security/SecCertificate.h>
#include <Security/SecCertificateOIDs.h>
#include <Security/SecCode.h>
#include <Security/SecItem.h>
#include <Security/SecKeychain.h>
#include <Security/SecKeychainItem.h>
#include <Security/SecPolicy.h>
#include <Security/SecRequirement.h>
#include <Security/SecStaticCode.h>
#include <Security/SecTrustedApplication.h>
#include <Security/SecTrustSettings.h>

#endif /* !_SECURITY_SECURITY_H_ */
