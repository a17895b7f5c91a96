#pragma once
#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "Object.h"

namespace emu::xpc {

// String keys to retained objects. Also the shape of the XPC_ERROR_* objects,
// which differ only in type. A dictionary that arrived over a connection
// remembers it, and whether the sender waits for a reply.
class Dictionary : public Object {
 public:
  explicit Dictionary(xpc_type_t type = XPC_TYPE_DICTIONARY) : Object(type) {}

  const std::map<std::string, Object*>& entries() const { return entries_; }
  Object* get(const char* key) const;
  // A null value removes the key.
  void set(const char* key, Object* value);

  // Called on arrival: `connection` it came over, and the message id the
  // sender waits a reply to (0 if none).
  void setOrigin(Object* connection, uint64_t awaitedReply);
  Object* remoteConnection() const { return remote_; }
  // A reply to this message, at most once; null if nobody waits for one.
  Dictionary* createReply();
  // The id of the message this one answers, 0 if it is not a reply.
  uint64_t inReplyTo() const { return inReplyTo_; }

  bool equals(const Object& other) const override;
  size_t hash() const override;
  void describe(std::string& out, int depth) const override;

 private:
  ~Dictionary() override;

  std::map<std::string, Object*> entries_;
  Object* remote_ = nullptr;  // retained
  std::atomic<uint64_t> awaitedReply_{0};
  uint64_t inReplyTo_ = 0;
};

}  // namespace emu::xpc
