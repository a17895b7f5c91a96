// CFNumber and CFBoolean. A number keeps the canonical fixed-width type of the
// type it was created with (kCFNumberIntType becomes kCFNumberSInt32Type, ...),
// which is what CFNumberGetType reports. Integers are stored as 64 bits,
// Float32 as float and Float64 as double.

#include <cfloat>
#include <cmath>
#include <cstring>

#include "CFInternal.h"

struct __CFNumber {
  CFRuntimeBase base;
  CFNumberType type;  // canonical
  union {
    int64_t integer;
    float float32;
    double float64;
  } value;
};

struct __CFBoolean {
  CFRuntimeBase base;
  bool value;
};

namespace emu {
namespace {

// The canonical type of each public type, indexed by CFNumberType (LP64).
const CFNumberType kCanonicalType[kCFNumberMaxType + 1] = {
    CFNumberType(0),
    kCFNumberSInt8Type,   kCFNumberSInt16Type,  kCFNumberSInt32Type,  kCFNumberSInt64Type,
    kCFNumberFloat32Type, kCFNumberFloat64Type, kCFNumberSInt8Type,   kCFNumberSInt16Type,
    kCFNumberSInt32Type,  kCFNumberSInt64Type,  kCFNumberSInt64Type,  kCFNumberFloat32Type,
    kCFNumberFloat64Type, kCFNumberSInt64Type,  kCFNumberSInt64Type,  kCFNumberFloat64Type,
};

CFNumberType canonical(CFNumberType type, const char *function) {
  if (type < kCFNumberSInt8Type || type > kCFNumberMaxType) fatal("%s() called with bad number type %ld", function, type);
  return kCanonicalType[type];
}

bool isFloat(CFNumberType canonicalType) {
  return canonicalType == kCFNumberFloat32Type || canonicalType == kCFNumberFloat64Type;
}

const __CFNumber *numberArg(CFNumberRef number, const char *function) {
  requireType(number, kNumberTypeID, function);
  return number;
}

double asDouble(const __CFNumber *n) {
  return n->type == kCFNumberFloat32Type ? n->value.float32 : n->value.float64;
}

// Float to integer the way the Mac's arm64 hardware converts: truncation,
// saturating at the limits of `bits`, NaN becoming 0.
int64_t truncateSaturating(double d, int bits) {
  if (std::isnan(d)) return 0;
  double limit = std::ldexp(1.0, bits - 1);
  if (d >= limit) return bits == 64 ? INT64_MAX : (int64_t{1} << (bits - 1)) - 1;
  if (d < -limit) return bits == 64 ? INT64_MIN : -(int64_t{1} << (bits - 1));
  return static_cast<int64_t>(d);
}

template <typename T>
void store(void *out, T value) {
  std::memcpy(out, &value, sizeof value);
}

// Conversions keep the Mac's cast semantics: the value passed back is the C
// cast of the stored value, and the result says whether that was lossless.
// For 8- and 16-bit targets, integers that fit the unsigned range also count
// as lossless, since callers store small unsigned values in signed numbers.
bool getValue(const __CFNumber *n, CFNumberType target, void *out) {
  bool fromFloat = isFloat(n->type);
  int64_t i = n->value.integer;
  double d = fromFloat ? asDouble(n) : 0.0;
  switch (target) {
    case kCFNumberSInt8Type:
    case kCFNumberSInt16Type:
    case kCFNumberSInt32Type: {
      int bits = target == kCFNumberSInt8Type ? 8 : target == kCFNumberSInt16Type ? 16 : 32;
      int64_t source = fromFloat ? truncateSaturating(d, 32) : i;
      int64_t result = bits == 8 ? int64_t(int8_t(source)) : bits == 16 ? int64_t(int16_t(source)) : int64_t(int32_t(source));
      if (bits == 8) store(out, int8_t(result));
      if (bits == 16) store(out, int16_t(result));
      if (bits == 32) store(out, int32_t(result));
      if (fromFloat) return double(result) == d;
      return result == i || (bits < 32 && (i >> bits) == 0);
    }
    case kCFNumberSInt64Type: {
      int64_t result = fromFloat ? truncateSaturating(d, 64) : i;
      store(out, result);
      return !fromFloat || static_cast<long double>(result) == d;
    }
    case kCFNumberFloat32Type: {
      if (n->type == kCFNumberFloat32Type) return store(out, n->value.float32), true;
      float result;
      if (fromFloat) {
        // Out of range becomes infinity, as the hardware rounds.
        result = std::fabs(d) > FLT_MAX && std::isfinite(d) ? (d > 0 ? INFINITY : -INFINITY) : static_cast<float>(d);
        store(out, result);
        return double(result) == d;
      }
      result = static_cast<float>(i);
      store(out, result);
      return static_cast<long double>(result) == static_cast<long double>(i);
    }
    case kCFNumberFloat64Type: {
      if (n->type == kCFNumberFloat64Type) return store(out, n->value.float64), true;
      double result = fromFloat ? d : static_cast<double>(i);
      store(out, result);
      if (fromFloat) return !std::isnan(d);
      return static_cast<long double>(result) == static_cast<long double>(i);
    }
    default:  // only canonical types arrive here
      break;
  }
  return false;
}

CFComparisonResult compareDoubles(double a, double b) {
  double signA = std::copysign(1.0, a), signB = std::copysign(1.0, b);
  if (std::isnan(a) && std::isnan(b)) return kCFCompareEqualTo;
  if (std::isnan(a)) return signB < 0 ? kCFCompareGreaterThan : kCFCompareLessThan;
  if (std::isnan(b)) return signA < 0 ? kCFCompareLessThan : kCFCompareGreaterThan;
  if (signA != signB) return signA < signB ? kCFCompareLessThan : kCFCompareGreaterThan;
  if (a != b) return a < b ? kCFCompareLessThan : kCFCompareGreaterThan;
  return kCFCompareEqualTo;
}

// NaN sorts below non-negative integers and above negative ones; -0.0 sorts
// below integer 0.
CFComparisonResult compareDoubleToInteger(double d, int64_t i) {
  if (std::isnan(d)) return i < 0 ? kCFCompareGreaterThan : kCFCompareLessThan;
  long double x = d, y = i;
  if (x != y) return x < y ? kCFCompareLessThan : kCFCompareGreaterThan;
  if (d == 0 && std::signbit(d)) return kCFCompareLessThan;
  return kCFCompareEqualTo;
}

Boolean numberEqual(CFTypeRef a, CFTypeRef b) {
  return CFNumberCompare(static_cast<CFNumberRef>(a), static_cast<CFNumberRef>(b), nullptr) == kCFCompareEqualTo;
}

// Equal numbers hash alike whatever their type: 3 and 3.0 are equal.
CFHashCode numberHash(CFTypeRef cf) {
  auto n = static_cast<CFNumberRef>(cf);
  if (!isFloat(n->type)) return static_cast<CFHashCode>(n->value.integer) * 2654435761u;
  double d = asDouble(n);
  if (d == std::trunc(d) && std::fabs(d) < 9.2e18) return static_cast<CFHashCode>(static_cast<int64_t>(d)) * 2654435761u;
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return static_cast<CFHashCode>(bits);
}

std::string formatted(const __CFNumber *n) {
  if (!isFloat(n->type)) return strprintf("%lld", static_cast<long long>(n->value.integer));
  double d = asDouble(n);
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d > 0 ? "+infinity" : "-infinity";
  if (d == 0) return "0.0";
  return strprintf("%.*g", DBL_DIG + 2, d);
}

CFStringRef numberCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  return stringCreateUTF8(formatted(static_cast<CFNumberRef>(cf)));
}

const char *typeName(CFNumberType type) {
  switch (type) {
    case kCFNumberSInt8Type: return "kCFNumberSInt8Type";
    case kCFNumberSInt16Type: return "kCFNumberSInt16Type";
    case kCFNumberSInt32Type: return "kCFNumberSInt32Type";
    case kCFNumberSInt64Type: return "kCFNumberSInt64Type";
    case kCFNumberFloat32Type: return "kCFNumberFloat32Type";
    default: return "kCFNumberFloat64Type";
  }
}

CFStringRef numberCopyDebugDesc(CFTypeRef cf) {
  auto n = static_cast<CFNumberRef>(cf);
  std::string value;
  if (!isFloat(n->type)) {
    value = strprintf("%+lld", static_cast<long long>(n->value.integer));
  } else {
    double d = asDouble(n);
    if (std::isnan(d)) value = "nan";
    else if (std::isinf(d)) value = d > 0 ? "+infinity" : "-infinity";
    else if (d == 0) value = std::signbit(d) ? "-0.0" : "+0.0";
    else value = strprintf("%+.*f", n->type == kCFNumberFloat64Type ? 20 : 10, d);
  }
  return stringCreateUTF8(descriptionPrefix(cf) + "{value = " + value + ", type = " + typeName(n->type) + "}");
}

CFStringRef booleanCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) {
  return static_cast<CFBooleanRef>(cf)->value ? CFSTR("true") : CFSTR("false");
}

CFStringRef booleanCopyDebugDesc(CFTypeRef cf) {
  return stringCreateUTF8(descriptionPrefix(cf) + "{value = " + (static_cast<CFBooleanRef>(cf)->value ? "true" : "false") + "}");
}

const __CFBoolean kTrue{constantBase(kBooleanTypeID), true};
const __CFBoolean kFalse{constantBase(kBooleanTypeID), false};

}  // namespace

const CFRuntimeClass kNumberClass = {"CFNumber", nullptr, numberEqual, numberHash, numberCopyFormattingDesc,
                                     numberCopyDebugDesc};
const CFRuntimeClass kBooleanClass = {"CFBoolean", nullptr, nullptr, nullptr, booleanCopyFormattingDesc,
                                      booleanCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

const CFBooleanRef kCFBooleanTrue = &kTrue;
const CFBooleanRef kCFBooleanFalse = &kFalse;

CFTypeID CFBooleanGetTypeID(void) { return kBooleanTypeID; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  requireType(boolean, kBooleanTypeID, "CFBooleanGetValue");
  return boolean->value;
}

CFTypeID CFNumberGetTypeID(void) { return kNumberTypeID; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void *valuePtr) {
  CFNumberType type = canonical(theType, "CFNumberCreate");
  auto *number = static_cast<__CFNumber *>(const_cast<void *>(
      _CFRuntimeCreateInstance(nullptr, kNumberTypeID, sizeof(__CFNumber) - sizeof(CFRuntimeBase))));
  number->type = type;
  switch (type) {
    case kCFNumberSInt8Type: number->value.integer = *static_cast<const int8_t *>(valuePtr); break;
    case kCFNumberSInt16Type: number->value.integer = *static_cast<const int16_t *>(valuePtr); break;
    case kCFNumberSInt32Type: number->value.integer = *static_cast<const int32_t *>(valuePtr); break;
    case kCFNumberSInt64Type: number->value.integer = *static_cast<const int64_t *>(valuePtr); break;
    case kCFNumberFloat32Type: number->value.float32 = *static_cast<const float *>(valuePtr); break;
    case kCFNumberFloat64Type: number->value.float64 = *static_cast<const double *>(valuePtr); break;
    default: break;  // canonical() admits no other
  }
  return number;
}

CFNumberType CFNumberGetType(CFNumberRef number) { return numberArg(number, "CFNumberGetType")->type; }

CFIndex CFNumberGetByteSize(CFNumberRef number) {
  switch (numberArg(number, "CFNumberGetByteSize")->type) {
    case kCFNumberSInt8Type: return 1;
    case kCFNumberSInt16Type: return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type: return 4;
    default: return 8;
  }
}

Boolean CFNumberIsFloatType(CFNumberRef number) { return isFloat(numberArg(number, "CFNumberIsFloatType")->type); }

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr) {
  const __CFNumber *n = numberArg(number, "CFNumberGetValue");
  alignas(16) unsigned char scratch[16];
  return getValue(n, canonical(theType, "CFNumberGetValue"), valuePtr ? valuePtr : scratch);
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void *) {
  const __CFNumber *a = numberArg(number, "CFNumberCompare");
  const __CFNumber *b = numberArg(otherNumber, "CFNumberCompare");
  bool floatA = isFloat(a->type), floatB = isFloat(b->type);
  if (!floatA && !floatB) {
    if (a->value.integer == b->value.integer) return kCFCompareEqualTo;
    return a->value.integer < b->value.integer ? kCFCompareLessThan : kCFCompareGreaterThan;
  }
  if (floatA && floatB) return compareDoubles(asDouble(a), asDouble(b));
  if (floatA) return compareDoubleToInteger(asDouble(a), b->value.integer);
  return static_cast<CFComparisonResult>(-compareDoubleToInteger(asDouble(b), a->value.integer));
}

}  // extern "C"
