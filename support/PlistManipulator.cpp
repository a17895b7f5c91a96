#include "PlistManipulator.h"

#include "CFRef.h"
#include "LogSink.h"
#include "MacStringUtils.h"

namespace xpc {

PlistManipulator::PlistManipulator(LogSink* logger)
    : DictionaryHelper(logger), errorUtils(logger), logger(logger) {}

bool PlistManipulator::clearActiveDictionary() {
  logLine(logger, LogLevel::Error, "Cannot call clearActiveDictionary() on the PlistManipulator class!");
  return false;
}

bool PlistManipulator::createNewDictionary() {
  logLine(logger, LogLevel::Error, "Cannot call createNewDictionary() on the PlistManipulator class!");
  return false;
}

bool PlistManipulator::createNewPlist() { return DictionaryHelper::createNewDictionary(); }

CFPropertyListRef PlistManipulator::getPropertyList() const { return getDictionary(); }

bool PlistManipulator::loadPlistFile(std::string path) {
  CFRef<CFStringRef> cfPath(MacStringUtils::stdStringToCfStringRef(path), RefPolicy::Adopt);
  if (!cfPath) {
    logLine(logger, LogLevel::Error, "Unable to convert a standard string to a CFStringRef while caching setting "
                                     "data to memory.");
    return false;
  }
  CFRef<CFURLRef> url(
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, cfPath.get(), kCFURLPOSIXPathStyle, false),
      RefPolicy::Adopt);
  if (!url) {
    logLine(logger, LogLevel::Error, "Unable to get a handle to the settings requested!");
    return false;
  }
  CFRef<CFReadStreamRef> stream(CFReadStreamCreateWithFile(kCFAllocatorDefault, url.get()),
                                RefPolicy::Adopt);
  if (!stream) {
    logLine(logger, LogLevel::Error, "Unable to get a handle to the settings requested! (2)");
    return false;
  }
  return loadFromUnopenedStream(stream.get(), "Unable to open the requested setting data!");
}

bool PlistManipulator::loadPlistFromString(std::string text) {
  if (text.empty()) {
    logLine(logger, LogLevel::Error, "The string provided to load as a plist was empty!");
    return false;
  }
  // No copy: `text` outlives the stream, which is closed before we return.
  CFRef<CFReadStreamRef> stream(
      CFReadStreamCreateWithBytesNoCopy(kCFAllocatorDefault,
                                        reinterpret_cast<const UInt8*>(text.data()),
                                        static_cast<CFIndex>(text.size()), kCFAllocatorNull),
      RefPolicy::Adopt);
  if (!stream) {
    logLine(logger, LogLevel::Error, "Unable to load our plist string in to a read stream!");
    return false;
  }
  return loadFromUnopenedStream(stream.get(), "Unable to open the input plist stream for reading!");
}

bool PlistManipulator::loadFromUnopenedStream(CFReadStreamRef stream, const char* openFailureText) {
  if (!CFReadStreamOpen(stream)) {
    logLine(logger, LogLevel::Error, openFailureText);
    return false;
  }
  bool loaded = loadPlistFromStream(stream);
  CFReadStreamClose(stream);
  return loaded;
}

bool PlistManipulator::loadPlistFromStream(CFReadStreamRef stream) {
  if (stream == nullptr) {
    logLine(logger, LogLevel::Error, "A NULL stream was provided to loadPlistFromStream()!");
    return false;
  }
  CFRef<CFErrorRef> error;
  CFRef<CFPropertyListRef> plist(
      CFPropertyListCreateWithStream(kCFAllocatorDefault, stream, 0,
                                     kCFPropertyListMutableContainersAndLeaves, nullptr,
                                     error.initializeInto()),
      RefPolicy::Adopt);
  if (!plist) {
    long code = error ? static_cast<long>(CFErrorGetCode(error.get())) : -1;
    // No closing parenthesis here, unlike the write error; kept as it is.
    logLine(logger, LogLevel::Error, "Error loading the setting data!  (Error : " + std::to_string(code) + " -- " +
                           errorUtils.getCFErrorString(error.get()));
    return false;
  }
  // Whatever the root is becomes the active "dictionary"; callers know their documents.
  return setActiveDictionary(
      static_cast<CFMutableDictionaryRef>(const_cast<void*>(static_cast<const void*>(plist.get()))));
}

bool PlistManipulator::writePlistFile(std::string path) {
  if (!haveActiveDictionary()) {
    logLine(logger, LogLevel::Error, "There is no dictionary in memory that can be written!");
    return false;
  }
  CFRef<CFStringRef> cfPath(MacStringUtils::stdStringToCfStringRef(path), RefPolicy::Adopt);
  if (!cfPath) {
    logLine(logger, LogLevel::Error, "Unable to convert a string to a CFStringRef while writing setting data!");
    return false;
  }
  CFRef<CFURLRef> url(
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, cfPath.get(), kCFURLPOSIXPathStyle, false),
      RefPolicy::Adopt);
  if (!url) {
    logLine(logger, LogLevel::Error, "Unable to get a handle to the settings that we want to write!");
    return false;
  }
  CFRef<CFWriteStreamRef> stream(CFWriteStreamCreateWithFile(kCFAllocatorDefault, url.get()),
                                 RefPolicy::Adopt);
  if (!stream) {
    logLine(logger, LogLevel::Error, "Unable to get a handle to the settings that we want to write! (2)");
    return false;
  }
  if (!CFWriteStreamOpen(stream.get())) {
    logLine(logger, LogLevel::Error, "Unable to open the settings with write access!");
    return false;
  }

  CFRef<CFErrorRef> error;
  CFIndex written = CFPropertyListWrite(getPropertyList(), stream.get(),
                                        kCFPropertyListBinaryFormat_v1_0, 0, error.initializeInto());
  CFWriteStreamClose(stream.get());
  if (written < 1) {
    long code = error ? static_cast<long>(CFErrorGetCode(error.get())) : -1;
    logLine(logger, LogLevel::Error, "Unable to write the settings!  (Error : " + std::to_string(code) + " -- " +
                           errorUtils.getCFErrorString(error.get()) + ")");
    return false;
  }
  logLine(logger, LogLevel::Progress, "The settings were written successfully!");
  return true;
}

}  // namespace xpc
