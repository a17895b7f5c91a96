#pragma once
#include <string>

// Why an installation or removal did not happen: a code (an
// MCProfileErrorDomain or MCPayloadErrorDomain code, a Security status or an
// errno) and its description.
struct ProfileError {
  int code = 0;
  std::string text;
};

// The MCProfileErrorDomain and MCPayloadErrorDomain codes the checks report.
namespace profilecode {
constexpr int kMalformedProfile = 1000;
constexpr int kMissingProfileField = 1002;
constexpr int kBadProfileFieldType = 1003;
constexpr int kBadSignature = 1004;
constexpr int kEmptyProfile = 1005;
constexpr int kCannotDecrypt = 1006;
constexpr int kUnsupportedFieldValue = 1010;
constexpr int kMalformedPayload = 2000;
constexpr int kMissingPayloadField = 2002;
constexpr int kBadPayloadFieldType = 2003;
constexpr int kUnsupportedPayloadValue = 2004;
}  // namespace profilecode
