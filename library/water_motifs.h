#ifndef XTALMOTIF_LIBRARY_WATER_MOTIFS_H
#define XTALMOTIF_LIBRARY_WATER_MOTIFS_H

#include "chem/contact_criterion.h"
#include "core/handle.h"
#include "motif/motif.h"
#include "motif/motif_substructure.h"

namespace xtalmotif {

/// Ready-made motifs of water clusters: chains, rings, cages and fused rings in which every
/// water is one substructure and each O-H...O hydrogen bond between neighbouring waters is a
/// contact between their oxygens. Most motifs also hold waters that are not hydrogen-bonded to
/// each other at least 3.34 A apart, so that a cluster that has collapsed onto itself (the same
/// water matched twice through symmetry) is not accepted.
class WaterMotifs {
public:
  /// A water oxygen carrying at least one hydrogen on a molecule of at most three atoms.
  static THandle<MotifSubstructure> make_water();
  /// A water oxygen carrying exactly two hydrogens, with no size limit on its molecule.
  static THandle<MotifSubstructure> make_h2_water();

  /// An O...O hydrogen bond: at most 0.1 A beyond the sum of the van der Waals radii.
  static THandle<CombinedCriterion> hbond_crit();
  /// Waters that are not hydrogen-bonded to each other: 3.34 to 10.0 A apart.
  static THandle<CombinedCriterion> long_crit1();
  /// The same window as long_crit1, kept as its own criterion for the second shell of a chain.
  static THandle<CombinedCriterion> long_crit2();
  /// Distant waters of a cluster: 3.34 to 15.0 A apart.
  static THandle<CombinedCriterion> long_crit3();
  /// Any two waters of a large cluster not otherwise joined: 3.34 to 35.0 A apart.
  static THandle<CombinedCriterion> long_crit4();

  /// Joins every pair of waters that no contact joins yet (in either direction) by a
  /// long_crit4 contact, so that no two waters of the cluster may coincide.
  static void add_water_cross_connections(THandle<Motif> motif);

  /// A chain of six hydrogen-bonded waters.
  static THandle<Motif> make_chain();
  /// A chain of ten hydrogen-bonded waters.
  static THandle<Motif> make_chain_of_ten();
  /// A chain of `n` hydrogen-bonded waters (n of 2 or more).
  static THandle<Motif> make_chain(int n);
  /// A ring of `n` hydrogen-bonded waters (n of 2 or more; for n = 2 the two waters are joined
  /// twice, for n = 1 the motif is a single water and for n <= 0 it is empty).
  static THandle<Motif> make_ring(int n);
  /// The cubic water octamer: eight waters at the corners of a cube, twelve hydrogen bonds along
  /// its edges.
  static THandle<Motif> make_cube();
  /// The cyclic water hexamer.
  static THandle<Motif> make_ring_of_six();
  /// The cyclic water octamer.
  static THandle<Motif> make_ring_of_eight();
  /// The cyclic water decamer.
  static THandle<Motif> make_ring_of_ten();
  /// The cyclic water dodecamer.
  static THandle<Motif> make_ring_of_twelve();
  /// The T4(1) tape: three tetramer rings joined corner to corner, ten waters.
  static THandle<Motif> make_T41();
  /// The T4(2)6(2) tape: two hexamer rings joined by a tetramer ring that shares an edge with
  /// each, twelve waters.
  static THandle<Motif> make_T42_62();
  /// An eight-water cage: the cube with two of its edges left open.
  static THandle<Motif> make_w8();
  /// A ten-water cluster of three fused hexamer rings.
  static THandle<Motif> make_w10();
  /// The L6(6)10 layer fragment of nineteen waters: three fused hexamer rings and a larger ring
  /// closed by a six-water path.
  static THandle<Motif> make_L6_6_10();
  /// Two dodecamer rings sharing two waters (one edge): a twelve-ring and a ten-water path
  /// between its waters 5 and 6.
  static THandle<Motif> make_2_R12s_joined_by_2();
  /// Two dodecamer rings sharing three waters: a nine-water path between waters 4 and 6.
  static THandle<Motif> make_2_R12s_joined_by_3();
  /// Two dodecamer rings sharing four waters: an eight-water path between waters 3 and 6.
  static THandle<Motif> make_2_R12s_joined_by_4();
  /// Two dodecamer rings sharing five waters: a seven-water path between waters 2 and 6.
  static THandle<Motif> make_2_R12s_joined_by_5();
  /// Three fused water pentamer rings in a row.
  static THandle<Motif> make_three_fives();
  /// Three water pentamer rings sharing one edge, like a fan.
  static THandle<Motif> make_three_fives_joined_in_middle();
  /// The 2T6(2) cluster of sixteen waters: four fused hexamer rings.
  static THandle<Motif> make_2T62();
  /// The "butterfly" water decamer of fused four- and five-membered rings, waters with both
  /// hydrogens.
  static THandle<Motif> make_decamer();
};

} // namespace xtalmotif

#endif
