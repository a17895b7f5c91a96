#include "ExecuteProgram.h"

#include <cstdlib>

#include "LogSink.h"
#include "OsFileSystemUtils.h"

namespace {

const char kStdOutPath[] = "/tmp/cmdstdout.txt";
const char kStdErrPath[] = "/tmp/cmdstderr.txt";

}  // namespace

ExecuteProgram::ExecuteProgram(LogSink* logger) : logger(logger) {}

int ExecuteProgram::executeWithShell(std::string command) {
  // The shell's redirections would follow a link planted at a capture path
  // and write wherever it leads, as root.
  xpc::OsFileSystemUtils files(logger);
  if (!files.createFreshFile(kStdOutPath) || !files.createFreshFile(kStdErrPath)) {
    xpc::logLine(logger, LogLevel::Error, "Unable to prepare the files that capture a command's output!");
    xpc::OsFileSystemUtils(nullptr).deleteFile(kStdOutPath);  // in case only the second failed
    stdOut.clear();
    stdErr.clear();
    return -1;
  }
  std::string line = command + " > " + kStdOutPath + " 2> " + kStdErrPath;
  int status = std::system(line.c_str());
  collect(kStdOutPath, stdOut, "Unable to delete the temp file! (1)");
  collect(kStdErrPath, stdErr, "Unable to delete the temp file! (2)");
  return status;
}

void ExecuteProgram::collect(const char* path, std::string& text, const char* deleteWarning) {
  text = xpc::OsFileSystemUtils(logger).readFileToString(path);
  // Deleted quietly: a capture file left behind is only worth a warning.
  if (!xpc::OsFileSystemUtils(nullptr).deleteFile(path)) xpc::logLine(logger, LogLevel::Warning, deleteWarning);
}

std::string ExecuteProgram::getStdOut() const { return stdOut; }

std::string ExecuteProgram::getStdErr() const { return stdErr; }

void ExecuteProgram::logOutput() {
  if (!stdOut.empty()) xpc::logLine(logger, LogLevel::Progress, "   STDOUT : " + stdOut);
  if (!stdErr.empty()) xpc::logLine(logger, LogLevel::Progress, "   STDERR : " + stdErr);
}
