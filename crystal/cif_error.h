#ifndef XTALMOTIF_CRYSTAL_CIF_ERROR_H
#define XTALMOTIF_CRYSTAL_CIF_ERROR_H

#include <stdexcept>
#include <string>

namespace xtalmotif {

/// A CIF file or data block that cannot be turned into a crystal structure. The message names
/// the file, the block and what failed: "x.cif: block 2300214: no atom sites with coordinates".
/// Thrown by the reader and by the assembly of a crystal from what was read.
class CifError : public std::runtime_error {
public:
  explicit CifError(const std::string& message) : std::runtime_error(message) {}
};

} // namespace xtalmotif

#endif
