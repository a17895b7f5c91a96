#pragma once
#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

class LogSink;

namespace xpc {

// The one place where the helper touches plain files and directories. Every
// failure is a level-4 line and a false or empty result. Directory strings
// returned here end in "/"; an empty one means failure.
class OsFileSystemUtils {
 public:
  explicit OsFileSystemUtils(LogSink* logger);

  // "Error (<errno>) : <text>", as the failure lines of file operations quote it.
  static std::string errorDetail(int error);

  std::string getTemporaryDirectory();
  std::string getLogFileDirectory(std::string name);
  std::string getHomeDirectory();
  std::string getCurrentDirectory();
  std::string getDesktopDirectory();

  // A directory that can be opened counts as an existing file too.
  bool fileExists(std::string path);
  bool checkDirectoryExists(std::string path);
  // Checks each level of the path, creating the missing ones when asked.
  bool directoryExists(std::string path, bool create);
  // One level, mode 0770.
  bool createDirectory(std::string path);
  bool fileOwnerHasExecutePermission(std::string path);
  // The status-change time (ctime), which is what the callers compare.
  bool getFileCreationTime(std::string path, time_t& seconds);

  // Writes the text (up to its first NUL) and a newline.
  bool writeStringToFile(std::string path, std::string text);
  bool writeBinaryToFile(std::string path, const unsigned char* bytes, std::size_t length);
  // `name` is a bare file name; the result is the path written, or "".
  std::string writeStringToTempFile(std::string name, std::string text);
  std::string writeBinaryToTempFile(std::string name, const unsigned char* bytes,
                                    std::size_t length);
  // The file's text, always ending in a newline when not empty; "" when it
  // cannot be read.
  // A symbolic link is not followed: it cannot be read this way.
  std::string readFileToString(std::string path);
  // Removes whatever is at `path` and creates an empty file there, mode 0600,
  // without following a link. In a sticky directory such as /tmp nobody else
  // can then swap the file, so a tool can be told to write it.
  bool createFreshFile(std::string path);
  // Whether the path names a regular file itself, not a link to one.
  bool isPlainFile(std::string path);

  bool deleteFile(std::string path);
  enum class Confinement { Removed, Outside, Failed };
  // Removes the file (a final symbolic link itself) only when the path, with
  // "." and ".." resolved, begins with `folder` and reaches it through real
  // directories only; a link on the way counts as Outside. On Failed,
  // `error` holds the errno.
  Confinement deleteFileWithin(const std::string& folder, const std::string& path, int& error);
  bool deleteDirectory(std::string path);

  bool findFiles(std::string start, std::vector<std::string> names, bool caseInsensitive,
                 std::vector<std::string>& paths);

 private:
  enum class DirectoryState { Exists, Missing, Error };

  // Refuses an empty path with `emptyText`; otherwise normalises its slashes.
  bool preparePath(std::string& path, const char* emptyText);
  // preparePath, then the file-name rule on each component.
  bool prepareFilePath(std::string& path, const char* emptyText);
  DirectoryState probeDirectory(const std::string& path);
  bool writeFile(std::string path, const char* mode, const void* bytes, std::size_t length,
                 const char* emptyText, const char* successText);
  template <typename Writer>
  std::string writeToTempLocation(std::string name, Writer write);

  LogSink* logger;
};

}  // namespace xpc
