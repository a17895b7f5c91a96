/* SecCertificate.h: X.509 certificates. */
#if !defined(_SECURITY_SECCERTIFICATE_H_)
#define _SECURITY_SECCERTIFICATE_H_ 1

#include <Security/SecBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT CFTypeID SecCertificateGetTypeID(void);

CF_EXTERN_C_END

#endif /* !_SECURITY_SECCERTIFICATE_H_ */
