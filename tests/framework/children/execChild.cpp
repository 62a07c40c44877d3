// The command of the executor's tests: execChild MODE [ARGUMENT].
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

namespace {

bool put(const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t wrote = write(STDOUT_FILENO, text.data() + done, text.size() - done);
    if (wrote < 0) return false;
    done += static_cast<std::size_t>(wrote);
  }
  return true;
}

[[noreturn]] void hang() {
  for (;;) pause();
}

int flood(const std::string& piece) {
  while (put(piece)) {
  }
  return 5;  // only where SIGPIPE is ignored
}

int descriptors() {
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (fcntl(descriptor, F_GETFD) >= 0) put(std::to_string(descriptor) + " ");
  return 0;
}

bool isNullDevice(int descriptor) {
  struct stat opened;
  struct stat null;
  return fstat(descriptor, &opened) == 0 && stat("/dev/null", &null) == 0 &&
         opened.st_rdev == null.st_rdev;
}

int streams() {
  put(std::string("in ") + (isNullDevice(0) ? "null" : "other") + ", err " +
      (isNullDevice(2) ? "null" : "other"));
  return 0;
}

int signals() {
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGCHLD, SIGUSR1}) {
    struct sigaction action;
    sigaction(number, nullptr, &action);
    if (sigismember(&blocked, number)) put("blocked " + std::to_string(number) + " ");
    if (action.sa_handler != SIG_DFL) put("not default " + std::to_string(number) + " ");
  }
  return 0;
}

int environment() {
  for (char** variable = environ; *variable != nullptr; ++variable)
    put(std::string(*variable) + "\n");
  return 0;
}

// The grandchild keeps the standard output and the named pipe open until it is killed.
int leaveGrandchild(const char* fifo) {
  if (open(fifo, O_WRONLY) < 0) return 1;
  const pid_t grandchild = fork();
  if (grandchild < 0) return 1;
  if (grandchild == 0) hang();
  put("left one behind\n");
  return 0;
}

// Says so when the named pipe has something to read.
int waitFor(const char* fifo) {
  char byte;
  const int descriptor = open(fifo, O_RDONLY);
  if (read(descriptor, &byte, 1) != 1) return 1;
  put("released\n");
  return 0;
}

int killSelf(int number) {
  raise(number);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  const char* const argument = argc > 2 ? argv[2] : "";
  const std::map<std::string, std::function<int()>> modes = {
      {"print", [=] { return put(argument) ? 0 : 1; }},
      {"exit", [=] { return std::atoi(argument); }},
      {"close", [=] { return put("first\n") && close(STDOUT_FILENO) == 0 ? 3 : 1; }},
      {"long",
       [=] {
         const auto count = static_cast<std::size_t>(std::atol(argument));
         return put(std::string(count, 'a')) && put("\nnext\n") ? 0 : 1;
       }},
      {"floodLines", [] { return flood("y\n"); }},
      {"floodLine", [] { return flood(std::string(4096, 'y')); }},
      {"hang",
       [] {
         put("begun\n");
         hang();
         return 0;
       }},
      {"ignoreTerm",
       [] {
         signal(SIGTERM, SIG_IGN);
         signal(SIGPIPE, SIG_IGN);
         hang();
         return 0;
       }},
      {"stop", [] { return killSelf(SIGSTOP); }},
      {"die", [] { return killSelf(SIGTERM); }},
      {"grandchild", [=] { return leaveGrandchild(argument); }},
      {"waitFor", [=] { return waitFor(argument); }},
      {"descriptors", descriptors},
      {"streams", streams},
      {"signals", signals},
      {"environment", environment},
      {"group", [] { return put(getpgrp() == getpid() ? "own" : "parent's") ? 0 : 1; }},
  };
  const auto found = modes.find(mode);
  return found == modes.end() ? 2 : found->second();
}
