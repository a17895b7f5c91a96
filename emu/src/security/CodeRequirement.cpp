#include "CodeRequirement.h"

#include <cctype>
#include <cstdlib>

namespace emu::sec {

struct CodeRequirement::Node {
  enum Kind { And, Or, Not, AnchorApple, AnchorAppleGeneric, Identifier, CertificateField, CertificateSubject };
  Kind kind;
  std::unique_ptr<Node> left, right;  // operands of and, or, !
  std::string value;                  // identifier, OID, or the subject's expected value
  std::string attribute;              // the subject attribute's OID
  long slot = 0;                      // 0 the leaf, 1 its issuer, ...; -1 the root, -2 below it
};

namespace {

using Node = CodeRequirement::Node;

// Apple's developer certificate markers, which its own code lacks.
constexpr char kDeveloperIdIntermediate[] = "1.2.840.113635.100.6.2.6";
constexpr char kDeveloperIdLeaf[] = "1.2.840.113635.100.6.1.13";

struct Token {
  enum Kind { Word, String, Symbol, End } kind;
  std::string text;
};

class Parser {
 public:
  explicit Parser(const std::string &text) : text_(text) { next(); }

  std::unique_ptr<Node> requirement() {
    auto node = orExpression();
    return node && token_.kind == Token::End && !failed_ ? std::move(node) : nullptr;
  }

 private:
  std::unique_ptr<Node> orExpression() {
    auto left = andExpression();
    while (left && isWord("or")) {
      next();
      left = binary(Node::Or, std::move(left), andExpression());
    }
    return left;
  }

  std::unique_ptr<Node> andExpression() {
    auto left = unary();
    while (left && isWord("and")) {
      next();
      left = binary(Node::And, std::move(left), unary());
    }
    return left;
  }

  std::unique_ptr<Node> unary() {
    if (isSymbol("!")) {
      next();
      auto operand = unary();
      return operand ? make(Node::Not, std::move(operand)) : nullptr;
    }
    if (isSymbol("(")) {
      next();
      auto inner = orExpression();
      return inner && expectSymbol(")") ? std::move(inner) : nullptr;
    }
    if (isWord("anchor")) return anchor();
    if (isWord("identifier")) return identifier();
    if (isWord("certificate") || isWord("cert")) return certificate();
    return nullptr;
  }

  std::unique_ptr<Node> anchor() {
    next();
    if (!isWord("apple")) return nullptr;
    next();
    if (!isWord("generic")) return make(Node::AnchorApple);
    next();
    return make(Node::AnchorAppleGeneric);
  }

  std::unique_ptr<Node> identifier() {
    next();
    if (isSymbol("=")) next();
    if (token_.kind != Token::Word && token_.kind != Token::String) return nullptr;
    auto node = make(Node::Identifier);
    node->value = token_.text;
    next();
    return node;
  }

  std::unique_ptr<Node> certificate() {
    next();
    long slot = 0;
    if (isWord("leaf")) {
      slot = 0;
    } else if (isWord("root")) {
      slot = -1;
    } else if (!number(&slot)) {
      return nullptr;
    }
    next();
    if (!expectSymbol("[") || token_.kind != Token::Word) return nullptr;
    std::string field = token_.text;
    next();
    if (!expectSymbol("]")) return nullptr;
    if (field.compare(0, 6, "field.") == 0) {
      // A field on its own asks whether it exists, as Apple's own
      // requirements write it (`[field.OID] /* exists */`).
      if (!validOid(field.substr(6)) || isSymbol("=")) return nullptr;
      if (isWord("exists")) next();
      auto node = make(Node::CertificateField);
      node->slot = slot;
      node->value = field.substr(6);
      return node;
    }
    std::string attribute = subjectAttribute(field);
    if (attribute.empty() || !expectSymbol("=") || (token_.kind != Token::String && token_.kind != Token::Word))
      return nullptr;
    auto node = make(Node::CertificateSubject);
    node->slot = slot;
    node->attribute = attribute;
    node->value = token_.text;
    next();
    return node;
  }

  static std::string subjectAttribute(const std::string &field) {
    static const std::pair<const char *, const char *> kAttributes[] = {
        {"subject.CN", "2.5.4.3"}, {"subject.C", "2.5.4.6"},   {"subject.L", "2.5.4.7"},
        {"subject.ST", "2.5.4.8"}, {"subject.O", "2.5.4.10"}, {"subject.OU", "2.5.4.11"}};
    for (const auto &entry : kAttributes)
      if (field == entry.first) return entry.second;
    return std::string();
  }

  static bool validOid(const std::string &oid) {
    bool digit = false;
    for (char c : oid) {
      if (c == '.') {
        if (!digit) return false;
        digit = false;
      } else if (std::isdigit(static_cast<unsigned char>(c))) {
        digit = true;
      } else {
        return false;
      }
    }
    return digit;
  }

  bool number(long *value) {
    if (token_.kind != Token::Word || token_.text.empty() || token_.text.size() > 4) return false;
    char *end = nullptr;
    *value = std::strtol(token_.text.c_str(), &end, 10);
    return *end == '\0' && (std::isdigit(static_cast<unsigned char>(token_.text[0])) || token_.text[0] == '-');
  }

  static std::unique_ptr<Node> make(Node::Kind kind, std::unique_ptr<Node> left = nullptr) {
    auto node = std::make_unique<Node>();
    node->kind = kind;
    node->left = std::move(left);
    return node;
  }

  static std::unique_ptr<Node> binary(Node::Kind kind, std::unique_ptr<Node> left, std::unique_ptr<Node> right) {
    if (!right) return nullptr;
    auto node = make(kind, std::move(left));
    node->right = std::move(right);
    return node;
  }

  bool isWord(const char *word) const { return token_.kind == Token::Word && token_.text == word; }
  bool isSymbol(const char *symbol) const { return token_.kind == Token::Symbol && token_.text == symbol; }
  bool expectSymbol(const char *symbol) {
    if (!isSymbol(symbol)) return false;
    next();
    return true;
  }

  void next() {
    skipBlanksAndComments();
    token_ = Token{Token::End, std::string()};
    if (position_ >= text_.size()) return;
    char c = text_[position_];
    if (c == '"') {
      readString();
    } else if (c == '(' || c == ')' || c == '[' || c == ']' || c == '!' || c == '=') {
      token_ = Token{Token::Symbol, std::string(1, c)};
      ++position_;
    } else if (wordCharacter(c)) {
      size_t start = position_;
      while (position_ < text_.size() && wordCharacter(text_[position_])) ++position_;
      token_ = Token{Token::Word, text_.substr(start, position_ - start)};
    } else {
      failed_ = true;
    }
  }

  static bool wordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' || c == '-';
  }

  void readString() {
    std::string value;
    for (++position_; position_ < text_.size(); ++position_) {
      char c = text_[position_];
      if (c == '"') {
        ++position_;
        token_ = Token{Token::String, value};
        return;
      }
      if (c == '\\' && ++position_ >= text_.size()) break;
      value += text_[position_];
    }
    failed_ = true;  // unterminated
  }

  void skipBlanksAndComments() {
    while (position_ < text_.size()) {
      if (std::isspace(static_cast<unsigned char>(text_[position_]))) {
        ++position_;
      } else if (text_.compare(position_, 2, "/*") == 0) {
        size_t end = text_.find("*/", position_ + 2);
        if (end == std::string::npos) {
          failed_ = true;
          position_ = text_.size();
        } else {
          position_ = end + 2;
        }
      } else if (text_.compare(position_, 2, "//") == 0) {
        size_t end = text_.find('\n', position_);
        position_ = end == std::string::npos ? text_.size() : end + 1;
      } else {
        return;
      }
    }
  }

  const std::string &text_;
  size_t position_ = 0;
  Token token_{Token::End, std::string()};
  bool failed_ = false;
};

const X509Certificate *certificateAt(const CodeSignature &signature, long slot) {
  long size = static_cast<long>(signature.chain().size());
  long index = slot >= 0 ? slot : size + slot;
  return index >= 0 && index < size ? signature.chain()[static_cast<size_t>(index)].get() : nullptr;
}

bool evaluate(const Node &node, const CodeSignature &signature, bool anchored) {
  switch (node.kind) {
    case Node::And:
      return evaluate(*node.left, signature, anchored) && evaluate(*node.right, signature, anchored);
    case Node::Or:
      return evaluate(*node.left, signature, anchored) || evaluate(*node.right, signature, anchored);
    case Node::Not:
      return !evaluate(*node.left, signature, anchored);
    case Node::AnchorAppleGeneric:
      return anchored;
    case Node::AnchorApple:
      // Apple's own code: no developer certificate in its chain.
      if (!anchored) return false;
      for (const auto &certificate : signature.chain())
        if (certificate->hasExtension(kDeveloperIdIntermediate) || certificate->hasExtension(kDeveloperIdLeaf))
          return false;
      return true;
    case Node::Identifier:
      return signature.identifier() == node.value;
    case Node::CertificateField: {
      const X509Certificate *certificate = certificateAt(signature, node.slot);
      return certificate != nullptr && certificate->hasExtension(node.value);
    }
    case Node::CertificateSubject: {
      const X509Certificate *certificate = certificateAt(signature, node.slot);
      if (certificate == nullptr) return false;
      for (const auto &component : certificate->subjectComponents())
        if (component.first == node.attribute && component.second == node.value) return true;
      return false;
    }
  }
  return false;
}

}  // namespace

CodeRequirement::CodeRequirement(std::string text, std::unique_ptr<Node> root)
    : text_(std::move(text)), root_(std::move(root)) {}

CodeRequirement::~CodeRequirement() = default;

std::unique_ptr<CodeRequirement> CodeRequirement::parse(const std::string &text) {
  // Deep nesting would only exhaust the stack.
  if (text.size() > 16384) return nullptr;
  size_t depth = 0, deepest = 0;
  for (char c : text) {
    if (c == '(' || c == '!') deepest = std::max(deepest, ++depth);
    if (c == ')' && depth > 0) --depth;
  }
  if (deepest > 256) return nullptr;
  auto root = Parser(text).requirement();
  if (!root) return nullptr;
  return std::unique_ptr<CodeRequirement>(new CodeRequirement(text, std::move(root)));
}

bool CodeRequirement::satisfiedBy(const CodeSignature &signature, bool anchoredAtSystemRoot) const {
  return evaluate(*root_, signature, anchoredAtSystemRoot);
}

}  // namespace emu::sec
