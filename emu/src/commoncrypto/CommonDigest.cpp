#include <CommonCrypto/CommonDigest.h>
#include <openssl/sha.h>

unsigned char *CC_SHA1(const void *data, CC_LONG len, unsigned char *md) {
  return SHA1(static_cast<const unsigned char *>(data), len, md);
}

unsigned char *CC_SHA256(const void *data, CC_LONG len, unsigned char *md) {
  return SHA256(static_cast<const unsigned char *>(data), len, md);
}
