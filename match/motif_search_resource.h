#ifndef XTALMOTIF_MATCH_MOTIF_SEARCH_RESOURCE_H
#define XTALMOTIF_MATCH_MOTIF_SEARCH_RESOURCE_H

#include "crystal/coexistence.h"
#include "crystal/crystal_maker.h"
#include "core/geometry.h"
#include "core/handle.h"
#include "chem/molecule.h"
#include "match/atom_address.h"
#include "match/lattice_point_set.h"

#include <array>
#include <iosfwd>
#include <vector>

namespace xtalmotif {

class MotifMatch;
class SubstructureMatch;

/// The crystal environment of one structure while it is searched: the fractional coordinates of
/// every symmetry-distinct copy of every molecule of the crystal, built once and then only read.
///
/// Two molecule indices must not be confused: the resource index names a generated copy here,
/// the crystal-maker index names the molecule of the CrystalMaker it was generated from.
class MotifSearchResource {
public:
  /// Expands the structure: each molecule untransformed, then under each non-identity operator,
  /// leaving out copies that coincide with an earlier one up to a lattice translation.
  explicit MotifSearchResource(const THandle<CrystalMaker>& crystal);

  /// Stored fractional point of atom `natom` of copy `nmol_in_msr` (checked), orthogonalised when
  /// `fractional` is false.
  Point get_point(int nmol_in_msr, int natom, bool fractional) const;
  /// The address's point plus its lattice translation.
  Point get_point(const THandle<AtomAddress>& address, bool fractional) const;
  /// A new site at the address (occupancy 1).
  THandle<Site> get_site(const THandle<AtomAddress>& address) const;
  /// Whether the address's copy has a point for its atom (the copy index is range-checked).
  bool has_point(const THandle<AtomAddress>& address) const;

  /// Crystal-maker molecule of a copy ("vector [] access out of range" when out of range).
  int nmol_in_cm(int nmol_in_msr) const;
  /// First copy generated from a crystal-maker molecule, or -1.
  int nmol_in_resource(int nmol_in_cm) const;
  /// Number of molecule copies.
  int ncopies() const { return static_cast<int>(molecule_points->size()); }

  /// The points transformed by `op`; an empty list when the first transformed point is already
  /// present in the environment (only the first atom decides).
  THandle<std::vector<Point>> gen_points(const CrystalSymmetryOperator& op,
                                         const THandle<std::vector<Point>>& points);
  /// Do two fractional points differ by a whole lattice vector, within 0.001 per axis (strict)?
  bool are_points_related_by_int_translation(const Point& a, const Point& b) const;
  /// Is some stored point a lattice translate of `p`?
  bool is_point_already_generated(const Point& p);
  /// Deliberately inverted sense, kept as it stands: true as soon as the first points of two
  /// copies are NOT related by a lattice translation; false for zero or one copy.
  bool are_duplicates_present() const;

  /// "mol: i  cm mol: m" per copy, then its points (fixed, width 8, precision 3), untranslated.
  void print_points(std::ostream& os, bool fractional) const;

  /// A new 3D atom: copy of the crystal-maker atom, placed at the address.
  THandle<Atom> atom(const THandle<AtomAddress>& address) const;
  THandle<Atom> atom(const THandle<MotifMatch>& match, int substructure, int atom_index) const;
  /// A new 3D molecule: copy of the crystal-maker molecule with every sited atom placed in the
  /// address's copy and cell.
  THandle<Molecule> molecule(const THandle<AtomAddress>& address) const;
  THandle<Molecule> molecule(const THandle<MotifMatch>& match, int substructure) const;
  THandle<Molecule> molecule(const THandle<SubstructureMatch>& match) const;
  /// New 3D atoms of a placed substructure, in the substructure's atom order.
  THandle<std::vector<THandle<Atom>>> atoms(const THandle<MotifMatch>& match,
                                            int substructure) const;
  THandle<std::vector<THandle<Atom>>> atoms(const THandle<SubstructureMatch>& match) const;

  /// What the coexistence rule needs of atom `atom` of crystal-maker molecule `nmol_in_cm`:
  /// its element, its chemical occupancy and its asymmetric-unit site.
  const CoexistenceRule::AtomState& atom_state(int nmol_in_cm, int atom) const {
    return atom_states_.at(nmol_in_cm).at(atom);
  }

  const THandle<CrystalMaker>& crystal() const { return crystal_maker; }
  const Matrix<double, 3, 3>& orthogonal_matrix() const { return orthogonal_matrix_; }

  THandle<CrystalMaker> crystal_maker;
  THandle<std::vector<THandle<std::vector<Point>>>> molecule_points;
  std::vector<int> cm_molecule_of_copy;
  /// Parallel to `molecule_points`: the index of the symmetry operator that generated each copy
  /// (0 for the untransformed molecule), for reporting symmetry codes.
  std::vector<int> operator_of_copy;

private:
  // Every stored point, for finding lattice translates without a scan of every copy.
  LatticePointSet generated_;
  Matrix<double, 3, 3> orthogonal_matrix_;
  std::vector<std::vector<CoexistenceRule::AtomState>> atom_states_;
  // Copied from the crystal (a, b, c); kept for callers, not read by the environment itself.
  std::array<double, 3> cell_values_{};
};

} // namespace xtalmotif

#endif
