/* CommonDigest.h: one-shot message digests. */
#if !defined(_CC_COMMON_DIGEST_H_)
#define _CC_COMMON_DIGEST_H_

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef uint32_t CC_LONG;

#define CC_SHA1_DIGEST_LENGTH 20
#define CC_SHA256_DIGEST_LENGTH 32

/* Writes the digest of len bytes at data to md and returns md. */
extern unsigned char *CC_SHA1(const void *data, CC_LONG len, unsigned char *md);
extern unsigned char *CC_SHA256(const void *data, CC_LONG len, unsigned char *md);

#if defined(__cplusplus)
}
#endif

#endif /* _CC_COMMON_DIGEST_H_ */
