#ifndef XTALMOTIF_LIBRARY_PRE_DEFINED_SUBSTRUCTURES_H
#define XTALMOTIF_LIBRARY_PRE_DEFINED_SUBSTRUCTURES_H

#include "core/handle.h"
#include "motif/motif_substructure.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// A library of ready-made chemical fragments (functional groups, ions, generic hydrogen-bond
/// donor and acceptor atoms) from which motifs are assembled. Every builder returns a new
/// fragment; atoms are numbered in the order listed with each builder, heavy atoms first and any
/// explicit hydrogens last, and motifs name their contact atoms by these numbers.
class PreDefinedSubstructures {
public:
  /// How a fragment is drawn. Callers normally set all three flags.
  struct GenerationOptions {
    /// Hydrogens become explicit H query atoms bonded to their heavy atom, in addition to the
    /// hydrogen-count constraints that are always present.
    bool explicit_hydrogens = false;
    /// Leave out the formal-charge constraints (useful where the structure's charges are not
    /// trusted); the halide ions then also lose their "no bonds" requirement.
    bool omit_charges = false;
    /// Build the fragment's bonds untyped, so that any bond order matches.
    bool any_bond_types = false;
  };

  /// The fragment registered under `name` (exact, case-sensitive key such as "COO-",
  /// "trans-amide" or "water"); a null handle for an unknown key.
  static THandle<MotifSubstructure> make_sub(std::string name, GenerationOptions options);
  /// The 39 keys of the standard library, in library order (aliases and the specialised amide
  /// and HNCNH fragments are not listed).
  static std::vector<std::string> substructure_names();
  /// One fragment for each key of substructure_names(), in the same order.
  static std::vector<THandle<MotifSubstructure>> all_substructures(GenerationOptions options);

  // ---- oxygen and nitrogen atoms by hydrogen count ----
  /// A hydroxyl-type oxygen carrying exactly one hydrogen (alcohols, acids, phenols).
  static THandle<MotifSubstructure> make_oh1(GenerationOptions options);
  /// An oxygen carrying exactly two hydrogens, as in water or an aqua ligand.
  static THandle<MotifSubstructure> make_oh2(GenerationOptions options);
  /// An oxygen carrying no hydrogen (carbonyl, ether, nitro or anionic oxygen).
  static THandle<MotifSubstructure> make_o();
  /// A nitrogen carrying exactly two hydrogens (primary amine or amide).
  static THandle<MotifSubstructure> make_nh2(GenerationOptions options);
  /// A nitrogen carrying exactly three hydrogens (ammonium, protonated primary amine).
  static THandle<MotifSubstructure> make_nh3(GenerationOptions options);
  /// A nitrogen carrying exactly one hydrogen (secondary amine or amide).
  static THandle<MotifSubstructure> make_nh1(GenerationOptions options);
  /// A nitrogen carrying at least one hydrogen: any N-H donor.
  static THandle<MotifSubstructure> make_nh(GenerationOptions options);
  /// A positively charged nitrogen with one hydrogen (protonated tertiary amine or imine).
  static THandle<MotifSubstructure> make_charged_nh1(GenerationOptions options);
  /// A nitrogen with no hydrogen.
  static THandle<MotifSubstructure> make_n();
  /// A two-connected ring nitrogen in an aromatic ring (pyridine-type acceptor).
  static THandle<MotifSubstructure> make_aromatic_n(GenerationOptions options);

  // ---- generic donors and acceptors ----
  /// An acceptor atom: any element but carbon and hydrogen, carrying no hydrogen.
  static THandle<MotifSubstructure> make_acceptor();
  /// An oxygen or nitrogen acceptor carrying no hydrogen.
  static THandle<MotifSubstructure> make_on_acceptor();
  /// A donor atom: any element but carbon and hydrogen, carrying at least one hydrogen.
  static THandle<MotifSubstructure> make_donor(GenerationOptions options);
  /// An oxygen or nitrogen donor carrying at least one hydrogen.
  static THandle<MotifSubstructure> make_on_donor(GenerationOptions options);
  /// Any heteroatom (any element but carbon and hydrogen). Nothing in it depends on the options.
  static THandle<MotifSubstructure> make_x(GenerationOptions options);
  /// Any oxygen or nitrogen atom.
  static THandle<MotifSubstructure> make_o_or_n();

  // ---- functional groups ----
  /// A nitro group N(=O)O- attached to carbon.
  static THandle<MotifSubstructure> make_nitro(GenerationOptions options);
  /// An S(=O)2 unit with no further requirements.
  static THandle<MotifSubstructure> make_soo(GenerationOptions options);
  /// A sulfonyl group: four-connected sulfur with two terminal oxygens and two carbons.
  static THandle<MotifSubstructure> make_sulfonyl(GenerationOptions options);
  /// A water molecule: an oxygen with two hydrogens on a molecule of one to three atoms.
  static THandle<MotifSubstructure> make_h2o(GenerationOptions options);
  /// The N-C-N unit of amidines, guanidines and ureas with hydrogens on both nitrogens.
  static THandle<MotifSubstructure> make_hncnh();
  /// A primary amide H2N-C=O; atoms N 0, C 1, O 2.
  static THandle<MotifSubstructure> make_carbamoyl(GenerationOptions options);
  /// The same, also telling the caller the indices of the nitrogen (`first`) and of the carbonyl
  /// carbon (`second`).
  static THandle<MotifSubstructure> make_carbamoyl(int &first, int &second,
                                                   GenerationOptions options);
  /// A primary amino group H2N-C.
  static THandle<MotifSubstructure> make_amino(GenerationOptions options);
  /// An ammonium group H3N-C (the charge itself is not required).
  static THandle<MotifSubstructure> make_charged_amino(GenerationOptions options);
  /// A secondary amine C-NH-C.
  static THandle<MotifSubstructure> make_amine(GenerationOptions options);
  /// A nitrile C-C#N.
  static THandle<MotifSubstructure> make_cyano(GenerationOptions options);
  /// A carbonyl with three carbons around it: O=C(C)C.
  static THandle<MotifSubstructure> make_ketone(GenerationOptions options);
  /// An ether oxygen between two carbons.
  static THandle<MotifSubstructure> make_ether(GenerationOptions options);
  /// An ester C-O-C(=O)-C; atoms alkoxy C 0, ether O 1, carbonyl C 2, carbonyl O 3, acyl C 4.
  static THandle<MotifSubstructure> make_ester(GenerationOptions options);
  /// A fluoride ion.
  static THandle<MotifSubstructure> make_fluorine_ion(GenerationOptions options);
  /// A chloride ion.
  static THandle<MotifSubstructure> make_chlorine_ion(GenerationOptions options);
  /// A bromide ion.
  static THandle<MotifSubstructure> make_bromine_ion(GenerationOptions options);
  /// An iodide ion.
  static THandle<MotifSubstructure> make_iodine_ion(GenerationOptions options);
  /// A protonated tertiary amine C3N-H+.
  static THandle<MotifSubstructure> make_tertiary_ammonium(GenerationOptions options);
  /// An imine C=N-H.
  static THandle<MotifSubstructure> make_imino(GenerationOptions options);
  /// A hydroxyl group on carbon, C-O-H.
  static THandle<MotifSubstructure> make_hydroxy(GenerationOptions options);
  /// A carboxylic acid C-C(=O)O-H; atoms carbonyl O 0, hydroxyl O 1, carboxyl C 2, C 3.
  static THandle<MotifSubstructure> make_carboxylic_acid(GenerationOptions options);
  /// The same, also telling the caller the indices of the first (carbonyl) and second
  /// (hydroxyl) oxygen.
  static THandle<MotifSubstructure> make_carboxylic_acid(int &first, int &second,
                                                         GenerationOptions options);
  /// A carboxylate anion O=C-O-; atoms O 0 (double bond), O 1 (single bond, charge -1), C 2.
  static THandle<MotifSubstructure> make_carboxylate(GenerationOptions options);
  /// An acetyl group CH3-C(=O)-C.
  static THandle<MotifSubstructure> make_acetyl(GenerationOptions options);
  /// A formyl (aldehyde) group H-C(=O)-C.
  static THandle<MotifSubstructure> make_formyl(GenerationOptions options);
  /// A secondary amide O=C-N-H whose C-N bond lies in a ring (lactam).
  static THandle<MotifSubstructure> make_conh(GenerationOptions options);
  /// A secondary amide O=C-N-H whose C-N bond is not in a ring (the usual trans amide).
  static THandle<MotifSubstructure> make_trans_amide(GenerationOptions options);
  /// An acyclic secondary amide C-C(=O)-NH-C with its carbon substituents.
  static THandle<MotifSubstructure> make_acyclic_amide();
  /// The acyclic amide with sp3 carbons on both sides, the acyl-side carbon in a ring.
  static THandle<MotifSubstructure> make_acyclic_amide_narrow();
};

/// The name strings of the given fragments, in order (names, not dispatch keys: "a" for the
/// generic acceptor, "trans_amide" for the trans amide).
std::vector<std::string> substructure_names(const std::vector<THandle<MotifSubstructure>> &subs);

} // namespace xtalmotif

#endif
