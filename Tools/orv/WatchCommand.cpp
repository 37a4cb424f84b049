#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Orvane/macOS/OrvDirectoryObserver.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

using orv::Value;
using Paths = std::vector<std::string>;

constexpr size_t kMostArgumentBytes = 1'000'000;  // the system takes two million, with the environment
constexpr size_t kArgumentOverhead = 16;

struct WatchOptions {
  std::vector<std::string> folders;
  std::string command;
  bool json = false;
  uint64_t count = 0;
};

sigset_t endingSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  return signals;
}

// From here on Ctrl-C and a request to end stop the main run loop. To be called while the program has one
// thread: the others must not take the signals.
void stopOnSignals() {
  const sigset_t signals = endingSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([signals] {
    int signal = 0;
    while (::sigwait(&signals, &signal) == 0) NSRunLoop::mainRunLoop()->stop();
  }).detach();
}

// A program is started as the shell would start it: what we keep from our own threads is its own again.
class Attributes {
 public:
  Attributes() {
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

// Runs a line of the shell, which finds the paths in "$@", and waits for its end: its exit status, 128 and the
// signal when one ended it, or a negative errno.
int runShell(const std::string& line, Paths::const_iterator first, Paths::const_iterator last) {
  std::vector<char*> arguments;
  for (const char* text : {"sh", "-c", line.c_str(), "sh"}) arguments.push_back(const_cast<char*>(text));
  for (auto path = first; path != last; ++path) arguments.push_back(const_cast<char*>(path->c_str()));
  arguments.push_back(nullptr);
  const Attributes attributes;
  pid_t child = -1;
  if (const int error = ::posix_spawn(&child, "/bin/sh", nullptr, attributes.get(), arguments.data(), environ))
    return -error;
  int status = 0;
  while (::waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return -errno;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

class Watch {
 public:
  Watch(const WatchOptions& options, Output& output) : options_(options), output_(output) {}

  void run() {
    observer_ = OrvDirectoryObserver::initWithCallback([this](const NSArray& paths) { deliver(paths); });
    NSMutableArray folders = NSMutableArray::array();
    for (const std::string& folder : options_.folders)
      if (canBeWatched(folder)) folders.addObject(nameOf(folder));
    if (folders.count() == 0) return;
    observer_->observeDirectories(folders);
    if (!ended_) NSRunLoop::mainRunLoop()->run();
    observer_->stopObservingDirectories();
  }

 private:
  bool canBeWatched(const std::string& folder) {
    struct stat info {};
    if (folder.empty() || (::stat(folder.c_str(), &info) == 0 && !S_ISDIR(info.st_mode))) {
      output_.fail(folder, "not a folder");
      return false;
    }
    if (::access(folder.c_str(), F_OK) != 0) output_.tell(folder, "not there yet, and waited for");
    return true;
  }

  void deliver(const NSArray& changed) {
    if (ended_ || changed.count() == 0) return;
    Paths paths;
    for (const Value& path : changed) paths.push_back(bytesOf(path.as<NSString>()));
    options_.json ? printJSON(paths) : printLines(paths);
    output_.flush();
    if (!options_.command.empty()) execute(paths);
    if (++batches_ == options_.count || !output_.canWrite()) end();
  }

  void printLines(const Paths& paths) {
    for (const std::string& path : paths) output_.writeLine(path);
  }

  void printJSON(const Paths& paths) {
    std::string line = "[";
    for (const std::string& path : paths) line.append(line.size() > 1 ? ", " : "").append(jsonString(path));
    output_.writeLine(line + "]");
  }

  // More paths than a program takes are given to several runs, one after the other.
  void execute(const Paths& paths) {
    for (auto first = paths.begin(); first != paths.end();) {
      size_t bytes = 0;
      auto last = first;
      do {
        bytes += last->size() + kArgumentOverhead;
        ++last;
      } while (last != paths.end() && bytes + last->size() < kMostArgumentBytes);
      const int status = runShell(options_.command, first, last);
      if (status < 0) output_.failWithErrno(options_.command, -status);
      if (status > 0) output_.fail(options_.command, "exit status " + std::to_string(status));
      first = last;
    }
  }

  void end() {
    ended_ = true;
    NSRunLoop::mainRunLoop()->stop();
  }

  const WatchOptions& options_;
  Output& output_;
  orv::Ref<OrvDirectoryObserver> observer_;
  uint64_t batches_ = 0;
  bool ended_ = false;
};

void runWatch(const WatchOptions& options, Output& output) {
  stopOnSignals();
  OrvLogInfo("watching %lu folders", options.folders.size());
  Watch(options, output).run();
}

}  // namespace

void addWatchCommand(CLI::App& program, Output& output) {
  auto options = std::make_shared<WatchOptions>();
  CLI::App* command = program.add_subcommand(
      "watch", "Print the files of folders, and then what appears or changes in them, until Ctrl-C");
  command->add_option("FOLDER", options->folders, "The folders; they need not exist yet")->required();
  command->add_option(
      "--exec", options->command,
      "After each batch run this line of the shell, which finds the paths in \"$@\", one run at a time");
  command->add_flag("--json", options->json, "Print each batch as a JSON array in a line");
  command->add_option("--count", options->count, "End after so many batches")->check(CLI::PositiveNumber);
  command->callback([options, &output] { runWatch(*options, output); });
}

}  // namespace tool
