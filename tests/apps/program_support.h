#ifndef XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H
#define XTALMOTIF_TESTS_APPS_PROGRAM_SUPPORT_H

#include "test_data.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace xtalmotif::testing {

/// What a run of the program printed and how it ended.
struct ProgramRun {
  int status = -1;
  std::string out, err;
};

inline std::string slurp(const std::filesystem::path &p) {
  std::ostringstream os;
  os << std::ifstream(p, std::ios::binary).rdbuf();
  return os.str();
}

/// A fresh empty folder for one test.
inline std::filesystem::path scratch_dir(const std::string &name) {
  auto dir = std::filesystem::temp_directory_path() /
             ("xtalmotif-app-" + name + "-" + std::to_string(::getpid()));
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  return dir;
}

inline std::string quote(const std::string &s) {
  std::string q = "'";
  for (char c : s)
    q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

inline int exit_status(int raw) { return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1; }

/// Runs the built program with the given (already quoted) arguments through the shell, input
/// from `stdin_file`; standard output goes to `stdout_file` when one is named (and is then not
/// captured).
inline ProgramRun run_program(const std::string &args, const std::string &stdin_file = "/dev/null",
                              const std::string &stdout_file = "") {
  const auto dir = scratch_dir("run");
  const std::string cmd = quote(XTALMOTIF_PROGRAM) + " " + args + " >" +
                          quote(stdout_file.empty() ? (dir / "out").string() : stdout_file) +
                          " 2>" + quote((dir / "err").string()) + " <" + quote(stdin_file);
  ProgramRun r{exit_status(std::system(cmd.c_str())), slurp(dir / "out"), slurp(dir / "err")};
  std::filesystem::remove_all(dir);
  return r;
}

/// The JSON lines of a search's output, those of one kind ("entry", "match") when asked.
inline std::vector<nlohmann::json> json_records(const std::string &text,
                                                const std::string &kind = "") {
  std::vector<nlohmann::json> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && (kind.empty() || nlohmann::json::parse(line)["record"] == kind))
      out.push_back(nlohmann::json::parse(line));
  return out;
}

} // namespace xtalmotif::testing

#endif
