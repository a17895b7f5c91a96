#include "TextCodec.h"

#include <cstdlib>

#include "XpcBase64.h"

namespace xpc {

namespace {

// The codec's key; the client that reads coded text holds the same pair. Each
// is the 64 base64 symbols plus "=". Because the shift wraps by 64 over 65
// symbols, the plain symbol at index 64 comes back as the one at index 0 at
// positions not divisible by 64: so "=" sits last and "A" (value 0) first,
// and a padding "=" decodes as zero bits that the NUL-terminated result drops.
const char kPlainAlphabet[] = "AZeSTgoLh+D7dwaFiJklcmq6p9HjOrf5QBVNz2MG3vXbEI/UstPC84xuYK0RWy1n=";
const char kCodedAlphabet[] = "ze1so/Jx=0WG4QFK2g89OTpZdInfEYRCbvjXlPBi5AhNU7Sw+3rLmkHDyVct6aqMu";
const int kAlphabetSize = 65;
const int kShiftPeriod = 64;

static_assert(sizeof(kPlainAlphabet) == kAlphabetSize + 1, "the plain alphabet has 65 symbols");
static_assert(sizeof(kCodedAlphabet) == kAlphabetSize + 1, "the coded alphabet has 65 symbols");

int indexIn(const char* alphabet, char c) {
  for (int k = 0; k < kAlphabetSize; ++k) {
    if (alphabet[k] == c) return k;
  }
  return -1;
}

}  // namespace

bool TextCodec::encode(std::string text, std::string& out) {
  out.clear();
  std::string base64;
  if (!XpcBase64(nullptr).encode(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                                 base64)) {
    return false;
  }
  for (std::size_t i = 0; i < base64.size(); ++i) {
    int k = indexIn(kPlainAlphabet, base64[i]);
    if (k < 0) return false;
    int j = k + static_cast<int>(i % kShiftPeriod);
    if (j >= kAlphabetSize) j -= kShiftPeriod;
    out += kCodedAlphabet[j];
  }
  return true;
}

bool TextCodec::decode(std::string text, std::string& out) {
  out.clear();
  std::string base64;
  for (std::size_t i = 0; i < text.size(); ++i) {
    int k = indexIn(kCodedAlphabet, text[i]);
    if (k < 0) return false;
    int j = k - static_cast<int>(i % kShiftPeriod);
    if (j < 0) j += kShiftPeriod;
    base64 += kPlainAlphabet[j];
  }
  unsigned long length = 0;
  unsigned char* bytes = XpcBase64(nullptr).decode(base64, &length);
  if (bytes == nullptr) return false;
  out = reinterpret_cast<const char*>(bytes);  // NUL-terminated by decode
  std::free(bytes);
  return true;
}

}  // namespace xpc
