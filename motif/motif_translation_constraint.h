#ifndef XTALMOTIF_MOTIF_MOTIF_TRANSLATION_CONSTRAINT_H
#define XTALMOTIF_MOTIF_MOTIF_TRANSLATION_CONSTRAINT_H

namespace xtalmotif {

/// Demands that two atoms of a motif be the same crystal atom seen in two different unit cells,
/// that is, related by a pure lattice translation (as along a hydrogen-bonded chain that repeats
/// with the cell). Each atom is named by its substructure index and its atom index.
class MotifTranslationConstraint {
public:
  /// Atom `first_atom` of `first_substructure` and atom `second_atom` of `second_substructure`.
  MotifTranslationConstraint(int first_substructure, int first_atom, int second_substructure,
                             int second_atom)
      : first_substructure_(first_substructure), first_atom_(first_atom),
        second_substructure_(second_substructure), second_atom_(second_atom) {}

  /// Substructure of the first atom.
  int first_substructure() const { return first_substructure_; }
  /// The first atom, within its substructure.
  int first_atom() const { return first_atom_; }
  /// Substructure of the second atom.
  int second_substructure() const { return second_substructure_; }
  /// The second atom, within its substructure.
  int second_atom() const { return second_atom_; }

private:
  int first_substructure_;
  int first_atom_;
  int second_substructure_;
  int second_atom_;
};

} // namespace xtalmotif

#endif
