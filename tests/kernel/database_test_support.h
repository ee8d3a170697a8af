#ifndef XTALMOTIF_TESTS_KERNEL_DATABASE_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_KERNEL_DATABASE_TEST_SUPPORT_H

// Scratch folders and small files for the database and screen index tests.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <system_error>

namespace xtalmotif::testing {

/// A new empty folder under the system's temporary folder, removed with everything in it when
/// the object goes.
class ScratchDir {
public:
  ScratchDir() {
    std::random_device rd;
    std::ostringstream name;
    name << "xtalmotif_db_test_" << std::hex << rd() << rd();
    path_ = std::filesystem::temp_directory_path() / name.str();
    std::filesystem::create_directories(path_);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& relative) const { return path_ / relative; }

private:
  std::filesystem::path path_;
};

inline std::string read_text(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Writes the text, making the folders on the way.
inline void write_text(const std::filesystem::path& p, const std::string& text) {
  if (p.has_parent_path())
    std::filesystem::create_directories(p.parent_path());
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  out << text;
  ASSERT_TRUE(out.good()) << "cannot write " << p;
}

/// A data block that a lister takes for a structure (it has an atom-site coordinate loop), though
/// it holds too little to build one.
inline std::string listable_block(const std::string& name) {
  return "data_" + name +
         "\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z\nC1 0.1 0.2 0.3\n";
}

} // namespace xtalmotif::testing

#endif
