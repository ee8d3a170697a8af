// The ready-made fragments: what they find in molecules drawn by hand, and what each generation
// option changes in every one of them.

#include "library/pre_defined_substructures.h"

#include "chem/condition.h"
#include "chem/element.h"
#include "chem/molecule.h"
#include "chem/substructure.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace xtalmotif {
namespace {

using P = PreDefinedSubstructures;
using Options = P::GenerationOptions;
const Options plain{false, false, false}, with_h{true, false, false},
    no_charges{false, true, false}, any_bonds{false, false, true};

/// Every key: the listed ones and those reachable through make_sub only.
std::vector<std::string> all_keys() {
  auto keys = P::substructure_names();
  keys.insert(keys.end(), {"NH", "HNCNH", "acyclic amide", "acyclic amide narrow", "NOO", "water"});
  return keys;
}

/// Hydrogens the atom's hydrogen-count constraint asks for at least; 0 without one.
int hydrogens_asked(const SubstructureAtom &atom) {
  for (const auto &c : atom.constraints())
    if (auto nh = dynamic_cast<const AtomNHydrogensConstraint *>(c.get()))
      for (int k = 0; k < 5; ++k)
        if (nh->condition()->test(k))
          return k;
  return 0;
}

TEST(PreDefinedSubstructures, KeysGiveFragmentsAndAnythingElseNothing) {
  for (const auto &key : all_keys())
    EXPECT_FALSE(P::make_sub(key, plain).is_null()) << key;
  for (const char *key : {"trans_amide", "OH", "", "coo-", "Water", "NH1 ", "carboxylate"})
    EXPECT_TRUE(P::make_sub(key, plain).is_null()) << key;
}

TEST(PreDefinedSubstructures, OptionsChangeOnlyWhatTheySay) {
  // Fragments drawn one fixed way, whatever the options.
  const std::set<std::string> fixed = {"HNCNH", "acyclic amide", "acyclic amide narrow"};
  for (const auto &key : all_keys()) {
    SCOPED_TRACE(key);
    const auto base = P::make_sub(key, plain);
    // Explicit hydrogens: the heavy atoms unchanged and first, then as many H as each asks for,
    // bonded to it.
    const auto h = P::make_sub(key, with_h);
    ASSERT_GE(h->nnodes(), base->nnodes());
    int asked = 0;
    for (int i = 0; i < base->nnodes(); ++i) {
      EXPECT_TRUE(*h->node(i) == *base->node(i)) << "atom " << i;
      asked += hydrogens_asked(*base->node(i));
    }
    for (int i = base->nnodes(); i < h->nnodes(); ++i)
      EXPECT_TRUE(h->node(i)->allows(Element(Element::Hydrogen)));
    // The imino N (NH=1) is drawn without its hydrogen.
    EXPECT_TRUE(fixed.count(key) || key == "imino" || h->nnodes() - base->nnodes() == asked);
    // Any bond types: no bond keeps a type; ring requirements stay.
    const auto untyped = P::make_sub(key, any_bonds);
    ASSERT_EQ(untyped->nedges(), base->nedges());
    for (int e = 0; e < untyped->nedges(); ++e) {
      EXPECT_EQ(untyped->edge(e).bond->constraints().size(),
                base->edge(e).bond->constraints().size());
      EXPECT_TRUE(fixed.count(key) || untyped->edge(e).bond->types().empty()) << "bond " << e;
    }
    // Omitted charges: none left but on the charged NH1, which is nothing without its charge.
    const auto uncharged = P::make_sub(key, no_charges);
    int charges = 0;
    for (int i = 0; i < uncharged->nnodes(); ++i)
      for (const auto &c : uncharged->node(i)->constraints())
        charges += dynamic_cast<const AtomFormalChargeConstraint *>(c.get()) != nullptr;
    EXPECT_EQ(charges, key == "NH1+" ? 1 : 0);
  }
}

// A molecule of atoms (symbol, charge) and bonds (atom, atom, order 1 or 2). Hydrogens on
// carbon are left out: no fragment here asks about them.
Molecule molecule(const std::vector<std::pair<const char *, int>> &atoms,
                  const std::vector<std::tuple<int, int, int>> &bonds) {
  Molecule m;
  for (const auto &[symbol, charge] : atoms)
    m.add_atom(make_handle<Atom>(Element(symbol), symbol, charge));
  for (const auto &[a, b, order] : bonds)
    m.add_bond(a, b, order == 2 ? BondType::Double : BondType::Single);
  return m;
}

TEST(PreDefinedSubstructures, FragmentsFindTheirGroupsInMoleculesDrawnByHand) {
  // Acetic acid C0 C1 (=O2) O3-H4; acetate without H4 and O3 charged; methylamine, water,
  // chloride, chloromethane.
  const Molecule acid = molecule({{"C", 0}, {"C", 0}, {"O", 0}, {"O", 0}, {"H", 0}},
                                 {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}, {3, 4, 1}});
  const Molecule acetate =
      molecule({{"C", 0}, {"C", 0}, {"O", 0}, {"O", -1}}, {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}});
  const Molecule amine =
      molecule({{"N", 0}, {"C", 0}, {"H", 0}, {"H", 0}}, {{0, 1, 1}, {0, 2, 1}, {0, 3, 1}});
  const Molecule water = molecule({{"O", 0}, {"H", 0}, {"H", 0}}, {{0, 1, 1}, {0, 2, 1}});
  const Molecule chloride = molecule({{"Cl", -1}}, {});
  const Molecule chloromethane = molecule({{"C", 0}, {"Cl", 0}}, {{0, 1, 1}});
  struct Case {
    const Molecule &m;
    Options options;
    std::map<std::string, std::size_t> hits;
  };
  const std::vector<Case> cases = {
      {acid, plain, {{"carboxylic acid", 1}, {"COO-", 0}, {"H2O", 0}}},
      {acid, plain, {{"donor", 1}, {"acceptor", 1}, {"hydroxy", 1}}},
      {acid, with_h, {{"carboxylic acid", 1}}},
      {acid, any_bonds, {{"COO-", 0}}},
      {acetate, plain, {{"COO-", 1}, {"carboxylic acid", 0}, {"acceptor", 2}, {"donor", 0}}},
      {acetate, no_charges, {{"COO-", 1}}},
      {amine, plain, {{"NH2", 1}, {"x", 1}, {"O or N acceptor", 0}}},
      // Two equivalent hydrogens map two ways.
      {amine, with_h, {{"NH2", 2}, {"amino", 2}}},
      {water, plain, {{"H2O", 1}}},
      {chloride, plain, {{"Cl", 1}}},
      {chloromethane, plain, {{"Cl", 0}}},
      {chloromethane, no_charges, {{"Cl", 1}}}};
  for (const auto &c : cases)
    for (const auto &[key, n] : c.hits)
      EXPECT_EQ(SubstructureSearch().search(*P::make_sub(key, c.options), c.m).size(), n)
          << key << " in case " << &c - cases.data();
  // The acid's carbonyl O is its atom 0 and the hydroxyl O its atom 1, as in the carboxylate.
  EXPECT_EQ(SubstructureSearch().search(*P::make_sub("carboxylic acid", plain), acid).at(0),
            (std::vector<int>{2, 3, 1, 0}));
}

} // namespace
} // namespace xtalmotif
