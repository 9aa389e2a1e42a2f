#include "test/host/RunProgram.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "test/media/WriterReadBack.h"

extern char** environ;

namespace {

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void ToFile(int descriptor, const std::string& path) {
    posix_spawn_file_actions_addopen(&actions_, descriptor, path.c_str(), O_WRONLY | O_CREAT, 0600);
  }
  void ToDescriptor(int descriptor, int target) {
    posix_spawn_file_actions_adddup2(&actions_, target, descriptor);
  }
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

pid_t Spawn(const std::vector<std::string>& arguments, const FileActions& actions) {
  std::vector<std::string> texts{KIVCLIP_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  pid_t process = -1;
  if (posix_spawn(&process, KIVCLIP_PROGRAM, actions.Get(), nullptr, pointers.data(), environ) !=
      0) {
    throw std::runtime_error("kivclip cannot be started");
  }
  return process;
}

int WaitFor(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

ProgramResult RunKivclip(const std::vector<std::string>& arguments, const std::string& outputFile) {
  const TestFolder folder;
  FileActions actions;
  actions.ToFile(STDOUT_FILENO, outputFile.empty() ? folder.Path("out") : outputFile);
  actions.ToFile(STDERR_FILENO, folder.Path("err"));
  ProgramResult result;
  result.status = WaitFor(Spawn(arguments, actions));
  result.out = ReadBytes(folder.Path("out"));
  result.err = ReadBytes(folder.Path("err"));
  return result;
}

RunningKivclip::RunningKivclip(const std::vector<std::string>& arguments) {
  std::array<int, 2> output{}, errors{};
  if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(errors.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  FileActions actions;
  actions.ToDescriptor(STDOUT_FILENO, output[1]);
  actions.ToDescriptor(STDERR_FILENO, errors[1]);
  process_ = Spawn(arguments, actions);
  close(output[1]);
  close(errors[1]);
  output_ = output[0];
  errors_ = errors[0];
}

RunningKivclip::~RunningKivclip() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    WaitFor(process_);
  }
  CloseOutput();
  close(errors_);
}

std::string RunningKivclip::ReadSome(int descriptor) {
  std::array<char, 4096> bytes{};
  const ssize_t count = read(descriptor, bytes.data(), bytes.size());
  return {bytes.data(), count > 0 ? static_cast<size_t>(count) : 0};
}

void RunningKivclip::WaitUntilOutputIsFull() {
  // The last page of a pipe need not be full.
  const int capacity = fcntl(output_, F_GETPIPE_SZ) - 4096;
  int waiting = 0;
  while (ioctl(output_, FIONREAD, &waiting) == 0 && waiting < capacity &&
         waitpid(process_, nullptr, WNOHANG) == 0) {
    sched_yield();
  }
}

void RunningKivclip::CloseOutput() {
  if (output_ >= 0) close(output_);
  output_ = -1;
}

void RunningKivclip::Signal(int number) { kill(process_, number); }

ProgramResult RunningKivclip::Wait() {
  ProgramResult result;
  result.status = WaitFor(process_);
  process_ = -1;
  for (std::string text = ReadSomeErrors(); !text.empty(); text = ReadSomeErrors()) {
    result.err += text;
  }
  return result;
}
