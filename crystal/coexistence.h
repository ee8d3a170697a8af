#ifndef XTALMOTIF_CRYSTAL_COEXISTENCE_H
#define XTALMOTIF_CRYSTAL_COEXISTENCE_H

#include "chem/element.h"

namespace xtalmotif {

/// What a hit may contain: atoms that can be present together in one real arrangement of the
/// crystal. The crystal builder keeps one alternative of every disorder assembly; this rule
/// covers what a built crystal can still hold twice, because symmetry or the file put it there:
///
/// - two atoms of different molecules never come closer than a physical minimum: 1.5 A when
///   either is a hydrogen (the shortest real H...H contacts are near 1.8 A; an H...O under
///   1.5 A is a shared proton, not a hydrogen bond), 2.2 A between two other non-metal atoms
///   (the shortest O...O hydrogen bonds are 2.4 A), 2.4 A when either of those is partly
///   occupied (alternative solvent sites are typically 1.5-2.4 A apart). A metal and its
///   partner may come as close as three quarters of their covalent radius sum, since a
///   metal-ligand contact is as short as a bond;
/// - two images of one partly occupied site (present in half the cells or fewer) within van
///   der Waals contact of each other are alternatives: the site is disordered across the
///   symmetry element that relates them.
///
/// Occupancies here are chemical: the fraction of cells in which the atom is there, with the
/// crystallographic share of a special position already taken out.
struct CoexistenceRule {
  static constexpr double kHydrogenSeparation = 1.5;
  static constexpr double kHeavySeparation = 2.2;
  static constexpr double kPartialHeavySeparation = 2.4;
  /// Occupancies below this are partial.
  static constexpr double kFullOccupancy = 0.99;

  /// One atom as the rule sees it.
  struct AtomState {
    Element element;
    double occupancy = 1.0;
    int site = -1; ///< asymmetric-unit site; -1 when unknown
  };

  /// Whether atoms `a` and `b` of two different molecules (or two molecule copies),
  /// `distance` angstrom apart, can both be present.
  static bool can_coexist(const AtomState& a, const AtomState& b, double distance);
};

} // namespace xtalmotif

#endif
