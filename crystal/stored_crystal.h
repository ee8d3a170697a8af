#ifndef XTALMOTIF_CRYSTAL_STORED_CRYSTAL_H
#define XTALMOTIF_CRYSTAL_STORED_CRYSTAL_H

#include "crystal/cif_error.h"
#include "crystal/crystal_maker.h"
#include "core/handle.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace xtalmotif {

/// Stored bytes that cannot be turned back into the crystal they were made from: cut short,
/// damaged, of another format version or written on a machine of the other byte order. The
/// message names where the bytes were kept ("structures.idx: entry 2300214") and what is wrong.
/// A CifError, so that whoever reports an unreadable structure reports this one too.
class StoredCrystalError : public CifError {
public:
  explicit StoredCrystalError(const std::string& message) : CifError(message) {}
};

/// Version of the stored form written by store_crystal; load_crystal refuses any other.
constexpr std::uint32_t stored_crystal_format_version = 2;

/// The assembled crystal as compact bytes: cell, space-group name, the listed symmetry operators
/// (the operators are derived from them as when the file was read), where the symmetry came from,
/// every molecule with its atoms (element, label, charge, implied hydrogens, site coordinates and
/// occupancy, the atom's origin in the file) and its bonds in order with their ring flags, and
/// what the reader noted (flags, R factor, errors, warnings and notices). Numbers keep every bit,
/// in this machine's byte order; a header holds the format version, the byte order and a 64-bit
/// digest of the rest.
std::string store_crystal(const CrystalMaker& crystal);

/// The crystal of bytes written by store_crystal, indistinguishable from the one stored: the same
/// molecules, atoms and bonds in the same order, the same operators, texts and flags. Throws
/// StoredCrystalError, its message starting with `where`, for bytes that are cut short, damaged,
/// of another format version or of the other byte order; nothing is read from such bytes.
THandle<CrystalMaker> load_crystal(std::string_view bytes, const std::string& where);

} // namespace xtalmotif

#endif
