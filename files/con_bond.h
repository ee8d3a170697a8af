#ifndef XTALMOTIF_FILES_CON_BOND_H
#define XTALMOTIF_FILES_CON_BOND_H

#include "core/handle.h"
#include "chem/substructure.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif {

/// One bond record of a connectivity query file, "BO a b type": a query bond between atoms a and
/// b. Types 1 to 4 are single, double, triple and quadruple bonds; any other code (0, 5, ...)
/// accepts any bond type.
class ConBond {
public:
  /// A bond between no atoms (both numbers -1), of any type, in no residue.
  ConBond() = default;
  /// The bond of one bond record, given as the words of its line (words 1, 2 and 3 are read).
  explicit ConBond(std::vector<std::string> words);

  /// Number of the first atom.
  int atom_a() const { return atom_a_; }
  /// Number of the second atom.
  int atom_b() const { return atom_b_; }
  /// The bond type code as written.
  int type_code() const { return type_code_; }
  /// The residue (substructure) the bond belongs to, -1 until residues are assigned.
  int residue() const { return residue_; }
  void set_residue(int residue) { residue_ = residue; }

  /// True when the two bonds share at least one atom number.
  bool is_adjacent_to(const ConBond& other) const;
  /// True when the bond joins atoms `a` and `b`, in either order.
  bool connects_con_atoms(int a, int b) const;
  /// The bond type, 1 to 4 as written, 0 (any type) for every other code.
  int bond_type() const;
  /// The query bond: of the bond's type, or accepting any type.
  THandle<SubstructureBond> substructure_bond() const;

  /// One line: "Atom no. A: ", " Atom no. B: ", " Bond type: " with the two atom numbers and
  /// the type code as written.
  void print(std::ostream& os) const;

private:
  int atom_a_ = -1;
  int atom_b_ = -1;
  int type_code_ = 0;
  int residue_ = -1;
};

} // namespace xtalmotif

#endif
