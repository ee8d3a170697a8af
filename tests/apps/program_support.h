#ifndef XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H
#define XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H

#include "test_data.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace xtalmotif::testing {

/// What a run of the program printed and how it ended.
struct ProgramRun {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::string slurp(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream os;
  os << in.rdbuf();
  return os.str();
}

/// A fresh empty folder for one test.
inline std::filesystem::path scratch_dir(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() /
             ("xtalmotif-app-" + name + "-" + std::to_string(::getpid()));
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  return dir;
}

inline std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s)
    q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

/// Runs the built program with the given (already quoted) arguments through the shell; standard
/// output goes to `stdout_file` when one is named (and is then not captured).
inline ProgramRun run_program(const std::string& args, const std::string& stdin_file = "",
                              const std::string& stdout_file = "") {
  auto dir = scratch_dir("run");
  std::string cmd = quote(XTALMOTIF_PROGRAM) + " " + args + " >" +
                    quote(stdout_file.empty() ? (dir / "out").string() : stdout_file) + " 2>" +
                    quote((dir / "err").string());
  if (!stdin_file.empty())
    cmd += " <" + quote(stdin_file);
  else
    cmd += " </dev/null";
  int raw = std::system(cmd.c_str());
  ProgramRun r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = slurp(dir / "out");
  r.err = slurp(dir / "err");
  std::filesystem::remove_all(dir);
  return r;
}

/// Runs the built program with standard error on a pseudo-terminal, as when a person runs it in a
/// terminal, and standard output and input on files. `args` are passed as they are, unquoted.
inline ProgramRun run_program_on_terminal(const std::vector<std::string>& args) {
  ProgramRun r;
  auto dir = scratch_dir("pty");
  int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
    return r;
  // Opened here, before the fork, so that the terminal has a reader and a writer from the start;
  // the parent closes its copy and then reads until the program's copy is gone.
  int slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
  if (slave < 0) {
    ::close(master);
    return r;
  }
  std::string out_path = (dir / "out").string();
  std::vector<std::string> argv_text{XTALMOTIF_PROGRAM};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : argv_text)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    int in = ::open("/dev/null", O_RDONLY);
    int out = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::dup2(slave, 2);
    ::close(master);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(slave);
  char buf[4096];
  for (;;) {
    ssize_t n = ::read(master, buf, sizeof buf);
    if (n > 0)
      r.err.append(buf, static_cast<std::size_t>(n));
    else if (n < 0 && errno == EINTR)
      continue;
    else
      break; // EIO: the program has closed the terminal
  }
  ::close(master);
  int raw = 0;
  ::waitpid(pid, &raw, 0);
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = slurp(dir / "out");
  std::filesystem::remove_all(dir);
  return r;
}

} // namespace xtalmotif::testing

#endif
