#include "core/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace xtalmotif {

namespace {

// A name under /dev or /proc (/dev/stdout, /dev/fd/1, /proc/self/fd/1) names a device or a
// descriptor the program was given, whatever its link says: a pipe (whose link reads
// "pipe:[...]", no path) or a file the shell opened for other output as well, which must be
// written into, never replaced.
bool is_system_name(const fs::path& p) {
  const std::string s = p.string();
  return s.rfind("/dev/", 0) == 0 || s.rfind("/proc/", 0) == 0;
}

bool failed(const std::string& path, const std::string& why, std::string* error) {
  if (error)
    *error = path + ": " + why;
  return false;
}

// Writes through `out`, then checks every stage at which a full disk or a closed device can show.
bool write_through(std::ofstream& out, const std::string& path,
                   const std::function<void(std::ostream&)>& writer, std::string* error) {
  if (!out)
    return failed(path, std::string("cannot be written: ") + std::strerror(errno), error);
  try {
    writer(out);
  } catch (const std::exception& e) {
    out.close();
    return failed(path, std::string("writing failed: ") + e.what(), error);
  }
  out.flush();
  if (!out)
    return failed(path, "writing failed (disk full?)", error);
  // Some file systems report a failed write only when the file is closed.
  out.close();
  if (!out)
    return failed(path, "writing failed when the file was closed", error);
  return true;
}

} // namespace

bool is_written_into(const std::string& path) {
  if (is_system_name(path))
    return true;
  std::error_code ec;
  const fs::file_status st = fs::status(path, ec);
  return !ec && fs::exists(st) && !fs::is_regular_file(st) && !fs::is_directory(st);
}

std::string temporary_path_beside(const std::string& path) {
  static std::atomic<unsigned long> counter{0};
  return path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter++);
}

std::string output_target(const std::string& path) {
  // Links are followed one by one, so that a link to a file not yet written leads to where that
  // file will be; a loop of links (or a chain longer than the system's) is left as it is.
  // They stop at a system name, which is what is written to.
  fs::path p = path;
  std::error_code ec;
  for (int hops = 0; hops < 40 && !is_system_name(p) && fs::is_symlink(p, ec); ++hops) {
    fs::path next = fs::read_symlink(p, ec);
    if (ec)
      return path;
    p = next.is_absolute() ? next : p.parent_path() / next;
  }
  return fs::is_symlink(p, ec) && !is_system_name(p) ? path : p.string();
}

bool install_output(const std::string& temp, const std::string& path, std::string* error) {
  const std::string target = output_target(path);
  if (is_written_into(target)) {
    bool ok = false;
    {
      std::ifstream in(temp, std::ios::binary);
      std::ofstream out(target, std::ios::binary | std::ios::app);
      ok = write_through(out, path, [&in](std::ostream& os) { os << in.rdbuf(); }, error);
    }
    std::remove(temp.c_str());
    return ok;
  }
  if (std::rename(temp.c_str(), target.c_str()) != 0) {
    const int code = errno;
    std::remove(temp.c_str());
    return failed(path, std::string("cannot be replaced: ") + std::strerror(code), error);
  }
  return true;
}

bool write_file_atomically(const std::string& path,
                           const std::function<void(std::ostream&)>& writer, std::string* error) {
  const std::string target = output_target(path);
  // Nothing of a device or pipe can be kept back on failure; it is written directly.
  if (is_written_into(target)) {
    // Appended: standard output sent to a file may have been written to already.
    std::ofstream out(target, std::ios::binary | std::ios::app);
    return write_through(out, path, writer, error);
  }
  const std::string tmp = temporary_path_beside(target);
  bool ok = false;
  {
    std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
    ok = write_through(out, path, writer, error);
  }
  if (!ok) {
    std::remove(tmp.c_str());
    return false;
  }
  return install_output(tmp, path, error);
}

} // namespace xtalmotif
