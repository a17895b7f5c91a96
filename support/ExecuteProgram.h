#pragma once
#include <string>

class LogSink;

// Runs one command line through /bin/sh as root and keeps what it printed.
// The capture files are fixed paths under /tmp, created afresh for every run:
// one command at a time.
class ExecuteProgram {
 public:
  explicit ExecuteProgram(LogSink* logger);

  // The raw wait status from system(): 0 for success, exit status n as n * 256,
  // -1 when no shell could be started or the capture files could not be
  // created. The command is run as it is: callers quote what they insert
  // (ShellQuote).
  int executeWithShell(std::string command);
  std::string getStdOut() const;
  std::string getStdErr() const;
  // "   STDOUT : " and "   STDERR : " with the captured texts that are not
  // empty, at level 5: how callers report a command that failed.
  void logOutput();

 private:
  // Reads one capture file into `text` and removes it.
  void collect(const char* path, std::string& text, const char* deleteWarning);

  std::string stdOut;
  std::string stdErr;
  LogSink* logger;
};
