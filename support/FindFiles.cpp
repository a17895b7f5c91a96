#include "FindFiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "LogSink.h"
#include "OsFileSystemUtils.h"
#include "StringTools.h"

namespace xpc {

namespace {

std::string errorSuffix(int error) { return "(" + OsFileSystemUtils::errorDetail(error) + ")"; }

}  // namespace

FindFiles::FindFiles(LogSink* logger) : logger(logger), caseInsensitive(false) {}

void FindFiles::clear() {
  fileNames.clear();
  foundPaths.clear();
  caseInsensitive = false;
}

bool FindFiles::addFileNameToLocate(std::string name) {
  if (name.empty()) {
    logLine(logger, LogLevel::Error, "The filename to add to our search list was an empty string!");
    return false;
  }
  if (name.find('/') != std::string::npos) {
    logLine(logger, LogLevel::Error, "The filename to add to our search list appears to have a path component!  "
                                     "Only file names are allowed!");
    return false;
  }
  if (std::find(fileNames.begin(), fileNames.end(), name) != fileNames.end()) {
    logLine(logger, LogLevel::Progress, "The file name '" + name + "' is already in our list and will not be added again.");
    return true;
  }
  fileNames.push_back(name);
  return true;
}

bool FindFiles::addFileNamesToLocate(std::vector<std::string> names) {
  if (names.empty()) {
    logLine(logger, LogLevel::Error, "There were no file names provided to add to our list of file names to locate!");
    return false;
  }
  bool allAdded = true;
  for (const std::string& name : names) allAdded = addFileNameToLocate(name) && allAdded;
  return allAdded;
}

void FindFiles::setCaseInsensitive(bool value) { caseInsensitive = value; }

std::vector<std::string> FindFiles::getFoundPaths() const { return foundPaths; }

bool FindFiles::isTargetFileName(std::string name) {
  if (name.empty()) {
    logLine(logger, LogLevel::Error, "The file name provided to match against our target file name list was empty!");
    return false;
  }
  if (caseInsensitive) name = StringTools::stringToLower(name);
  for (const std::string& target : fileNames) {
    if (name == (caseInsensitive ? StringTools::stringToLower(target) : target)) return true;
  }
  return false;
}

bool FindFiles::findFiles(std::string start) {
  if (start.empty()) {
    logLine(logger, LogLevel::Error, "No starting path was provided while searching for a file!");
    return false;
  }
  if (fileNames.empty()) {
    logLine(logger, LogLevel::Error, "No file names were provided to search for!");
    return false;
  }

  DIR* directory = opendir(start.c_str());
  if (directory == nullptr) {
    if (errno == ELOOP) {
      logLine(logger, LogLevel::Warning, "Too many levels of symlinks at path '" + start +
                                         "' will ignore everything at this point and below!");
    } else {
      logLine(logger, LogLevel::Error, "Unable to open the directory '" + start + "' while searching for the files...");
    }
    return false;
  }

  while (struct dirent* entry = readdir(directory)) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::string path = StringTools::concatenateFileAndPath(name, start);

    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
      int error = errno;
      if (error == ELOOP) {
        logLine(logger, LogLevel::Warning, "'" + path + "' is a symlink.  Skipping..");
      } else {
        logLine(logger, LogLevel::Warning, "Unable to get information on the file at path '" + path +
                                           "'!  Will ignore it.  " + errorSuffix(error));
      }
      continue;
    }
    // A subdirectory that cannot be read is logged there and does not end
    // the search of its siblings.
    if (S_ISDIR(info.st_mode)) {
      findFiles(path);
    } else if (isTargetFileName(name)) {
      foundPaths.push_back(path);
    }
  }

  if (closedir(directory) != 0) {
    logLine(logger, LogLevel::Warning, "Unable to close the directory we were searching!  " + errorSuffix(errno));
  }
  return true;
}

}  // namespace xpc
