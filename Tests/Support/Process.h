#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

// A program to run. It sees this process's environment with the changes asked for, and no descriptor but the
// three standard ones.
struct Command {
  std::string program;  // a path, or a name that is looked for in PATH
  std::vector<std::string> arguments;
  std::string input;  // standard input, as a file that is read from its start
  std::vector<std::pair<std::string, std::string>> environment;
  std::string folder;                      // where it runs; empty for here
  std::string outputFile;                  // opened for standard output, instead of collecting it
  bool closedOutput = false;               // standard output is a pipe that nobody reads
  bool terminal = false;                   // standard error is a terminal
  bool obeysPermissions = false;           // also when run by root
  std::chrono::milliseconds limit{60000};  // then it is killed
};

struct ProcessResult {
  int exitStatus = -1;  // -1 when a signal ended it
  int signal = 0;
  bool timedOut = false;
  bool dumpedCore = false;
  std::string output;
  std::string error;
};

// A running program. Not finished, it is killed.
class Process {
 public:
  explicit Process(const Command& command);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  pid_t id() const { return id_; }
  // True when the program has a file open and has read from it; false when it ends first.
  bool waitUntilReading(const std::string& file) const;
  void stop() const;  // returns when it stands still
  void goOn() const;
  // Collects what it writes and waits for its end.
  ProcessResult finish();

 private:
  bool collect();
  bool hasEnded() const;

  std::chrono::steady_clock::time_point deadline_;
  pid_t id_ = -1;
  int output_ = -1;
  int error_ = -1;
  ProcessResult result_;
};

ProcessResult runProcess(const Command& command);
