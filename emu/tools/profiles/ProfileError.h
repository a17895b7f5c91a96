#pragma once
#include <string>

// Why an installation or removal did not happen: a code (an
// MCProfileErrorDomain or MCPayloadErrorDomain code, a Security status or an
// errno) and its description.
struct ProfileError {
  int code = 0;
  std::string text;
};
