#ifndef XTALMOTIF_CORE_ATOMIC_FILE_H
#define XTALMOTIF_CORE_ATOMIC_FILE_H

#include <functional>
#include <iosfwd>
#include <string>

namespace xtalmotif {

/// Writes a file completely or not at all: the text goes to a temporary file beside the target,
/// which replaces the target only when every byte was written. On failure the target is left as
/// it was, the temporary file is removed, and `error` (when given) says what went wrong, naming
/// the file. Returns true on success.
///
/// Only a regular file is ever replaced. A symbolic link is followed, so the file it points to
/// is replaced and the link stays; a device or pipe (/dev/null, a terminal, a named pipe) is
/// written into directly, never replaced by a regular file.
bool write_file_atomically(const std::string& path,
                           const std::function<void(std::ostream&)>& writer,
                           std::string* error = nullptr);

/// What an output named `path` should replace: the file a symbolic link points to, whether it
/// exists yet or not (the link itself for a loop of links), else `path` itself. Links are not
/// followed past a name under /dev or /proc (/dev/stdout): that name is written into.
std::string output_target(const std::string& path);

/// Whether an output whose target (see output_target) is `target` is written into rather than
/// replaced: a system name such as /dev/stdout, or something that exists and is neither a
/// regular file nor a folder (a device, a pipe or a socket).
bool is_written_into(const std::string& target);

/// Puts the finished file `temp` in place of the output `path` (see output_target): renamed over
/// it when it is a regular file or does not exist, copied into it when it is a device or pipe,
/// `temp` being removed in every case. False with `error` set (naming `path`) on failure.
bool install_output(const std::string& temp, const std::string& path, std::string* error);

/// A temporary path beside `path` that no other writer in this process or another uses.
std::string temporary_path_beside(const std::string& path);

} // namespace xtalmotif

#endif
