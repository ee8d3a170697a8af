#ifndef XTALMOTIF_FILES_CON_FILE_H
#define XTALMOTIF_FILES_CON_FILE_H

#include "files/con_atom.h"
#include "files/con_bond.h"
#include "files/con_contact.h"
#include "core/handle.h"

#include <map>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace xtalmotif {

class Motif;

/// A connectivity query file: a motif written as text, with atom records ("AT1 C 3 T3 0 0 0"),
/// bond records ("BO 1 2 2"), contact records (a "VDW" line and the line after it) and angle
/// records (a five-word "DEFINE" line and the line after it). Atoms joined by bonds form one
/// substructure (residue); the motif has one substructure per residue, one contact per contact
/// record and one angle constraint per angle record.
///
/// Lines are classified by their first word, loosely and case-sensitively, in this order: a
/// first word containing "AT" is an atom, "BO" a bond, "VDW" a contact; a line of exactly five
/// words containing "DEFINE" an angle. Every other line (titles, comments, blank lines) is
/// skipped. Numbers are read leniently: a word that is no number reads as 0.
///
/// Out-of-format content is handled thus:
/// - a "VDW" or "DEFINE" line that is the last line of the file has no second line; the record is
///   treated as absent (skipped), like any other incomplete line;
/// - a contact, angle or bond record that names an atom number with no atom record cannot be
///   made into a motif: motif() throws (see there) rather than build a query that the search
///   could not follow;
/// - so does a contact whose limits are not offsets from -30 to 30 A (an infinity, an angle, an
///   absolute distance of kilometres) or whose range is empty, and an angle range that is not
///   one of angles from 0 to 180 degrees.
class ConFile {
public:
  /// One angle record: the angle atom_1-atom_2-atom_3 at atom_2 must lie from `min_angle` to
  /// `max_angle` degrees, both included (e.g. the O-H...O angle at H of a hydrogen bond).
  class ConAngle {
  public:
    /// Atoms from words 2, 3 and 4 of the "DEFINE" line, limits from words 2 and 3 of the next.
    ConAngle(const std::vector<std::string>& define_line,
             const std::vector<std::string>& next_line);
    int atom_1() const { return atom_1_; }
    /// The apex atom.
    int atom_2() const { return atom_2_; }
    int atom_3() const { return atom_3_; }
    /// Smallest allowed angle, degrees.
    double min_angle() const { return min_angle_; }
    /// Largest allowed angle, degrees.
    double max_angle() const { return max_angle_; }

  private:
    int atom_1_ = -1;
    int atom_2_ = -1;
    int atom_3_ = -1;
    double min_angle_ = 0.0;
    double max_angle_ = 0.0;
  };

  /// No records.
  ConFile() = default;

  /// Reads a query file, replacing all records, and assigns the residues. False, changing
  /// nothing, when the file cannot be opened; malformed content is never reported here.
  bool read(std::string path);
  /// Forgets every record, the residues and the atom indices.
  void clear();

  /// A new motif with an empty name: one substructure per residue, then the contacts, then the
  /// angle constraints. Throws std::out_of_range when a contact or angle record names an atom
  /// number that has no atom record, and std::invalid_argument when a bond does (or joins an
  /// atom to itself) or a contact's or angle's limits cannot be searched for; the message names
  /// the file and line of the record.
  THandle<Motif> motif();

  /// A copy of the first atom record with this number, or a default record (residue -1).
  ConAtom find_con_atom(int number) const;
  /// A copy of the first bond joining atoms `a` and `b` in either order, or a default record.
  ConBond find_con_bond(int a, int b) const;
  /// The atom numbers met in `bonds`, each once, in order of first appearance.
  std::vector<int> con_atoms(const std::vector<ConBond>& bonds) const;
  /// True when some bond record names the atom.
  bool is_bonded(const ConAtom& atom) const;
  /// The atoms of residue `r`, in file order.
  std::vector<ConAtom> atoms_in_residue(int r) const;
  /// The bonds of residue `r`, in file order.
  std::vector<ConBond> bonds_in_residue(int r) const;
  /// The index of atom `number` within its substructure, known once motif() has built it; -1
  /// otherwise.
  int sub_atom_index(int number) const;
  /// The connected pieces of the bond graph of `bonds`, ordered by their first bond in the given
  /// order; within a piece the bonds keep the given order.
  std::vector<std::vector<ConBond>> group_bonds(const std::vector<ConBond>& bonds) const;
  /// True when `bond` shares an atom with some bond of `group`.
  bool bond_extends_group(const ConBond& bond, const std::vector<ConBond>& group) const;
  /// Assigns residues: each connected piece of the bond graph, in order of its first bond, then
  /// each atom without bonds, in file order, as a residue of its own.
  void find_residues();

  /// The atom records, in file order.
  const std::vector<ConAtom>& atoms() const { return atoms_; }
  /// Atom number to index within its substructure, filled by motif().
  const std::map<int, int>& atom_indices() const { return atom_indices_; }
  /// The bond records, in file order.
  const std::vector<ConBond>& bonds() const { return bonds_; }
  /// The contact records, in file order.
  const std::vector<ConContact>& contacts() const { return contacts_; }
  /// The angle records, in file order.
  const std::vector<ConAngle>& angles() const { return angles_; }
  /// The residue indices, in the order they were made.
  const std::vector<int>& residues() const { return residues_; }
  /// The path last read successfully ("" before).
  const std::string& path() const { return path_; }
  /// Records read with fields guessed ("FILE: line N: ..."): an atom line of fewer than seven
  /// words loses what its three dropped last words held. The query is still made from them.
  const std::vector<std::string>& warnings() const { return warnings_; }

private:
  // Group index (0, 1, ... by first bond) of every bond of `bonds`.
  std::vector<int> bond_group_ids(const std::vector<ConBond>& bonds) const;
  // "file: line n" for messages about the record read from line n (counted from 1).
  std::string where(int line) const;
  using FirstRecords = std::unordered_map<int, const ConAtom*>;
  void build_substructures(Motif& motif, const FirstRecords& first);
  void add_contacts(Motif& motif, const FirstRecords& first);
  void add_angle_constraints(Motif& motif, const FirstRecords& first);

  std::vector<ConAtom> atoms_;
  std::map<int, int> atom_indices_;
  std::vector<ConBond> bonds_;
  std::vector<ConContact> contacts_;
  std::vector<ConAngle> angles_;
  std::vector<int> residues_;

  std::string path_;
  std::vector<std::string> warnings_;
  // Line numbers (from 1) of the bond, contact and angle records, for messages.
  std::vector<int> bond_lines_;
  std::vector<int> contact_lines_;
  std::vector<int> angle_lines_;
};

/// A query file that cannot be made into a motif: unreadable, not a usable query, or without
/// atoms. The message names the file.
class QueryFileError : public std::runtime_error {
public:
  explicit QueryFileError(const std::string& message) : std::runtime_error(message) {}
};

/// A query file's motif, named after the file, with the warnings its reading gave (see
/// ConFile::warnings); QueryFileError when it has no usable motif.
struct QueryMotif {
  THandle<Motif> motif;
  std::vector<std::string> warnings;
};
QueryMotif read_query_motif(const std::string& path);

} // namespace xtalmotif

#endif
