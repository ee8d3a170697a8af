#ifndef XTALMOTIF_LIBRARY_EXTENDED_RING_MOTIFS_H
#define XTALMOTIF_LIBRARY_EXTENDED_RING_MOTIFS_H

#include "chem/contact_criterion.h"
#include "db/database.h"
#include "core/handle.h"
#include "motif/motif.h"
#include "motif/motif_substructure.h"

#include <string>
#include <utility>
#include <vector>

namespace xtalmotif {

/// Ready-made motifs of extended hydrogen-bonded networks: ribbons, ladders, sheets and nets
/// built from repeated hydrogen-bonded rings. Every motif is made of one-atom donor and acceptor
/// groups tied by three kinds of contact: intramolecular links (two groups belong to one
/// molecule), hydrogen bonds between groups of different molecules, and long-range contacts that
/// hold groups of molecules that are not hydrogen-bonded to each other apart, which also forces
/// those molecules to be distinct molecules of the crystal.
///
/// A motif's name gives its ring pattern, counted in molecules: R2 rings join two molecules by
/// two hydrogen bonds, R3, R4 and R6 rings run through three, four and six molecules; R2R4
/// ladders alternate R2 and R4 rings, R2R6, R4R4 and R4R6 nets combine two kinds. Variants:
/// a shared donor or acceptor is one group taking part in two hydrogen bonds of the pattern; a
/// "duel" (dual) donor is a molecule donating through two separate donor groups; names of
/// crystal structures (ACAPRE, LICKEN, WUHNUI, AMFURZ) stand for patterns first seen there.
/// Substructures are added first (in the order given by each motif's donor/acceptor string),
/// then the intramolecular links, the hydrogen bonds and the long-range contacts. Contacts always
/// join atom 0 to atom 0.
class ExtendedRingMotifs {
public:
  /// A builder of one motif.
  using Builder = THandle<Motif> (*)();

  /// A hydrogen-bond donor group: an O or N atom carrying one to three hydrogens.
  static THandle<MotifSubstructure> make_donor();
  /// A hydrogen-bond acceptor group: any O, N or S atom.
  static THandle<MotifSubstructure> make_acceptor();

  /// Two groups of one molecule, at most 20 A apart.
  static THandle<CombinedCriterion> intra_crit();
  /// A hydrogen bond between heavy atoms of different molecules: at most 0.2 A beyond the sum
  /// of their van der Waals radii (3.24 A for O...O, 3.27 A for N...O).
  static THandle<CombinedCriterion> hbond_crit();
  /// Groups of different molecules that must not be hydrogen-bonded: farther apart than the
  /// radius sum + 0.2 A, within the radius sum + 30 A.
  static THandle<CombinedCriterion> long_crit();

  /// A ribbon of four molecules, each neighbouring pair closed into a ring by two hydrogen bonds.
  static THandle<Motif> r2_ribbon();
  /// An R2 ribbon whose inner molecules take both neighbours' bonds on one acceptor.
  static THandle<Motif> r2_ribbon_shared_acceptor();
  /// An R2 ribbon whose inner molecules give both their bonds from one donor.
  static THandle<Motif> r2_ribbon_shared_donor();
  /// A urea-like tape: two donors of each molecule bond to one acceptor of the next.
  static THandle<Motif> r2_ribbon_acapre();
  /// A strip of six molecules in four fused, cyclic three-molecule rings.
  static THandle<Motif> r3_ribbon();
  /// A 3 x 3 block of molecules in four R4 rings, each donating right and down.
  static THandle<Motif> r4_net_type1();
  /// A 3 x 3 two-component block: donor molecules and acceptor molecules alternate.
  static THandle<Motif> r4_net_type2();
  /// A 3 x 3 block in which each molecule donates from one donor to two neighbours.
  static THandle<Motif> r4_sheet_shared_donor();
  /// A 3 x 3 block with a reversed middle row, each molecule donating from one donor.
  static THandle<Motif> r4_sheet_shared_donor_type2();
  /// A 3 x 3 block in which each molecule accepts both its bonds on one acceptor.
  static THandle<Motif> r4_sheet_shared_acceptor();
  /// A 3 x 3 two-component block of dual donors around a central double acceptor.
  static THandle<Motif> r4_sheet_duel_donor();
  /// A 3 x 3 block of molecules with one donor and one acceptor each.
  static THandle<Motif> r4_sheet_shared_donor_and_acceptor();
  /// A 3 x 3 block with a reversed middle row, one group per hydrogen bond.
  static THandle<Motif> r4_sheet_type3();
  /// A 3 x 3 block with a reversed middle row, one acceptor per molecule.
  static THandle<Motif> r4_sheet_shared_acceptor_type2();
  /// A 3 x 3 block with bonds round the rim and into the centre, one donor per molecule.
  static THandle<Motif> r4_sheet_shared_donor_type3();
  /// A 3 x 3 block with a reversed bottom row, one acceptor per molecule.
  static THandle<Motif> r4_sheet_shared_acceptor_type4();
  /// A 3 x 3 block around a central molecule donating through four donor groups.
  static THandle<Motif> r4_sheet_duel_donor_type2();
  /// A 3 x 3 block with bonds round the rim and out of the centre, one acceptor per molecule.
  static THandle<Motif> r4_sheet_shared_acceptor_type3();
  /// Two fused six-molecule rings holding four R2 dimers.
  static THandle<Motif> r2r6_net();
  /// Two fused six-molecule rings whose shared pair of molecules is an R2 dimer.
  static THandle<Motif> r2r6_net_type2();
  /// Two fused six-molecule rings whose R2 rings are closed by dual donors.
  static THandle<Motif> r2r6_net_duel_donor();
  /// The R2R6 net with one donor per molecule.
  static THandle<Motif> r2r6_net_shared_donor();
  /// The R2R6 net with one acceptor per molecule.
  static THandle<Motif> r2r6_net_shared_acceptor();
  /// The R2R6 net with one donor and one acceptor per molecule.
  static THandle<Motif> r2r6_net_shared_donor_and_acceptor();
  /// The R2R6 net of type 2 with some donors and acceptors shared.
  static THandle<Motif> r2r6_net_shared_donor_and_acceptor_type2();
  /// The R2R6 net with shared groups in one ring only (named "R2R6 net LICKEN").
  static THandle<Motif> r2r6_net_likcen();
  /// The R2R4 ladder of primary amides: one donor and one acceptor per molecule.
  static THandle<Motif> r2r4_ladder_shared_donor_and_acceptor();
  /// An R2R4 ladder with one acceptor per molecule.
  static THandle<Motif> r2r4_ladder_shared_acceptor();
  /// An R2R4 ladder with one donor per molecule.
  static THandle<Motif> r2r4_ladder_shared_donor();
  /// A ladder of four R2 dimers joined into R4 rings by rails running in opposite directions.
  static THandle<Motif> r2r4_ladder();
  /// A ladder of four R2 dimers whose rails run the same way.
  static THandle<Motif> r2r4_ladder_type2();
  /// The R2R4 ladder with parallel rails, one donor and one acceptor per molecule.
  static THandle<Motif> r2r4_ladder_shared_donor_and_acceptor_type2();
  /// A two-component R2R4 ladder of multiple donors and single-acceptor molecules.
  static THandle<Motif> r2r4_ladder_wuhnui();
  /// A 3 x 3 block whose R4 rings are all cyclic, alternating in sense.
  static THandle<Motif> r4r4_net();
  /// A central molecule in two R4 and two R6 rings, with shared acceptors.
  static THandle<Motif> r4r6_net_shared_acceptor();
  /// An R3 ribbon of molecules donating through two donor groups each.
  static THandle<Motif> r3_ribbon_duel_donor();
  /// An R3 ribbon with one acceptor per molecule.
  static THandle<Motif> r3_ribbon_shared_acceptor();
  /// An R3 ribbon with one donor per molecule.
  static THandle<Motif> r3_ribbon_shared_donor();
  /// An R3 ribbon around a central molecule with four acceptors.
  static THandle<Motif> r3_ribbon_amfurz();
  /// An R3 ribbon of groups that both donate and accept, such as hydroxyls.
  static THandle<Motif> r3_ribbon_just_donors();
  /// An R3 ribbon with one donor and one acceptor per molecule.
  static THandle<Motif> r3_ribbon_shared_donor_and_acceptor();
  /// An R3 ribbon whose bonds all point along the strip, one group per hydrogen bond.
  static THandle<Motif> r3_ribbon_type2();
  /// A second R3 ribbon of dual donors.
  static THandle<Motif> r3_ribbon_duel_donor_type2();
  /// An R3 ribbon whose middle molecules share one donor and one acceptor.
  static THandle<Motif> r3_ribbon_shared_donor_and_acceptor_type2();

  /// Every motif of the library as (motif name, builder), in library order, for programs that
  /// list the motifs and build one by name.
  static std::vector<std::pair<std::string, Builder>> catalog();

  /// The file count_acceptors_donors writes, fixed when the library is built: the CMake cache
  /// variable XTALMOTIF_ACCEPTORS_DONORS_FILE, by default xtalmotif_acceptors_donors.txt in the
  /// build folder (a build without that setting writes the name into the current folder). No
  /// argument or setting of the census changes it at run time.
  static std::string acceptors_donors_path();
  /// A diagnostic census of hydrogen-bonding groups: for each entry of the database, the number
  /// of OH1, OH2, NH1, NH2, NH3, O (no hydrogen) and N (no hydrogen) groups in the first molecule
  /// of its structure, written to acceptors_donors_path() as a tab-separated table with a header
  /// line. An entry that cannot be read or has no molecule gets a note instead of counts. Nothing
  /// is reported when the file cannot be written.
  static void count_acceptors_donors(const Database<CrystalStructureDatabaseEntry> &database);
};

} // namespace xtalmotif

#endif
