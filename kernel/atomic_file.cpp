#include "kernel/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace xtalmotif {

std::string temporary_path_beside(const std::string& path) {
  static std::atomic<unsigned long> counter{0};
  return path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter++);
}

bool write_file_atomically(const std::string& path,
                           const std::function<void(std::ostream&)>& writer, std::string* error) {
  auto fail = [&](const std::string& why, const std::string& tmp) {
    if (!tmp.empty())
      std::remove(tmp.c_str());
    if (error)
      *error = path + ": " + why;
    return false;
  };
  std::string tmp = temporary_path_beside(path);
  {
    std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
    if (!out)
      return fail(std::string("cannot be written: ") + std::strerror(errno), "");
    try {
      writer(out);
    } catch (const std::exception& e) {
      out.close();
      return fail(std::string("writing failed: ") + e.what(), tmp);
    }
    out.flush();
    if (!out)
      return fail("writing failed (disk full?)", tmp);
    // Some file systems report a failed write only when the file is closed.
    out.close();
    if (!out)
      return fail("writing failed when the file was closed", tmp);
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0)
    return fail(std::string("cannot be replaced: ") + std::strerror(errno), tmp);
  return true;
}

} // namespace xtalmotif
