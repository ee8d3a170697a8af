#ifndef XTALMOTIF_TESTS_FILES_SCRATCH_FILE_H
#define XTALMOTIF_TESTS_FILES_SCRATCH_FILE_H

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace xtalmotif::testing {

/// A file in the system's temporary folder that lives as long as the object: written from a
/// string (bytes as given, no newline added) and removed afterwards.
class ScratchFile {
public:
  explicit ScratchFile(const std::string& content, const std::string& suffix = ".con") {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("xtalmotif_files_test_" + std::to_string(::getpid()) + "_" +
             std::to_string(counter++) + suffix);
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    EXPECT_TRUE(out.good()) << "could not write " << path_.string();
  }
  ~ScratchFile() {
    std::error_code ec;
    std::filesystem::remove(path_, ec);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  std::string path() const { return path_.string(); }

private:
  std::filesystem::path path_;
};

/// A path in the temporary folder that names nothing.
inline std::string missing_path() {
  return (std::filesystem::temp_directory_path() / "xtalmotif_files_test_no_such_file.con")
      .string();
}

} // namespace xtalmotif::testing

#endif
