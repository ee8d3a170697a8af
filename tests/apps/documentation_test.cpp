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

// The command lines of the ```sh block of the README's "Searching your own structures".
std::vector<std::string> readme_examples() {
  std::ifstream in(source_dir() / "README.md");
  std::vector<std::string> out;
  std::string line;
  bool section = false, block = false;
  while (std::getline(in, line)) {
    if (line.rfind("## ", 0) == 0)
      section = line == "## Searching your own structures";
    else if (section && line == "```sh")
      block = true;
    else if (block && line.rfind("```", 0) == 0)
      block = false;
    else if (block)
      out.push_back(line);
  }
  return out;
}

// The lines under "Examples:" of the program's help.
std::vector<std::string> help_examples() {
  std::istringstream in(run_program("--help").out);
  std::vector<std::string> out;
  std::string line;
  bool examples = false;
  while (std::getline(in, line)) {
    if (line == "Examples:")
      examples = true;
    else if (examples && line.rfind("  xtalmotif ", 0) == 0)
      out.push_back("build/apps/" + line.substr(2));
  }
  return out;
}

} // namespace

TEST(Documentation, EveryExampleOfTheReadmeAndTheHelpRuns) {
  const auto dir = scratch_dir("examples");
  std::filesystem::create_directory_symlink(source_dir() / "data", dir / "data");
  std::filesystem::create_directories(dir / "build/apps");
  std::filesystem::create_symlink(XTALMOTIF_PROGRAM, dir / "build/apps/xtalmotif");
  const auto readme = readme_examples(), help = help_examples();
  ASSERT_GE(readme.size(), 6u);
  ASSERT_GE(help.size(), 4u);
  for (const auto* examples : {&readme, &help})
    for (const auto& line : *examples) {
      const std::string cmd = "cd " + quote(dir.string()) + " && " + line + " >out 2>err";
      const int raw = std::system(cmd.c_str());
      // Every example finds what it looks for (status 0) and reads every file it is given.
      const std::string err = slurp(dir / "err");
      EXPECT_EQ(WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, 0) << line << "\n" << err;
      EXPECT_EQ(err.find("refused:"), std::string::npos) << line << "\n" << err;
      EXPECT_EQ(err.find("warning:"), std::string::npos) << line << "\n" << err;
    }
  std::filesystem::remove_all(dir);
}
