#ifndef XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H
#define XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H

#include "test_data.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

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

/// Runs the built program with the given (already quoted) arguments through the shell.
inline ProgramRun run_program(const std::string& args, const std::string& stdin_file = "") {
  auto dir = scratch_dir("run");
  std::string cmd = quote(XTALMOTIF_PROGRAM) + " " + args + " >" + quote((dir / "out").string()) +
                    " 2>" + quote((dir / "err").string());
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

} // namespace xtalmotif::testing

#endif
