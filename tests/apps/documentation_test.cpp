// The examples of the README and of `xtalmotif --help` are run as written, from a folder laid
// out as the top of a clone (data/ and build/apps/xtalmotif), so that neither can drift from the
// program: each must run and find what it looks for.

#include "program_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

using namespace xtalmotif::testing;

namespace {

// The command lines of the ```sh block of the README's "Searching your own structures", and the
// lines under "Examples:" of the program's help.
std::vector<std::string> examples() {
  const std::string readme = slurp(source_dir() / "README.md"), help = run_program("--help").out;
  const auto start = readme.find("```sh\n", readme.find("## Searching your own structures")) + 6;
  std::istringstream block(readme.substr(start, readme.find("```", start) - start)),
      listed(help.substr(help.find("Examples:")));
  std::vector<std::string> all;
  for (std::string line; std::getline(block, line);)
    all.push_back(line);
  for (std::string line; std::getline(listed, line);)
    if (line.rfind("  xtalmotif ", 0) == 0)
      all.push_back("build/apps/" + line.substr(2));
  return all;
}

} // namespace

TEST(Documentation, EveryExampleOfTheReadmeAndTheHelpRuns) {
  const auto dir = scratch_dir("examples");
  std::filesystem::create_directory_symlink(source_dir() / "data", dir / "data");
  std::filesystem::create_directories(dir / "build/apps");
  std::filesystem::create_symlink(XTALMOTIF_PROGRAM, dir / "build/apps/xtalmotif");
  const auto lines = examples();
  ASSERT_GE(lines.size(), 10u); // six of the README, four of the help
  for (const auto &line : lines) {
    const int status = exit_status(
        std::system(("cd " + quote(dir.string()) + " && " + line + " >out 2>err").c_str()));
    // Every example finds what it looks for (status 0) and reads every file it is given.
    const std::string err = slurp(dir / "err");
    EXPECT_EQ(status, 0) << line << "\n" << err;
    EXPECT_EQ(err.find("refused:"), std::string::npos) << line << "\n" << err;
    EXPECT_EQ(err.find("warning:"), std::string::npos) << line << "\n" << err;
  }
  std::filesystem::remove_all(dir);
}
