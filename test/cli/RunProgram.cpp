#include "test/cli/RunProgram.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <regex>
#include <stdexcept>

namespace {

std::string ShellLine(const TestFolder& folder, const std::string& line) {
  return "exec " KIVCLIP_PROGRAM " " + std::regex_replace(line, std::regex("@"), folder.Path(""));
}

int StatusOf(int waited) {
  return WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
}

}  // namespace

ProgramResult RunKivclip(const TestFolder& folder, const std::string& line,
                         const std::string& outputFile) {
  const TestFolder streams;
  const std::string output = outputFile.empty() ? streams.Path("out") : outputFile;
  const std::string shell = ShellLine(folder, line) + " >" + output + " 2>" + streams.Path("err");
  const int status = StatusOf(std::system(shell.c_str()));
  return {status, ReadBytes(streams.Path("out")), ReadBytes(streams.Path("err"))};
}

RunningKivclip::RunningKivclip(const TestFolder& folder, const std::string& line) {
  std::array<int, 2> output{}, errors{};
  if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(errors.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  const std::string shell = ShellLine(folder, line);
  process_ = fork();
  if (process_ == 0) {
    dup2(output[1], STDOUT_FILENO);
    dup2(errors[1], STDERR_FILENO);
    execl("/bin/sh", "sh", "-c", shell.c_str(), nullptr);
    _exit(127);
  }
  close(output[1]);
  close(errors[1]);
  output_ = output[0];
  errors_ = errors[0];
}

RunningKivclip::~RunningKivclip() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
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
  int status = 0;
  waitpid(process_, &status, 0);
  result.status = StatusOf(status);
  process_ = -1;
  for (std::string text = ReadSomeErrors(); !text.empty(); text = ReadSomeErrors()) {
    result.err += text;
  }
  return result;
}
