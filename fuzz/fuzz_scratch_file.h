#ifndef XTALMOTIF_FUZZ_FUZZ_SCRATCH_FILE_H
#define XTALMOTIF_FUZZ_FUZZ_SCRATCH_FILE_H

// The readers of query files and screen indexes take a path: each fuzz input is written to one
// file of the process, rewritten for every input.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace xtalmotif::fuzz {

/// A file in the system's temporary folder, named after the process, holding the bytes given.
inline const std::string& scratch_file(const std::uint8_t* data, std::size_t size,
                                       const char* suffix) {
  static const std::string path = (std::filesystem::temp_directory_path() /
                                   ("xtalmotif_fuzz_" + std::to_string(::getpid()) + suffix))
                                      .string();
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    if (size > 0)
      std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  return path;
}

} // namespace xtalmotif::fuzz

#endif
