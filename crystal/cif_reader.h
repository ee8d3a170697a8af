#ifndef XTALMOTIF_CRYSTAL_CIF_READER_H
#define XTALMOTIF_CRYSTAL_CIF_READER_H

#include "crystal/cif_error.h"
#include "crystal/crystal_maker.h"
#include "core/handle.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace xtalmotif {

/// The most text (after decompression) a CIF file or standard input may hold: larger inputs are
/// not small-molecule structures, and are refused rather than read into memory.
constexpr std::size_t max_cif_text_bytes = std::size_t{64} << 20;
/// The most data blocks one file may hold. A file of more is refused when it is listed, so that a
/// small compressed file of countless tiny blocks cannot fill the memory with their listing.
constexpr int max_cif_blocks_per_file = 100000;

/// Where a data block's text lies in its file (after decompression), so that one block of a
/// multi-block file can be read without the others. An empty range (length 0) is unknown.
struct CifBlockRange {
  std::size_t offset = 0;
  std::size_t length = 0;
  /// The line its `data_` line is on, for messages.
  int first_line = 1;
  /// The size of the file (as stored, compressed or not) when the range was taken; a file of
  /// another size has changed since.
  std::uintmax_t file_size = 0;
  /// The digest of the block's text when it was listed (ContentDigest); 0 when none was
  /// taken. Text at the range with another digest is another block, or this one changed.
  std::uint64_t checksum = 0;
  /// Whether the file is gzipped: its blocks are then best read in file order, one pass of
  /// decompression serving them all.
  bool compressed = false;
  /// A block that must be found exactly as listed: something was computed from that text (the
  /// screens of an index), so a change is an error rather than a reason to read the file afresh.
  bool must_match = false;
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

/// The data blocks of a CIF file (plain or gzipped), read in one pass and never held whole: each
/// block's name, place, digest and whether it has atom sites. A block whose syntax is broken is
/// still listed when its `data_` line can be found, so that the damage stays confined to that
/// block. Throws CifError when the file cannot be opened, holds no data block at all, or is over
/// the limits of text (max_cif_text_bytes) or blocks (max_cif_blocks_per_file).
std::vector<CifBlockInfo> list_cif_blocks(const std::string& path);
/// The same for CIF text held in memory; `source_name` stands for the file in the listing and in
/// messages.
std::vector<CifBlockInfo> list_cif_blocks_in_string(const std::string& cif_text,
                                                    const std::string& source_name);

/// The crystal structure of one data block of a CIF file (plain or gzipped): cell, symmetry
/// operators and complete molecules with perceived bonds. An empty block name takes the first
/// block that has atom sites. Throws CifError naming the file and block when it cannot be built.
THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name);

/// Reads listed data blocks of one CIF file from their places in it, only each block's text.
/// Blocks asked for in the order they lie in the file share one pass over it: a gzipped file of
/// many blocks is decompressed once for them all, not once per block.
///
/// Should the file no longer be as listed (another size, another block or changed text at the
/// range), a block marked `must_match` is refused with a CifError saying so; any other is read
/// from the whole file afresh: the block at its listed position when it still has its name, else
/// the first block of that name. One reader serves one thread.
class CifFileReader {
public:
  /// A reader of `path`; the file is opened when the first block is read.
  explicit CifFileReader(std::string path);
  ~CifFileReader();
  CifFileReader(const CifFileReader&) = delete;
  CifFileReader& operator=(const CifFileReader&) = delete;

  /// The file read.
  const std::string& path() const { return path_; }
  /// The structure of block `block_name`, number `block_index` among the file's blocks (-1 when
  /// unknown), listed at `range`. Throws CifError naming the file and block when it cannot be
  /// built.
  THandle<CrystalMaker> read(const std::string& block_name, int block_index,
                             const CifBlockRange& range);

private:
  struct Stream;
  std::string path_;
  std::unique_ptr<Stream> stream_;
};

/// One listed block read on its own (see CifFileReader).
THandle<CrystalMaker> read_crystal(const std::string& path, const std::string& block_name,
                                   const CifBlockRange& range);
inline THandle<CrystalMaker> read_crystal(const CifBlockInfo& block) {
  return CifFileReader(block.file).read(block.block_name, block.index, block.range);
}

/// Runs the CIF parser over every data block of a file without building anything, and returns
/// the number of blocks parsed; throws CifError at the first block with a syntax error. This is
/// the parse-only baseline against which the cost of building crystals is measured.
int parse_cif_blocks(const std::string& path);
/// The same, each block also made into gemmi's small-structure model (cell, symmetry, sites):
/// the cost of reading a crystal with gemmi alone, the reference for this reader's speed.
/// Returns the number of sites read.
int read_cif_blocks_with_gemmi(const std::string& path);

/// The same from CIF text already in memory; `source_name` stands for the file in messages.
THandle<CrystalMaker> read_crystal_from_string(const std::string& cif_text,
                                               const std::string& source_name,
                                               const std::string& block_name = "");
/// One block of CIF text in memory, as list_cif_blocks_in_string listed it.
THandle<CrystalMaker> read_crystal_from_string(const std::string& cif_text,
                                               const CifBlockInfo& block);

} // namespace xtalmotif

#endif
