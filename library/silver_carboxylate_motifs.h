#ifndef XTALMOTIF_LIBRARY_SILVER_CARBOXYLATE_MOTIFS_H
#define XTALMOTIF_LIBRARY_SILVER_CARBOXYLATE_MOTIFS_H

#include "chem/contact_criterion.h"
#include "crystal/crystal_maker.h"
#include "core/handle.h"
#include "motif/motif.h"
#include "motif/motif_substructure.h"

namespace xtalmotif {

/// Ready-made motifs of silver(I) carboxylates: how carboxylate groups coordinate silver ions,
/// from one silver chelated by one carboxylate to bridged dimers, chains and ladders. Each motif
/// is made of carboxylate and lone-silver substructures joined by Ag...O contacts of at most
/// 2.8 A. The crystal must first be prepared with remove_silver_bonds, so that silver ions and
/// carboxylates are separate molecules.
class SilverCarboxylateMotifs {
public:
  /// An Ag...O coordination contact of at most `d` A, whether the two atoms are in one molecule
  /// or in two.
  static THandle<CombinedCriterion> short_contact(double d);
  /// A carboxylate group C-C(-O)-O with untyped bonds (carboxyl carbon 0, the carbon it carries
  /// 1, oxygens 2 and 3), named "carboxylate"; stores the indices of its two oxygens in `o1` and
  /// `o2`.
  static THandle<MotifSubstructure> make_carboxylate(int &o1, int &o2);

  /// One silver chelated by both oxygens of one carboxylate.
  static THandle<Motif> make_pattern1();
  /// Two silvers bridged by one oxygen of each of two carboxylates (an Ag2O2 rhomb).
  static THandle<Motif> make_pattern2();
  /// The Ag2(O2C)2 dimer: two carboxylates each bridging the same two silvers through both
  /// oxygens, an eight-membered ring, with its six angles at and next to the silvers recorded.
  static THandle<Motif> make_pattern3();
  /// One silver on one carboxylate oxygen (monodentate).
  static THandle<Motif> make_pattern4();
  /// One carboxylate oxygen bridging two silvers.
  static THandle<Motif> make_pattern5();
  /// A carboxylate bridging two silvers, one through each oxygen.
  static THandle<Motif> make_pattern6();
  /// Two silvers and two carboxylates, each carboxylate chelating one silver and bridging to the
  /// other through one oxygen.
  static THandle<Motif> make_pattern7();
  /// Pattern 7 extended by a third silver and a third carboxylate into a chain.
  static THandle<Motif> make_pattern8();
  /// A chain of three silvers and three carboxylates joined through single oxygens.
  static THandle<Motif> make_pattern9();
  /// A ladder of four silvers and four carboxylates (variant 1).
  static THandle<Motif> make_pattern10();
  /// A chain of four silvers and four carboxylates, each carboxylate bridging two silvers.
  static THandle<Motif> make_pattern11();
  /// A ladder of four silvers and four carboxylates (variant 2).
  static THandle<Motif> make_pattern12();
  /// A ladder of four silvers and four carboxylates (variant 3).
  static THandle<Motif> make_pattern13();

  /// Deletes every bond to a silver atom in the crystal, so that silver ions and the carboxylates
  /// around them become separate molecules; molecules split into their connected pieces.
  static void remove_silver_bonds(THandle<CrystalMaker> crystal);
};

} // namespace xtalmotif

#endif
