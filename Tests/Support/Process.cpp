#include "Tests/Support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace {
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kCannotStart = 127;

[[noreturn]] void throwErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The two ends of a channel from the program: what it writes to and what is read here.
struct Channel {
  int theirs = -1;
  int ours = -1;
};

Channel makePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throwErrno("pipe2");
  return {ends[1], ends[0]};
}

// Raw, so that what is written arrives byte for byte.
Channel makeTerminal() {
  Channel channel;
  termios raw{};
  ::cfmakeraw(&raw);
  if (::openpty(&channel.ours, &channel.theirs, nullptr, &raw, nullptr) != 0) throwErrno("openpty");
  ::fcntl(channel.ours, F_SETFD, FD_CLOEXEC);
  ::fcntl(channel.theirs, F_SETFD, FD_CLOEXEC);
  return channel;
}

Channel makeOutput(const Command& command) {
  if (!command.outputFile.empty()) {
    const int file = ::open(command.outputFile.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) throwErrno(command.outputFile.c_str());
    return {file, -1};
  }
  Channel channel = makePipe();
  if (command.closedOutput) ::close(std::exchange(channel.ours, -1));
  return channel;
}

int makeInput(const std::string& bytes) {
  const int file = ::memfd_create("input", MFD_CLOEXEC);
  if (file < 0 || ::write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throwErrno("memfd_create");
  ::lseek(file, 0, SEEK_SET);
  return file;
}

// Root may read everything by two capabilities; without them in the bounding set, exec does not give them back.
bool dropOverrides() {
  constexpr unsigned long kOverride = 1, kReadSearch = 2;
  return ::geteuid() != 0 || (::prctl(PR_CAPBSET_DROP, kOverride, 0, 0, 0) == 0 &&
                              ::prctl(PR_CAPBSET_DROP, kReadSearch, 0, 0, 0) == 0);
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// In the child; does not return.
[[noreturn]] void become(const Command& command, const std::vector<char*>& arguments,
                         const int (&standard)[3]) {
  for (int i = 0; i < 3; ++i) ::dup2(standard[i], i);
  ::signal(SIGPIPE, SIG_DFL);
  for (const auto& [name, value] : command.environment) ::setenv(name.c_str(), value.c_str(), 1);
  const bool there = command.folder.empty() || ::chdir(command.folder.c_str()) == 0;
  if (there && (!command.obeysPermissions || dropOverrides())) ::execvp(arguments[0], arguments.data());
  std::perror(arguments[0]);
  ::_exit(kCannotStart);
}

// Appends what can be read; false at the end.
bool drain(int& descriptor, std::string& to) {
  char piece[65536];
  const ssize_t got = ::read(descriptor, piece, sizeof piece);
  if (got > 0) to.append(piece, static_cast<size_t>(got));
  if (got > 0 || (got < 0 && errno == EINTR)) return true;
  ::close(std::exchange(descriptor, -1));  // a terminal ends with EIO
  return false;
}

bool hasReadFrom(const fs::path& process, const std::string& file) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(process / "fd", error)) {
    if (fs::read_symlink(entry.path(), error) != file) continue;
    std::ifstream info(process / "fdinfo" / entry.path().filename());
    std::string label;
    long long position = 0;
    if (info >> label >> position && position > 0) return true;
  }
  return false;
}

}  // namespace

Process::Process(const Command& command) : deadline_(Clock::now() + command.limit) {
  const int input = makeInput(command.input);
  const Channel output = makeOutput(command);
  const Channel error = command.terminal ? makeTerminal() : makePipe();
  std::vector<std::string> texts{command.program};
  texts.insert(texts.end(), command.arguments.begin(), command.arguments.end());
  const std::vector<char*> arguments = pointersTo(texts);
  id_ = ::fork();
  if (id_ < 0) throwErrno("fork");
  if (id_ == 0) become(command, arguments, {input, output.theirs, error.theirs});
  for (const int theirs : {input, output.theirs, error.theirs}) ::close(theirs);
  output_ = output.ours;
  error_ = error.ours;
}

Process::~Process() {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }
  for (const int descriptor : {output_, error_})
    if (descriptor >= 0) ::close(descriptor);
}

bool Process::hasEnded() const {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
}

bool Process::waitUntilReading(const std::string& file) const {
  const fs::path process = "/proc/" + std::to_string(id_);
  const std::string canonical = fs::canonical(file).string();
  while (!hasEnded() && Clock::now() < deadline_)
    if (hasReadFrom(process, canonical)) return true;
  return false;
}

void Process::stop() const {
  siginfo_t info{};
  ::kill(id_, SIGSTOP);
  ::waitid(P_PID, static_cast<id_t>(id_), &info, WSTOPPED | WEXITED | WNOWAIT);
}

void Process::goOn() const { ::kill(id_, SIGCONT); }

// Reads once from whatever is ready; false when all is read or the time is over.
bool Process::collect() {
  pollfd ready[] = {{output_, POLLIN, 0}, {error_, POLLIN, 0}};
  if (output_ < 0 && error_ < 0) return false;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
  if (::poll(ready, 2, static_cast<int>(std::max<long>(left, 0))) == 0) {
    result_.timedOut = true;
    return false;
  }
  if (ready[0].revents != 0) drain(output_, result_.output);
  if (ready[1].revents != 0) drain(error_, result_.error);
  return true;
}

ProcessResult Process::finish() {
  while (collect()) {
  }
  if (result_.timedOut) ::kill(id_, SIGKILL);
  int status = 0;
  ::waitpid(std::exchange(id_, -1), &status, 0);
  if (WIFEXITED(status)) result_.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) {
    result_.signal = WTERMSIG(status);
    result_.dumpedCore = WCOREDUMP(status);
  }
  return std::move(result_);
}

ProcessResult runProcess(const Command& command) { return Process(command).finish(); }
