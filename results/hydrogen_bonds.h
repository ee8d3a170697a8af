#ifndef XTALMOTIF_RESULTS_HYDROGEN_BONDS_H
#define XTALMOTIF_RESULTS_HYDROGEN_BONDS_H

#include "results/contact_geometry.h"
#include "results/match_description.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// When a D-H...A contact counts as a hydrogen bond: the usual criteria of structure reports,
/// H...A shorter than the van der Waals radius sum plus a margin and the D-H...A angle wide
/// enough.
struct HydrogenBondCriteria {
  /// Added to the H + A van der Waals radius sum (1.09 + 1.52 = 2.61 A for O).
  double margin = 0.35;
  /// The smallest D-H...A angle, degrees.
  double min_angle = 110.0;
};

/// One hydrogen bond of a structure as a `_geom_hbond_*` loop lists it: donor and hydrogen at
/// the hydrogen's own site, the acceptor with the code that places it.
struct StructureHydrogenBond {
  HydrogenBondGeometry geometry;
  DescribedAtom donor, hydrogen, acceptor;
  /// Donor and acceptor in one molecule.
  bool intramolecular = false;
  /// The first-level graph set of the bond: the pattern the bond alone makes in the crystal.
  std::string graph_set;
};

namespace MotifSearchLibFunctions {

/// Every hydrogen bond of the structure (every atom of which has a site, as after
/// CrystalMaker::select_3d): each hydrogen bonded to N, O, F or S, at its own site,
/// with each N, O, F, S or Cl atom of the crystal that meets the criteria, ordered by the
/// hydrogen's molecule and atom and then by H...A.
std::vector<StructureHydrogenBond> find_hydrogen_bonds(const MotifSearchResource& resource,
                                                       const HydrogenBondCriteria& criteria = {});

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif

#endif
