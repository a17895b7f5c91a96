#include "Wire.h"

#include <cstring>

#include "Array.h"
#include "Bytes.h"
#include "Dictionary.h"
#include "Immortals.h"
#include "Scalar.h"

namespace emu::xpc {
namespace {

enum Tag : uint8_t {
  kNull = 1,
  kBool = 2,
  kInt64 = 3,
  kUint64 = 4,
  kDouble = 5,
  kString = 6,
  kData = 7,
  kArray = 8,
  kDictionary = 9,
};

constexpr uint8_t kWantsReply = 1;
constexpr size_t kHeaderSize = 8 + 8 + 1;
// Bounds what a peer can make us allocate or recurse through.
constexpr uint32_t kMaxBody = 16u << 20;
constexpr int kMaxDepth = 64;

void putInt(std::string& out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xff);
}

void putBytes(std::string& out, const std::string& bytes) {
  putInt(out, bytes.size(), 4);
  out += bytes;
}

bool put(std::string& out, const Object& object, int depth) {
  if (depth > kMaxDepth) return false;
  xpc_type_t type = object.type();
  if (type == XPC_TYPE_NULL) {
    out += static_cast<char>(kNull);
  } else if (type == XPC_TYPE_BOOL) {
    out += static_cast<char>(kBool);
    out += static_cast<char>(static_cast<const Bool&>(object).value());
  } else if (type == XPC_TYPE_INT64) {
    out += static_cast<char>(kInt64);
    putInt(out, static_cast<uint64_t>(static_cast<const Int64&>(object).value()), 8);
  } else if (type == XPC_TYPE_UINT64) {
    out += static_cast<char>(kUint64);
    putInt(out, static_cast<const Uint64&>(object).value(), 8);
  } else if (type == XPC_TYPE_DOUBLE) {
    double value = static_cast<const Double&>(object).value();
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    out += static_cast<char>(kDouble);
    putInt(out, bits, 8);
  } else if (type == XPC_TYPE_STRING || type == XPC_TYPE_DATA) {
    out += static_cast<char>(type == XPC_TYPE_STRING ? kString : kData);
    putBytes(out, static_cast<const Bytes&>(object).bytes());
  } else if (type == XPC_TYPE_ARRAY) {
    const auto& items = static_cast<const Array&>(object).items();
    out += static_cast<char>(kArray);
    putInt(out, items.size(), 4);
    for (const Object* item : items) {
      if (!put(out, *item, depth + 1)) return false;
    }
  } else if (type == XPC_TYPE_DICTIONARY) {
    const auto& entries = static_cast<const Dictionary&>(object).entries();
    out += static_cast<char>(kDictionary);
    putInt(out, entries.size(), 4);
    for (const auto& [key, value] : entries) {
      putBytes(out, key);
      if (!put(out, *value, depth + 1)) return false;
    }
  } else {
    return false;
  }
  return true;
}

// Reading side: every step checks the bytes are there before touching them.
struct Cursor {
  const unsigned char* at;
  size_t left;
};

bool getInt(Cursor& in, uint64_t& value, int bytes) {
  if (in.left < static_cast<size_t>(bytes)) return false;
  value = 0;
  for (int i = 0; i < bytes; ++i) value |= static_cast<uint64_t>(in.at[i]) << (8 * i);
  in.at += bytes;
  in.left -= static_cast<size_t>(bytes);
  return true;
}

bool getBytes(Cursor& in, std::string& bytes) {
  uint64_t length;
  if (!getInt(in, length, 4) || length > in.left) return false;
  bytes.assign(reinterpret_cast<const char*>(in.at), length);
  in.at += length;
  in.left -= length;
  return true;
}

// Strings are C strings on both ends; an embedded NUL would make them lie.
bool getString(Cursor& in, std::string& text) {
  return getBytes(in, text) && text.find('\0') == std::string::npos;
}

Object* get(Cursor& in, int depth);

Object* getArray(Cursor& in, int depth) {
  uint64_t count;
  if (!getInt(in, count, 4)) return nullptr;
  auto* array = new Array;
  for (uint64_t i = 0; i < count; ++i) {
    Object* item = get(in, depth + 1);
    if (!item) {
      array->release();
      return nullptr;
    }
    array->append(item);
    item->release();
  }
  return array;
}

Object* getDictionary(Cursor& in, int depth) {
  uint64_t count;
  if (!getInt(in, count, 4)) return nullptr;
  auto* dict = new Dictionary;
  std::string key;
  for (uint64_t i = 0; i < count; ++i) {
    Object* value = getString(in, key) ? get(in, depth + 1) : nullptr;
    if (!value) {
      dict->release();
      return nullptr;
    }
    dict->set(key.c_str(), value);
    value->release();
  }
  return dict;
}

Object* get(Cursor& in, int depth) {
  uint64_t tag, value;
  if (depth > kMaxDepth || !getInt(in, tag, 1)) return nullptr;
  std::string bytes;
  switch (tag) {
    case kNull:
      return Immortals::null();
    case kBool:
      if (!getInt(in, value, 1) || value > 1) return nullptr;
      return Object::from(xpc_bool_create(value == 1));
    case kInt64:
      return getInt(in, value, 8) ? new Int64(XPC_TYPE_INT64, static_cast<int64_t>(value)) : nullptr;
    case kUint64:
      return getInt(in, value, 8) ? new Uint64(XPC_TYPE_UINT64, value) : nullptr;
    case kDouble: {
      if (!getInt(in, value, 8)) return nullptr;
      double number;
      std::memcpy(&number, &value, sizeof number);
      return new Double(XPC_TYPE_DOUBLE, number);
    }
    case kString:
      return getString(in, bytes) ? new Bytes(XPC_TYPE_STRING, bytes.data(), bytes.size()) : nullptr;
    case kData:
      return getBytes(in, bytes) ? new Bytes(XPC_TYPE_DATA, bytes.data(), bytes.size()) : nullptr;
    case kArray:
      return getArray(in, depth);
    case kDictionary:
      return getDictionary(in, depth);
    default:
      return nullptr;
  }
}

}  // namespace

bool Wire::encode(const Header& header, const Object& message, std::string& frame) {
  std::string body;
  putInt(body, header.id, 8);
  putInt(body, header.replyTo, 8);
  body += static_cast<char>(header.wantsReply ? kWantsReply : 0);
  if (!put(body, message, 0) || body.size() > kMaxBody) return false;
  putInt(frame, body.size(), 4);
  frame += body;
  return true;
}

uint32_t Wire::bodyLength(const unsigned char (&prefix)[kPrefixSize]) {
  uint32_t length = 0;
  for (size_t i = 0; i < kPrefixSize; ++i) length |= static_cast<uint32_t>(prefix[i]) << (8 * i);
  return length > kHeaderSize && length <= kMaxBody ? length : 0;
}

Object* Wire::decode(const std::string& body, Header& header) {
  Cursor in{reinterpret_cast<const unsigned char*>(body.data()), body.size()};
  uint64_t flags;
  if (!getInt(in, header.id, 8) || !getInt(in, header.replyTo, 8) || !getInt(in, flags, 1) ||
      (flags & ~uint64_t{kWantsReply}) != 0) {
    return nullptr;
  }
  header.wantsReply = flags & kWantsReply;
  Object* message = get(in, 0);
  if (message && in.left != 0) {
    message->release();
    return nullptr;
  }
  return message;
}

}  // namespace emu::xpc
