// Trust policies: the basic X.509, SSL and EAP policies, server or client,
// with an optional name to match. A policy carries the public identifier of
// its kind and the name macOS gives it ("sslServer", "eapClient", ...),
// which trust settings record.

#include <openssl/objects.h>

#include <string>

#include "SecInternal.h"

using emu::Owned;

struct __SecPolicy {
  CFRuntimeBase base;
  Owned<CFStringRef> oid;
  Owned<CFStringRef> name;
  Owned<CFTypeRef> matchName;  // a host name, or for EAP also an array of server names
  bool client = false;
};

namespace {

const __SecPolicy *policyOf(CFTypeRef cf) { return emu::instance<const __SecPolicy>(cf, SecPolicyGetTypeID()); }

bool sameValue(CFTypeRef a, CFTypeRef b) { return a == b || (a != nullptr && b != nullptr && CFEqual(a, b)); }

Boolean policyEqual(CFTypeRef a, CFTypeRef b) {
  auto first = static_cast<const __SecPolicy *>(a);
  auto second = static_cast<const __SecPolicy *>(b);
  return CFEqual(first->oid.get(), second->oid.get()) && first->client == second->client &&
         sameValue(first->matchName.get(), second->matchName.get());
}

CFHashCode policyHash(CFTypeRef cf) { return CFHash(static_cast<const __SecPolicy *>(cf)->oid.get()); }

CFStringRef policyDescription(CFTypeRef cf) {
  auto policy = static_cast<const __SecPolicy *>(cf);
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<SecPolicyRef: oid: %@ name: %@>"), policy->oid.get(),
                                  policy->name.get());
}

const CFRuntimeClass kPolicyClass = {"SecPolicy",      emu::cfFinalize<__SecPolicy>, policyEqual, policyHash, nullptr,
                                     policyDescription};

// The names macOS gives the policies, by kind and side.
CFStringRef nameFor(CFStringRef oid, bool client) {
  if (CFEqual(oid, kSecPolicyAppleSSL)) return client ? CFSTR("sslClient") : CFSTR("sslServer");
  if (CFEqual(oid, kSecPolicyAppleEAP)) return client ? CFSTR("eapClient") : CFSTR("eapServer");
  return CFSTR("basicX509");
}

bool emulated(CFTypeRef oid) {
  return emu::isString(oid) && (CFEqual(oid, kSecPolicyAppleX509Basic) || CFEqual(oid, kSecPolicyAppleSSL) ||
                                CFEqual(oid, kSecPolicyAppleEAP));
}

}  // namespace

namespace emu::sec {

CFStringRef policyName(SecPolicyRef policy) { return policyOf(policy)->name.get(); }

CFDataRef copyPolicyOIDData(SecPolicyRef policy) {
  ASN1_OBJECT *object = OBJ_txt2obj(utf8(policyOf(policy)->oid.get()).c_str(), 1);
  CFDataRef data = CFDataCreate(nullptr, OBJ_get0_data(object), static_cast<CFIndex>(OBJ_length(object)));
  ASN1_OBJECT_free(object);
  return data;
}

SecPolicyRef policyCreateWithOIDData(CFDataRef data) {
  ASN1_OBJECT *object = ASN1_OBJECT_create(NID_undef, const_cast<unsigned char *>(CFDataGetBytePtr(data)),
                                           static_cast<int>(CFDataGetLength(data)), nullptr, nullptr);
  char text[128] = "";
  if (object != nullptr) OBJ_obj2txt(text, sizeof(text), object, 1);
  ASN1_OBJECT_free(object);
  Owned<CFStringRef> oid(createString(text));
  return SecPolicyCreateWithProperties(oid.get(), nullptr);
}

}  // namespace emu::sec

CFTypeID SecPolicyGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kPolicyClass);
  return typeID;
}

SecPolicyRef SecPolicyCreateWithProperties(CFTypeRef policyIdentifier, CFDictionaryRef properties) {
  if (!emulated(policyIdentifier) || (properties != nullptr && !emu::isDictionary(properties))) return nullptr;
  auto oid = static_cast<CFStringRef>(policyIdentifier);
  CFTypeRef name = properties != nullptr ? CFDictionaryGetValue(properties, kSecPolicyName) : nullptr;
  CFTypeRef client = properties != nullptr ? CFDictionaryGetValue(properties, kSecPolicyClient) : nullptr;
  bool eap = CFEqual(oid, kSecPolicyAppleEAP);
  // Only SSL and EAP policies match a name; EAP takes a list of them too.
  if (name != nullptr && (CFEqual(oid, kSecPolicyAppleX509Basic) ||
                          !(emu::isString(name) || (eap && emu::isA(name, CFArrayGetTypeID()))))) {
    return nullptr;
  }
  if (client != nullptr && !emu::isA(client, CFBooleanGetTypeID())) return nullptr;
  auto *policy = emu::cfCreate<__SecPolicy>(SecPolicyGetTypeID());
  policy->client = client != nullptr && !CFEqual(oid, kSecPolicyAppleX509Basic) &&
                   CFBooleanGetValue(static_cast<CFBooleanRef>(client));
  policy->oid.reset(static_cast<CFStringRef>(CFRetain(oid)));
  policy->name.reset(static_cast<CFStringRef>(CFRetain(nameFor(oid, policy->client))));
  if (name != nullptr) policy->matchName.reset(CFRetain(name));
  return policy;
}

SecPolicyRef SecPolicyCreateWithOID(CFTypeRef policyOID) { return SecPolicyCreateWithProperties(policyOID, nullptr); }

SecPolicyRef SecPolicyCreateBasicX509(void) { return SecPolicyCreateWithProperties(kSecPolicyAppleX509Basic, nullptr); }

SecPolicyRef SecPolicyCreateSSL(Boolean server, CFStringRef hostname) {
  Owned<CFMutableDictionaryRef> properties(emu::createMutableDictionary());
  if (hostname != nullptr) CFDictionarySetValue(properties.get(), kSecPolicyName, hostname);
  CFDictionarySetValue(properties.get(), kSecPolicyClient, server ? kCFBooleanFalse : kCFBooleanTrue);
  return SecPolicyCreateWithProperties(kSecPolicyAppleSSL, properties.get());
}

CFDictionaryRef SecPolicyCopyProperties(SecPolicyRef policyRef) {
  const __SecPolicy *policy = policyOf(policyRef);
  if (policy == nullptr) return nullptr;
  CFMutableDictionaryRef properties = emu::createMutableDictionary();
  CFDictionarySetValue(properties, kSecPolicyOid, policy->oid.get());
  if (policy->matchName) CFDictionarySetValue(properties, kSecPolicyName, policy->matchName.get());
  if (policy->client) CFDictionarySetValue(properties, kSecPolicyClient, kCFBooleanTrue);
  return properties;
}
