#include "OsFileSystemUtils.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FindFiles.h"
#include "LogSink.h"
#include "StringTools.h"

namespace xpc {

namespace {

const char kTemporaryDirectory[] = "/tmp/";
const std::size_t kReadChunk = 1024;
// How often createFreshFile removes a file planted again before it could
// create its own, before it gives up.
const int kCreateAttempts = 8;

std::string errorText(int error) { return std::strerror(error); }

std::string withTrailingSlash(std::string path) {
  return StringTools::endsWith(path, "/") ? path : path + "/";
}

std::string octal(unsigned value) {
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), "%o", value);
  return buffer;
}

}  // namespace

OsFileSystemUtils::OsFileSystemUtils(LogSink* logger) : logger(logger) {}

std::string OsFileSystemUtils::errorDetail(int error) {
  return "Error (" + std::to_string(error) + ") : " + errorText(error);
}

bool OsFileSystemUtils::preparePath(std::string& path, const char* emptyText) {
  if (path.empty()) {
    logLine(logger, LogLevel::Error, emptyText);
    return false;
  }
  path = StringTools::normalizeSlashes(path);
  if (path.empty()) {
    logLine(logger, LogLevel::Error, "The file path was empty after fixing the slashes for this OS!?");
    return false;
  }
  return true;
}

bool OsFileSystemUtils::prepareFilePath(std::string& path, const char* emptyText) {
  if (!preparePath(path, emptyText)) return false;
  path = StringTools::stripInvalidPathnameCharacters(path);
  return true;
}

std::string OsFileSystemUtils::getTemporaryDirectory() { return kTemporaryDirectory; }

std::string OsFileSystemUtils::getLogFileDirectory(std::string) { return kTemporaryDirectory; }

std::string OsFileSystemUtils::getHomeDirectory() {
  const char* home = std::getenv("HOME");
  if (home == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to determine user's home directory!");
    return "";
  }
  std::string directory = withTrailingSlash(home);
  logLine(logger, LogLevel::Progress, "The user's home directory is : " + directory);
  return directory;
}

std::string OsFileSystemUtils::getCurrentDirectory() {
  char buffer[PATH_MAX];
  if (getcwd(buffer, sizeof(buffer)) == nullptr) {
    logLine(logger, LogLevel::Error, "Unable to determine the current directory!  (" + errorDetail(errno) + ")");
    return "";
  }
  return withTrailingSlash(buffer);
}

std::string OsFileSystemUtils::getDesktopDirectory() {
  std::string home = getHomeDirectory();
  if (home.empty()) {
    logLine(logger, LogLevel::Error, "Unable to determine the path to the user's desktop!");
    return "";
  }
  std::string desktop = home + "Desktop";
  if (!directoryExists(desktop, false)) {
    logLine(logger, LogLevel::Error, "The user's desktop path isn't where we expected!");
    return "";
  }
  return withTrailingSlash(desktop);
}

bool OsFileSystemUtils::fileExists(std::string path) {
  if (!preparePath(path, "An empty string was provided while checking if a file exists!")) {
    return false;
  }
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    int error = errno;
    logLine(logger, LogLevel::Detail, "File '" + path + "' does *NOT* exist.");
    logLine(logger, LogLevel::Detail, errorDetail(error));
    return false;
  }
  std::fclose(file);
  logLine(logger, LogLevel::Detail, "File '" + path + "' exists!");
  return true;
}

OsFileSystemUtils::DirectoryState OsFileSystemUtils::probeDirectory(const std::string& path) {
  DIR* directory = opendir(path.c_str());
  if (directory != nullptr) {
    closedir(directory);
    logLine(logger, LogLevel::Detail, "The directory '" + path + "' exists.");
    return DirectoryState::Exists;
  }
  int error = errno;
  logLine(logger, LogLevel::Detail, "The directory '" + path + "' does *NOT* exist.");
  if (error == ENOENT) return DirectoryState::Missing;
  logLine(logger, LogLevel::Error, "Error while trying to determine if the directory '" + path +
                                   "' exists.  Error : " + std::to_string(error));
  logLine(logger, LogLevel::Error, "   Error string : " + errorText(error));
  return DirectoryState::Error;
}

bool OsFileSystemUtils::checkDirectoryExists(std::string path) {
  if (!preparePath(path, "An empty string was provided while checking if a directory exists!")) {
    return false;
  }
  return probeDirectory(path) == DirectoryState::Exists;
}

bool OsFileSystemUtils::directoryExists(std::string path, bool create) {
  if (path.empty()) {
    logLine(logger, LogLevel::Error, "The path that we were requested to check was empty!  Returning false!");
    return false;
  }
  path = StringTools::normalizeSlashes(path);
  logLine(logger, LogLevel::Progress, "Checking to see if the path '" + path + "' exists.");

  std::string rest = path;
  if (rest.size() > 1 && StringTools::endsWith(rest, "/")) rest.pop_back();
  bool absolute = StringTools::startsWith(rest, "/");
  std::vector<std::string> pieces = StringTools::split(rest, '/');
  logLine(logger, LogLevel::Detail, "Path split to " + std::to_string(pieces.size()) + " piece(s).");
  // Nothing but blanks: there is no level to look for.
  if (pieces.empty()) {
    logLine(logger, LogLevel::Progress, "Desired path was NOT found.");
    return false;
  }

  std::string prefix = absolute ? "/" : "";
  for (const std::string& piece : pieces) {
    if (piece.empty()) continue;  // the root, or doubled slashes
    prefix = StringTools::concatenateFileAndPath(piece, prefix);
    logLine(logger, LogLevel::Detail, "Checking if (subvalue) '" + prefix + "' exists.");

    DirectoryState state = probeDirectory(prefix);
    if (state == DirectoryState::Exists) {
      logLine(logger, LogLevel::Detail, "Sub-path '" + prefix + "' appears to exist..");
      continue;
    }
    if (state == DirectoryState::Error) {
      logLine(logger, LogLevel::Error, "Got an error while trying to check the path '" + prefix +
                                       "'.  Returning that the path does NOT exist.");
      return false;
    }
    if (!create) {
      logLine(logger, LogLevel::Progress, "The path '" + path + "' was *NOT* found.");
      return false;
    }
    if (!createDirectory(prefix)) {
      logLine(logger, LogLevel::Error, "Failed to create the directory '" + prefix + "'.");
      return false;
    }
    if (probeDirectory(prefix) != DirectoryState::Exists) {
      logLine(logger, LogLevel::Error, "Failed to verify newly created directory at : " + prefix);
      return false;
    }
  }
  logLine(logger, LogLevel::Progress, "The path '" + path + "' was found!");
  return true;
}

bool OsFileSystemUtils::createDirectory(std::string path) {
  if (!preparePath(path, "An empty string was provided while attempting to create a directory!")) {
    return false;
  }
  if (mkdir(path.c_str(), 0770) != 0) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Got an error while trying to create the directory '" + path +
                                     "'.  Error : " + std::to_string(error));
    logLine(logger, LogLevel::Error, "   Error string : " + errorText(error));
    return false;
  }
  logLine(logger, LogLevel::Progress, "Created directory '" + path + "'.");
  return true;
}

bool OsFileSystemUtils::fileOwnerHasExecutePermission(std::string path) {
  if (!preparePath(path, "An empty string was provided while checking a file's permissions!")) {
    return false;
  }
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Unable to determine the execute permissions of the file '" + path + "'!  (" +
                           errorDetail(error) + ")");
    return false;
  }
  logLine(logger, LogLevel::Detail, "The file '" + path + "' is owned by UID '" + std::to_string(info.st_uid) +
                                    "' and has file permissions of '" + octal(info.st_mode & 07777) + "'.");
  bool executable = (info.st_mode & S_IXUSR) != 0;
  logLine(logger, LogLevel::Detail, executable ? "    The file owner does have execute permission on the file."
                                : "    The file owner *DOES NOT* have execute permission on the file!");
  return executable;
}

bool OsFileSystemUtils::getFileCreationTime(std::string path, time_t& seconds) {
  if (!preparePath(path, "An empty string was provided while getting the timestamp of a file!")) {
    return false;
  }
  if (!fileExists(path)) {
    logLine(logger, LogLevel::Error, "The file '" + path +
                                     "' does not exist while trying to get the creation timestamp of a file!");
    return false;
  }
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Unable to stat the file '" + path + "'!  (" + errorDetail(error) + ")");
    return false;
  }
  seconds = info.st_ctime;
  return true;
}

bool OsFileSystemUtils::writeFile(std::string path, const char* mode, const void* bytes,
                                  std::size_t length, const char* emptyText,
                                  const char* successText) {
  if (!prepareFilePath(path, emptyText)) return false;
  FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Unable to create a binary file. (errno = " + std::to_string(error) +
                                     "  string = " + errorText(error) + ")");
    logLine(logger, LogLevel::Error, "Failed to write file to temporary file path : " + path);
    return false;
  }
  bool written = std::fwrite(bytes, 1, length, file) == length;
  written = (std::fclose(file) == 0) && written;
  if (!written) {
    logLine(logger, LogLevel::Error, "Failed to write file to temporary file path : " + path);
    return false;
  }
  logLine(logger, LogLevel::Detail, successText + path);
  return true;
}

bool OsFileSystemUtils::writeStringToFile(std::string path, std::string text) {
  // Only up to the first NUL, and always a newline after it.
  std::string line = std::string(text.c_str()) + "\n";
  return writeFile(path, "w", line.data(), line.size(), "The path to write a string to was empty!",
                   "Wrote the desired value to the file at : ");
}

bool OsFileSystemUtils::writeBinaryToFile(std::string path, const unsigned char* bytes,
                                          std::size_t length) {
  if (bytes == nullptr && length > 0) {
    logLine(logger, LogLevel::Error, "The data provided to writeBinaryToFile() was NULL!");
    return false;
  }
  return writeFile(path, "wb", bytes, length, "The string provided to writeBinaryToFile() was empty!",
                   "Wrote the desired data to the temporary file at : ");
}

template <typename Writer>
std::string OsFileSystemUtils::writeToTempLocation(std::string name, Writer write) {
  if (!preparePath(name, "The file name provided to write a temporary file was empty!")) return "";
  // preparePath has turned any backslash into a slash.
  if (name.find('/') != std::string::npos) {
    logLine(logger, LogLevel::Error, "Unable to write data to a temporary file!  The filename passed in appears "
                                     "to include some path componenets, which is not allowed!");
    return "";
  }

  for (const std::string& directory :
       {getTemporaryDirectory(), getHomeDirectory(), getCurrentDirectory()}) {
    if (directory.empty()) continue;
    // A fixed name in a shared folder may have been planted; start afresh.
    std::string path = StringTools::stripInvalidPathnameCharacters(directory + name);
    if (createFreshFile(path) && write(path)) return path;
  }
  logLine(logger, LogLevel::Error, "Unable to write data to a temporary file!  No temporary locations appear to "
                                   "be writeable!");
  return "";
}

std::string OsFileSystemUtils::writeStringToTempFile(std::string name, std::string text) {
  return writeToTempLocation(name, [&](const std::string& path) { return writeStringToFile(path, text); });
}

std::string OsFileSystemUtils::writeBinaryToTempFile(std::string name, const unsigned char* bytes,
                                                     std::size_t length) {
  return writeToTempLocation(
      name, [&](const std::string& path) { return writeBinaryToFile(path, bytes, length); });
}

std::string OsFileSystemUtils::readFileToString(std::string path) {
  if (!prepareFilePath(path, "An empty string was provided to readFileToString()!")) return "";
  int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  FILE* file = descriptor < 0 ? nullptr : fdopen(descriptor, "r");
  if (file == nullptr) {
    int error = errno;
    if (descriptor >= 0) close(descriptor);
    logLine(logger, LogLevel::Error, "Unable to open the file '" + path + "' for reading!  Error : " +
                           std::to_string(error));
    logLine(logger, LogLevel::Error, "   Error string : " + errorText(error));
    return "";
  }
  // Line by line through a fixed buffer: a line longer than the buffer comes
  // back split by a newline at each 1023 bytes, and the text always ends in
  // one. Callers rely on that shape.
  std::string text;
  char buffer[kReadChunk];
  while (std::fgets(buffer, sizeof(buffer), file) != nullptr) {
    text += buffer;
    if (!StringTools::endsWith(text, "\n")) text += '\n';
  }
  std::fclose(file);
  return text;
}

bool OsFileSystemUtils::deleteFile(std::string path) {
  if (!preparePath(path, "No file name was provided while attempting to delete a file!")) {
    return false;
  }
  logLine(logger, LogLevel::Detail, "Attempting to delete the file : " + path);
  if (unlink(path.c_str()) != 0) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Unable to delete the file : " + path);
    logLine(logger, LogLevel::Error, "   OS error string : " + errorText(error));
    return false;
  }
  logLine(logger, LogLevel::Progress, "The file '" + path + "' was removed.");
  return true;
}

bool OsFileSystemUtils::createFreshFile(std::string path) {
  if (!preparePath(path, "No file name was provided while attempting to create a file!")) return false;
  // O_EXCL loses when something is planted again between the removal and the
  // creation; then we remove that too.
  for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
      int error = errno;
      // A planted directory goes only if it is empty; it is never followed.
      if (rmdir(path.c_str()) != 0 && errno != ENOENT) {
        if (errno != ENOTDIR) error = errno;
        logLine(logger, LogLevel::Error, "Unable to remove what is at '" + path + "' before creating the file!  (" +
                               errorDetail(error) + ")");
        return false;
      }
    }
    int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
      close(descriptor);
      return true;
    }
    if (errno != EEXIST) {
      logLine(logger, LogLevel::Error, "Unable to create the file '" + path + "'!  (" + errorDetail(errno) + ")");
      return false;
    }
  }
  logLine(logger, LogLevel::Error, "Unable to create the file '" + path + "'!  Something else kept taking its place.");
  return false;
}

bool OsFileSystemUtils::isPlainFile(std::string path) {
  if (!preparePath(path, "No file name was provided while checking for a plain file!")) return false;
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    logLine(logger, LogLevel::Error, "'" + path + "' is not a plain file!");
    return false;
  }
  return true;
}

OsFileSystemUtils::Confinement OsFileSystemUtils::deleteFileWithin(const std::string& folder,
                                                                   const std::string& path, int& error) {
  error = 0;
  if (!StringTools::startsWith(path, "/")) return Confinement::Outside;
  std::vector<std::string> parts;
  for (const std::string& part : StringTools::split(path, '/')) {
    if (!part.empty()) parts.push_back(part);
  }

  // The text the path stands for once "." and ".." are resolved decides.
  std::vector<std::string> canonical;
  for (const std::string& part : parts) {
    if (part == "..") {
      if (!canonical.empty()) canonical.pop_back();
    } else if (part != ".") {
      canonical.push_back(part);
    }
  }
  std::string text;
  for (const std::string& part : canonical) text += "/" + part;
  if (canonical.empty() || !StringTools::startsWith(text, folder)) return Confinement::Outside;

  // Then the path as written is walked from the root through directories that
  // are not links: so it reaches exactly that text, and a planted link can
  // lead nowhere else.
  std::vector<int> directories{open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
  auto closeAll = [&directories]() {
    for (int descriptor : directories) {
      if (descriptor >= 0) close(descriptor);
    }
  };
  if (directories.back() < 0) {
    error = errno;
    closeAll();
    return Confinement::Failed;
  }
  const std::string& last = parts.back();
  // A path ending in "/", "." or ".." names a directory, which is walked like
  // the rest and then refused as unlink refuses any directory.
  bool named = last != "." && last != ".." && path.back() != '/';
  Confinement result = Confinement::Removed;
  for (std::size_t i = 0; i < parts.size() - (named ? 1 : 0) && result == Confinement::Removed; ++i) {
    const std::string& part = parts[i];
    if (part == ".") continue;
    if (part == "..") {
      if (directories.size() > 1) {
        close(directories.back());
        directories.pop_back();
      }
      continue;
    }
    int next = openat(directories.back(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (next >= 0) {
      directories.push_back(next);
      continue;
    }
    error = errno;
    struct stat info;
    bool link = fstatat(directories.back(), part.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISLNK(info.st_mode);
    if (link) logLine(logger, LogLevel::Error, "The path '" + path + "' leads through a symbolic link!");
    result = link ? Confinement::Outside : Confinement::Failed;
  }
  if (result == Confinement::Removed && !named) {
    error = EISDIR;
    result = Confinement::Failed;
  } else if (result == Confinement::Removed && unlinkat(directories.back(), last.c_str(), 0) != 0) {
    error = errno;
    result = Confinement::Failed;
  }
  closeAll();
  return result;
}

bool OsFileSystemUtils::deleteDirectory(std::string path) {
  if (!preparePath(path, "No directory name was provided while attempting to remove a directory!")) {
    return false;
  }
  logLine(logger, LogLevel::Detail, "Attempting to remove the directory : " + path);
  if (rmdir(path.c_str()) != 0) {
    int error = errno;
    logLine(logger, LogLevel::Error, "Unable to remove the directory : " + path);
    logLine(logger, LogLevel::Error, "   OS error string : " + errorText(error));
    return false;
  }
  logLine(logger, LogLevel::Progress, "Directory '" + path + "' was removed.");
  return true;
}

bool OsFileSystemUtils::findFiles(std::string start, std::vector<std::string> names,
                                  bool caseInsensitive, std::vector<std::string>& paths) {
  if (start.empty()) {
    logLine(logger, LogLevel::Error, "No starting directory was provided while attempting to search for file names!");
    return false;
  }
  if (names.empty()) {
    logLine(logger, LogLevel::Error, "No file names to locate were provided while attempting to search for files!");
    return false;
  }
  FindFiles finder(logger);
  if (!finder.addFileNamesToLocate(names)) {
    logLine(logger, LogLevel::Error, "Unable to add the list of file names to search for!");
    return false;
  }
  if (caseInsensitive) {
    logLine(logger, LogLevel::Progress, "Setting up a case insensitive file search!");
    finder.setCaseInsensitive(true);
  }
  if (!finder.findFiles(start)) {
    logLine(logger, LogLevel::Error, "Failed to search for the target file names!");
    return false;
  }
  paths = finder.getFoundPaths();
  return true;
}

}  // namespace xpc
