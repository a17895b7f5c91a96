// CFError. Descriptions follow the Mac's lookup order: the user info first,
// then what the error's domain supplies (POSIX: strerror texts; Cocoa: the
// Foundation descriptions, as the helper always has Foundation loaded), and
// finally the generic "The operation couldn’t be completed." sentences.

#include <cstring>
#include <initializer_list>

#include "CFInternal.h"

struct __CFError {
  CFRuntimeBase base;
  CFStringRef domain;
  CFIndex code;
  CFDictionaryRef userInfo;
};

namespace emu {
namespace {

const __CFError *errorArg(CFErrorRef err, const char *function) {
  requireType(err, kErrorTypeID, function);
  return err;
}

CFStringRef debugDescriptionKey() { return CFSTR("NSDebugDescription"); }

// Foundation's descriptions of the Cocoa error codes CF itself produces.
CFStringRef cocoaDescription(CFIndex code) {
  switch (code) {
    case kCFPropertyListReadCorruptError:
      return CFSTR("The data couldn\u2019t be read because it isn\u2019t in the correct format.");
    default:
      return nullptr;
  }
}

// The value a domain supplies for a user-info key; +1 or NULL.
CFStringRef copyFromDomain(const __CFError *error, CFStringRef key) {
  if (CFEqual(error->domain, kCFErrorDomainPOSIX)) {
    if (!CFEqual(key, kCFErrorDescriptionKey) && !CFEqual(key, kCFErrorLocalizedFailureReasonKey)) return nullptr;
    const char *text = std::strerror(static_cast<int>(error->code));
    return text && *text ? CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8) : nullptr;
  }
  if (CFEqual(error->domain, kCFErrorDomainCocoa) && CFEqual(key, kCFErrorLocalizedDescriptionKey)) {
    CFStringRef description = cocoaDescription(error->code);
    return description ? static_cast<CFStringRef>(CFRetain(description)) : nullptr;
  }
  return nullptr;
}

CFStringRef copyFromUserInfo(const __CFError *error, CFStringRef key) {
  CFTypeRef value = CFDictionaryGetValue(error->userInfo, key);
  return value && CFGetTypeID(value) == kStringTypeID ? static_cast<CFStringRef>(CFRetain(value)) : nullptr;
}

CFStringRef copyValue(const __CFError *error, CFStringRef key) {
  CFStringRef value = copyFromUserInfo(error, key);
  return value ? value : copyFromDomain(error, key);
}

// How the generic sentences name the well-known domains.
CFStringRef domainName(CFStringRef domain) {
  if (CFEqual(domain, kCFErrorDomainPOSIX)) return CFSTR("POSIX");
  if (CFEqual(domain, kCFErrorDomainOSStatus)) return CFSTR("OSStatus");
  if (CFEqual(domain, kCFErrorDomainMach)) return CFSTR("Mach");
  if (CFEqual(domain, kCFErrorDomainCocoa)) return CFSTR("Cocoa");
  return domain;
}

CFStringRef copyLocalizedDescription(const __CFError *error) {
  // A localized description or failure in the user info beats one the domain
  // supplies.
  for (auto lookup : {copyFromUserInfo, copyFromDomain}) {
    if (CFStringRef description = lookup(error, kCFErrorLocalizedDescriptionKey)) return description;
    if (CFStringRef failure = lookup(error, kCFErrorLocalizedFailureKey)) {
      CFStringRef reason = copyValue(error, kCFErrorLocalizedFailureReasonKey);
      if (!reason) return failure;
      CFStringRef result = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %@"), failure, reason);
      CFRelease(failure);
      CFRelease(reason);
      return result;
    }
  }
  CFStringRef result;
  if (CFStringRef reason = copyValue(error, kCFErrorLocalizedFailureReasonKey)) {
    result = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("The operation couldn\u2019t be completed. %@"), reason);
    CFRelease(reason);
  } else if (CFStringRef description = copyValue(error, kCFErrorDescriptionKey)) {
    result = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("The operation couldn\u2019t be completed. (%@ error %ld - %@)"),
                                      domainName(error->domain), static_cast<long>(error->code), description);
    CFRelease(description);
  } else {
    result = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("The operation couldn\u2019t be completed. (%@ error %ld.)"),
                                      domainName(error->domain), static_cast<long>(error->code));
  }
  return result;
}

// Error Domain=<domain> Code=<code> "<description>" (<debug description>) UserInfo={key=value, ...}
// Underlying errors are shown nested, three levels deep.
void appendDebugDescription(CFMutableStringRef out, const __CFError *error, int depth) {
  CFStringRef debug = copyValue(error, debugDescriptionKey());
  CFStringRef description = copyValue(error, kCFErrorDescriptionKey);
  if (!description) {
    description = debug;
    debug = nullptr;
    if (!description) description = copyValue(error, kCFErrorLocalizedDescriptionKey);
    if (!description) description = copyValue(error, kCFErrorLocalizedFailureReasonKey);
  }
  CFStringAppendFormat(out, nullptr, CFSTR("Error Domain=%@ Code=%ld \"%@\""), error->domain,
                       static_cast<long>(error->code), description);
  if (description && debug && CFStringGetLength(debug) > 0 && !CFEqual(description, debug))
    CFStringAppendFormat(out, nullptr, CFSTR(" (%@)"), debug);
  if (CFDictionaryGetCount(error->userInfo) > 0) {
    if (depth < 3) {
      CFStringAppend(out, CFSTR(" UserInfo={"));
      bool first = true;
      struct Context {
        CFMutableStringRef out;
        bool *first;
        int depth;
      } context{out, &first, depth};
      CFDictionaryApplyFunction(
          error->userInfo,
          [](const void *key, const void *value, void *raw) {
            auto *c = static_cast<Context *>(raw);
            if (!*c->first) CFStringAppend(c->out, CFSTR(", "));
            *c->first = false;
            if (CFEqual(key, kCFErrorUnderlyingErrorKey) && CFGetTypeID(value) == kErrorTypeID) {
              CFStringAppendFormat(c->out, nullptr, CFSTR("%@=%p {"), key, value);
              appendDebugDescription(c->out, static_cast<const __CFError *>(value), c->depth + 1);
              CFStringAppend(c->out, CFSTR("}"));
            } else {
              CFStringAppendFormat(c->out, nullptr, CFSTR("%@=%@"), key, value);
            }
          },
          &context);
      CFStringAppend(out, CFSTR("}"));
    } else {
      CFStringAppendFormat(out, nullptr, CFSTR(" UserInfo=%p (not displayed)"), error->userInfo);
    }
  }
  if (debug) CFRelease(debug);
  if (description) CFRelease(description);
}

CFStringRef errorCopyDebugDesc(CFTypeRef cf) {
  CFMutableStringRef out = CFStringCreateMutable(nullptr, 0);
  appendDebugDescription(out, static_cast<const __CFError *>(cf), 0);
  CFStringRef result = CFStringCreateCopy(nullptr, out);
  CFRelease(out);
  return result;
}

CFStringRef errorCopyFormattingDesc(CFTypeRef cf, CFDictionaryRef) { return errorCopyDebugDesc(cf); }

void errorFinalize(CFTypeRef cf) {
  auto error = static_cast<const __CFError *>(cf);
  CFRelease(error->domain);
  CFRelease(error->userInfo);
}

Boolean errorEqual(CFTypeRef a, CFTypeRef b) {
  auto x = static_cast<const __CFError *>(a), y = static_cast<const __CFError *>(b);
  return x->code == y->code && CFEqual(x->domain, y->domain) && CFEqual(x->userInfo, y->userInfo);
}

CFHashCode errorHash(CFTypeRef cf) {
  auto error = static_cast<const __CFError *>(cf);
  return CFHash(error->domain) + static_cast<CFHashCode>(error->code);
}

CFErrorRef create(CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
  requireType(domain, kStringTypeID, "CFErrorCreate");
  auto *error = static_cast<__CFError *>(
      const_cast<void *>(_CFRuntimeCreateInstance(nullptr, kErrorTypeID, sizeof(__CFError) - sizeof(CFRuntimeBase))));
  error->domain = CFStringCreateCopy(nullptr, domain);
  error->code = code;
  error->userInfo = userInfo;
  return error;
}

}  // namespace

const CFRuntimeClass kErrorClass = {"CFError", errorFinalize, errorEqual, errorHash, errorCopyFormattingDesc,
                                    errorCopyDebugDesc};

}  // namespace emu

using namespace emu;

extern "C" {

CFTypeID CFErrorGetTypeID(void) { return kErrorTypeID; }

CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
  CFDictionaryRef info = userInfo ? CFDictionaryCreateCopy(nullptr, userInfo)
                                  : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks);
  return create(domain, code, info);
}

CFErrorRef CFErrorCreateWithUserInfoKeysAndValues(CFAllocatorRef, CFErrorDomain domain, CFIndex code,
                                                  const void *const *userInfoKeys, const void *const *userInfoValues,
                                                  CFIndex numUserInfoValues) {
  return create(domain, code,
                CFDictionaryCreate(nullptr, const_cast<const void **>(userInfoKeys),
                                   const_cast<const void **>(userInfoValues), numUserInfoValues,
                                   &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err) { return errorArg(err, "CFErrorGetDomain")->domain; }

CFIndex CFErrorGetCode(CFErrorRef err) { return errorArg(err, "CFErrorGetCode")->code; }

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err) {
  return static_cast<CFDictionaryRef>(CFRetain(errorArg(err, "CFErrorCopyUserInfo")->userInfo));
}

CFStringRef CFErrorCopyDescription(CFErrorRef err) {
  return copyLocalizedDescription(errorArg(err, "CFErrorCopyDescription"));
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err) {
  return copyValue(errorArg(err, "CFErrorCopyFailureReason"), kCFErrorLocalizedFailureReasonKey);
}

CFStringRef CFErrorCopyRecoverySuggestion(CFErrorRef err) {
  return copyValue(errorArg(err, "CFErrorCopyRecoverySuggestion"), kCFErrorLocalizedRecoverySuggestionKey);
}

}  // extern "C"
