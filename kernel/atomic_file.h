#ifndef XTALMOTIF_KERNEL_ATOMIC_FILE_H
#define XTALMOTIF_KERNEL_ATOMIC_FILE_H

#include <functional>
#include <iosfwd>
#include <string>

namespace xtalmotif {

/// Writes a file completely or not at all: the text goes to a temporary file beside the target,
/// which replaces the target only when every byte was written. On failure the target is left as
/// it was, the temporary file is removed, and `error` (when given) says what went wrong, naming
/// the file. Returns true on success.
bool write_file_atomically(const std::string& path,
                           const std::function<void(std::ostream&)>& writer,
                           std::string* error = nullptr);

/// A temporary path beside `path` that no other writer in this process or another uses.
std::string temporary_path_beside(const std::string& path);

} // namespace xtalmotif

#endif
