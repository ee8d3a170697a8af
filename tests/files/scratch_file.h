#ifndef XTALMOTIF_TESTS_FILES_SCRATCH_FILE_H
#define XTALMOTIF_TESTS_FILES_SCRATCH_FILE_H

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace xtalmotif::testing {

inline std::string temp_path(const std::string &name) {
  return (std::filesystem::temp_directory_path() /
          ("xtalmotif_files_test_" + std::to_string(::getpid()) + "_" + name))
      .string();
}

/// A path in the temporary folder that names nothing.
inline std::string missing_path() { return temp_path("no_such_file.con"); }

/// A file in the temporary folder holding exactly `content`, removed with the object.
class ScratchFile {
public:
  explicit ScratchFile(const std::string &content, const std::string &suffix = ".con") {
    static std::atomic<int> counter{0};
    std::ofstream(path_ = temp_path(std::to_string(counter++) + suffix), std::ios::binary)
        << content;
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  const std::string &path() const { return path_; }

private:
  std::string path_;
};

} // namespace xtalmotif::testing

#endif
