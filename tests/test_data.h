#ifndef XTALMOTIF_TESTS_TEST_DATA_H
#define XTALMOTIF_TESTS_TEST_DATA_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace xtalmotif::testing {

/// The folder of real structures passed in by the build. A test that needs it and does not find
/// it fails rather than passing quietly.
inline std::filesystem::path data_dir() { return std::filesystem::path(XTALMOTIF_DATA_DIR); }

/// Path of a file of the real-structure collections, e.g. curated_file("2300214.cif"); fails the
/// calling test when it is missing.
inline std::filesystem::path require_data(const std::filesystem::path& relative) {
  auto p = data_dir() / relative;
  if (!std::filesystem::exists(p))
    ADD_FAILURE() << "real-structure data missing: " << p.string()
                  << " (configure with -DXTALMOTIF_DATA_DIR=...)";
  return p;
}

/// Why a test over a whole collection of real structures ("bulk", "robustness") cannot run: one
/// line naming the missing folder, or "" when it is there. Such a test is reported as not run
/// (GTEST_SKIP with this line) rather than failed, since the collections are large and are not
/// part of the repository.
inline std::string missing_collection(const std::string& name) {
  const auto p = data_dir() / name;
  if (std::filesystem::is_directory(p))
    return "";
  return "needs the " + name + " collection of real structures at " + p.string() +
         " (configure with -DXTALMOTIF_DATA_DIR=...)";
}

inline std::filesystem::path source_dir() { return std::filesystem::path(XTALMOTIF_SOURCE_DIR); }

} // namespace xtalmotif::testing

#endif
