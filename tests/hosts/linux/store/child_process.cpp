#include "tests/hosts/linux/store/child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>
#include <system_error>

namespace nerio::testing {
namespace {

constexpr int kCannotStart = 127;

[[noreturn]] void RaiseErrno(const char* call) { throw std::system_error(errno, std::generic_category(), call); }

void WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0) std::_Exit(kCannotStart);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Forks, runs `body` with the writing end of a pipe in the child, and collects what comes out of the pipe.
std::string Collect(const std::function<void(int)>& body) {
  std::array<int, 2> ends;
  if (::pipe(ends.data()) != 0) RaiseErrno("pipe");
  std::cout.flush();
  const pid_t child = ::fork();
  if (child < 0) RaiseErrno("fork");
  if (child == 0) {
    ::close(ends[0]);
    body(ends[1]);
    std::_Exit(0);
  }
  ::close(ends[1]);
  std::string output;
  std::array<char, 4096> buffer;
  for (ssize_t got; (got = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
    output.append(buffer.data(), static_cast<std::size_t>(got));
  }
  ::close(ends[0]);
  int status = 0;
  if (::waitpid(child, &status, 0) != child) RaiseErrno("waitpid");
  if (WIFSIGNALED(status)) output += "[signal " + std::to_string(WTERMSIG(status)) + "]";
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) output += "[exit " + std::to_string(WEXITSTATUS(status)) + "]";
  return output;
}

}  // namespace

std::string AnswerOfChild(const std::function<std::string()>& body) {
  return Collect([&body](int answer) {
    std::string text;
    try {
      text = body();
    } catch (const std::exception& error) {
      text = std::string("threw: ") + error.what();
    }
    WriteAll(answer, text);
  });
}

std::string OutputOfProgram(const std::string& file, const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment) {
  return Collect([&](int output) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    for (const std::string& entry : environment) ::putenv(const_cast<char*>(entry.c_str()));
    ::dup2(output, STDOUT_FILENO);
    ::close(output);
    ::execvp(file.c_str(), pointers.data());
    std::_Exit(kCannotStart);
  });
}

}  // namespace nerio::testing
