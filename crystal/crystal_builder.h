#ifndef XTALMOTIF_CRYSTAL_CRYSTAL_BUILDER_H
#define XTALMOTIF_CRYSTAL_CRYSTAL_BUILDER_H

#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "core/geometry.h"
#include "core/handle.h"

#include <array>
#include <set>
#include <string>
#include <vector>

namespace xtalmotif {

/// One row of a CIF atom-site list as written: label, type symbol, fractional coordinates,
/// occupancy and disorder assignment.
struct AtomSiteRecord {
  /// Its row in the file's atom-site loop, counted from 0; -1 for its place in the
  /// description's list.
  int row = -1;
  std::string label;
  /// `_atom_site_type_symbol` ("C", "O2-", "Ag1+"); empty when the file gives none.
  std::string type_symbol;
  Point fractional;
  double occupancy = 1.0;
  /// 0 for no disorder group; negative groups mark disorder across a symmetry element.
  int disorder_group = 0;
  std::string disorder_assembly;
  /// Marked partly occupied by its refinement flags ("P") although no occupancy is given.
  bool flagged_partial = false;
  /// A dummy site (`_atom_site_calc_flag dum`): a centroid or a marker, not an atom.
  bool dummy = false;
};

/// What a CIF data block says about a crystal structure, before any molecule is built.
struct CrystalDescription {
  /// File and block, for messages ("x.cif", "2300214").
  std::string source;
  std::string block;
  /// a, b, c in angstrom; alpha, beta, gamma in degrees.
  std::array<double, 6> cell{{0, 0, 0, 90, 90, 90}};
  /// The full list of operators (centring included); empty means P1.
  std::vector<CrystalSymmetryOperator> operators;
  /// Set by a reader that has checked the list to be closed under composition (or took it
  /// from a space-group table); otherwise the builder finds out for itself.
  bool operators_form_group = false;
  std::string space_group;
  /// Where the operators come from (the loop's tag, or "Hall symbol 'P 2ac 2ab'"), and why the
  /// file's own operator list was not used (empty when it was, or when it gave none).
  std::string symmetry_source;
  std::string symmetry_replaced;
  /// Notes made while reading (which symmetry source was used...).
  std::vector<std::string> warnings;
  std::vector<AtomSiteRecord> sites;
  /// `_chemical_formula_sum` (or the moiety formula), used to read elements from labels.
  std::string formula;
  /// `_chemical_formula_moiety` on its own: a sum written without its hydrogens is not taken
  /// for an anhydrous structure when the moiety formula names them.
  std::string moiety_formula;
  /// Conventional R factor as a fraction; negative when absent.
  double r_factor = -1.0;
};

/// Limits that keep pathological inputs from exhausting time or memory.
struct CrystalBuildSettings {
  /// Most atom sites accepted in one asymmetric unit.
  int max_sites = 20000;
  /// Most atoms accepted in one unit cell (sites times operators).
  int max_cell_atoms = 400000;
  /// Most bonds accepted in one molecule (an endless framework is cut into one large piece).
  int max_molecule_bonds = 6000;
  /// Two sites closer than this (angstrom) are one atom.
  double merge_distance = 0.5;
};

/// Builds the complete molecules of a crystal structure from its asymmetric unit.
///
/// Disorder: sites of no disorder group or of the first group of each assembly are kept, and
/// negative groups too; of two unlabelled partly occupied sites too close to be bonded the
/// higher-occupancy one is kept. Sites that symmetry maps within `merge_distance` of each other
/// are one atom: an atom on a special position stays single, and the symmetry images of a
/// molecule disordered across a symmetry element are dropped where they overlap the asymmetric
/// unit's orientation. Partly occupied hydrogens beyond an atom's valence (a methyl with two
/// sets, four half hydrogens around a water, half hydrogens on both oxygens of an acid) are
/// dropped, lowest occupancy first.
///
/// Molecules: each is grown from a not yet used asymmetric-unit atom across symmetry images
/// and lattice translations until complete; a chain that would repeat an atom by a pure lattice
/// translation is cut there (preferably at a metal-ligand bond) and the structure is marked
/// polymeric. Each atom carries the coordinates of the image that makes its molecule whole and
/// the label of its asymmetric-unit site; its operator and translation are kept as its
/// AtomOrigin.
class CrystalBuilder {
public:
  explicit CrystalBuilder(CrystalBuildSettings settings = {}) : settings_(settings) {}

  /// The crystal of the description; throws CifError ("FILE: block BLOCK: what failed") when
  /// the cell is unusable or no atom is left.
  THandle<CrystalMaker> build(const CrystalDescription& description) const;

  /// The element of a type symbol such as "O2-", "Ag1+", "N+", "CL" and its charge; the
  /// unknown element when the symbol names none. `formula` (element codes) settles two-letter
  /// readings that are not in the compound.
  static Element element_from_type_symbol(const std::string& symbol, const std::set<int>& formula,
                                          int* charge);
  /// The element an atom label stands for in the organic sense: "HN1", "HA", "H12A" are H,
  /// "OW1" and "Wat1" are O, "Cl1" is Cl, "D1" is D, "CA1" is C unless `formula` holds Ca.
  static Element element_from_label(const std::string& label, const std::set<int>& formula);
  /// Element codes named in a formula such as "C13 H18 O2" or "C12 H8.5 Ag1.5 N2 O4".
  static std::set<int> formula_elements(const std::string& formula);

private:
  CrystalBuildSettings settings_;
};

} // namespace xtalmotif

#endif
