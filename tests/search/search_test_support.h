#ifndef XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H
#define XTALMOTIF_TESTS_SEARCH_SEARCH_TEST_SUPPORT_H

// Crystals built in code, query builders and an independent neighbour search for the search
// engine tests. The neighbour search here shares no code with the engine: it applies every
// symmetry operator and a generous box of lattice translations to every atom and measures
// distances directly, so that what the engine reports can be checked against the crystal itself.

#include "chem/contact_criterion.h"
#include "crystal/crystal_maker.h"
#include "chem/element.h"
#include "core/geometry.h"
#include "core/handle.h"
#include "chem/molecule.h"
#include "chem/substructure.h"
#include "motif/motif.h"
#include "motif/motif_contact.h"
#include "motif/motif_substructure.h"

#include <cmath>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace xtalmotif::testing {

// ---------------------------------------------------------------- crystals built in code

/// A crystal with the given cell and symmetry operators (CIF style), and no molecules.
inline THandle<CrystalMaker> empty_crystal(double a, double b, double c, double alpha = 90,
                                           double beta = 90, double gamma = 90,
                                           std::vector<std::string> operators = {"x,y,z"}) {
  auto crystal = make_handle<CrystalMaker>();
  crystal->set_cell(a, b, c, alpha, beta, gamma);
  std::vector<CrystalSymmetryOperator> ops;
  for (const auto& text : operators)
    ops.push_back(CrystalSymmetryOperator::from_xyz(text));
  crystal->set_symmetry_operators(ops);
  return crystal;
}

/// One atom given by element symbol and orthogonal position (angstrom).
struct OrthAtom {
  const char* symbol;
  Point position;
};

/// Adds a molecule of the given atoms (orthogonal positions, converted to fractional with the
/// crystal's cell) and single bonds; returns its crystal-maker index.
inline int add_molecule(CrystalMaker& crystal, const std::vector<OrthAtom>& atoms,
                        const std::vector<std::pair<int, int>>& bonds) {
  auto m = make_handle<Molecule3d>();
  int n = 0;
  for (const auto& a : atoms) {
    const Point frac = crystal.to_fractional(a.position);
    m->add_atom(make_handle<Atom3d>(Element(a.symbol), std::string(a.symbol) + std::to_string(++n),
                                    make_handle<Site>(frac, a.position, 1.0)));
  }
  for (const auto& [i, j] : bonds)
    m->add_bond(i, j, BondType::Single);
  crystal.add_molecule(THandle<Molecule>(m));
  return crystal.nmolecules() - 1;
}

/// A water molecule (O, H, H in that order) with its oxygen at `o`; the hydrogens point along
/// +z and -z, 0.96 A from the oxygen, away from waters laid out in the xy plane.
inline int add_water(CrystalMaker& crystal, const Point& o) {
  const Point h1 = o + Point(0.3, 0.0, 0.912);
  const Point h2 = o + Point(-0.3, 0.0, -0.912);
  return add_molecule(crystal, {{"O", o}, {"H", h1}, {"H", h2}}, {{0, 1}, {0, 2}});
}

/// Three waters in a 10 A cubic P1 cell whose oxygens form an equilateral triangle of side
/// 2.8 A in the plane z = 1; lattice repeats are 10 A away, out of reach of every contact used.
inline THandle<CrystalMaker> water_triangle_crystal() {
  auto crystal = empty_crystal(10, 10, 10);
  add_water(*crystal, Point(1.0, 1.0, 1.0));
  add_water(*crystal, Point(3.8, 1.0, 1.0));
  add_water(*crystal, Point(2.4, 1.0 + 2.8 * std::sqrt(3.0) / 2.0, 1.0));
  return crystal;
}

// ---------------------------------------------------------------- queries

inline THandle<CombinedCriterion> absolute_criterion(double lower, double upper, ContactType type) {
  return make_handle<CombinedCriterion>(false, upper, lower, type, 4, 999, false,
                                        make_handle<ElementSet>(), make_handle<ElementSet>());
}

inline THandle<CombinedCriterion> vdw_criterion(double lower_offset, double upper_offset,
                                                ContactType type) {
  return make_handle<CombinedCriterion>(true, upper_offset, lower_offset, type, 4, 999, false,
                                        make_handle<ElementSet>(), make_handle<ElementSet>());
}

inline THandle<MotifContact> contact(int s1, int a1, int s2, int a2,
                                     THandle<CombinedCriterion> criterion) {
  return make_handle<MotifContact>(s1, a1, s2, a2, std::move(criterion));
}

/// A query atom of one element.
inline THandle<SubstructureAtom> query_atom(const char* symbol) {
  return make_handle<SubstructureAtom>(Element(symbol));
}

/// A water: O (atom 0) carrying two explicit H (atoms 1 and 2) by single bonds, on a molecule of
/// exactly three atoms.
inline THandle<MotifSubstructure> water_substructure() {
  auto s = make_handle<MotifSubstructure>();
  s->add(query_atom("O"));
  s->add(query_atom("H"));
  s->add(query_atom("H"));
  s->add(make_handle<SubstructureBond>(BondType::Single), 0, 1);
  s->add(make_handle<SubstructureBond>(BondType::Single), 0, 2);
  s->set_target_size(3, 3);
  return s;
}

/// A single atom of one element, on a molecule of `min` to `max` atoms.
inline THandle<MotifSubstructure> single_atom_substructure(const char* symbol, int min = 0,
                                                           int max = 100000) {
  auto s = make_handle<MotifSubstructure>();
  s->add(query_atom(symbol));
  s->set_target_size(min, max);
  return s;
}

/// A carboxylic acid group O=C-O-H with the hydrogen explicit: C (0), carbonyl O (1), hydroxyl
/// O (2), H (3).
inline THandle<MotifSubstructure> carboxylic_acid_substructure() {
  auto s = make_handle<MotifSubstructure>();
  s->add(query_atom("C"));
  s->add(query_atom("O"));
  s->add(query_atom("O"));
  s->add(query_atom("H"));
  s->add(make_handle<SubstructureBond>(BondType::Double), 0, 1);
  s->add(make_handle<SubstructureBond>(BondType::Single), 0, 2);
  s->add(make_handle<SubstructureBond>(BondType::Single), 2, 3);
  return s;
}

/// The centrosymmetric acid dimer R2,2(8): two acid groups, each hydroxyl H 1.5 to 2.2 A from
/// the other group's carbonyl O, between different molecules.
inline THandle<Motif> acid_dimer_motif() {
  auto m = make_handle<Motif>("acid dimer");
  m->add_substructure(carboxylic_acid_substructure());
  m->add_substructure(carboxylic_acid_substructure());
  m->add_contact(contact(0, 3, 1, 1, absolute_criterion(1.5, 2.2, ContactType::Inter)));
  m->add_contact(contact(1, 3, 0, 1, absolute_criterion(1.5, 2.2, ContactType::Inter)));
  return m;
}

/// Water to water O-H...O: H of the first water 1.5 to 2.3 A from the O of a second water.
inline THandle<Motif> water_pair_motif() {
  auto m = make_handle<Motif>("water pair");
  m->add_substructure(water_substructure());
  m->add_substructure(water_substructure());
  m->add_contact(contact(0, 1, 1, 0, absolute_criterion(1.5, 2.3, ContactType::Inter)));
  return m;
}

/// A carboxyl oxygen: O (0) on a carbon (1) that carries a second oxygen (2), any bond types,
/// so that acid and carboxylate groups both qualify.
inline THandle<MotifSubstructure> carboxyl_oxygen_substructure() {
  auto s = make_handle<MotifSubstructure>();
  s->add(query_atom("O"));
  s->add(query_atom("C"));
  s->add(query_atom("O"));
  s->add(make_handle<SubstructureBond>(), 0, 1);
  s->add(make_handle<SubstructureBond>(), 1, 2);
  return s;
}

/// Silver at most 2.8 A from a carboxyl oxygen, in any molecule.
inline THandle<Motif> silver_carboxylate_motif() {
  auto m = make_handle<Motif>("silver carboxylate");
  m->add_substructure(single_atom_substructure("Ag"));
  m->add_substructure(carboxyl_oxygen_substructure());
  m->add_contact(contact(0, 0, 1, 0, absolute_criterion(0.0, 2.8, ContactType::Any)));
  return m;
}

// ---------------------------------------------------------------- independent geometry

/// One symmetry image of an atom: where it lies and which molecule image it belongs to.
struct AtomImage {
  int molecule = -1; ///< crystal-maker molecule
  int atom = -1;     ///< atom index in that molecule
  int op = 0;        ///< symmetry operator index
  Translation shift; ///< lattice translation
  Point orthogonal;  ///< position in angstrom
};

/// Whether the image (molecule, op, shift) is the untransformed molecule itself: a molecule on a
/// special position maps onto itself under some operators, so the test is made on positions.
inline bool image_is_reference_molecule(const CrystalMaker& crystal, int molecule, int op,
                                        const Translation& shift) {
  THandle<Molecule> m = crystal.molecule(molecule);
  const auto& ops = crystal.symmetry_operators();
  const Point first = crystal.to_orthogonal(
      ops[static_cast<std::size_t>(op)].apply(m->atom(0)->site()->fractional()) + shift.as_point());
  for (int i = 0; i < m->natoms(); ++i)
    if (distance(first, m->atom(i)->position()) < 0.05)
      return true;
  return false;
}

/// Every image (all operators, translations -range..range on each axis) of the atoms for which
/// `select(molecule, atom)` holds.
inline std::vector<AtomImage> atom_images(const CrystalMaker& crystal,
                                          const std::function<bool(const Molecule&, int)>& select,
                                          int range = 2) {
  std::vector<AtomImage> out;
  const auto& ops = crystal.symmetry_operators();
  for (int m = 0; m < crystal.nmolecules(); ++m) {
    THandle<Molecule> mol = crystal.molecule(m);
    for (int i = 0; i < mol->natoms(); ++i) {
      if (!select(*mol, i))
        continue;
      const Point f = mol->atom(i)->site()->fractional();
      for (std::size_t k = 0; k < ops.size(); ++k) {
        const Point g = ops[k].apply(f);
        for (int ta = -range; ta <= range; ++ta)
          for (int tb = -range; tb <= range; ++tb)
            for (int tc = -range; tc <= range; ++tc) {
              AtomImage img;
              img.molecule = m;
              img.atom = i;
              img.op = static_cast<int>(k);
              img.shift = Translation(ta, tb, tc);
              img.orthogonal = crystal.to_orthogonal(g + img.shift.as_point());
              out.push_back(img);
            }
      }
    }
  }
  return out;
}

/// Element symbol test for atom selections.
inline bool is_element(const Molecule& m, int atom, const char* symbol) {
  return m.atom(atom)->element() == Element(symbol);
}

/// Neighbours of `atom` in `m` with the given element.
inline std::vector<int> neighbours_of_element(const Molecule& m, int atom, const char* symbol) {
  std::vector<int> out;
  for (int n : m.neighbours(atom))
    if (is_element(m, n, symbol))
      out.push_back(n);
  return out;
}

} // namespace xtalmotif::testing

#endif
