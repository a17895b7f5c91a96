#pragma once
// A code requirement in Apple's text form, as far as the emulation reads it:
//   anchor apple | anchor apple generic
//   identifier "x" | identifier x | identifier = "x"
//   certificate|cert leaf|root|N|-N [field.OID] [exists]
//   certificate|cert leaf|root|N|-N [subject.CN|O|OU|C|L|ST] = "x"
//   ! r | r and r | r or r | ( r )      (! binds tightest, then and, then or)
// with /* */ and // comments. Anything else is refused when parsed.

#include <memory>
#include <string>
#include <vector>

#include "CodeSignature.h"

namespace emu::sec {

class CodeRequirement {
 public:
  // Null unless the whole text is one requirement.
  static std::unique_ptr<CodeRequirement> parse(const std::string &text);
  ~CodeRequirement();

  // Whether signed code satisfies it; anchoredAtSystemRoot says whether the
  // code's chain ends at a root the system trusts for code signing.
  bool satisfiedBy(const CodeSignature &signature, bool anchoredAtSystemRoot) const;
  const std::string &text() const { return text_; }

  struct Node;

 private:
  CodeRequirement(std::string text, std::unique_ptr<Node> root);

  std::string text_;
  std::unique_ptr<Node> root_;
};

}  // namespace emu::sec
