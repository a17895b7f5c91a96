#pragma once
#include <string>
#include <vector>

class LogSink;

namespace xpc {

// A depth-first search below a directory for entries with any of a set of
// file names.
class FindFiles {
 public:
  explicit FindFiles(LogSink* logger);

  // Forgets the names, the results and the case-insensitive mode.
  void clear();
  // A bare file name; one already listed is not added twice (not a failure).
  bool addFileNameToLocate(std::string name);
  bool addFileNamesToLocate(std::vector<std::string> names);
  void setCaseInsensitive(bool caseInsensitive);
  // Appends every match below `start` to the found paths.
  bool findFiles(std::string start);
  std::vector<std::string> getFoundPaths() const;
  bool isTargetFileName(std::string name);

 private:
  LogSink* logger;
  std::vector<std::string> fileNames;
  bool caseInsensitive;
  std::vector<std::string> foundPaths;
};

}  // namespace xpc
