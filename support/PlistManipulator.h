#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "DictionaryHelper.h"
#include "ErrorUtils.h"

namespace xpc {

// One property-list document: loaded once (from a file, text or a stream, in
// any format the platform parses, with mutable containers and leaves), edited
// through DictionaryHelper, written back as a binary property list.
//
// Single use by design: a second load fails and leaves the first document in
// place, because clearing is refused. Make a new instance per document.
class PlistManipulator : public DictionaryHelper {
 public:
  explicit PlistManipulator(LogSink* logger);

  bool loadPlistFile(std::string path);
  bool loadPlistFromString(std::string text);
  bool loadPlistFromStream(CFReadStreamRef stream);
  // An empty document, when nothing is loaded yet.
  bool createNewPlist();
  // The root object, whatever its type; no retain is transferred.
  CFPropertyListRef getPropertyList() const;
  bool writePlistFile(std::string path);

  bool clearActiveDictionary() override;
  bool createNewDictionary() override;

 private:
  // Opens the stream, loads from it and closes it.
  bool loadFromUnopenedStream(CFReadStreamRef stream, const char* openFailureText);

  ErrorUtils errorUtils;
  LogSink* logger;
};

}  // namespace xpc
