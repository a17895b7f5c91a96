// Preferences sessions. A session reads its file on first use and keeps the
// values until it is synchronized. Writers exclude each other with an
// exclusive flock on a lock file beside the preferences ("<file>-lock"),
// which the holder unlinks when it lets go; a waiter that then finds it
// holds an unlinked file tries again. A commit writes "<file>-new" and renames
// it over the file, so readers see the old or the new file, never a part.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "SCInternal.h"

using emu::sc::Owned;

struct __SCPreferences {
  CFRuntimeBase base;
  Owned<CFStringRef> name;
  Owned<CFStringRef> prefsID;
  std::string path;
  bool authorized = false;  // created with an authorization, which stands in for root
  bool accessed = false;    // values and signature are those of the file as read
  bool changed = false;     // values differ from what is stored
  bool locked = false;
  int lockFD = -1;
  Owned<CFMutableDictionaryRef> values;
  Owned<CFDataRef> signature;

  ~__SCPreferences() { releaseLock(); }

  std::string lockPath() const { return path + "-lock"; }

  void releaseLock() {
    if (lockFD != -1) {
      unlink(lockPath().c_str());
      close(lockFD);
      lockFD = -1;
    }
    locked = false;
  }
};

namespace {

// As the Mac describes a session, so that logs say which one it is.
CFStringRef copyDescription(CFTypeRef cf) {
  auto p = static_cast<const __SCPreferences *>(cf);
  return CFStringCreateWithFormat(
      nullptr, nullptr, CFSTR("<SCPreferences %p [%p]> {name = %@, id = %@, path = %s%s%s%s}"), cf, CFGetAllocator(cf),
      p->name ? p->name.get() : CFSTR(""), p->prefsID ? p->prefsID.get() : CFSTR("[default]"), p->path.c_str(),
      p->accessed ? ", accessed" : "", p->changed ? ", changed" : "", p->locked ? ", locked" : "");
}

const CFRuntimeClass kPreferencesClass = {"SCPreferences", emu::cfFinalize<__SCPreferences>, nullptr, nullptr, nullptr,
                                          copyDescription};

const char kPreferencesDirectory[] = "/Library/Preferences/SystemConfiguration/";

__SCPreferences *sessionOf(SCPreferencesRef prefs) {
  return emu::sc::instance<__SCPreferences>(prefs, SCPreferencesGetTypeID());
}

// The session, or null with the status set when prefs is not one.
__SCPreferences *requireSession(SCPreferencesRef prefs) {
  __SCPreferences *p = sessionOf(prefs);
  if (p == nullptr) _SCErrorSet(kSCStatusNoPrefsSession);
  return p;
}

// Identifies one version of the stored file: a commit renames a new file
// into place, so the inode changes even when the size and time do not.
CFDataRef createSignature(const struct stat &status) {
  const int64_t fields[] = {static_cast<int64_t>(status.st_dev), static_cast<int64_t>(status.st_ino),
                            static_cast<int64_t>(status.st_mtim.tv_sec), static_cast<int64_t>(status.st_mtim.tv_nsec),
                            static_cast<int64_t>(status.st_size)};
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(fields), sizeof(fields));
}

// The session's values, read from the file the first time. A missing,
// unreadable or corrupt file reads as no values at all, which count as a
// change to be written.
CFMutableDictionaryRef access(__SCPreferences *p) {
  if (p->accessed) return p->values.get();
  struct stat status {};
  std::vector<UInt8> bytes;
  emu::sc::readFile(p->path, bytes, status);
  p->signature.reset(createSignature(status));

  Owned<CFPropertyListRef> plist;
  if (!bytes.empty()) {
    Owned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
    plist.reset(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  }
  if (emu::sc::isDictionary(plist.get())) {
    p->values.reset(CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(plist.get())));
  } else {
    p->values.reset(emu::sc::createMutableDictionary());
    p->changed = true;
  }
  p->accessed = true;
  return p->values.get();
}

// Whether the file is still the one the session read.
bool fileUnchanged(const __SCPreferences *p) {
  struct stat status {};
  if (stat(p->path.c_str(), &status) == -1) {
    if (errno != ENOENT) return false;
    status = {};
  }
  Owned<CFDataRef> current(createSignature(status));
  return CFEqual(current.get(), p->signature.get());
}

std::string pathFor(CFStringRef prefsID) {
  if (prefsID == nullptr) return emu::sc::kNetworkPreferencesPath;
  std::string id = emu::sc::utf8(prefsID);
  return id.compare(0, 1, "/") == 0 ? id : kPreferencesDirectory + id;
}

SCPreferencesRef create(CFStringRef name, CFStringRef prefsID, bool authorized) {
  auto *p = emu::cfCreate<__SCPreferences>(SCPreferencesGetTypeID());
  if (name != nullptr) p->name.reset(CFStringCreateCopy(nullptr, name));
  if (prefsID != nullptr) p->prefsID.reset(CFStringCreateCopy(nullptr, prefsID));
  p->path = pathFor(prefsID);
  p->authorized = authorized;

  int status = kSCStatusOK;
  if (::access(p->path.c_str(), R_OK) != 0) {
    if (errno == ENOENT) {
      status = kSCStatusNoConfigFile;  // the session starts with no values
    } else if (!(authorized && (errno == EACCES || errno == EPERM))) {
      status = (errno == EACCES || errno == EPERM) ? kSCStatusAccessError : kSCStatusFailed;
      CFRelease(p);
      _SCErrorSet(status);
      return nullptr;
    }
  }
  _SCErrorSet(status);
  return p;
}

// Writes the session's values over the file.
bool writeFile(__SCPreferences *p) {
  // Whatever configd published at boot was published before this change.
  if (p->path == emu::sc::kNetworkPreferencesPath) emu::sc::primeStore();

  struct stat status {};
  if (stat(p->path.c_str(), &status) == -1) {
    if (errno != ENOENT) {
      _SCErrorSet(errno);
      return false;
    }
    status.st_mode = 0644;
  }
  Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, p->values.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!data) {
    _SCErrorSet(kSCStatusFailed);
    return false;
  }

  if (int error = emu::sc::replaceFile(p->path, data.get(), status.st_mode & 07777)) {
    _SCErrorSet(error);
    return false;
  }
  if (stat(p->path.c_str(), &status) == -1) {
    _SCErrorSet(errno);
    return false;
  }
  p->signature.reset(createSignature(status));
  return true;
}

}  // namespace

namespace emu::sc {

CFMutableDictionaryRef preferencesValues(SCPreferencesRef prefs) {
  __SCPreferences *p = sessionOf(prefs);
  return p != nullptr ? access(p) : nullptr;
}

void replacePreferencesValues(SCPreferencesRef prefs, CFDictionaryRef values) {
  __SCPreferences *p = sessionOf(prefs);
  access(p);
  p->values.reset(CFDictionaryCreateMutableCopy(nullptr, 0, values));
  p->changed = true;
}

}  // namespace emu::sc

CFTypeID SCPreferencesGetTypeID(void) {
  static const CFTypeID typeID = _CFRuntimeRegisterClass(&kPreferencesClass);
  return typeID;
}

SCPreferencesRef SCPreferencesCreate(CFAllocatorRef, CFStringRef name, CFStringRef prefsID) {
  return create(name, prefsID, false);
}

SCPreferencesRef SCPreferencesCreateWithAuthorization(CFAllocatorRef, CFStringRef name, CFStringRef prefsID,
                                                      AuthorizationRef) {
  // Without an authorization the Mac falls back on the caller's entitlement;
  // either way the session may write.
  return create(name, prefsID, true);
}

Boolean SCPreferencesLock(SCPreferencesRef prefs, Boolean wait) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  if (p->locked) {
    _SCErrorSet(kSCStatusLocked);
    return FALSE;
  }
  if (!p->authorized && geteuid() != 0) {
    _SCErrorSet(kSCStatusAccessError);
    return FALSE;
  }

  std::string lockPath = p->lockPath();
  for (;;) {
    int fd = open(lockPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd == -1) {
      _SCErrorSet(errno);
      return FALSE;
    }
    if (flock(fd, wait ? LOCK_EX : LOCK_EX | LOCK_NB) == -1) {
      int error = errno;
      close(fd);
      if (error == EINTR) continue;
      _SCErrorSet(error == EWOULDBLOCK ? kSCStatusPrefsBusy : error);
      return FALSE;
    }
    struct stat named {
    }, held{};
    if (stat(lockPath.c_str(), &named) == 0 && fstat(fd, &held) == 0 && named.st_dev == held.st_dev &&
        named.st_ino == held.st_ino) {
      p->lockFD = fd;
      break;
    }
    // The previous holder unlinked the file we waited on.
    close(fd);
  }
  dprintf(p->lockFD, "%d\n", static_cast<int>(getpid()));

  // Changes made to values read before another writer's commit would undo it.
  if (p->accessed && !fileUnchanged(p)) {
    p->releaseLock();
    _SCErrorSet(kSCStatusStale);
    return FALSE;
  }
  p->locked = true;
  return TRUE;
}

Boolean SCPreferencesUnlock(SCPreferencesRef prefs) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  if (!p->locked) {
    _SCErrorSet(kSCStatusNeedLock);
    return FALSE;
  }
  p->releaseLock();
  return TRUE;
}

// Runs step with the lock held, taking it for the step if the session does
// not hold it; the step's status survives the unlock.
template <typename Step>
static Boolean withLock(SCPreferencesRef prefs, Step step) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  bool wasLocked = p->locked;
  if (!wasLocked && !SCPreferencesLock(prefs, TRUE)) return FALSE;
  bool ok = step(p);
  if (!wasLocked) {
    int status = SCError();
    SCPreferencesUnlock(prefs);
    _SCErrorSet(status);
  }
  return ok;
}

Boolean SCPreferencesCommitChanges(SCPreferencesRef prefs) {
  return withLock(prefs, [](__SCPreferences *p) {
    if (p->changed && !writeFile(p)) return false;
    p->changed = false;
    return true;
  });
}

Boolean SCPreferencesApplyChanges(SCPreferencesRef prefs) {
  // configd takes up what is stored, not what the session holds; it only
  // watches the network preferences.
  return withLock(
      prefs, [](__SCPreferences *p) { return p->path != emu::sc::kNetworkPreferencesPath || emu::sc::publishSetup(); });
}

void SCPreferencesSynchronize(SCPreferencesRef prefs) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return;
  p->values.reset();
  p->signature.reset();
  p->accessed = false;
  p->changed = false;
}

CFDataRef SCPreferencesGetSignature(SCPreferencesRef prefs) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return nullptr;
  access(p);
  return p->signature.get();
}

CFArrayRef SCPreferencesCopyKeyList(SCPreferencesRef prefs) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return nullptr;
  CFMutableDictionaryRef values = access(p);
  std::vector<const void *> keys;
  for (const auto &entry : emu::sc::entries(values)) keys.push_back(entry.first);
  return CFArrayCreate(nullptr, keys.data(), static_cast<CFIndex>(keys.size()), &kCFTypeArrayCallBacks);
}

CFPropertyListRef SCPreferencesGetValue(SCPreferencesRef prefs, CFStringRef key) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return nullptr;
  CFMutableDictionaryRef values = access(p);
  CFPropertyListRef value = CFDictionaryGetValue(values, key);
  if (value == nullptr) _SCErrorSet(kSCStatusNoKey);
  return value;
}

Boolean SCPreferencesAddValue(SCPreferencesRef prefs, CFStringRef key, CFPropertyListRef value) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  CFMutableDictionaryRef values = access(p);
  if (CFDictionaryContainsKey(values, key)) {
    _SCErrorSet(kSCStatusKeyExists);
    return FALSE;
  }
  CFDictionaryAddValue(values, key, value);
  p->changed = true;
  return TRUE;
}

Boolean SCPreferencesSetValue(SCPreferencesRef prefs, CFStringRef key, CFPropertyListRef value) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  CFMutableDictionaryRef values = access(p);
  CFDictionarySetValue(values, key, value);
  p->changed = true;
  return TRUE;
}

Boolean SCPreferencesRemoveValue(SCPreferencesRef prefs, CFStringRef key) {
  __SCPreferences *p = requireSession(prefs);
  if (p == nullptr) return FALSE;
  CFMutableDictionaryRef values = access(p);
  if (!CFDictionaryContainsKey(values, key)) {
    _SCErrorSet(kSCStatusNoKey);
    return FALSE;
  }
  CFDictionaryRemoveValue(values, key);
  p->changed = true;
  return TRUE;
}
