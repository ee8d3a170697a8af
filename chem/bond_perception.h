#ifndef XTALMOTIF_CHEM_BOND_PERCEPTION_H
#define XTALMOTIF_CHEM_BOND_PERCEPTION_H

#include "chem/element.h"
#include "chem/molecule.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// How bonds and bond types are perceived from coordinates.
struct BondPerceptionSettings {
  /// Added to the sum of the two covalent radii to give the longest bond (angstrom).
  double tolerance = 0.4;
  /// Atoms closer than this are not bonded: they are the same site written twice.
  double min_distance = 0.4;
  /// True when the structure carries hydrogen sites; when false the hydrogen count of every
  /// atom is derived from bond lengths and angles and stored as its implicit count.
  bool hydrogens_present = true;
  /// True when the structure holds no hydrogen at all (its formula names none): with no
  /// hydrogen sites, no hydrogen is then derived or assumed on any atom.
  bool hydrogen_free = false;
};

/// Turns atoms with coordinates into the molecule a chemist draws: bonds from interatomic
/// distances, then bond orders, aromatic rings and formal charges from the valences of the
/// atoms.
///
/// Bond types follow the common drawing conventions: carboxylic acid C(=O)O-H, carboxylate with
/// one C=O and one C-O(-), nitro N(+)(=O)O(-), sulfonyl S(=O)=O, ammonium N(+) with four bonds,
/// and five- and six-membered rings whose Kekule structure holds six pi electrons (benzene,
/// pyridine, pyrrole, furan, thiophene) drawn aromatic. Bonds to metals are single and do not
/// use up the valence of the ligand atom, so a carboxylate bound to silver is still a
/// carboxylate.
class BondPerception {
public:
  explicit BondPerception(BondPerceptionSettings settings = {}) : settings_(settings) {}

  const BondPerceptionSettings& settings() const { return settings_; }

  /// True when two atoms of these elements at this distance are bonded: farther apart than
  /// `min_distance`, closer than the sum of covalent radii plus `tolerance`, and not both
  /// hydrogen.
  bool is_bond_length(const Element& a, const Element& b, double distance) const {
    if (a.is_hydrogen() && b.is_hydrogen())
      return false;
    return distance > settings_.min_distance && distance < max_bond_length(a, b);
  }
  /// The longest bond between the two elements (angstrom).
  double max_bond_length(const Element& a, const Element& b) const {
    return a.covalent_radius() + b.covalent_radius() + settings_.tolerance;
  }

  /// Adds the bonds implied by the coordinates of the atoms (every atom needs a site). A
  /// hydrogen keeps only its shortest bond. Existing bonds are kept.
  void add_bonds(Molecule& molecule) const;

  /// Bonds an atom has in the crystal to atoms left out of its molecule, where an endless
  /// (polymeric) structure was cut into a finite piece; indexed by atom, empty for none. A cut
  /// bond still uses up a valence, so the atoms at a cut are not read as hydroxyls, amines or
  /// terminal aqua ligands.
  struct PolymerCuts {
    std::vector<int> covalent; ///< cut bonds between non-metal atoms
    std::vector<int> metal;    ///< cut bonds between a ligand atom and a metal
  };

  /// Sets the type of every bond, the formal charges of the non-metal atoms and the implicit
  /// hydrogen count of every atom. Returns the problems found (atoms whose valence could not be
  /// satisfied, hydrogen atoms that had to be assumed), each naming the atom by its label.
  std::vector<std::string> assign_bond_types(Molecule& molecule,
                                             const PolymerCuts& cuts = PolymerCuts()) const;

  /// The usual valence of an element in organic chemistry (C 4, N 3, O 2, S 2, halogens 1, H 1,
  /// B 3, Si 4, P 3); 0 for metals and for elements without one.
  static int standard_valence(const Element& e);

private:
  BondPerceptionSettings settings_;
};

} // namespace xtalmotif

#endif
