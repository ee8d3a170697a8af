#ifndef XTALMOTIF_KERNEL_CIF_READER_H
#define XTALMOTIF_KERNEL_CIF_READER_H

#include "kernel/crystal_maker.h"
#include "kernel/handle.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {

/// A CIF file or data block that cannot be turned into a crystal structure. The message names
/// the file, the block and what failed: "x.cif: block 2300214: no atom sites with coordinates".
class CifError : public std::runtime_error {
public:
  explicit CifError(const std::string& message) : std::runtime_error(message) {}
};

/// Where a data block's text lies in its file (after decompression), so that one block of a
/// multi-block file can be read without the others. An empty range (length 0) is unknown.
struct CifBlockRange {
  std::size_t offset = 0;
  std::size_t length = 0;
  /// The line its `data_` line is on, for messages.
  int first_line = 1;
  /// The size of the file (as stored, compressed or not) when the range was taken; a file of
  /// another size has changed since, and is read whole.
  std::uintmax_t file_size = 0;
};

/// One data block of a CIF file: the file it lives in, its name (the text after `data_`) and its
/// position among the blocks of that file (0 for the first).
struct CifBlockInfo {
  std::string file;
  std::string block_name;
  int index = 0;
  /// True when the block's text holds fractional atom coordinates (a `data_global` block of a
  /// multi-block file does not); found by a text scan, without parsing the block.
  bool has_atom_sites = true;
  CifBlockRange range;
};

/// The data blocks of a CIF file (plain or gzipped). A block whose syntax is broken is still
/// listed when its `data_` line can be found, so that the damage stays confined to that block.
/// Throws CifError when the file cannot be opened or holds no data block at all.
std::vector<CifBlockInfo> list_cif_blocks(const std::string& path);

/// The crystal structure of one data block of a CIF file (plain or gzipped): cell, symmetry
/// operators and complete molecules with perceived bonds. An empty block name takes the first
/// block that has atom sites. Throws CifError naming the file and block when it cannot be built.
THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name);

/// The same for a block whose place in its file is known, as `list_cif_blocks` gives it: only
/// that block's text is read. Should the file have changed since it was listed (its size, or
/// the text at that place, is not what the range says), the whole file is read and the block
/// found by name.
THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name,
                                   const CifBlockRange& range);
inline THandle<CrystalMaker> read_crystal(const CifBlockInfo& block) {
  return read_crystal(block.file, block.block_name, block.range);
}

/// Runs the CIF parser over every data block of a file without building anything, and returns
/// the number of blocks parsed; throws CifError at the first block with a syntax error. This is
/// the parse-only baseline against which the cost of building crystals is measured.
int parse_cif_blocks(const std::string& path);

/// The same from CIF text already in memory; `source_name` stands for the file in messages.
THandle<CrystalMaker> read_crystal_from_string(const std::string& cif_text,
                                               const std::string& source_name,
                                               const std::string& block_name = "");

} // namespace xtalmotif

#endif
